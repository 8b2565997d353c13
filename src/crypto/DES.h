// DES and triple DES (FIPS 46-3, SP 800-67) in ECB, CBC and 8-bit CFB. The mode number joins
// the variant and the chaining: kEDE3 | kCFB8 (10) is three-key EDE in 8-bit CFB, the mode in
// which the token enciphers its private objects.
#ifndef SIGILO_CRYPTO_DES_H
#define SIGILO_CRYPTO_DES_H

#include <cstdint>

// The 24 bytes of a three-key triple-DES key.
class DES3Key {
public:
    static constexpr unsigned int kLength = 24;
    explicit DES3Key(const unsigned char* bytes);
    ~DES3Key();
    DES3Key(const DES3Key&) = delete;
    DES3Key& operator=(const DES3Key&) = delete;
    const unsigned char* _getKey() const { return key; }

private:
    unsigned char key[kLength];
};

class DES {
public:
    static constexpr int kECB = 0;
    static constexpr int kCBC = 1;
    static constexpr int kCFB8 = 2;
    static constexpr int kEDE2 = 4;
    static constexpr int kEDE3 = 8;

    DES();
    ~DES();
    DES(const DES&) = delete;
    DES& operator=(const DES&) = delete;

    // Key of 8 bytes (single), 16 (kEDE2) or 24 (kEDE3); the IV (8 bytes) for CBC and CFB,
    // zeros when null. False on a key of the wrong size or an unknown mode.
    bool init(int mode, const unsigned char* key, unsigned int keyLen, const unsigned char* iv);

    // Whole messages, new arrays the caller deletes. ECB and CBC pad by PKCS#5 when `pad` is
    // set (and then check and strip it on the way back); without padding the length must be a
    // multiple of 8. CFB8 works on any length. Null on a length or padding error.
    unsigned char* encrypt(const unsigned char* in, unsigned long len, unsigned long* outLen,
                           bool pad);
    unsigned char* decrypt(const unsigned char* in, unsigned long len, unsigned long* outLen,
                           bool pad);

    // One block under the key (EDE for triple DES), no chaining.
    void encryptBlock(const unsigned char* in, unsigned char* out) const;
    void decryptBlock(const unsigned char* in, unsigned char* out) const;

private:
    void crypt(const unsigned char* in, unsigned char* out, bool encrypt) const;

    uint64_t subkeys[3][16];
    int keys;
    int chaining;
    unsigned char iv[8];
};

#endif
