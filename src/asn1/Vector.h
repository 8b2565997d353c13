// Vector: the growable array of pointers under every list and set class. It never owns its
// elements; the list class above it does.
#ifndef SIGILO_ASN1_VECTOR_H
#define SIGILO_ASN1_VECTOR_H

class Vector {
public:
    Vector();
    explicit Vector(int increment);
    ~Vector();

    Vector(const Vector&) = delete;
    Vector& operator=(const Vector&) = delete;

    void addElement(void* p);
    void* elementAt(int i) const;
    // These three store at an index (null for the last two) and never free; 0 when out of range.
    unsigned char setElementAt(void* p, int i);
    unsigned char invalidateElement(int i);
    unsigned char clearElementAt(int i);
    void removeElement();
    unsigned char removeElementAt(int i);
    // Drops the null entries and shrinks the array to the remaining count.
    void recompactElements();
    int getCount() const { return count; }

protected:
    // Copies the shape (count slots, all null) into target; the list class fills the slots
    // with setElementAt of cloned elements.
    void cloneInto(Vector* target) const;

private:
    void reserve(int n);

    void** elements;
    int count;
    int capacity;
    int increment;
};

#endif
