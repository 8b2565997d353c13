// The object functions of the built-in token: creation, search, attributes, destruction.
#include <cstring>
#include <initializer_list>
#include <memory>

#include "crypto/token/PKCS11CryptoKi.h"
#include "crypto/token/PKCS11Object.h"
#include "crypto/token/TokenSession.h"

namespace {

bool findULong(const CK_ATTRIBUTE* t, CK_ULONG n, CK_ATTRIBUTE_TYPE type, CK_ULONG* v) {
    for (CK_ULONG i = 0; i < n; ++i) {
        if (t[i].type == type) {
            if (t[i].pValue == nullptr || t[i].ulValueLen != sizeof(CK_ULONG)) return false;
            memcpy(v, t[i].pValue, sizeof *v);
            return true;
        }
    }
    return false;
}

}  // namespace

CK_RV PKCS11CryptoKi::newHandle(CK_OBJECT_HANDLE* h) const {
    for (CK_OBJECT_HANDLE i = 1; i <= kMaxObjects; ++i) {
        if (objects[i] == nullptr) {
            *h = i;
            return CKR_OK;
        }
    }
    return CKR_DEVICE_MEMORY;
}

void PKCS11CryptoKi::dropObject(CK_OBJECT_HANDLE h) {
    if (h == 0 || h > kMaxObjects || objects[h] == nullptr) return;
    delete objects[h];
    objects[h] = nullptr;
    // An operation under way on the key ends with it, so that a later object given the same
    // handle is never used in its place.
    for (CK_SESSION_HANDLE s = 1; s <= kMaxSessions; ++s) {
        if (!sessions[s]) continue;
        for (TokenOperation* op : {&sessions[s]->sign, &sessions[s]->verify, &sessions[s]->encrypt,
                                   &sessions[s]->decrypt}) {
            if (op->active && op->key == h) op->clear();
        }
    }
}

void PKCS11CryptoKi::dropSlotObjects(CK_SLOT_ID slot) {
    for (CK_OBJECT_HANDLE h = 1; h <= kMaxObjects; ++h) {
        if (objects[h] != nullptr && objects[h]->slot == slot && objects[h]->session == 0) {
            dropObject(h);
        }
    }
    slots[slot].objectsLoaded = false;
}

PKCS11Object* PKCS11CryptoKi::visibleObject(const TokenSession* s, CK_OBJECT_HANDLE h) const {
    if (h == 0 || h > kMaxObjects) return nullptr;
    PKCS11Object* o = objects[h];
    if (o == nullptr || o->slot != s->slot || o->locked) return nullptr;
    if (isDiskSlot(s->slot) && o->isPrivate() && slots[s->slot].loggedIn != CKU_USER) {
        return nullptr;
    }
    return o;
}

CK_RV PKCS11CryptoKi::addObject(TokenSession* s, std::unique_ptr<PKCS11Object> o,
                                CK_OBJECT_HANDLE* h) {
    CK_RV rv = o->complete();
    if (rv != CKR_OK) return rv;
    bool token = o->isTokenObject();
    if (token && !(s->flags & CKF_RW_SESSION)) return CKR_SESSION_READ_ONLY;
    if (isDiskSlot(s->slot) && o->isPrivate() && slots[s->slot].loggedIn != CKU_USER) {
        return CKR_USER_NOT_LOGGED_IN;
    }
    CK_OBJECT_HANDLE handle;
    rv = newHandle(&handle);
    if (rv != CKR_OK) return rv;
    o->slot = s->slot;
    if (!token) {
        for (CK_SESSION_HANDLE i = 1; i <= kMaxSessions; ++i) {
            if (sessions[i].get() == s) o->session = i;
        }
    } else if (isDiskSlot(s->slot)) {
        rv = DumpOnToken(s->slot, o.get());
        if (rv != CKR_OK) return rv;
    }
    objects[handle] = o.release();
    *h = handle;
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_CreateObject(CK_SESSION_HANDLE hs, CK_ATTRIBUTE_PTR t, CK_ULONG n,
                                     CK_OBJECT_HANDLE_PTR h) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if ((t == nullptr && n > 0) || h == nullptr) return CKR_ARGUMENTS_BAD;
    CK_ULONG objectClass, keyType = CK_UNAVAILABLE_INFORMATION;
    if (!findULong(t, n, CKA_CLASS, &objectClass)) return CKR_TEMPLATE_INCOMPLETE;
    if (objectClass >= CKO_PUBLIC_KEY && objectClass <= CKO_SECRET_KEY &&
        !findULong(t, n, CKA_KEY_TYPE, &keyType)) {
        return CKR_TEMPLATE_INCOMPLETE;
    }
    std::unique_ptr<PKCS11Object> o(PKCS11Object::create(objectClass, keyType));
    if (!o) return CKR_ATTRIBUTE_VALUE_INVALID;
    rv = o->applyTemplate(t, n, true);
    if (rv != CKR_OK) return rv;
    return addObject(s, std::move(o), h);
}

CK_RV PKCS11CryptoKi::C_CopyObject(CK_SESSION_HANDLE hs, CK_OBJECT_HANDLE h, CK_ATTRIBUTE_PTR t,
                                   CK_ULONG n, CK_OBJECT_HANDLE_PTR copy) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if ((t == nullptr && n > 0) || copy == nullptr) return CKR_ARGUMENTS_BAD;
    PKCS11Object* from = visibleObject(s, h);
    if (from == nullptr) return CKR_OBJECT_HANDLE_INVALID;
    std::unique_ptr<PKCS11Object> o(PKCS11Object::create(from->getClass(), from->getKeyType()));
    std::vector<unsigned char> image;
    from->dumpObject(&image);
    if (!o || !o->restoreObject(image.data(), image.size())) return CKR_FUNCTION_FAILED;
    std::fill(image.begin(), image.end(), 0);
    rv = o->applyTemplate(t, n, true);
    if (rv != CKR_OK) return rv;
    return addObject(s, std::move(o), copy);
}

CK_RV PKCS11CryptoKi::C_DestroyObject(CK_SESSION_HANDLE hs, CK_OBJECT_HANDLE h) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    PKCS11Object* o = visibleObject(s, h);
    if (o == nullptr) return CKR_OBJECT_HANDLE_INVALID;
    if (o->isTokenObject()) {
        if (!(s->flags & CKF_RW_SESSION)) return CKR_SESSION_READ_ONLY;
        if (isDiskSlot(s->slot)) {
            rv = DeleteFrom(s->slot, o);
            if (rv != CKR_OK) return rv;
        }
    }
    dropObject(h);
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_GetObjectSize(CK_SESSION_HANDLE hs, CK_OBJECT_HANDLE h, CK_ULONG_PTR size) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if (size == nullptr) return CKR_ARGUMENTS_BAD;
    PKCS11Object* o = visibleObject(s, h);
    if (o == nullptr) return CKR_OBJECT_HANDLE_INVALID;
    *size = o->getSize();
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_GetAttributeValue(CK_SESSION_HANDLE hs, CK_OBJECT_HANDLE h,
                                          CK_ATTRIBUTE_PTR t, CK_ULONG n) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if (t == nullptr && n > 0) return CKR_ARGUMENTS_BAD;
    PKCS11Object* o = visibleObject(s, h);
    if (o == nullptr) return CKR_OBJECT_HANDLE_INVALID;
    for (CK_ULONG i = 0; i < n; ++i) {
        CK_RV one = o->readAttribute(&t[i]);
        if (one != CKR_OK) rv = one;
    }
    return rv;
}

CK_RV PKCS11CryptoKi::C_SetAttributeValue(CK_SESSION_HANDLE hs, CK_OBJECT_HANDLE h,
                                          CK_ATTRIBUTE_PTR t, CK_ULONG n) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if (t == nullptr && n > 0) return CKR_ARGUMENTS_BAD;
    PKCS11Object* o = visibleObject(s, h);
    if (o == nullptr) return CKR_OBJECT_HANDLE_INVALID;
    if (o->isTokenObject() && !(s->flags & CKF_RW_SESSION)) return CKR_SESSION_READ_ONLY;
    std::vector<unsigned char> before;
    o->dumpObject(&before);
    rv = o->applyTemplate(t, n, false);
    if (rv == CKR_OK) rv = o->complete();
    if (rv == CKR_OK && o->isTokenObject() && isDiskSlot(s->slot)) rv = WriteOn(s->slot, o);
    if (rv != CKR_OK) o->restoreObject(before.data(), before.size());
    std::fill(before.begin(), before.end(), 0);
    return rv;
}

CK_RV PKCS11CryptoKi::C_FindObjectsInit(CK_SESSION_HANDLE hs, CK_ATTRIBUTE_PTR t, CK_ULONG n) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if (t == nullptr && n > 0) return CKR_ARGUMENTS_BAD;
    if (s->finding) return CKR_OPERATION_ACTIVE;
    s->found.clear();
    s->foundAt = 0;
    for (CK_OBJECT_HANDLE h = 1; h <= kMaxObjects; ++h) {
        PKCS11Object* o = visibleObject(s, h);
        if (o != nullptr && o->matches(t, n)) s->found.push_back(h);
    }
    s->finding = true;
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_FindObjects(CK_SESSION_HANDLE hs, CK_OBJECT_HANDLE_PTR list, CK_ULONG max,
                                    CK_ULONG_PTR count) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if ((list == nullptr && max > 0) || count == nullptr) return CKR_ARGUMENTS_BAD;
    if (!s->finding) return CKR_OPERATION_NOT_INITIALIZED;
    CK_ULONG n = 0;
    while (n < max && s->foundAt < s->found.size()) list[n++] = s->found[s->foundAt++];
    *count = n;
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_FindObjectsFinal(CK_SESSION_HANDLE hs) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if (!s->finding) return CKR_OPERATION_NOT_INITIALIZED;
    s->finding = false;
    s->found.clear();
    return CKR_OK;
}
