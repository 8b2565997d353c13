// TokenSession: one session of the built-in token, with the state of each operation it may
// have under way (one of each kind at a time) and its search results.
#ifndef SIGILO_CRYPTO_TOKEN_TOKENSESSION_H
#define SIGILO_CRYPTO_TOKEN_TOKENSESSION_H

#include <memory>
#include <vector>

#include "crypto/DES.h"
#include "crypto/HMAC.h"
#include "crypto/MessageDigest.h"
#include "crypto/token/pkcs11.h"

struct TokenOperation {
    bool active = false;
    CK_MECHANISM_TYPE mechanism = 0;
    CK_OBJECT_HANDLE key = 0;
    // The digest of a digesting mechanism (null for the raw RSA ones).
    std::unique_ptr<MessageDigest> digester;
    // The MAC of an HMAC mechanism.
    std::unique_ptr<HMAC> mac;
    // The cipher of a DES mechanism.
    std::unique_ptr<DES> des;
    // Data gathered by the update calls of mechanisms that work on the whole message.
    std::vector<unsigned char> data;

    void clear() {
        active = false;
        mechanism = 0;
        key = 0;
        digester.reset();
        mac.reset();
        des.reset();
        std::fill(data.begin(), data.end(), 0);
        data.clear();
    }
};

struct TokenSession {
    CK_SLOT_ID slot = 0;
    CK_FLAGS flags = 0;
    TokenOperation digest, sign, verify, encrypt, decrypt;
    bool finding = false;
    std::vector<CK_OBJECT_HANDLE> found;
    size_t foundAt = 0;
};

#endif
