// CryptoKi: a thin wrapper around a PKCS#11 function table, so that CryptoDevice works the same
// on the built-in token and on any PKCS#11 module loaded at run time. It also names the
// interface's values: Italian texts for the return values, short names for mechanisms, and the
// words for flags, states and types.
#ifndef SIGILO_CRYPTO_CRYPTOKI_H
#define SIGILO_CRYPTO_CRYPTOKI_H

#include "crypto/token/pkcs11.h"

class CryptoKi {
public:
    // Binds the built-in token through the library's own C_GetFunctionList.
    CryptoKi();
    // Binds the module at the path; on failure the table stays null and dlerror() is printed.
    explicit CryptoKi(const char* path);
    ~CryptoKi();
    CryptoKi(const CryptoKi&) = delete;
    CryptoKi& operator=(const CryptoKi&) = delete;

    // C_Initialize with the flag CKF_OS_LOCKING_OK and nothing else.
    CK_RV init();
    CK_FUNCTION_LIST* getFunctionList() const { return functionList; }

    // One method per function of the table, with the same arguments. With no module bound
    // they answer CKR_CRYPTOKI_NOT_INITIALIZED.
    CK_RV C_Initialize(CK_VOID_PTR args);
    CK_RV C_Finalize(CK_VOID_PTR reserved);
    CK_RV C_GetInfo(CK_INFO_PTR info);
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

    // Names, each a new string the caller deletes.
    // An Italian text for a return value (80 bytes).
    static char* getErrorMessage(unsigned long rv);
    // The short name of a mechanism (40 bytes).
    static char* getMechanismName(unsigned long mechanism);
    // Flag words joined by " | ", or "" when none is set.
    static char* getSlotInfoFlags(unsigned long flags);
    static char* getTokenInfoFlags(unsigned long flags);
    static char* getMechanismInfoFlags(unsigned long flags);
    static char* getSessionFlags(unsigned long flags);
    static char* getSessionState(unsigned long state);
    static char* getKeyType(unsigned long type);
    static char* getCertType(unsigned long type);

private:
    CK_FUNCTION_LIST* functionList;
    void* libraryHandle;
};

#endif
