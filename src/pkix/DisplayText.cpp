#include "pkix/DisplayText.h"

#include <cstring>
#include <memory>

#include "asn1/Buffer.h"
#include "asn1/UTF8.h"
#include "asn1/Unicode.h"
#include "pkix/ReadSteps.h"

namespace {

bool accepted(unsigned char tag) {
    return tag == 12 || tag == 19 || tag == 20 || tag == 22 || tag == 26 || tag == 30;
}

}  // namespace

DisplayText::DisplayText() : type(12), text(nullptr), length(0) {}

DisplayText::DisplayText(unsigned char t, const char* value) : DisplayText() {
    setText(t, value);
}

DisplayText::~DisplayText() {
    delete[] text;
}

DisplayText* DisplayText::clone() const {
    DisplayText* copy = new DisplayText();
    copy->type = type;
    if (text != nullptr) {
        copy->text = new char[length + 1];
        memcpy(copy->text, text, length + 1);
    }
    copy->length = length;
    return copy;
}

char* DisplayText::getText() const {
    if (text == nullptr) return nullptr;
    char* copy = new char[length + 1];
    memcpy(copy, text, length + 1);
    return copy;
}

char* DisplayText::getUTF8() const {
    if (text == nullptr) return nullptr;
    if (type == 12) return pkix::copyText(text);
    if (type == 30) {
        Unicode chars(reinterpret_cast<const unsigned char*>(text), length);
        std::unique_ptr<wchar_t[]> value(chars.ISO10646::getValue());
        UTF8 encoded(value.get());
        char* out = encoded.getValue();
        return out != nullptr ? out : pkix::copyText("");
    }
    return UTF8::encode(text);
}

void DisplayText::setText(unsigned char t, const char* value) {
    delete[] text;
    type = t;
    text = pkix::copyText(value);
    length = value != nullptr ? static_cast<unsigned int>(strlen(value)) : 0;
}

bool DisplayText::isNext(Buffer* b) {
    return accepted(pkix::peekTag(b));
}

unsigned int DisplayText::getWrapLength(Buffer* b) {
    return b->lenASN1Header(type, length) + length;
}

void DisplayText::wrapASN1(Buffer* b) {
    b->writeASN1Header(type, length);
    if (length > 0) b->writeBytes(reinterpret_cast<const unsigned char*>(text), length);
}

unsigned char DisplayText::unwrapASN1(Buffer* b) {
    delete[] text;
    text = nullptr;
    length = 0;
    unsigned char tag = pkix::peekTag(b);
    if (!accepted(tag)) return 0;
    unsigned char* content;
    unsigned int n;
    if (!b->_readASN1(&content, &n, tag) || content == nullptr) return 0;
    type = tag;
    text = new char[n + 1];
    if (n > 0) memcpy(text, content, n);
    text[n] = 0;
    length = n;
    return 1;
}
