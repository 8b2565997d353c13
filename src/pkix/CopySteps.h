// Deep copies for the ASN.1 classes, whose getters hand out copies and whose setters keep them.
#ifndef SIGILO_PKIX_COPYSTEPS_H
#define SIGILO_PKIX_COPYSTEPS_H

namespace pkix {

// A new deep copy, or null for null.
template <class T>
T* cloneOf(const T* p) {
    return p != nullptr ? p->clone() : nullptr;
}

// Frees the field's value and stores a copy of value (null clears). The copy is made first, so
// that a field can be set from a part of itself.
template <class T>
void replaceWithCopy(T*& field, const T* value) {
    T* copy = cloneOf(value);
    delete field;
    field = copy;
}

}  // namespace pkix

#endif
