// PBE: password-based encryption with triple DES. The key and the IV come from the password by
// PBKDF2 with HMAC-SHA-1 (PKCS#5 v2): 32 bytes, the first 24 the three-key triple-DES key and
// the last 8 the IV; the data is enciphered in CBC with PKCS#5 padding. The padding check on
// the way back is what tells a wrong password: it passes by chance about once in 2^64 tries
// when the plain text fills whole blocks, as the token's secrets do.
#ifndef SIGILO_CRYPTO_PBE_H
#define SIGILO_CRYPTO_PBE_H

class PBEParameter;

class PBE {
public:
    // PBKDF2-HMAC-SHA1 of the password: outLen bytes into out.
    static void deriveKey(const unsigned char* password, unsigned long passwordLen,
                          const unsigned char* salt, unsigned int saltLen, int iterations,
                          unsigned char* out, unsigned int outLen);

    // New arrays the caller deletes, or null (a wrong password or damaged data on decrypt).
    static unsigned char* encrypt(const unsigned char* password, unsigned long passwordLen,
                                  const PBEParameter* parameter, const unsigned char* data,
                                  unsigned long len, unsigned long* outLen);
    static unsigned char* decrypt(const unsigned char* password, unsigned long passwordLen,
                                  const PBEParameter* parameter, const unsigned char* data,
                                  unsigned long len, unsigned long* outLen);
};

#endif
