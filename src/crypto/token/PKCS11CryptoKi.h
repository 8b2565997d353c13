// PKCS11CryptoKi: the built-in token, a PKCS#11 module in one class.
//
// Slot 0 is a virtual token in memory that needs no login: the verification engine keeps its
// temporary public keys there. Slots 1 to 4 exist when the module is given file paths; each
// is a token file with a header, a directory and one 4096-byte block per object, its private
// objects enciphered under a master key that only the user PIN opens.
//
// Limits are fixed: 4 sessions (handles 1 to 4), 40 objects (handles 1 to 40) across all
// slots, 3 PIN tries. The class has no locks: calls must not overlap.
#ifndef SIGILO_CRYPTO_TOKEN_PKCS11CRYPTOKI_H
#define SIGILO_CRYPTO_TOKEN_PKCS11CRYPTOKI_H

#include <memory>
#include <string>
#include <vector>

#include "crypto/token/pkcs11.h"

class DES3Key;
class PKCS11Object;
class SystemRandomGenerator;
struct TokenSession;

class PKCS11CryptoKi {
public:
    static constexpr CK_ULONG kMaxSlots = 5;
    static constexpr CK_ULONG kMaxSessions = 4;
    static constexpr CK_ULONG kMaxObjects = 40;
    static constexpr CK_ULONG kMaxMechanisms = 40;
    static constexpr unsigned int kBlockSize = 4096;
    static constexpr unsigned int kHeaderSize = 188;
    static constexpr unsigned int kEntrySize = 40;
    // Directory entries behind the header in the first block, entry 0 included.
    static constexpr unsigned int kMaxEntries = (kBlockSize - kHeaderSize) / kEntrySize;
    static constexpr unsigned char kMaxPinTries = 3;
    static constexpr unsigned long kMaxPinLen = 64;

    // One disk slot per path, at most four.
    PKCS11CryptoKi(const std::vector<std::string>& paths);
    ~PKCS11CryptoKi();
    PKCS11CryptoKi(const PKCS11CryptoKi&) = delete;
    PKCS11CryptoKi& operator=(const PKCS11CryptoKi&) = delete;

    // The process-wide token behind the exported table, made on first use with the paths
    // from PKCS11SLOT.
    static PKCS11CryptoKi* instance();
    // The paths that PKCS11SLOT names: its value followed by "01" to "04", or none.
    static std::vector<std::string> slotPathsFromEnvironment();

    CK_RV C_Initialize(CK_VOID_PTR args);
    CK_RV C_Finalize(CK_VOID_PTR reserved);
    CK_RV C_GetInfo(CK_INFO_PTR info);
    CK_RV C_GetFunctionList(CK_FUNCTION_LIST_PTR_PTR list);
    CK_RV C_GetSlotList(CK_BBOOL tokenPresent, CK_SLOT_ID_PTR list, CK_ULONG_PTR count);
    CK_RV C_GetSlotInfo(CK_SLOT_ID slot, CK_SLOT_INFO_PTR info);
    CK_RV C_GetTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO_PTR info);
    CK_RV C_GetMechanismList(CK_SLOT_ID slot, CK_MECHANISM_TYPE_PTR list, CK_ULONG_PTR count);
    CK_RV C_GetMechanismInfo(CK_SLOT_ID slot, CK_MECHANISM_TYPE type, CK_MECHANISM_INFO_PTR info);
    CK_RV C_InitToken(CK_SLOT_ID slot, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen, CK_UTF8CHAR_PTR label);
    CK_RV C_InitPIN(CK_SESSION_HANDLE h, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen);
    CK_RV C_SetPIN(CK_SESSION_HANDLE h, CK_UTF8CHAR_PTR oldPin, CK_ULONG oldLen,
                   CK_UTF8CHAR_PTR newPin, CK_ULONG newLen);
    CK_RV C_OpenSession(CK_SLOT_ID slot, CK_FLAGS flags, CK_VOID_PTR app, CK_NOTIFY notify,
                        CK_SESSION_HANDLE_PTR h);
    CK_RV C_CloseSession(CK_SESSION_HANDLE h);
    CK_RV C_CloseAllSessions(CK_SLOT_ID slot);
    CK_RV C_GetSessionInfo(CK_SESSION_HANDLE h, CK_SESSION_INFO_PTR info);
    CK_RV C_GetOperationState(CK_SESSION_HANDLE h, CK_BYTE_PTR state, CK_ULONG_PTR len);
    CK_RV C_SetOperationState(CK_SESSION_HANDLE h, CK_BYTE_PTR state, CK_ULONG len,
                              CK_OBJECT_HANDLE encKey, CK_OBJECT_HANDLE authKey);
    CK_RV C_Login(CK_SESSION_HANDLE h, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen);
    CK_RV C_Logout(CK_SESSION_HANDLE h);
    CK_RV C_CreateObject(CK_SESSION_HANDLE h, CK_ATTRIBUTE_PTR t, CK_ULONG n,
                         CK_OBJECT_HANDLE_PTR object);
    CK_RV C_CopyObject(CK_SESSION_HANDLE h, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR t, CK_ULONG n,
                       CK_OBJECT_HANDLE_PTR copy);
    CK_RV C_DestroyObject(CK_SESSION_HANDLE h, CK_OBJECT_HANDLE object);
    CK_RV C_GetObjectSize(CK_SESSION_HANDLE h, CK_OBJECT_HANDLE object, CK_ULONG_PTR size);
    CK_RV C_GetAttributeValue(CK_SESSION_HANDLE h, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR t,
                              CK_ULONG n);
    CK_RV C_SetAttributeValue(CK_SESSION_HANDLE h, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR t,
                              CK_ULONG n);
    CK_RV C_FindObjectsInit(CK_SESSION_HANDLE h, CK_ATTRIBUTE_PTR t, CK_ULONG n);
    CK_RV C_FindObjects(CK_SESSION_HANDLE h, CK_OBJECT_HANDLE_PTR list, CK_ULONG max,
                        CK_ULONG_PTR count);
    CK_RV C_FindObjectsFinal(CK_SESSION_HANDLE h);
    CK_RV C_EncryptInit(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key);
    CK_RV C_Encrypt(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                    CK_ULONG_PTR outLen);
    CK_RV C_EncryptUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                          CK_ULONG_PTR outLen);
    CK_RV C_EncryptFinal(CK_SESSION_HANDLE h, CK_BYTE_PTR out, CK_ULONG_PTR outLen);
    CK_RV C_DecryptInit(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key);
    CK_RV C_Decrypt(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                    CK_ULONG_PTR outLen);
    CK_RV C_DecryptUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                          CK_ULONG_PTR outLen);
    CK_RV C_DecryptFinal(CK_SESSION_HANDLE h, CK_BYTE_PTR out, CK_ULONG_PTR outLen);
    CK_RV C_DigestInit(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m);
    CK_RV C_Digest(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                   CK_ULONG_PTR outLen);
    CK_RV C_DigestUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen);
    CK_RV C_DigestKey(CK_SESSION_HANDLE h, CK_OBJECT_HANDLE key);
    CK_RV C_DigestFinal(CK_SESSION_HANDLE h, CK_BYTE_PTR out, CK_ULONG_PTR outLen);
    CK_RV C_SignInit(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key);
    CK_RV C_Sign(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR sig,
                 CK_ULONG_PTR sigLen);
    CK_RV C_SignUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen);
    CK_RV C_SignFinal(CK_SESSION_HANDLE h, CK_BYTE_PTR sig, CK_ULONG_PTR sigLen);
    CK_RV C_SignRecoverInit(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key);
    CK_RV C_SignRecover(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR sig,
                        CK_ULONG_PTR sigLen);
    CK_RV C_VerifyInit(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key);
    CK_RV C_Verify(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR sig,
                   CK_ULONG sigLen);
    CK_RV C_VerifyUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen);
    CK_RV C_VerifyFinal(CK_SESSION_HANDLE h, CK_BYTE_PTR sig, CK_ULONG sigLen);
    CK_RV C_VerifyRecoverInit(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key);
    CK_RV C_VerifyRecover(CK_SESSION_HANDLE h, CK_BYTE_PTR sig, CK_ULONG sigLen, CK_BYTE_PTR out,
                          CK_ULONG_PTR outLen);
    CK_RV C_DigestEncryptUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen,
                                CK_BYTE_PTR out, CK_ULONG_PTR outLen);
    CK_RV C_DecryptDigestUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen,
                                CK_BYTE_PTR out, CK_ULONG_PTR outLen);
    CK_RV C_SignEncryptUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                              CK_ULONG_PTR outLen);
    CK_RV C_DecryptVerifyUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen,
                                CK_BYTE_PTR out, CK_ULONG_PTR outLen);
    CK_RV C_GenerateKey(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_ATTRIBUTE_PTR t, CK_ULONG n,
                        CK_OBJECT_HANDLE_PTR key);
    CK_RV C_GenerateKeyPair(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_ATTRIBUTE_PTR pubT,
                            CK_ULONG pubN, CK_ATTRIBUTE_PTR privT, CK_ULONG privN,
                            CK_OBJECT_HANDLE_PTR pub, CK_OBJECT_HANDLE_PTR priv);
    CK_RV C_WrapKey(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE wrapping,
                    CK_OBJECT_HANDLE key, CK_BYTE_PTR out, CK_ULONG_PTR outLen);
    CK_RV C_UnwrapKey(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE unwrapping,
                      CK_BYTE_PTR in, CK_ULONG inLen, CK_ATTRIBUTE_PTR t, CK_ULONG n,
                      CK_OBJECT_HANDLE_PTR key);
    CK_RV C_DeriveKey(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE base,
                      CK_ATTRIBUTE_PTR t, CK_ULONG n, CK_OBJECT_HANDLE_PTR key);
    CK_RV C_SeedRandom(CK_SESSION_HANDLE h, CK_BYTE_PTR seed, CK_ULONG len);
    CK_RV C_GenerateRandom(CK_SESSION_HANDLE h, CK_BYTE_PTR out, CK_ULONG len);
    CK_RV C_GetFunctionStatus(CK_SESSION_HANDLE h);
    CK_RV C_CancelFunction(CK_SESSION_HANDLE h);
    CK_RV C_WaitForSlotEvent(CK_FLAGS flags, CK_SLOT_ID_PTR slot, CK_VOID_PTR reserved);

    // The number of live objects, on all slots (for tests of the limits).
    CK_ULONG getObjectCount() const;

private:
    struct Slot {
        bool headerLoaded = false;
        bool objectsLoaded = false;
        std::string path;
        unsigned char soFailures = 0;
        unsigned char userFailures = 0;
        // Who is logged in: CKU_SO, CKU_USER, or none.
        CK_USER_TYPE loggedIn = CK_UNAVAILABLE_INFORMATION;
        unsigned char header[kHeaderSize] = {};
        std::unique_ptr<DES3Key> masterKey;
    };

    // ---- Slots, sessions and objects ----
    bool isDiskSlot(CK_SLOT_ID slot) const { return slot > 0 && slot < slotCount; }
    CK_RV sessionOf(CK_SESSION_HANDLE h, TokenSession** s);
    CK_STATE stateOf(const TokenSession* s) const;
    CK_ULONG sessionsOn(CK_SLOT_ID slot, bool readWriteOnly) const;
    void closeSession(CK_SESSION_HANDLE h);
    // The object if the session may see it: its slot, and login for a private disk object.
    PKCS11Object* visibleObject(const TokenSession* s, CK_OBJECT_HANDLE h) const;
    CK_RV newHandle(CK_OBJECT_HANDLE* h) const;
    CK_RV addObject(TokenSession* s, std::unique_ptr<PKCS11Object> o, CK_OBJECT_HANDLE* h);
    void dropObject(CK_OBJECT_HANDLE h);
    void dropSlotObjects(CK_SLOT_ID slot);
    void logoutSlot(CK_SLOT_ID slot);

    // ---- Token files ----
    CK_RV ReadHeader(CK_SLOT_ID slot);
    CK_RV WriteHeader(CK_SLOT_ID slot);
    CK_RV LoadTokenObjects(CK_SLOT_ID slot);
    CK_RV RefreshMFile(CK_SLOT_ID slot, std::vector<unsigned char>* block);
    CK_RV DumpOnToken(CK_SLOT_ID slot, PKCS11Object* o);
    CK_RV WriteOn(CK_SLOT_ID slot, PKCS11Object* o);
    // Sets the object's offset to a whole block that overlaps no other entry's image.
    CK_RV placeImage(CK_SLOT_ID slot, PKCS11Object* o);
    CK_RV DeleteFrom(CK_SLOT_ID slot, PKCS11Object* o);
    CK_RV writeEntry(CK_SLOT_ID slot, unsigned int entry, const unsigned char* bytes);
    bool decipherObject(CK_SLOT_ID slot, PKCS11Object* o);
    CK_FLAGS tokenFlags(CK_SLOT_ID slot) const;
    void setTokenFlags(CK_SLOT_ID slot, CK_FLAGS flags);
    void pinParameterSalt(CK_SLOT_ID slot, unsigned char* salt) const;
    CK_RV loginSO(CK_SLOT_ID slot, const unsigned char* pin, CK_ULONG len);
    CK_RV loginUser(CK_SLOT_ID slot, const unsigned char* pin, CK_ULONG len);
    void countFailure(CK_SLOT_ID slot, CK_USER_TYPE user);

    // ---- Operations ----
    CK_RV keyForOperation(TokenSession* s, CK_OBJECT_HANDLE key, CK_ATTRIBUTE_TYPE use,
                          PKCS11Object** o);
    CK_RV rsaSign(TokenSession* s, const unsigned char* in, CK_ULONG inLen,
                  std::vector<unsigned char>* out);
    CK_RV rsaVerify(TokenSession* s, const unsigned char* in, CK_ULONG inLen,
                    const unsigned char* sig, CK_ULONG sigLen);
    CK_RV cipher(TokenSession* s, bool encrypt, const unsigned char* in, CK_ULONG inLen,
                 std::vector<unsigned char>* out);

    bool initialized;
    int initCount;
    CK_ULONG slotCount;
    Slot slots[kMaxSlots];
    std::unique_ptr<TokenSession> sessions[kMaxSessions + 1];
    PKCS11Object* objects[kMaxObjects + 1];
    std::unique_ptr<SystemRandomGenerator> generator;
    std::vector<unsigned char> workArea;
};

#endif
