// BasicConstraints ::= SEQUENCE {
//     cA                 BOOLEAN DEFAULT FALSE,
//     pathLenConstraint  INTEGER (0..MAX) OPTIONAL }
//
// cA is kept as the byte read (0 when absent); pathLenConstraint is 32 bits signed, and
// kAbsent stands for "no constraint". An empty SEQUENCE gives the defaults. Writing leaves out
// a false cA and an absent constraint.
#ifndef SIGILO_PKIX_BASICCONSTRAINTSSYNTAX_H
#define SIGILO_PKIX_BASICCONSTRAINTSSYNTAX_H

class Buffer;

class BasicConstraintsSyntax {
public:
    static constexpr int kAbsent = 0x7FFFFFFF;

    BasicConstraintsSyntax();
    BasicConstraintsSyntax(unsigned char cA, int pathLenConstraint);

    BasicConstraintsSyntax* clone() const;

    unsigned char getCA() const { return cA; }
    void setCA(unsigned char value) { cA = value; }
    int getPathLenConstraint() const { return pathLenConstraint; }
    void setPathLenConstraint(int value) { pathLenConstraint = value; }

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    unsigned char cA;
    int pathLenConstraint;
};

#endif
