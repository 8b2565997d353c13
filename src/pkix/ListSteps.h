// Removal and substitution by index for the list classes, which own their elements.
#ifndef SIGILO_PKIX_LISTSTEPS_H
#define SIGILO_PKIX_LISTSTEPS_H

namespace pkix {

// Frees the element at i and closes the gap; 0 for an index out of range.
template <class List>
unsigned char deleteElement(List* list, int i) {
    if (i < 0 || i >= list->getCount()) return 0;
    delete list->_getElement(i);
    return list->removeElementAt(i) ? 255 : 0;
}

// Replaces the element at i by a copy of e; 0 for an index out of range or a null e.
template <class List, class T>
unsigned char substituteElement(List* list, int i, const T* e) {
    if (i < 0 || i >= list->getCount() || e == nullptr) return 0;
    delete list->_getElement(i);
    return list->setElementAt(e->clone(), i) ? 255 : 0;
}

}  // namespace pkix

#endif
