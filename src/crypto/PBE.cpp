#include "crypto/PBE.h"

#include <cstring>

#include "crypto/DES.h"
#include "crypto/HMAC.h"
#include "crypto/PBEParameter.h"
#include "crypto/SHA1.h"

void PBE::deriveKey(const unsigned char* password, unsigned long passwordLen,
                    const unsigned char* salt, unsigned int saltLen, int iterations,
                    unsigned char* out, unsigned int outLen) {
    SHA1 sha;
    HMAC mac;
    mac.init(&sha, password, passwordLen);
    unsigned char u[SHA1::kLength], t[SHA1::kLength];
    for (unsigned int block = 1, done = 0; done < outLen; ++block) {
        unsigned char index[4] = {
            static_cast<unsigned char>(block >> 24), static_cast<unsigned char>(block >> 16),
            static_cast<unsigned char>(block >> 8), static_cast<unsigned char>(block)};
        mac.update(salt, saltLen);
        mac.update(index, 4);
        mac.final(u);
        memcpy(t, u, sizeof t);
        for (int i = 1; i < iterations; ++i) {
            mac.update(u, sizeof u);
            mac.final(u);
            for (unsigned int j = 0; j < sizeof t; ++j) t[j] ^= u[j];
        }
        unsigned int n = outLen - done < sizeof t ? outLen - done : sizeof t;
        memcpy(out + done, t, n);
        done += n;
    }
    memset(u, 0, sizeof u);
    memset(t, 0, sizeof t);
}

namespace {

unsigned char* run(bool encrypt, const unsigned char* password, unsigned long passwordLen,
                   const PBEParameter* parameter, const unsigned char* data, unsigned long len,
                   unsigned long* outLen) {
    *outLen = 0;
    if (parameter == nullptr || parameter->getIterationCount() <= 0) return nullptr;
    unsigned char material[32];
    PBE::deriveKey(password, passwordLen, parameter->_getSalt(), parameter->getSaltLength(),
                   parameter->getIterationCount(), material, sizeof material);
    DES des;
    des.init(DES::kEDE3 | DES::kCBC, material, 24, material + 24);
    memset(material, 0, sizeof material);
    return encrypt ? des.encrypt(data, len, outLen, true) : des.decrypt(data, len, outLen, true);
}

}  // namespace

unsigned char* PBE::encrypt(const unsigned char* password, unsigned long passwordLen,
                            const PBEParameter* parameter, const unsigned char* data,
                            unsigned long len, unsigned long* outLen) {
    return run(true, password, passwordLen, parameter, data, len, outLen);
}

unsigned char* PBE::decrypt(const unsigned char* password, unsigned long passwordLen,
                            const PBEParameter* parameter, const unsigned char* data,
                            unsigned long len, unsigned long* outLen) {
    return run(false, password, passwordLen, parameter, data, len, outLen);
}
