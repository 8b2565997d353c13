#include "crypto/Key.h"

#include <cstring>
#include <memory>
#include <string>

#include "asn1/Base64.h"
#include "asn1/Buffer.h"

namespace {

// The DER form of the key, in a scratch buffer.
std::unique_ptr<Buffer> derOf(Key* key) {
    auto der = std::make_unique<Buffer>();
    der->enlarge(key->getWrapLength(der.get()));
    key->wrapASN1(der.get());
    return der;
}

std::string pemText(Key* key) {
    std::unique_ptr<Buffer> der = derOf(key);
    std::unique_ptr<char[]> text(Base64::encode(der->_getData() != nullptr
                                                    ? der->_getData()
                                                    : reinterpret_cast<const unsigned char*>(""),
                                                der->getWritePos()));
    std::string lines;
    size_t n = strlen(text.get());
    for (size_t i = 0; i < n; i += 64) {
        lines.append(text.get() + i, n - i < 64 ? n - i : 64);
        lines += "\n";
    }
    return lines;
}

}  // namespace

void Key::wrapPEM(Buffer* b) {
    std::string text = pemText(this);
    b->writeBytes(reinterpret_cast<const unsigned char*>(text.data()),
                  static_cast<unsigned int>(text.size()));
}

unsigned int Key::getPEMLength(Buffer*) { return static_cast<unsigned int>(pemText(this).size()); }

unsigned char Key::unwrapPEM(Buffer* b) {
    unsigned int n = 0;
    const char* text = reinterpret_cast<const char*>(b->_getData() + b->getReadPos());
    std::unique_ptr<unsigned char[]> der(
        Base64::decode(text, b->getWritePos() - b->getReadPos(), &n));
    if (!der) return 0;
    Buffer decoded;
    decoded.fromByteArray(der.get(), n);
    if (!unwrapASN1(&decoded)) return 0;
    b->setReadPos(b->getWritePos());
    return 255;
}
