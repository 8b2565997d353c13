#include "pkix/BasicConstraintsSyntax.h"

#include "asn1/Buffer.h"
#include "pkix/ReadSteps.h"

BasicConstraintsSyntax::BasicConstraintsSyntax() : cA(0), pathLenConstraint(kAbsent) {}

BasicConstraintsSyntax::BasicConstraintsSyntax(unsigned char ca, int pathLen)
    : cA(ca), pathLenConstraint(pathLen) {}

BasicConstraintsSyntax* BasicConstraintsSyntax::clone() const {
    return new BasicConstraintsSyntax(cA, pathLenConstraint);
}

unsigned int BasicConstraintsSyntax::contentLength(Buffer* b) {
    return (cA != 0 ? b->lenBoolean(cA) : 0) +
           (pathLenConstraint != kAbsent ? b->lenASN1(pathLenConstraint) : 0);
}

unsigned int BasicConstraintsSyntax::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void BasicConstraintsSyntax::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (cA != 0) b->writeBoolean(cA);
    if (pathLenConstraint != kAbsent) b->writeASN1(pathLenConstraint);
}

unsigned char BasicConstraintsSyntax::unwrapASN1(Buffer* b) {
    cA = 0;
    pathLenConstraint = kAbsent;
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    unsigned int end = pkix::endOf(b, len);
    if (pkix::atEnd(b, end)) return 255;
    if (pkix::peekTag(b) == 0x01) {
        if (!b->readBoolean(&cA)) return 0;
        if (pkix::atEnd(b, end)) return 255;
    }
    return b->readASN1(&pathLenConstraint) ? 255 : 0;
}
