// Read, write, compare: a certificate that reads must re-encode to the bytes it came from.
//
// The writer puts out what it holds, and a few things are not held as they came. Those are the
// system's own writer quirks, and where they apply the bytes may differ:
//   - lengths are written in the shortest definite form, so non-minimal and indefinite lengths,
//     and zero bytes in front of a tag (which the reader skips), come out differently;
//   - an OID is written with its first two arcs as one byte and each further arc in the
//     shortest base-128 form: a first subidentifier of 128 or more, a redundant 0x80 byte, an
//     arc beyond 32 bits or more than 64 arcs do not survive;
//   - INTEGERs (the version) are written minimal; the serial number is read strictly, so it is
//     minimal whenever the certificate reads at all;
//   - BIT STRINGs lose the value of their unused bits (the reader clears them), and the
//     signature is written with no unused bits at all; an empty or NULL signature is written as
//     05 01;
//   - a name value in UniversalString is written in host byte order while it is read
//     big-endian, so it does not even survive a second round;
//   - a time is kept as text of at most 26 characters;
//   - a SEQUENCE with more members than its type has, or members of the wrong shape where the
//     reader is lax, is read by position and written by type;
//   - an extension value in a constructed OCTET STRING is written primitive.
// So the input is first judged by an independent strict DER reader that knows the shape of a
// certificate and rejects each of the cases above. When it accepts the input, the re-encoding
// must be the input byte for byte. In every case the re-encoding must read back, and (unless a
// name holds a UniversalString) repeated passes must settle on bytes that re-encode to
// themselves.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "asn1/Buffer.h"
#include "pkix/Certificate.h"
#include "pkix/CertificateInfo.h"
#include "pkix/Name.h"

namespace {

// ---- The independent strict reader ----

struct Element {
    uint8_t tag;
    const uint8_t* content;
    size_t length;
};

class Der {
public:
    Der(const uint8_t* p, size_t n) : p(p), n(n), pos(0) {}
    bool done() const { return pos == n; }
    bool peek(uint8_t* tag) const {
        if (pos >= n) return false;
        *tag = p[pos];
        return true;
    }
    // One element with a one-byte tag and a minimal definite length.
    bool next(Element* e) {
        if (pos + 2 > n || p[pos] == 0 || (p[pos] & 0x1F) == 0x1F) return false;
        e->tag = p[pos];
        size_t at = pos + 1;
        size_t length = p[at++];
        if (length & 0x80) {
            size_t count = length & 0x7F;
            if (count == 0 || count > 4 || at + count > n || p[at] == 0) return false;
            length = 0;
            for (size_t i = 0; i < count; ++i) length = (length << 8) | p[at++];
            if (length < 0x80) return false;
        }
        if (length > n - at) return false;
        e->content = p + at;
        e->length = length;
        pos = at + length;
        return true;
    }
    bool next(uint8_t tag, Element* e) { return next(e) && e->tag == tag; }
    size_t position() const { return pos; }

private:
    const uint8_t* p;
    size_t n;
    size_t pos;
};

Der inside(const Element& e) {
    return Der(e.content, e.length);
}

bool oidOK(const Element& e) {
    if (e.tag != 0x06 || e.length == 0 || e.content[0] >= 0x80) return false;
    size_t arcs = 1;
    for (size_t i = 1; i < e.length;) {
        if (e.content[i] == 0x80) return false;
        uint64_t value = 0;
        while (i < e.length && (e.content[i] & 0x80))
            value = (value << 7) | (e.content[i++] & 0x7F);
        if (i == e.length) return false;
        value = (value << 7) | e.content[i++];
        if (value > 0xFFFFFFFFu || ++arcs >= 64) return false;
    }
    return true;
}

bool minimalInteger(const Element& e, size_t maxLength) {
    if (e.tag != 0x02 || e.length == 0 || e.length > maxLength) return false;
    if (e.length > 1 && ((e.content[0] == 0 && !(e.content[1] & 0x80)) ||
                         (e.content[0] == 0xFF && (e.content[1] & 0x80)))) {
        return false;
    }
    return true;
}

bool bitStringOK(const Element& e, uint8_t tag, bool noUnused) {
    if (e.tag != tag || e.length == 0 || e.content[0] > 7) return false;
    if (e.length == 1) return e.content[0] == 0;
    if (noUnused && e.content[0] != 0) return false;
    uint8_t mask = static_cast<uint8_t>((1u << e.content[0]) - 1);
    return (e.content[e.length - 1] & mask) == 0;
}

bool algorithmOK(Der& d) {
    Element e, o;
    if (!d.next(0x30, &e)) return false;
    Der a = inside(e);
    if (!a.next(&o) || !oidOK(o)) return false;
    if (a.done()) return true;
    Element parameters;
    if (!a.next(&parameters)) return false;
    if (parameters.tag == 0x05 && parameters.length != 0) return false;
    return a.done();
}

bool nameOK(Der& d) {
    Element e;
    if (!d.next(0x30, &e)) return false;
    Der rdns = inside(e);
    while (!rdns.done()) {
        Element set;
        if (!rdns.next(0x31, &set)) return false;
        Der attributes = inside(set);
        while (!attributes.done()) {
            Element atv, type, value;
            if (!attributes.next(0x30, &atv)) return false;
            Der parts = inside(atv);
            if (!parts.next(&type) || !oidOK(type) || !parts.next(&value) || !parts.done()) {
                return false;
            }
            if (value.tag == 28) return false;
            if (value.tag == 3 && !bitStringOK(value, 3, false)) return false;
        }
    }
    return true;
}

bool timeOK(const Element& e) {
    return e.length <= 26 && memchr(e.content, 0, e.length) == nullptr;
}

bool extensionsOK(const Element& wrapper) {
    Der outer = inside(wrapper);
    Element list;
    if (!outer.next(0x30, &list) || !outer.done()) return false;
    Der extensions = inside(list);
    while (!extensions.done()) {
        Element ext, id, part;
        if (!extensions.next(0x30, &ext)) return false;
        Der parts = inside(ext);
        if (!parts.next(&id) || !oidOK(id) || !parts.next(&part)) return false;
        if (part.tag == 0x01) {
            if (part.length != 1 || !parts.next(&part)) return false;
        }
        if (part.tag != 0x04 || !parts.done()) return false;
    }
    return true;
}

// True when the certificate at the start of the input is strict DER in every place where the
// reader or writer of the system could change the bytes.
bool strictCertificate(const uint8_t* data, size_t size, size_t* length) {
    Der top(data, size);
    Element cert;
    if (!top.next(0x30, &cert)) return false;
    *length = top.position();
    Der parts = inside(cert);
    Element tbs, signature;
    if (!parts.next(0x30, &tbs)) return false;
    if (!algorithmOK(parts) || !parts.next(&signature) || !parts.done()) return false;
    if (!bitStringOK(signature, 0x03, true) || signature.length < 2) return false;

    Der t = inside(tbs);
    Element e;
    uint8_t tag;
    bool v1 = true;
    if (t.peek(&tag) && tag == 0xA0) {
        t.next(&e);
        Der version = inside(e);
        Element number;
        if (!version.next(&number) || !minimalInteger(number, 4) || !version.done()) return false;
        v1 = number.length == 1 && number.content[0] == 0;
    }
    if (!t.next(&e) || !minimalInteger(e, ~size_t(0))) return false;
    if (!algorithmOK(t) || !nameOK(t)) return false;
    Element validity, notBefore, notAfter;
    if (!t.next(0x30, &validity)) return false;
    Der times = inside(validity);
    if (!times.next(&notBefore) || !times.next(&notAfter) || !times.done()) return false;
    if (!timeOK(notBefore) || !timeOK(notAfter)) return false;
    if (!nameOK(t)) return false;
    Element spki, bits;
    if (!t.next(0x30, &spki)) return false;
    Der key = inside(spki);
    if (!algorithmOK(key) || !key.next(&bits) || !bitStringOK(bits, 0x03, false) || !key.done()) {
        return false;
    }
    if (t.done()) return true;
    if (v1) return false;
    if (t.peek(&tag) && tag == 0xA1) {
        if (!t.next(&e) || !bitStringOK(e, 0xA1, false)) return false;
    }
    if (t.peek(&tag) && tag == 0xA2) {
        if (!t.next(&e) || !bitStringOK(e, 0xA2, false)) return false;
    }
    if (t.done()) return true;
    return t.next(0xA3, &e) && extensionsOK(e) && t.done();
}

// ---- The round trip ----

bool holdsUniversalString(const Name* name) {
    const RelativeDistinguishedNameList* rdns = name != nullptr ? name->_getRDNSequence() : nullptr;
    for (int i = 0; rdns != nullptr && i < rdns->getCount(); ++i) {
        const RelativeDistinguishedName* rdn = rdns->_getElement(i);
        for (int j = 0; j < rdn->getCount(); ++j) {
            const AttributeTypeAndValue* a = rdn->_getElement(j);
            if (a->getValueType() == 28 && !a->isRaw()) return true;
        }
    }
    return false;
}

void encode(Certificate& cert, Buffer* out) {
    out->rewind();
    unsigned int length = cert.getWrapLength(out);
    out->enlarge(length);
    cert.wrapASN1(out);
    if (out->getWritePos() != length) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Buffer in;
    in.fromByteArray(data, static_cast<unsigned int>(size));
    Certificate cert;
    if (!cert.unwrapASN1(&in)) return 0;

    Buffer first;
    encode(cert, &first);
    size_t length = 0;
    if (strictCertificate(data, size, &length)) {
        if (first.getWritePos() != length || memcmp(first._getData(), data, length) != 0) abort();
    }

    const CertificateInfo* info = cert._getCertInfo();
    if (holdsUniversalString(info->_getSubject()) || holdsUniversalString(info->_getIssuer())) {
        Certificate again;
        if (!again.unwrapASN1(&first)) abort();
        return 0;
    }
    // Each pass that changes the bytes shortens them (the OID writer cuts the first arcs to one
    // byte), so the passes settle before the bytes run out.
    Buffer previous, next;
    previous.fromByteArray(first._getData(), first.getWritePos());
    for (size_t pass = 0; pass <= size + 1; ++pass) {
        Certificate again;
        if (!again.unwrapASN1(&previous)) abort();
        encode(again, &next);
        if (next.getWritePos() == previous.getWritePos() &&
            memcmp(next._getData(), previous._getData(), next.getWritePos()) == 0) {
            return 0;
        }
        if (next.getWritePos() > previous.getWritePos()) abort();
        previous.fromByteArray(next._getData(), next.getWritePos());
    }
    abort();
}
