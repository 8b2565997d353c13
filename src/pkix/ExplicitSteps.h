// The EXPLICIT context tags of the OCSP structures ([0] EXPLICIT Version, [1] EXPLICIT
// Extensions, ...): an outer header around one whole inner element. Reading checks that the
// inner element fills the outer one exactly, so that nothing can hide behind it.
#ifndef SIGILO_PKIX_EXPLICITSTEPS_H
#define SIGILO_PKIX_EXPLICITSTEPS_H

#include "asn1/Buffer.h"

namespace pkix {

// Length of the outer header and the inner element of innerLength bytes.
inline unsigned int lenExplicit(Buffer* b, unsigned char tag, unsigned int innerLength) {
    return b->lenASN1Header(tag, innerLength) + innerLength;
}

// Reads the outer header with that tag; *end is where the inner element must stop. 0 for
// another tag, an indefinite length or a length beyond the data.
inline unsigned char openExplicit(Buffer* b, unsigned char tag, unsigned int* end) {
    unsigned char t, definite;
    unsigned int len;
    if (!b->readASN1Header(&t, &len, &definite) || t != tag || !definite) return 0;
    if (len > b->remaining()) return 0;
    *end = b->getReadPos() + len;
    return 255;
}

// True when the inner element ended exactly where the outer header said.
inline unsigned char closeExplicit(Buffer* b, unsigned int end) {
    return b->getReadPos() == end ? 255 : 0;
}

}  // namespace pkix

#endif
