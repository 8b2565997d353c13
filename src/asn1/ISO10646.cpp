#include "asn1/ISO10646.h"

#include <locale.h>

#include <climits>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <string>

#include "asn1/Buffer.h"

ISO10646::ISO10646() : value(nullptr) {}

ISO10646::ISO10646(const wchar_t* v) : value(nullptr) {
    setValue(v);
}

ISO10646::ISO10646(const char* v) : value(nullptr) {
    setValue(v);
}

ISO10646::~ISO10646() {
    delete[] value;
}

void ISO10646::assign(const wchar_t* p, unsigned int count) {
    delete[] value;
    value = nullptr;
    if (p == nullptr) return;
    value = new wchar_t[count + 1];
    if (count > 0) wmemcpy(value, p, count);
    value[count] = 0;
}

const wchar_t* ISO10646::chars() const {
    return value != nullptr ? value : L"";
}

// The former value is freed here: keeping it would only leak, nothing refers to it.
void ISO10646::setValue(const wchar_t* v) {
    assign(v, v == nullptr ? 0 : static_cast<unsigned int>(wcslen(v)));
}

void ISO10646::setValue(const char* v) {
    delete[] value;
    value = nullptr;
    if (v == nullptr) return;
    size_t n = strlen(v);
    value = new wchar_t[n + 1];
    for (size_t i = 0; i < n; ++i) value[i] = static_cast<wchar_t>(static_cast<signed char>(v[i]));
    value[n] = 0;
}

wchar_t* ISO10646::getValue() const {
    if (value == nullptr) return nullptr;
    size_t n = wcslen(value);
    wchar_t* copy = new wchar_t[n + 1];
    wmemcpy(copy, value, n + 1);
    return copy;
}

unsigned int ISO10646::getLen() const {
    return static_cast<unsigned int>(wcslen(chars()));
}

ISO10646* ISO10646::clone() const {
    return new ISO10646(value);
}

// ---- Comparison ----

bool ISO10646::operator==(const ISO10646& other) const {
    return getLen() == other.getLen() && wcscmp(chars(), other.chars()) == 0;
}

bool ISO10646::operator!=(const ISO10646& other) const {
    return wcscmp(chars(), other.chars()) != 0;
}

bool ISO10646::operator<(const ISO10646& other) const {
    return wcscmp(chars(), other.chars()) < 0;
}

bool ISO10646::operator<=(const ISO10646& other) const {
    return wcscmp(chars(), other.chars()) <= 0;
}

bool ISO10646::operator>(const ISO10646& other) const {
    return wcscmp(chars(), other.chars()) > 0;
}

bool ISO10646::operator>=(const ISO10646& other) const {
    return wcscmp(chars(), other.chars()) >= 0;
}

bool ISO10646::operator%=(const ISO10646& other) const {
    const wchar_t* pattern = chars();
    const wchar_t* subject = other.chars();
    if (wcslen(pattern) != wcslen(subject)) return false;
    for (; *pattern != 0; ++pattern, ++subject) {
        if (*pattern != L'%' && *pattern != *subject) return false;
    }
    return true;
}

// ---- Text for people ----

// Letters with diacritics that a narrow locale cannot express are brought into the Latin-1 range
// by keeping their low byte (U+02C6 becomes 0xC6), which is often the intended letter.
static const wchar_t kFoldFirst = 593;
static const wchar_t kFoldLast = 879;

// Converts a whole string, or returns null when some character has no form in the locale. The
// output is sized by a first counting pass: a fixed three bytes a character would not hold the
// four-byte UTF-8 forms beyond the BMP.
static char* convertAll(const wchar_t* s) {
    size_t needed = wcstombs(nullptr, s, 0);
    if (needed == static_cast<size_t>(-1)) return nullptr;
    char* out = new char[needed + 1];
    wcstombs(out, s, needed + 1);
    out[needed] = 0;
    return out;
}

// Last resort: character by character, with '?' for each one the locale cannot express, so that
// the caller always gets a readable, terminated string.
static char* convertEach(const wchar_t* s, size_t n) {
    size_t room = n * (MB_CUR_MAX > 0 ? MB_CUR_MAX : 1) + 1;
    char* out = new char[room];
    size_t used = 0;
    mbstate_t state;
    memset(&state, 0, sizeof state);
    char piece[MB_LEN_MAX];
    for (size_t i = 0; i < n; ++i) {
        size_t len = wcrtomb(piece, s[i], &state);
        if (len == static_cast<size_t>(-1) || used + len >= room) {
            memset(&state, 0, sizeof state);
            piece[0] = '?';
            len = 1;
            if (used + len >= room) break;
        }
        memcpy(out + used, piece, len);
        used += len;
    }
    out[used] = 0;
    return out;
}

namespace {

// The character set that the environment names (LC_ALL, LC_CTYPE, LANG, with LOCPATH), as a
// locale object of the calling thread. It is made anew whenever those variables change, so that
// text follows the environment of the moment; but the process's own locale is never touched:
// setlocale on every conversion raced with every other thread that converted or classified
// characters at the same time.
class EnvironmentCType {
public:
    ~EnvironmentCType() {
        if (locale != nullptr) freelocale(locale);
    }
    locale_t get() {
        std::string now = environmentKey();
        if (locale == nullptr || now != key) {
            locale_t made = newlocale(LC_CTYPE_MASK, "", nullptr);
            // A name the system does not know leaves plain ASCII, as a failed setlocale does
            // for a program that never set one.
            if (made == nullptr) made = newlocale(LC_CTYPE_MASK, "C", nullptr);
            if (made == nullptr) return nullptr;
            if (locale != nullptr) freelocale(locale);
            locale = made;
            key = now;
        }
        return locale;
    }

private:
    static std::string environmentKey() {
        std::string k;
        for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG", "LOCPATH"}) {
            const char* v = getenv(name);
            k += v != nullptr ? '=' : '-';
            if (v != nullptr) k += v;
            k += '\0';
        }
        return k;
    }

    locale_t locale = nullptr;
    std::string key;
};

// Makes a locale the calling thread's own for the life of the object.
class ThreadLocaleScope {
public:
    explicit ThreadLocaleScope(locale_t l) : previous(l != nullptr ? uselocale(l) : nullptr) {}
    ~ThreadLocaleScope() {
        if (previous != nullptr) uselocale(previous);
    }
    ThreadLocaleScope(const ThreadLocaleScope&) = delete;
    ThreadLocaleScope& operator=(const ThreadLocaleScope&) = delete;

private:
    locale_t previous;
};

}  // namespace

char* ISO10646::getPrintable() const {
    static thread_local EnvironmentCType ctype;
    ThreadLocaleScope scope(ctype.get());
    const wchar_t* s = chars();
    char* out = convertAll(s);
    if (out != nullptr) return out;

    size_t n = wcslen(s);
    std::unique_ptr<wchar_t[]> folded(new wchar_t[n + 1]);
    for (size_t i = 0; i <= n; ++i) {
        wchar_t c = s[i];
        folded[i] = (c >= kFoldFirst && c <= kFoldLast) ? (c & 0xFF) : c;
    }
    out = convertAll(folded.get());
    if (out != nullptr) return out;
    return convertEach(folded.get(), n);
}

// ---- BER ----

unsigned int ISO10646::getWrapLength(Buffer* buffer) {
    if (value == nullptr) return buffer->lenASN1();
    return buffer->lenASN1(reinterpret_cast<const unsigned char*>(value), 4 * getLen(), kTag);
}

void ISO10646::wrapASN1(Buffer* buffer) {
    if (value == nullptr) {
        buffer->writeASN1();
        return;
    }
    buffer->writeASN1(reinterpret_cast<const unsigned char*>(value), 4 * getLen(), kTag);
}

// Trailing bytes that do not make a whole character are ignored.
unsigned char ISO10646::unwrapASN1(Buffer* buffer) {
    delete[] value;
    value = nullptr;
    unsigned char* bytes;
    unsigned int n;
    if (!buffer->_readASN1(&bytes, &n, kTag)) return 0;
    if (bytes == nullptr) return 1;
    unsigned int count = n / 4;
    value = new wchar_t[count + 1];
    for (unsigned int i = 0; i < count; ++i) {
        const unsigned char* q = bytes + 4 * i;
        unsigned int c = (static_cast<unsigned int>(q[0]) << 24) |
                         (static_cast<unsigned int>(q[1]) << 16) |
                         (static_cast<unsigned int>(q[2]) << 8) | q[3];
        value[i] = static_cast<wchar_t>(c);
    }
    value[count] = 0;
    return 1;
}
