#include "asn1/OIDList.h"

#include "asn1/Buffer.h"

OIDList::OIDList() = default;

OIDList::OIDList(const char* dotted) { addOID(dotted); }

OIDList::~OIDList() {
    for (int i = 0; i < getCount(); ++i) delete _getOID(i);
}

void OIDList::addOID(const char* dotted) { addElement(new OID(dotted)); }

void OIDList::addOID(const OID* oid) {
    if (oid != nullptr) addElement(oid->clone());
}

char* OIDList::getOID(int i) const {
    OID* oid = _getOID(i);
    return oid != nullptr ? oid->getValue() : nullptr;
}

unsigned char OIDList::isEqual(int i, const char* dotted) const {
    OID* oid = _getOID(i);
    return oid != nullptr ? oid->isEqual(dotted) : 0;
}

unsigned char OIDList::isEqual(int i, const OID* other) const {
    OID* oid = _getOID(i);
    return oid != nullptr ? oid->isEqual(other) : 0;
}

unsigned char OIDList::contains(const char* dotted) const {
    OID wanted(dotted);
    for (int i = 0; i < getCount(); ++i) {
        if (isEqual(i, &wanted)) return 255;
    }
    return 0;
}

OIDList* OIDList::clone() const {
    OIDList* copy = new OIDList();
    cloneInto(copy);
    for (int i = 0; i < getCount(); ++i) {
        OID* oid = _getOID(i);
        copy->setElementAt(oid != nullptr ? oid->clone() : nullptr, i);
    }
    return copy;
}

unsigned int OIDList::contentLength(Buffer* b) {
    unsigned int sum = 0;
    for (int i = 0; i < getCount(); ++i) {
        if (OID* oid = _getOID(i)) sum += b->lenASN1(oid);
    }
    return sum;
}

unsigned int OIDList::getWrapLength(Buffer* b) { return b->lenASN1Sequence(contentLength(b)); }

void OIDList::wrapASN1(Buffer* b) { wrapASN1(0x30, b); }

void OIDList::wrapASN1(unsigned char tag, Buffer* b) {
    b->writeASN1Header(tag, contentLength(b));
    for (int i = 0; i < getCount(); ++i) {
        if (OID* oid = _getOID(i)) b->writeASN1(oid);
    }
}

unsigned char OIDList::unwrapASN1(Buffer* b) { return unwrapASN1(0x30, b); }

unsigned char OIDList::unwrapASN1(unsigned char tag, Buffer* b) {
    unsigned char t;
    unsigned int len;
    if (!b->readASN1Header(&t, &len) || t != tag || len > b->remaining()) return 0;
    unsigned int end = b->getReadPos() + len;
    while (b->getReadPos() < end) {
        OID* oid = new OID();
        if (!b->readASN1(oid) || b->getReadPos() > end) {
            delete oid;
            return 0;
        }
        addElement(oid);
    }
    return 255;
}
