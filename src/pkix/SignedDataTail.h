// The closing step shared by the two SignedData readers.
#ifndef SIGILO_PKIX_SIGNEDDATATAIL_H
#define SIGILO_PKIX_SIGNEDDATATAIL_H

#include "asn1/Buffer.h"
#include "pkix/SignedData.h"

template <class Signers>
unsigned char SignedData::readTail(Buffer* b, unsigned char definite, Signers*& signers) {
    delete signers;
    signers = new Signers();
    if (!signers->unwrapASN1(b)) return 0;
    if (!definite) return b->readEOC() ? 1 : 0;
    return 1;
}

#endif
