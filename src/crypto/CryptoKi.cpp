#include "crypto/CryptoKi.h"

#include <dlfcn.h>

#include <cstdio>

CryptoKi::CryptoKi() : functionList(nullptr), libraryHandle(nullptr) {
    if (::C_GetFunctionList(&functionList) != CKR_OK) functionList = nullptr;
}

CryptoKi::CryptoKi(const char* path) : functionList(nullptr), libraryHandle(nullptr) {
    if (path == nullptr) return;
    libraryHandle = dlopen(path, RTLD_LAZY);
    if (libraryHandle == nullptr) {
        const char* why = dlerror();
        printf("\n%s\n", why != nullptr ? why : path);
        return;
    }
    auto get = reinterpret_cast<CK_C_GetFunctionList>(dlsym(libraryHandle, "C_GetFunctionList"));
    if (get == nullptr || get(&functionList) != CKR_OK) functionList = nullptr;
}

// The library stays loaded: a module may have left handlers or threads that outlive us.
CryptoKi::~CryptoKi() {
    if (functionList != nullptr) functionList->C_Finalize(nullptr);
}

CK_RV CryptoKi::init() {
    CK_C_INITIALIZE_ARGS args = {};
    args.flags = CKF_OS_LOCKING_OK;
    return C_Initialize(&args);
}

CK_RV CryptoKi::C_Initialize(CK_VOID_PTR args) {
    return functionList != nullptr ? functionList->C_Initialize(args)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_Finalize(CK_VOID_PTR reserved) {
    return functionList != nullptr ? functionList->C_Finalize(reserved)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_GetInfo(CK_INFO_PTR info) {
    return functionList != nullptr ? functionList->C_GetInfo(info) : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_GetSlotList(CK_BBOOL tokenPresent, CK_SLOT_ID_PTR list, CK_ULONG_PTR count) {
    return functionList != nullptr ? functionList->C_GetSlotList(tokenPresent, list, count)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_GetSlotInfo(CK_SLOT_ID slot, CK_SLOT_INFO_PTR info) {
    return functionList != nullptr ? functionList->C_GetSlotInfo(slot, info)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_GetTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO_PTR info) {
    return functionList != nullptr ? functionList->C_GetTokenInfo(slot, info)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_GetMechanismList(CK_SLOT_ID slot, CK_MECHANISM_TYPE_PTR list,
                                   CK_ULONG_PTR count) {
    return functionList != nullptr ? functionList->C_GetMechanismList(slot, list, count)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_GetMechanismInfo(CK_SLOT_ID slot, CK_MECHANISM_TYPE type,
                                   CK_MECHANISM_INFO_PTR info) {
    return functionList != nullptr ? functionList->C_GetMechanismInfo(slot, type, info)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_InitToken(CK_SLOT_ID slot, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen,
                            CK_UTF8CHAR_PTR label) {
    return functionList != nullptr ? functionList->C_InitToken(slot, pin, pinLen, label)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_InitPIN(CK_SESSION_HANDLE h, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
    return functionList != nullptr ? functionList->C_InitPIN(h, pin, pinLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_SetPIN(CK_SESSION_HANDLE h, CK_UTF8CHAR_PTR oldPin, CK_ULONG oldLen,
                         CK_UTF8CHAR_PTR newPin, CK_ULONG newLen) {
    return functionList != nullptr ? functionList->C_SetPIN(h, oldPin, oldLen, newPin, newLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_OpenSession(CK_SLOT_ID slot, CK_FLAGS flags, CK_VOID_PTR app, CK_NOTIFY notify,
                              CK_SESSION_HANDLE_PTR h) {
    return functionList != nullptr ? functionList->C_OpenSession(slot, flags, app, notify, h)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_CloseSession(CK_SESSION_HANDLE h) {
    return functionList != nullptr ? functionList->C_CloseSession(h) : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_CloseAllSessions(CK_SLOT_ID slot) {
    return functionList != nullptr ? functionList->C_CloseAllSessions(slot)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_GetSessionInfo(CK_SESSION_HANDLE h, CK_SESSION_INFO_PTR info) {
    return functionList != nullptr ? functionList->C_GetSessionInfo(h, info)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_GetOperationState(CK_SESSION_HANDLE h, CK_BYTE_PTR state, CK_ULONG_PTR len) {
    return functionList != nullptr ? functionList->C_GetOperationState(h, state, len)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_SetOperationState(CK_SESSION_HANDLE h, CK_BYTE_PTR state, CK_ULONG len,
                                    CK_OBJECT_HANDLE encKey, CK_OBJECT_HANDLE authKey) {
    return functionList != nullptr
               ? functionList->C_SetOperationState(h, state, len, encKey, authKey)
               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_Login(CK_SESSION_HANDLE h, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin,
                        CK_ULONG pinLen) {
    return functionList != nullptr ? functionList->C_Login(h, user, pin, pinLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_Logout(CK_SESSION_HANDLE h) {
    return functionList != nullptr ? functionList->C_Logout(h) : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_CreateObject(CK_SESSION_HANDLE h, CK_ATTRIBUTE_PTR t, CK_ULONG n,
                               CK_OBJECT_HANDLE_PTR object) {
    return functionList != nullptr ? functionList->C_CreateObject(h, t, n, object)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_CopyObject(CK_SESSION_HANDLE h, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR t,
                             CK_ULONG n, CK_OBJECT_HANDLE_PTR copy) {
    return functionList != nullptr ? functionList->C_CopyObject(h, object, t, n, copy)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_DestroyObject(CK_SESSION_HANDLE h, CK_OBJECT_HANDLE object) {
    return functionList != nullptr ? functionList->C_DestroyObject(h, object)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_GetObjectSize(CK_SESSION_HANDLE h, CK_OBJECT_HANDLE object, CK_ULONG_PTR size) {
    return functionList != nullptr ? functionList->C_GetObjectSize(h, object, size)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_GetAttributeValue(CK_SESSION_HANDLE h, CK_OBJECT_HANDLE object,
                                    CK_ATTRIBUTE_PTR t, CK_ULONG n) {
    return functionList != nullptr ? functionList->C_GetAttributeValue(h, object, t, n)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_SetAttributeValue(CK_SESSION_HANDLE h, CK_OBJECT_HANDLE object,
                                    CK_ATTRIBUTE_PTR t, CK_ULONG n) {
    return functionList != nullptr ? functionList->C_SetAttributeValue(h, object, t, n)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_FindObjectsInit(CK_SESSION_HANDLE h, CK_ATTRIBUTE_PTR t, CK_ULONG n) {
    return functionList != nullptr ? functionList->C_FindObjectsInit(h, t, n)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_FindObjects(CK_SESSION_HANDLE h, CK_OBJECT_HANDLE_PTR list, CK_ULONG max,
                              CK_ULONG_PTR count) {
    return functionList != nullptr ? functionList->C_FindObjects(h, list, max, count)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_FindObjectsFinal(CK_SESSION_HANDLE h) {
    return functionList != nullptr ? functionList->C_FindObjectsFinal(h)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_EncryptInit(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key) {
    return functionList != nullptr ? functionList->C_EncryptInit(h, m, key)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_Encrypt(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                          CK_ULONG_PTR outLen) {
    return functionList != nullptr ? functionList->C_Encrypt(h, in, inLen, out, outLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_EncryptUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen,
                                CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return functionList != nullptr ? functionList->C_EncryptUpdate(h, in, inLen, out, outLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_EncryptFinal(CK_SESSION_HANDLE h, CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return functionList != nullptr ? functionList->C_EncryptFinal(h, out, outLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_DecryptInit(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key) {
    return functionList != nullptr ? functionList->C_DecryptInit(h, m, key)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_Decrypt(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                          CK_ULONG_PTR outLen) {
    return functionList != nullptr ? functionList->C_Decrypt(h, in, inLen, out, outLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_DecryptUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen,
                                CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return functionList != nullptr ? functionList->C_DecryptUpdate(h, in, inLen, out, outLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_DecryptFinal(CK_SESSION_HANDLE h, CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return functionList != nullptr ? functionList->C_DecryptFinal(h, out, outLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_DigestInit(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m) {
    return functionList != nullptr ? functionList->C_DigestInit(h, m)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_Digest(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                         CK_ULONG_PTR outLen) {
    return functionList != nullptr ? functionList->C_Digest(h, in, inLen, out, outLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_DigestUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen) {
    return functionList != nullptr ? functionList->C_DigestUpdate(h, in, inLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_DigestKey(CK_SESSION_HANDLE h, CK_OBJECT_HANDLE key) {
    return functionList != nullptr ? functionList->C_DigestKey(h, key)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_DigestFinal(CK_SESSION_HANDLE h, CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return functionList != nullptr ? functionList->C_DigestFinal(h, out, outLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_SignInit(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key) {
    return functionList != nullptr ? functionList->C_SignInit(h, m, key)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_Sign(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR sig,
                       CK_ULONG_PTR sigLen) {
    return functionList != nullptr ? functionList->C_Sign(h, in, inLen, sig, sigLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_SignUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen) {
    return functionList != nullptr ? functionList->C_SignUpdate(h, in, inLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_SignFinal(CK_SESSION_HANDLE h, CK_BYTE_PTR sig, CK_ULONG_PTR sigLen) {
    return functionList != nullptr ? functionList->C_SignFinal(h, sig, sigLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_SignRecoverInit(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key) {
    return functionList != nullptr ? functionList->C_SignRecoverInit(h, m, key)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_SignRecover(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR sig,
                              CK_ULONG_PTR sigLen) {
    return functionList != nullptr ? functionList->C_SignRecover(h, in, inLen, sig, sigLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_VerifyInit(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key) {
    return functionList != nullptr ? functionList->C_VerifyInit(h, m, key)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_Verify(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR sig,
                         CK_ULONG sigLen) {
    return functionList != nullptr ? functionList->C_Verify(h, in, inLen, sig, sigLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_VerifyUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen) {
    return functionList != nullptr ? functionList->C_VerifyUpdate(h, in, inLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_VerifyFinal(CK_SESSION_HANDLE h, CK_BYTE_PTR sig, CK_ULONG sigLen) {
    return functionList != nullptr ? functionList->C_VerifyFinal(h, sig, sigLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_VerifyRecoverInit(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key) {
    return functionList != nullptr ? functionList->C_VerifyRecoverInit(h, m, key)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_VerifyRecover(CK_SESSION_HANDLE h, CK_BYTE_PTR sig, CK_ULONG sigLen,
                                CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return functionList != nullptr ? functionList->C_VerifyRecover(h, sig, sigLen, out, outLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_DigestEncryptUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen,
                                      CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return functionList != nullptr ? functionList->C_DigestEncryptUpdate(h, in, inLen, out, outLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_DecryptDigestUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen,
                                      CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return functionList != nullptr ? functionList->C_DecryptDigestUpdate(h, in, inLen, out, outLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_SignEncryptUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen,
                                    CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return functionList != nullptr ? functionList->C_SignEncryptUpdate(h, in, inLen, out, outLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_DecryptVerifyUpdate(CK_SESSION_HANDLE h, CK_BYTE_PTR in, CK_ULONG inLen,
                                      CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return functionList != nullptr ? functionList->C_DecryptVerifyUpdate(h, in, inLen, out, outLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_GenerateKey(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_ATTRIBUTE_PTR t,
                              CK_ULONG n, CK_OBJECT_HANDLE_PTR key) {
    return functionList != nullptr ? functionList->C_GenerateKey(h, m, t, n, key)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_GenerateKeyPair(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_ATTRIBUTE_PTR pubT,
                                  CK_ULONG pubN, CK_ATTRIBUTE_PTR privT, CK_ULONG privN,
                                  CK_OBJECT_HANDLE_PTR pub, CK_OBJECT_HANDLE_PTR priv) {
    return functionList != nullptr
               ? functionList->C_GenerateKeyPair(h, m, pubT, pubN, privT, privN, pub, priv)
               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_WrapKey(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE wrapping,
                          CK_OBJECT_HANDLE key, CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return functionList != nullptr ? functionList->C_WrapKey(h, m, wrapping, key, out, outLen)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_UnwrapKey(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE unwrapping,
                            CK_BYTE_PTR in, CK_ULONG inLen, CK_ATTRIBUTE_PTR t, CK_ULONG n,
                            CK_OBJECT_HANDLE_PTR key) {
    return functionList != nullptr
               ? functionList->C_UnwrapKey(h, m, unwrapping, in, inLen, t, n, key)
               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_DeriveKey(CK_SESSION_HANDLE h, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE base,
                            CK_ATTRIBUTE_PTR t, CK_ULONG n, CK_OBJECT_HANDLE_PTR key) {
    return functionList != nullptr ? functionList->C_DeriveKey(h, m, base, t, n, key)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_SeedRandom(CK_SESSION_HANDLE h, CK_BYTE_PTR seed, CK_ULONG len) {
    return functionList != nullptr ? functionList->C_SeedRandom(h, seed, len)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_GenerateRandom(CK_SESSION_HANDLE h, CK_BYTE_PTR out, CK_ULONG len) {
    return functionList != nullptr ? functionList->C_GenerateRandom(h, out, len)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_GetFunctionStatus(CK_SESSION_HANDLE h) {
    return functionList != nullptr ? functionList->C_GetFunctionStatus(h)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_CancelFunction(CK_SESSION_HANDLE h) {
    return functionList != nullptr ? functionList->C_CancelFunction(h)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoKi::C_WaitForSlotEvent(CK_FLAGS flags, CK_SLOT_ID_PTR slot, CK_VOID_PTR reserved) {
    return functionList != nullptr ? functionList->C_WaitForSlotEvent(flags, slot, reserved)
                                   : CKR_CRYPTOKI_NOT_INITIALIZED;
}
