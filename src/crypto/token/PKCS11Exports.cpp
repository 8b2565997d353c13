// The exported entry of the built-in token: a static CK_FUNCTION_LIST whose entries forward to
// the one process-wide PKCS11CryptoKi, made on first use. C_GetFunctionList and C_Initialize
// both make it, so that a caller who comes through either finds it.
#include <memory>

#include "crypto/token/PKCS11CryptoKi.h"

namespace {

std::unique_ptr<PKCS11CryptoKi>& theToken() {
    static std::unique_ptr<PKCS11CryptoKi> token;
    return token;
}

// The first use must happen on one thread: the object is made without a lock.
PKCS11CryptoKi* makeToken() {
    std::unique_ptr<PKCS11CryptoKi>& token = theToken();
    if (!token) token.reset(new PKCS11CryptoKi(PKCS11CryptoKi::slotPathsFromEnvironment()));
    return token.get();
}

CK_RV builtin_Initialize(CK_VOID_PTR args) {
    return makeToken()->C_Initialize(args);
}

CK_RV builtin_Finalize(CK_VOID_PTR reserved) {
    return PKCS11CryptoKi::instance()->C_Finalize(reserved);
}

CK_RV builtin_GetInfo(CK_INFO_PTR info) {
    return PKCS11CryptoKi::instance()->C_GetInfo(info);
}

CK_RV builtin_GetSlotList(CK_BBOOL tokenPresent, CK_SLOT_ID_PTR list, CK_ULONG_PTR count) {
    return PKCS11CryptoKi::instance()->C_GetSlotList(tokenPresent, list, count);
}

CK_RV builtin_GetSlotInfo(CK_SLOT_ID slot, CK_SLOT_INFO_PTR info) {
    return PKCS11CryptoKi::instance()->C_GetSlotInfo(slot, info);
}

CK_RV builtin_GetTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO_PTR info) {
    return PKCS11CryptoKi::instance()->C_GetTokenInfo(slot, info);
}

CK_RV builtin_GetMechanismList(CK_SLOT_ID slot, CK_MECHANISM_TYPE_PTR list, CK_ULONG_PTR count) {
    return PKCS11CryptoKi::instance()->C_GetMechanismList(slot, list, count);
}

CK_RV builtin_GetMechanismInfo(CK_SLOT_ID slot, CK_MECHANISM_TYPE type,
                               CK_MECHANISM_INFO_PTR info) {
    return PKCS11CryptoKi::instance()->C_GetMechanismInfo(slot, type, info);
}

CK_RV builtin_InitToken(CK_SLOT_ID slot, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen,
                        CK_UTF8CHAR_PTR label) {
    return PKCS11CryptoKi::instance()->C_InitToken(slot, pin, pinLen, label);
}

CK_RV builtin_InitPIN(CK_SESSION_HANDLE h, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
    return PKCS11CryptoKi::instance()->C_InitPIN(h, pin, pinLen);
}

CK_RV builtin_SetPIN(CK_SESSION_HANDLE h, CK_UTF8CHAR_PTR oldPin, CK_ULONG oldLen,
                     CK_UTF8CHAR_PTR newPin, CK_ULONG newLen) {
    return PKCS11CryptoKi::instance()->C_SetPIN(h, oldPin, oldLen, newPin, newLen);
}

CK_RV builtin_OpenSession(CK_SLOT_ID slot, CK_FLAGS flags, CK_VOID_PTR app, CK_NOTIFY notify,
                          CK_SESSION_HANDLE_PTR h) {
    return PKCS11CryptoKi::instance()->C_OpenSession(slot, flags, app, notify, h);
}

CK_RV builtin_CloseSession(CK_SESSION_HANDLE h) {
    return PKCS11CryptoKi::instance()->C_CloseSession(h);
}

CK_RV builtin_CloseAllSessions(CK_SLOT_ID slot) {
    return PKCS11CryptoKi::instance()->C_CloseAllSessions(slot);
}

CK_RV builtin_GetSessionInfo(CK_SESSION_HANDLE h, CK_SESSION_INFO_PTR info) {
    return PKCS11CryptoKi::instance()->C_GetSessionInfo(h, info);
}

CK_RV builtin_GetOperationState(CK_SESSION_HANDLE h, CK_BYTE_PTR state, CK_ULONG_PTR len) {
    return PKCS11CryptoKi::instance()->C_GetOperationState(h, state, len);
}

CK_RV builtin_SetOperationState(CK_SESSION_HANDLE h, CK_BYTE_PTR state, CK_ULONG len,
                                CK_OBJECT_HANDLE encKey, CK_OBJECT_HANDLE authKey) {
    return PKCS11CryptoKi::instance()->C_SetOperationState(h, state, len, encKey, authKey);
}

CK_RV builtin_Login(CK_SESSION_HANDLE h, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
    return PKCS11CryptoKi::instance()->C_Login(h, user, pin, pinLen);
}

CK_RV builtin_Logout(CK_SESSION_HANDLE h) {
    return PKCS11CryptoKi::instance()->C_Logout(h);
}

CK_RV builtin_CreateObject(CK_SESSION_HANDLE h, CK_ATTRIBUTE_PTR t, CK_ULONG n,
                           CK_OBJECT_HANDLE_PTR object) {
    return PKCS11CryptoKi::instance()->C_CreateObject(h, t, n, object);
}

CK_RV builtin_CopyObject(CK_SESSION_HANDLE h, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR t,
                         CK_ULONG n, CK_OBJECT_HANDLE_PTR copy) {
    return PKCS11CryptoKi::instance()->C_CopyObject(h, object, t, n, copy);
}

CK_RV builtin_DestroyObject(CK_SESSION_HANDLE h, CK_OBJECT_HANDLE object) {
    return PKCS11CryptoKi::instance()->C_DestroyObject(h, object);
}

CK_RV builtin_GetObjectSize(CK_SESSION_HANDLE h, CK_OBJECT_HANDLE object, CK_ULONG_PTR size) {
    return PKCS11CryptoKi::instance()->C_GetObjectSize(h, object, size);
}

CK_RV builtin_GetAttributeValue(CK_SESSION_HANDLE h, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR t,
                                CK_ULONG n) {
    return PKCS11CryptoKi::instance()->C_GetAttributeValue(h, object, t, n);
}

CK_RV builtin_SetAttributeValue(CK_SESSION_HANDLE h, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR t,
                                CK_ULONG n) {
    return PKCS11CryptoKi::instance()->C_SetAttributeValue(h, object, t, n);
}

CK_RV builtin_FindObjectsInit(CK_SESSION_HANDLE h, CK_ATTRIBUTE_PTR t, CK_ULONG n) {
    return PKCS11CryptoKi::instance()->C_FindObjectsInit(h, t, n);
}

CK_RV builtin_FindObjects(CK_SESSION_HANDLE h, CK_OBJECT_HANDLE_PTR list, CK_ULONG max,
                          CK_ULONG_PTR count) {
    return PKCS11CryptoKi::instance()->C_FindObjects(h, list, max, count);
}

CK_RV builtin_FindObjectsFinal(CK_SESSION_HANDLE h) {
    return PKCS11CryptoKi::instance()->C_FindObjectsFinal(h);
}

CK_RV builtin_EncryptInit(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key) {
    return PKCS11CryptoKi::instance()->C_EncryptInit(h, m, key);
}

CK_RV builtin_Encrypt(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                      CK_ULONG_PTR outLen) {
    return PKCS11CryptoKi::instance()->C_Encrypt(h, in, inLen, out, outLen);
}

CK_RV builtin_EncryptUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                            CK_ULONG_PTR outLen) {
    return PKCS11CryptoKi::instance()->C_EncryptUpdate(h, in, inLen, out, outLen);
}

CK_RV builtin_EncryptFinal(CK_SESSION_HANDLE h, CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return PKCS11CryptoKi::instance()->C_EncryptFinal(h, out, outLen);
}

CK_RV builtin_DecryptInit(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key) {
    return PKCS11CryptoKi::instance()->C_DecryptInit(h, m, key);
}

CK_RV builtin_Decrypt(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                      CK_ULONG_PTR outLen) {
    return PKCS11CryptoKi::instance()->C_Decrypt(h, in, inLen, out, outLen);
}

CK_RV builtin_DecryptUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                            CK_ULONG_PTR outLen) {
    return PKCS11CryptoKi::instance()->C_DecryptUpdate(h, in, inLen, out, outLen);
}

CK_RV builtin_DecryptFinal(CK_SESSION_HANDLE h, CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return PKCS11CryptoKi::instance()->C_DecryptFinal(h, out, outLen);
}

CK_RV builtin_DigestInit(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m) {
    return PKCS11CryptoKi::instance()->C_DigestInit(h, m);
}

CK_RV builtin_Digest(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                     CK_ULONG_PTR outLen) {
    return PKCS11CryptoKi::instance()->C_Digest(h, in, inLen, out, outLen);
}

CK_RV builtin_DigestUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen) {
    return PKCS11CryptoKi::instance()->C_DigestUpdate(h, in, inLen);
}

CK_RV builtin_DigestKey(CK_SESSION_HANDLE h, CK_OBJECT_HANDLE key) {
    return PKCS11CryptoKi::instance()->C_DigestKey(h, key);
}

CK_RV builtin_DigestFinal(CK_SESSION_HANDLE h, CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return PKCS11CryptoKi::instance()->C_DigestFinal(h, out, outLen);
}

CK_RV builtin_SignInit(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key) {
    return PKCS11CryptoKi::instance()->C_SignInit(h, m, key);
}

CK_RV builtin_Sign(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR sig,
                   CK_ULONG_PTR sigLen) {
    return PKCS11CryptoKi::instance()->C_Sign(h, in, inLen, sig, sigLen);
}

CK_RV builtin_SignUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen) {
    return PKCS11CryptoKi::instance()->C_SignUpdate(h, in, inLen);
}

CK_RV builtin_SignFinal(CK_SESSION_HANDLE h, CK_BYTE_PTR sig, CK_ULONG_PTR sigLen) {
    return PKCS11CryptoKi::instance()->C_SignFinal(h, sig, sigLen);
}

CK_RV builtin_SignRecoverInit(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key) {
    return PKCS11CryptoKi::instance()->C_SignRecoverInit(h, m, key);
}

CK_RV builtin_SignRecover(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR sig,
                          CK_ULONG_PTR sigLen) {
    return PKCS11CryptoKi::instance()->C_SignRecover(h, in, inLen, sig, sigLen);
}

CK_RV builtin_VerifyInit(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key) {
    return PKCS11CryptoKi::instance()->C_VerifyInit(h, m, key);
}

CK_RV builtin_Verify(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR sig,
                     CK_ULONG sigLen) {
    return PKCS11CryptoKi::instance()->C_Verify(h, in, inLen, sig, sigLen);
}

CK_RV builtin_VerifyUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen) {
    return PKCS11CryptoKi::instance()->C_VerifyUpdate(h, in, inLen);
}

CK_RV builtin_VerifyFinal(CK_SESSION_HANDLE h, CK_BYTE_PTR sig, CK_ULONG sigLen) {
    return PKCS11CryptoKi::instance()->C_VerifyFinal(h, sig, sigLen);
}

CK_RV builtin_VerifyRecoverInit(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key) {
    return PKCS11CryptoKi::instance()->C_VerifyRecoverInit(h, m, key);
}

CK_RV builtin_VerifyRecover(CK_SESSION_HANDLE h, CK_BYTE_PTR sig, CK_ULONG sigLen, CK_BYTE_PTR out,
                            CK_ULONG_PTR outLen) {
    return PKCS11CryptoKi::instance()->C_VerifyRecover(h, sig, sigLen, out, outLen);
}

CK_RV builtin_DigestEncryptUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen,
                                  CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return PKCS11CryptoKi::instance()->C_DigestEncryptUpdate(h, in, inLen, out, outLen);
}

CK_RV builtin_DecryptDigestUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen,
                                  CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return PKCS11CryptoKi::instance()->C_DecryptDigestUpdate(h, in, inLen, out, outLen);
}

CK_RV builtin_SignEncryptUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen,
                                CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return PKCS11CryptoKi::instance()->C_SignEncryptUpdate(h, in, inLen, out, outLen);
}

CK_RV builtin_DecryptVerifyUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen,
                                  CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return PKCS11CryptoKi::instance()->C_DecryptVerifyUpdate(h, in, inLen, out, outLen);
}

CK_RV builtin_GenerateKey(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_ATTRIBUTE_PTR t, CK_ULONG n,
                          CK_OBJECT_HANDLE_PTR key) {
    return PKCS11CryptoKi::instance()->C_GenerateKey(h, m, t, n, key);
}

CK_RV builtin_GenerateKeyPair(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_ATTRIBUTE_PTR pubT,
                              CK_ULONG pubN, CK_ATTRIBUTE_PTR privT, CK_ULONG privN,
                              CK_OBJECT_HANDLE_PTR pub, CK_OBJECT_HANDLE_PTR priv) {
    return PKCS11CryptoKi::instance()->C_GenerateKeyPair(h, m, pubT, pubN, privT, privN, pub, priv);
}

CK_RV builtin_WrapKey(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE wrapping,
                      CK_OBJECT_HANDLE key, CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return PKCS11CryptoKi::instance()->C_WrapKey(h, m, wrapping, key, out, outLen);
}

CK_RV builtin_UnwrapKey(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE unwrapping,
                        CK_BYTE_PTR in, CK_ULONG inLen, CK_ATTRIBUTE_PTR t, CK_ULONG n,
                        CK_OBJECT_HANDLE_PTR key) {
    return PKCS11CryptoKi::instance()->C_UnwrapKey(h, m, unwrapping, in, inLen, t, n, key);
}

CK_RV builtin_DeriveKey(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE base,
                        CK_ATTRIBUTE_PTR t, CK_ULONG n, CK_OBJECT_HANDLE_PTR key) {
    return PKCS11CryptoKi::instance()->C_DeriveKey(h, m, base, t, n, key);
}

CK_RV builtin_SeedRandom(CK_SESSION_HANDLE h, CK_BYTE_PTR seed, CK_ULONG len) {
    return PKCS11CryptoKi::instance()->C_SeedRandom(h, seed, len);
}

CK_RV builtin_GenerateRandom(CK_SESSION_HANDLE h, CK_BYTE_PTR out, CK_ULONG len) {
    return PKCS11CryptoKi::instance()->C_GenerateRandom(h, out, len);
}

CK_RV builtin_GetFunctionStatus(CK_SESSION_HANDLE h) {
    return PKCS11CryptoKi::instance()->C_GetFunctionStatus(h);
}

CK_RV builtin_CancelFunction(CK_SESSION_HANDLE h) {
    return PKCS11CryptoKi::instance()->C_CancelFunction(h);
}

CK_RV builtin_WaitForSlotEvent(CK_FLAGS flags, CK_SLOT_ID_PTR slot, CK_VOID_PTR reserved) {
    return PKCS11CryptoKi::instance()->C_WaitForSlotEvent(flags, slot, reserved);
}

CK_FUNCTION_LIST functionList = {{2, 0},
                                 builtin_Initialize,
                                 builtin_Finalize,
                                 builtin_GetInfo,
                                 C_GetFunctionList,
                                 builtin_GetSlotList,
                                 builtin_GetSlotInfo,
                                 builtin_GetTokenInfo,
                                 builtin_GetMechanismList,
                                 builtin_GetMechanismInfo,
                                 builtin_InitToken,
                                 builtin_InitPIN,
                                 builtin_SetPIN,
                                 builtin_OpenSession,
                                 builtin_CloseSession,
                                 builtin_CloseAllSessions,
                                 builtin_GetSessionInfo,
                                 builtin_GetOperationState,
                                 builtin_SetOperationState,
                                 builtin_Login,
                                 builtin_Logout,
                                 builtin_CreateObject,
                                 builtin_CopyObject,
                                 builtin_DestroyObject,
                                 builtin_GetObjectSize,
                                 builtin_GetAttributeValue,
                                 builtin_SetAttributeValue,
                                 builtin_FindObjectsInit,
                                 builtin_FindObjects,
                                 builtin_FindObjectsFinal,
                                 builtin_EncryptInit,
                                 builtin_Encrypt,
                                 builtin_EncryptUpdate,
                                 builtin_EncryptFinal,
                                 builtin_DecryptInit,
                                 builtin_Decrypt,
                                 builtin_DecryptUpdate,
                                 builtin_DecryptFinal,
                                 builtin_DigestInit,
                                 builtin_Digest,
                                 builtin_DigestUpdate,
                                 builtin_DigestKey,
                                 builtin_DigestFinal,
                                 builtin_SignInit,
                                 builtin_Sign,
                                 builtin_SignUpdate,
                                 builtin_SignFinal,
                                 builtin_SignRecoverInit,
                                 builtin_SignRecover,
                                 builtin_VerifyInit,
                                 builtin_Verify,
                                 builtin_VerifyUpdate,
                                 builtin_VerifyFinal,
                                 builtin_VerifyRecoverInit,
                                 builtin_VerifyRecover,
                                 builtin_DigestEncryptUpdate,
                                 builtin_DecryptDigestUpdate,
                                 builtin_SignEncryptUpdate,
                                 builtin_DecryptVerifyUpdate,
                                 builtin_GenerateKey,
                                 builtin_GenerateKeyPair,
                                 builtin_WrapKey,
                                 builtin_UnwrapKey,
                                 builtin_DeriveKey,
                                 builtin_SeedRandom,
                                 builtin_GenerateRandom,
                                 builtin_GetFunctionStatus,
                                 builtin_CancelFunction,
                                 builtin_WaitForSlotEvent};

}  // namespace

PKCS11CryptoKi* PKCS11CryptoKi::instance() {
    return makeToken();
}

extern "C" __attribute__((visibility("default"))) CK_RV C_GetFunctionList(
    CK_FUNCTION_LIST_PTR_PTR ppFunctionList) {
    if (ppFunctionList == nullptr) return CKR_ARGUMENTS_BAD;
    PKCS11CryptoKi* token = makeToken();
    *ppFunctionList = &functionList;
    return token->C_GetFunctionList(ppFunctionList);
}
