#include "asn1/Vector.h"

#include <new>

Vector::Vector() : Vector(1) {}

Vector::Vector(int increment)
    : elements(nullptr), count(0), capacity(0), increment(increment > 0 ? increment : 1) {}

Vector::~Vector() { delete[] elements; }

void Vector::reserve(int n) {
    void** grown = new void*[n]();
    for (int i = 0; i < count; ++i) grown[i] = elements[i];
    delete[] elements;
    elements = grown;
    capacity = n;
}

void Vector::addElement(void* p) {
    if (count == capacity) {
        if (capacity > 0x7FFFFFFF - increment) throw std::bad_alloc();
        reserve(capacity + increment);
    }
    elements[count++] = p;
}

void* Vector::elementAt(int i) const {
    if (elements == nullptr || i < 0 || i >= count) return nullptr;
    return elements[i];
}

unsigned char Vector::setElementAt(void* p, int i) {
    if (i < 0 || i >= count) return 0;
    elements[i] = p;
    return 1;
}

unsigned char Vector::invalidateElement(int i) { return setElementAt(nullptr, i); }

unsigned char Vector::clearElementAt(int i) { return setElementAt(nullptr, i); }

void Vector::removeElement() {
    if (count > 0) elements[--count] = nullptr;
}

unsigned char Vector::removeElementAt(int i) {
    if (i < 0 || i >= count) return 0;
    for (int j = i + 1; j < count; ++j) elements[j - 1] = elements[j];
    elements[--count] = nullptr;
    return 1;
}

void Vector::recompactElements() {
    int kept = 0;
    for (int i = 0; i < count; ++i) {
        if (elements[i] != nullptr) ++kept;
    }
    void** compact = kept > 0 ? new void*[kept] : nullptr;
    int j = 0;
    for (int i = 0; i < count; ++i) {
        if (elements[i] != nullptr) compact[j++] = elements[i];
    }
    delete[] elements;
    elements = compact;
    count = capacity = kept;
}

void Vector::cloneInto(Vector* target) const {
    delete[] target->elements;
    // Allocation and capacity stay in step, so that later additions to the copy are safe.
    target->elements = new void*[count + 1]();
    target->count = count;
    target->capacity = count + 1;
    target->increment = increment;
}
