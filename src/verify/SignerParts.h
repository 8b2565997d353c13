// The parts of one signer that the signer checks read, taken from either family's record
// (PKCS#7 SignerInfo of version 1, CMS SignerInfo of version 3): how the signer names its
// certificate, its algorithms, its attributes and its signature value. Nothing is owned.
#ifndef SIGILO_VERIFY_SIGNERPARTS_H
#define SIGILO_VERIFY_SIGNERPARTS_H

#include "verify/DocVerifier.h"

class AlgorithmIdentifier;
class AttributeSet;
class IssuerAndSerialNumber;
class PKCS7SignerInfo;
class SignerInfo;

struct DocVerifier::SignerParts {
    bool cms = false;
    // One of the two identifies the certificate.
    const IssuerAndSerialNumber* issuerAndSerial = nullptr;
    const unsigned char* keyId = nullptr;
    unsigned int keyIdLength = 0;
    const AlgorithmIdentifier* digestAlgorithm = nullptr;
    const AttributeSet* signedAttrs = nullptr;
    const AlgorithmIdentifier* signatureAlgorithm = nullptr;
    const unsigned char* signature = nullptr;
    unsigned int signatureLength = 0;
    const AttributeSet* unsignedAttrs = nullptr;
};

// The parts of a record of either family.
DocVerifier::SignerParts signerPartsOf(const PKCS7SignerInfo* signer);
DocVerifier::SignerParts signerPartsOf(const SignerInfo* signer);

#endif
