#include "asn1/UTF8.h"

#include <cstring>
#include <cwchar>

#include "asn1/Buffer.h"

static char* copyText(const char* s) {
    if (s == nullptr) return nullptr;
    size_t n = strlen(s);
    char* copy = new char[n + 1];
    memcpy(copy, s, n + 1);
    return copy;
}

UTF8::UTF8() : text(nullptr) {}

UTF8::UTF8(const char* encoded) : text(nullptr) {
    setValue(encoded);
}

UTF8::UTF8(const wchar_t* v) : ISO10646(v), text(nullptr) {}

UTF8::~UTF8() {
    delete[] text;
}

void UTF8::setValue(const char* encoded) {
    delete[] text;
    text = copyText(encoded);
    decode();
}

void UTF8::setValue(const wchar_t* v) {
    delete[] text;
    text = nullptr;
    ISO10646::setValue(v);
}

char* UTF8::getValue() {
    if (text == nullptr) encode();
    return copyText(text);
}

unsigned int UTF8::getLen() {
    if (text == nullptr) encode();
    return text == nullptr ? 0 : static_cast<unsigned int>(strlen(text));
}

UTF8* UTF8::clone() const {
    UTF8* copy = new UTF8(value);
    copy->text = copyText(text);
    return copy;
}

// ---- Decoding ----

// Number of leading one bits of a lead byte, which is the length of its sequence.
static unsigned int sequenceLength(unsigned char lead) {
    unsigned int n = 0;
    while (n < 8 && (lead & (0x80u >> n)) != 0) ++n;
    return n;
}

unsigned char UTF8::decode() {
    delete[] value;
    value = nullptr;
    if (text == nullptr) return 1;
    size_t n = strlen(text);
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text);
    wchar_t* out = new wchar_t[n + 1];
    size_t count = 0;
    size_t i = 0;
    while (i < n) {
        unsigned char lead = bytes[i];
        if (lead < 0x80) {
            out[count++] = lead;
            ++i;
            continue;
        }
        unsigned int len = sequenceLength(lead);
        // A continuation byte cannot lead, 0xFE and 0xFF have no meaning, and a sequence must
        // end before the text does: reading on would run past the encoded value.
        if ((lead & 0x40) == 0 || len > 6 || len > n - i) {
            delete[] out;
            delete[] text;
            text = nullptr;
            return 0;
        }
        unsigned int c = lead & (0x7Fu >> len);
        for (unsigned int k = 1; k < len; ++k) c = (c << 6) | (bytes[i + k] & 0x3F);
        out[count++] = static_cast<wchar_t>(c);
        i += len;
    }
    out[count] = 0;
    value = out;
    return 1;
}

// ---- Encoding ----

// Writes c as UTF-8 at out and returns the byte count.
static unsigned int encodeChar(unsigned int c, unsigned char* out) {
    if (c < 0x80) {
        out[0] = static_cast<unsigned char>(c);
        return 1;
    }
    unsigned int len;
    unsigned char lead;
    if (c < 0x800) {
        len = 2;
        lead = 0xC0;
    } else if (c < 0x10000) {
        len = 3;
        lead = 0xE0;
    } else if (c < 0x200000) {
        len = 4;
        lead = 0xF0;
    } else if (c < 0x4000000) {
        len = 5;
        lead = 0xF8;
    } else {
        // Six bytes carry 31 bits; the top bit of a 32-bit value has no place and is dropped.
        len = 6;
        lead = 0xFC;
    }
    for (unsigned int k = len - 1; k > 0; --k) {
        out[k] = static_cast<unsigned char>(0x80 | (c & 0x3F));
        c >>= 6;
    }
    out[0] = static_cast<unsigned char>(lead | (c & (0x7Fu >> len)));
    return len;
}

void UTF8::encode() {
    delete[] text;
    text = nullptr;
    if (value == nullptr) return;
    size_t n = wcslen(value);
    text = new char[6 * n + 1];
    unsigned char* out = reinterpret_cast<unsigned char*>(text);
    size_t used = 0;
    for (size_t i = 0; i < n; ++i)
        used += encodeChar(static_cast<unsigned int>(value[i]), out + used);
    out[used] = 0;
}

char* UTF8::encode(const char* latin1) {
    if (latin1 == nullptr) return nullptr;
    size_t n = strlen(latin1);
    char* result = new char[2 * n + 1];
    unsigned char* out = reinterpret_cast<unsigned char*>(result);
    size_t used = 0;
    for (size_t i = 0; i < n; ++i) {
        used += encodeChar(static_cast<unsigned char>(latin1[i]), out + used);
    }
    out[used] = 0;
    return result;
}

// ---- BER ----

unsigned int UTF8::getWrapLength(Buffer* buffer) {
    if (text == nullptr) encode();
    if (text == nullptr) return buffer->lenASN1();
    return buffer->lenASN1(text, kTag);
}

void UTF8::wrapASN1(Buffer* buffer) {
    if (text == nullptr) encode();
    if (text == nullptr) {
        buffer->writeASN1();
        return;
    }
    buffer->writeASN1(text, kTag);
}

// A NULL in place of the string leaves text and value null and succeeds.
unsigned char UTF8::unwrapASN1(Buffer* buffer) {
    delete[] text;
    text = nullptr;
    delete[] value;
    value = nullptr;
    if (!buffer->readASN1(&text, kTag)) return 0;
    return decode();
}
