// Arbitrary bytes as an XML document: loaded whole and in two pieces, then walked the way the
// trust-list import walks it.
#include <cstdint>

#include "asn1/Buffer.h"
#include "xml/XMLFile.h"

namespace {

void walkList(XMLFile& x) {
    if (!x.findTag("TrustServiceProviderList") || !x.findSubTag("TrustServiceProvider")) return;
    for (int provider = 0; provider < 100; ++provider) {
        x.setBookmark();
        if (x.findSubTag("TSPService")) {
            x.setBookmark();
            XMLFile::freeTagValue(x.getTagValue("X509Certificate"));
            XMLFile::freeTagValue(x.getSubTagAttribute("Name", "lang"));
            x.goBookmark("TSPService");
            x.findSiblingTag("TSPService");
        }
        if (!x.goBookmark("TrustServiceProvider") || !x.findSiblingTag("TrustServiceProvider")) {
            return;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Buffer in;
    in.fromByteArray(data, static_cast<unsigned int>(size));
    Buffer work(64);
    {
        XMLFile x(&work);
        if (x.fromBuffer(&in)) {
            walkList(x);
            x.rewind();
            x.findLevelSubTag("a");
            XMLFile::freeTagValue(x.getTagValue());
        }
    }
    {
        XMLFile x(&work);
        int half = static_cast<int>(size / 2);
        x.parse(reinterpret_cast<const char*>(data), half, 0);
        if (x.parse(reinterpret_cast<const char*>(data) + half, static_cast<int>(size) - half, 1)) {
            walkList(x);
        }
    }
    return 0;
}
