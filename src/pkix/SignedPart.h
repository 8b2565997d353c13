// The signing step shared by the objects that carry their own signature over a signed part
// (certificates, CRLs): the part is encoded at the write position, signed, and the position
// moved back, so the caller then writes the whole object with the new signature.
#ifndef SIGILO_PKIX_SIGNEDPART_H
#define SIGILO_PKIX_SIGNEDPART_H

#include <memory>
#include <vector>

#include "asn1/SecureBuffer.h"
#include "crypto/CryptoDevice.h"
#include "crypto/DigestInfo.h"
#include "crypto/Signature.h"

namespace pkix {

// With the buffer's own device. 0 when there is no part or the signature cannot be made.
template <class Part>
unsigned char signPart(SecureBuffer* b, Part* part, AlgorithmIdentifier* algorithm,
                       Signature** sign) {
    if (part == nullptr) return 0;
    unsigned int from = b->getWritePos();
    b->enlarge(from + part->getWrapLength(b));
    part->wrapASN1(b);
    b->setSignAlgorithm(algorithm);
    Signature* made = b->signMessage(from);
    b->setWritePos(from);
    if (made == nullptr) return 0;
    *sign = made;
    return 255;
}

// The digester digests the part and the signer signs the DigestInfo.
template <class Part>
unsigned char signPart(SecureBuffer* b, Part* part, AlgorithmIdentifier* algorithm,
                       Signature** sign, CryptoDevice* signer, CryptoDevice* digester) {
    if (part == nullptr || signer == nullptr || digester == nullptr) return 0;
    unsigned int from = b->getWritePos();
    b->enlarge(from + part->getWrapLength(b));
    part->wrapASN1(b);
    std::vector<unsigned char> bytes(b->_getData() + from, b->_getData() + b->getWritePos());
    b->setWritePos(from);
    digester->setSignAlgorithm(algorithm);
    std::unique_ptr<DigestInfo> digestInfo(digester->digest(bytes.data(), bytes.size()));
    if (!digestInfo) return 0;
    signer->setSignAlgorithm(algorithm);
    Signature* made = signer->signDigest(digestInfo.get());
    if (made == nullptr) return 0;
    *sign = made;
    return 255;
}

// Verifies the signature over the DER of the part as encoded now (not over the bytes as they
// came). 255 when the device confirms it; 0 for any failure or a missing piece.
template <class Part>
unsigned char verifyOverPart(CryptoDevice* device, Part* part, AlgorithmIdentifier* algorithm,
                             Signature* sign, KeyInfo* key) {
    if (device == nullptr || part == nullptr || algorithm == nullptr || sign == nullptr) return 0;
    Buffer encoded;
    encoded.enlarge(part->getWrapLength(&encoded));
    part->wrapASN1(&encoded);
    device->setSignAlgorithm(algorithm);
    return device->verify(sign, encoded._getData(), encoded.getWritePos(), key) ? 255 : 0;
}

}  // namespace pkix

#endif
