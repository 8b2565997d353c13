// CryptoDevice: the one class through which the system does cryptography. It owns a session on
// a PKCS#11 token (through CryptoKi), keeps the current algorithm choices, and offers byte-array
// operations; it has no cryptography of its own. The operations are virtual so that a subclass
// can stand in for the token.
//
// Failures return null, 0 or false and leave the PKCS#11 value in lastError; nothing is
// written anywhere. One operation at a time on one instance.
#ifndef SIGILO_CRYPTO_CRYPTODEVICE_H
#define SIGILO_CRYPTO_CRYPTODEVICE_H

#include "crypto/token/pkcs11.h"

class AlgorithmIdentifier;
class Buffer;
class CryptoKi;
class DigestInfo;
class KeyInfo;
class RSAPrivateKey;
class Signature;

class CryptoDevice {
public:
    // Vendors told apart by the manufacturer text of the module.
    static constexpr int kVendorNone = 0;
    static constexpr int kVendorChrysalis = 1;
    static constexpr int kVendorAEP = 2;
    static constexpr int kVendorEracom = 3;
    static constexpr int kVendorTessaria = 4;

    // A device with no token: every operation fails.
    CryptoDevice();
    // Initialises the module and reads its slot list and information (cryptoKi is not owned).
    explicit CryptoDevice(CryptoKi* cryptoKi);
    virtual ~CryptoDevice();
    CryptoDevice(const CryptoDevice&) = delete;
    CryptoDevice& operator=(const CryptoDevice&) = delete;

    // ---- Random ----
    // A new 8-byte array, or null.
    virtual unsigned char* random8();
    virtual long random();
    // Fills n random bytes; 0 on failure.
    virtual unsigned char random(unsigned char* out, unsigned long n);

    // ---- Digests: a DigestInfo the caller deletes, or null with lastError set ----
    virtual unsigned char setDigestAlgorithm(AlgorithmIdentifier* algorithm);
    virtual unsigned char setDigestAlgorithm(const char* dotted);
    virtual DigestInfo* digest(const unsigned char* data, unsigned long len);
    virtual unsigned char initDigest();
    virtual unsigned char updateDigest(const unsigned char* data, unsigned long len);
    virtual DigestInfo* finalDigest();
    // The digest length of the current mechanism, 0 when none is set.
    virtual unsigned long getDigestLength();

    // ---- Algorithms ----
    virtual unsigned char setCryptoAlgorithm(AlgorithmIdentifier* algorithm);
    virtual unsigned char setCryptoAlgorithm(const char* dotted);
    virtual unsigned char setSignAlgorithm(AlgorithmIdentifier* algorithm);
    virtual unsigned char setSignAlgorithm(const char* dotted);

    // ---- Signatures with the current private key: a Signature the caller deletes ----
    virtual Signature* sign(const unsigned char* data, unsigned long len);
    virtual Signature* signDigest(DigestInfo* digestInfo);
    virtual unsigned char initSign();
    virtual unsigned char updateSign(const unsigned char* data, unsigned long len);
    virtual Signature* finalSign();

    // ---- Signature checks: true when the signature holds ----
    // Over a digest the caller computed, or over data the token digests, with a key record:
    // the key becomes a temporary session object for the one check.
    virtual bool verify(Signature* signature, DigestInfo* digestInfo, KeyInfo* key);
    virtual bool verify(Signature* signature, const unsigned char* data, unsigned long len,
                        KeyInfo* key);
    // The working forms, on an object handle.
    virtual bool verify(const unsigned char* sig, unsigned long sigLen, DigestInfo* digestInfo,
                        unsigned long key);
    virtual bool verify(const unsigned char* sig, unsigned long sigLen, const unsigned char* data,
                        unsigned long len, unsigned long key);
    // With the public key set by setPublicKey.
    virtual bool verify(Signature* signature, DigestInfo* digestInfo);
    virtual bool verify(Signature* signature, const unsigned char* data, unsigned long len);
    // With the public key object whose CKA_ID is the given one.
    virtual bool verify(Signature* signature, DigestInfo* digestInfo, const unsigned char* id,
                        unsigned int idLen);
    virtual bool verify(Signature* signature, const unsigned char* data, unsigned long len,
                        const unsigned char* id, unsigned int idLen);

    // ---- Public-key encryption: a new array the caller deletes, its size in *outLen ----
    // With the public key of the record; decrypt uses the current private key.
    virtual unsigned char* encrypt(const unsigned char* data, unsigned long len, KeyInfo* key,
                                   unsigned long* outLen);
    virtual unsigned char* decrypt(const unsigned char* data, unsigned long len, KeyInfo* key,
                                   unsigned long* outLen);
    // The length of a signature or cryptogram under the current keys.
    virtual unsigned long getSignedLength();

    // ---- Keys ----
    // A session object for the key; it replaces the previous one of its kind.
    virtual unsigned char setPublicKey(KeyInfo* key);
    virtual unsigned char setPublicKey(const unsigned char* id, unsigned int idLen);
    virtual unsigned char setPrivateKey(RSAPrivateKey* key);
    virtual unsigned char setPrivateKey(const unsigned char* id, unsigned int idLen);

    // ---- Objects by id or label (the id or label is kept as given); they are token objects
    // in a read-write session and session objects in a read-only one ----
    // A new RSA key pair on the token (CKA_TOKEN true) under the id; 255 on success.
    virtual unsigned char generateRSAKey(int bits, const unsigned char* id, unsigned int idLen);
    // A public key object on the token for the record, under the id.
    virtual unsigned char loadPublicKey(KeyInfo* key, const unsigned char* id, unsigned int idLen);
    // The public key object with the id as a record the caller deletes, or null.
    virtual KeyInfo* getPublicKey(const unsigned char* id, unsigned int idLen);
    virtual unsigned char removePublicKey(const unsigned char* id, unsigned int idLen);
    virtual unsigned char removePrivateKey(const unsigned char* id, unsigned int idLen);
    // An X.509 certificate object (its DER bytes) under the id, and back.
    virtual unsigned char loadCertificate(const unsigned char* der, unsigned long len,
                                          const unsigned char* id, unsigned int idLen);
    virtual unsigned char* getCertificate(const unsigned char* id, unsigned int idLen,
                                          unsigned long* len);
    // Data objects by label; setData replaces an object of the same label.
    virtual unsigned char setData(const char* label, const unsigned char* data, unsigned long len);
    virtual unsigned char* getData(const char* label, unsigned long* len);

    // ---- Symmetric ciphers with the current cipher key ----
    virtual unsigned char setCipherAlgorithm(AlgorithmIdentifier* algorithm);
    virtual unsigned char setCipherKey(const unsigned char* key, unsigned long len);
    virtual unsigned char* encode(const unsigned char* data, unsigned long len,
                                  unsigned long* outLen);
    virtual unsigned char* decode(const unsigned char* data, unsigned long len,
                                  unsigned long* outLen);

    // ---- Token ----
    CryptoKi* getCryptoKi() const { return cryptoKi; }
    // Opens a session on the slot and logs in when the token wants it: non-zero on success.
    unsigned long openToken(unsigned long slot, const unsigned char* pin, unsigned long pinLen);
    void closeToken();
    unsigned char isLogged();
    unsigned char initToken(unsigned long slot, const unsigned char* pin, unsigned long pinLen,
                            const char* label);
    unsigned char changePIN(const unsigned char* oldPin, unsigned long oldLen,
                            const unsigned char* newPin, unsigned long newLen);
    // Refills the lists of object handles by class; non-zero on success.
    unsigned long updateObjectLists();
    // The handle of the object of the class with the CKA_ID, or 0.
    unsigned long findObjectWithId(unsigned long objectClass, const unsigned char* id,
                                   unsigned int idLen);
    unsigned long getSlotNum() const { return slotCount; }
    // New copies the caller deletes, or null.
    CK_INFO* getLibInfo();
    CK_SLOT_INFO* getSlotInfo(unsigned long slot);
    CK_TOKEN_INFO* getTokenInfo(unsigned long slot);
    CK_SESSION_INFO* getSessionInfo();
    CK_MECHANISM_TYPE* getMechanismList(unsigned long slot, unsigned long* count);
    CK_MECHANISM_INFO* getMechanismInfo(unsigned long slot, unsigned long mechanism);
    void setReadObjectsOnOpen(unsigned char on) { readObjectsOnOpen = on; }
    void setUseDigestInfo(unsigned char on) { useDigestInfo = on; }
    void useDES3Keys() { des3Keys = 255; }
    void useDES2Keys() { des3Keys = 0; }
    unsigned long getPublicExponentMaxLen() const { return publicExponentMaxLen; }
    int getVendor() const { return vendor; }

    // ---- Errors ----
    // The Italian text of lastError, a new string.
    char* getErrorMessage() const;
    // lastError as eight hexadecimal digits, a new string.
    char* getErrorCodeString() const;
    unsigned long getErrorCodeNumeric() const { return lastError; }

    // ---- The token's functions on this device's session ----
    CK_RV C_InitPIN(CK_UTF8CHAR_PTR pin, CK_ULONG pinLen);
    CK_RV C_SetPIN(CK_UTF8CHAR_PTR oldPin, CK_ULONG oldLen, CK_UTF8CHAR_PTR newPin,
                   CK_ULONG newLen);
    CK_RV C_CloseSession();
    CK_RV C_GetSessionInfo(CK_SESSION_INFO_PTR info);
    CK_RV C_GetOperationState(CK_BYTE_PTR state, CK_ULONG_PTR len);
    CK_RV C_SetOperationState(CK_BYTE_PTR state, CK_ULONG len, CK_OBJECT_HANDLE encKey,
                              CK_OBJECT_HANDLE authKey);
    CK_RV C_Login(CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen);
    CK_RV C_Logout();
    CK_RV C_CreateObject(CK_ATTRIBUTE_PTR t, CK_ULONG n, CK_OBJECT_HANDLE_PTR object);
    CK_RV C_CopyObject(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR t, CK_ULONG n,
                       CK_OBJECT_HANDLE_PTR copy);
    CK_RV C_DestroyObject(CK_OBJECT_HANDLE object);
    CK_RV C_GetObjectSize(CK_OBJECT_HANDLE object, CK_ULONG_PTR size);
    CK_RV C_GetAttributeValue(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR t, CK_ULONG n);
    CK_RV C_SetAttributeValue(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR t, CK_ULONG n);
    CK_RV C_FindObjectsInit(CK_ATTRIBUTE_PTR t, CK_ULONG n);
    CK_RV C_FindObjects(CK_OBJECT_HANDLE_PTR list, CK_ULONG max, CK_ULONG_PTR count);
    CK_RV C_FindObjectsFinal();
    CK_RV C_EncryptInit(CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key);
    CK_RV C_Encrypt(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out, CK_ULONG_PTR outLen);
    CK_RV C_EncryptUpdate(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out, CK_ULONG_PTR outLen);
    CK_RV C_EncryptFinal(CK_BYTE_PTR out, CK_ULONG_PTR outLen);
    CK_RV C_DecryptInit(CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key);
    CK_RV C_Decrypt(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out, CK_ULONG_PTR outLen);
    CK_RV C_DecryptUpdate(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out, CK_ULONG_PTR outLen);
    CK_RV C_DecryptFinal(CK_BYTE_PTR out, CK_ULONG_PTR outLen);
    CK_RV C_DigestInit(CK_MECHANISM_PTR m);
    CK_RV C_Digest(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out, CK_ULONG_PTR outLen);
    CK_RV C_DigestUpdate(CK_BYTE_PTR in, CK_ULONG inLen);
    CK_RV C_DigestKey(CK_OBJECT_HANDLE key);
    CK_RV C_DigestFinal(CK_BYTE_PTR out, CK_ULONG_PTR outLen);
    CK_RV C_SignInit(CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key);
    CK_RV C_Sign(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR sig, CK_ULONG_PTR sigLen);
    CK_RV C_SignUpdate(CK_BYTE_PTR in, CK_ULONG inLen);
    CK_RV C_SignFinal(CK_BYTE_PTR sig, CK_ULONG_PTR sigLen);
    CK_RV C_SignRecoverInit(CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key);
    CK_RV C_SignRecover(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR sig, CK_ULONG_PTR sigLen);
    CK_RV C_VerifyInit(CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key);
    CK_RV C_Verify(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR sig, CK_ULONG sigLen);
    CK_RV C_VerifyUpdate(CK_BYTE_PTR in, CK_ULONG inLen);
    CK_RV C_VerifyFinal(CK_BYTE_PTR sig, CK_ULONG sigLen);
    CK_RV C_VerifyRecoverInit(CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key);
    CK_RV C_VerifyRecover(CK_BYTE_PTR sig, CK_ULONG sigLen, CK_BYTE_PTR out, CK_ULONG_PTR outLen);
    CK_RV C_DigestEncryptUpdate(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                                CK_ULONG_PTR outLen);
    CK_RV C_DecryptDigestUpdate(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                                CK_ULONG_PTR outLen);
    CK_RV C_SignEncryptUpdate(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out, CK_ULONG_PTR outLen);
    CK_RV C_DecryptVerifyUpdate(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                                CK_ULONG_PTR outLen);
    CK_RV C_GenerateKey(CK_MECHANISM_PTR m, CK_ATTRIBUTE_PTR t, CK_ULONG n,
                        CK_OBJECT_HANDLE_PTR key);
    CK_RV C_GenerateKeyPair(CK_MECHANISM_PTR m, CK_ATTRIBUTE_PTR pubT, CK_ULONG pubN,
                            CK_ATTRIBUTE_PTR privT, CK_ULONG privN, CK_OBJECT_HANDLE_PTR pub,
                            CK_OBJECT_HANDLE_PTR priv);
    CK_RV C_WrapKey(CK_MECHANISM_PTR m, CK_OBJECT_HANDLE wrapping, CK_OBJECT_HANDLE key,
                    CK_BYTE_PTR out, CK_ULONG_PTR outLen);
    CK_RV C_UnwrapKey(CK_MECHANISM_PTR m, CK_OBJECT_HANDLE unwrapping, CK_BYTE_PTR in,
                      CK_ULONG inLen, CK_ATTRIBUTE_PTR t, CK_ULONG n, CK_OBJECT_HANDLE_PTR key);
    CK_RV C_DeriveKey(CK_MECHANISM_PTR m, CK_OBJECT_HANDLE base, CK_ATTRIBUTE_PTR t, CK_ULONG n,
                      CK_OBJECT_HANDLE_PTR key);
    CK_RV C_SeedRandom(CK_BYTE_PTR seed, CK_ULONG len);
    CK_RV C_GenerateRandom(CK_BYTE_PTR out, CK_ULONG len);
    CK_RV C_GetFunctionStatus();
    CK_RV C_CancelFunction();

protected:
    // A temporary public key object for the record: its handle, or 0 with lastError set.
    CK_OBJECT_HANDLE createPublicKeyObject(KeyInfo* key);
    CK_OBJECT_HANDLE createObject(CK_ATTRIBUTE* attributes, CK_ULONG count);
    void destroyObject(CK_OBJECT_HANDLE* handle);
    // The DigestInfo encoding in workBuffer; false on no bytes.
    bool encodeDigestInfo(DigestInfo* digestInfo, unsigned char** bytes, unsigned long* len);
    DigestInfo* digestInfoOf(const unsigned char* digest, unsigned long len);
    // Signature bytes as the vendor wants them: a new array.
    unsigned char* signatureBytes(Signature* signature, unsigned long* len);
    // CK_TRUE for CKA_TOKEN in a read-write session, CK_FALSE in a read-only one.
    CK_BBOOL* persistent() const;
    // The handle of the first object that matches, or 0.
    CK_OBJECT_HANDLE findFirst(CK_ATTRIBUTE* attributes, CK_ULONG count);
    // The CKA_VALUE of an object, a new array, or null.
    unsigned char* valueOf(CK_OBJECT_HANDLE handle, unsigned long* len);
    bool verifyAt(Signature* signature, DigestInfo* digestInfo, const unsigned char* data,
                  unsigned long len, CK_OBJECT_HANDLE handle);

    unsigned long lastError;
    CryptoKi* cryptoKi;
    CK_SESSION_HANDLE session;
    CK_SLOT_ID* slotList;
    unsigned long slotCount;
    CK_INFO info;
    int vendor;
    unsigned char* objectLists[5];
    CK_MECHANISM digestMechanism;
    CK_MECHANISM signMechanism;
    CK_MECHANISM rawSignMechanism;
    CK_MECHANISM cryptMechanism;
    CK_MECHANISM cipherMechanism;
    unsigned char cipherIV[8];
    Buffer* workBuffer;
    unsigned char readObjectsOnOpen;
    unsigned char useDigestInfo;
    unsigned char des3Keys;
    unsigned long publicExponentMaxLen;
    CK_FLAGS sessionFlags;
    CK_OBJECT_HANDLE publicKeyHandle;
    CK_OBJECT_HANDLE privateKeyHandle;
    CK_OBJECT_HANDLE cipherKeyHandle;
    bool ownPublicKey, ownPrivateKey;
};

#endif
