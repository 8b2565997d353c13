// PBEParameter ::= SEQUENCE {
//     salt            OCTET STRING,
//     iterationCount  INTEGER }
//
// The parameters of a password-based encryption algorithm (PKCS#5).
#ifndef SIGILO_CRYPTO_PBEPARAMETER_H
#define SIGILO_CRYPTO_PBEPARAMETER_H

#include "crypto/AlgorithmParameter.h"

class PBEParameter : public AlgorithmParameter {
public:
    PBEParameter();
    PBEParameter(const unsigned char* salt, unsigned int saltLen, int iterations);
    ~PBEParameter() override;
    PBEParameter(const PBEParameter&) = delete;
    PBEParameter& operator=(const PBEParameter&) = delete;

    PBEParameter* clone() const override;
    void wrapASN1(Buffer* b) override;
    unsigned char unwrapASN1(Buffer* b) override;
    unsigned int getWrapLength(Buffer* b) override;

    const unsigned char* _getSalt() const { return salt; }
    unsigned int getSaltLength() const { return saltLen; }
    void setSalt(const unsigned char* p, unsigned int n);
    int getIterationCount() const { return iterations; }
    void setIterationCount(int n) { iterations = n; }

private:
    unsigned char* salt;
    unsigned int saltLen;
    int iterations;
};

#endif
