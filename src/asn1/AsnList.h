// The shape shared by every SEQUENCE OF and SET OF class: a Vector of owned elements of one
// ASN.1 class T, written in definite form and read in definite or indefinite form.
//
// T offers getWrapLength(Buffer*), wrapASN1(Buffer*), unwrapASN1(Buffer*) and clone(). Derived
// is the list class itself, so that clone() returns the right type:
//
//     class AlgorithmIdentifierList
//         : public AsnList<AlgorithmIdentifier, AlgorithmIdentifierList, kSequenceTag> { ... };
#ifndef SIGILO_ASN1_ASNLIST_H
#define SIGILO_ASN1_ASNLIST_H

#include "asn1/Buffer.h"
#include "asn1/Vector.h"

constexpr unsigned char kSequenceTag = 0x30;
constexpr unsigned char kSetTag = 0x31;

template <class T, class Derived, unsigned char kTag>
class AsnList : public Vector {
public:
    AsnList() = default;
    ~AsnList() {
        for (int i = 0; i < getCount(); ++i) delete static_cast<T*>(elementAt(i));
    }

    // The element at i, owned by the list; null out of range.
    T* _getElement(int i) const { return static_cast<T*>(elementAt(i)); }
    // A copy the caller deletes; null out of range.
    T* getElement(int i) const {
        T* e = _getElement(i);
        return e != nullptr ? e->clone() : nullptr;
    }
    // Stores a copy; a null argument adds nothing.
    void addElementCopy(const T* e) {
        if (e != nullptr) addElement(e->clone());
    }
    // Takes ownership.
    void adoptElement(T* e) {
        if (e != nullptr) addElement(e);
    }

    Derived* clone() const {
        Derived* copy = new Derived();
        cloneInto(copy);
        for (int i = 0; i < getCount(); ++i) {
            T* e = _getElement(i);
            copy->setElementAt(e != nullptr ? e->clone() : nullptr, i);
        }
        return copy;
    }

    unsigned int getWrapLength(Buffer* b) {
        return b->lenASN1Header(kTag, contentLength(b)) + contentLength(b);
    }
    void wrapASN1(Buffer* b) { wrapASN1(kTag, b); }
    void wrapASN1(unsigned char tag, Buffer* b) {
        b->writeASN1Header(tag, contentLength(b));
        for (int i = 0; i < getCount(); ++i) {
            if (T* e = _getElement(i)) e->wrapASN1(b);
        }
    }

    unsigned char unwrapASN1(Buffer* b) { return unwrapASN1(kTag, b); }
    // Reads the elements up to the end of a definite value, or up to the end-of-contents of an
    // indefinite one. A failing element is freed and never enters the list; the earlier ones
    // stay.
    unsigned char unwrapASN1(unsigned char tag, Buffer* b) {
        unsigned char t, definite;
        unsigned int len;
        if (!b->readASN1Header(&t, &len, &definite) || t != tag) return 0;
        if (definite == 0) {
            while (b->peekByte() != 0) {
                if (!readElement(b)) return 0;
            }
            return b->readEOC() ? 255 : 0;
        }
        if (len > b->remaining()) return 0;
        unsigned int end = b->getReadPos() + len;
        while (b->getReadPos() < end) {
            if (!readElement(b)) return 0;
        }
        return 255;
    }

protected:
    unsigned int contentLength(Buffer* b) const {
        unsigned int sum = 0;
        for (int i = 0; i < getCount(); ++i) {
            if (T* e = _getElement(i)) sum += e->getWrapLength(b);
        }
        return sum;
    }

private:
    // An element that reads without consuming anything would make the loop endless; it is
    // refused like a failed one.
    unsigned char readElement(Buffer* b) {
        unsigned int before = b->getReadPos();
        T* e = new T();
        if (!e->unwrapASN1(b) || b->getReadPos() == before) {
            delete e;
            return 0;
        }
        addElement(e);
        return 255;
    }
};

#endif
