#include "crypto/token/PKCS11CryptoKi.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "crypto/DES.h"
#include "crypto/RandomGenerator.h"
#include "crypto/token/PKCS11Object.h"
#include "crypto/token/TokenSession.h"

namespace {

constexpr const char kManufacturer[] = "Sigilo";
constexpr const char kLibraryDescription[] = "PKCS #11 PKCS11CryptoKi";
constexpr const char kSlotDescription[] = "Crypto Software Module";
constexpr const char kVirtualSlotName[] = "Virtual Slot";

void blankCopy(unsigned char* field, size_t size, const char* text) {
    memset(field, ' ', size);
    size_t n = strlen(text);
    memcpy(field, text, n < size ? n : size);
}

}  // namespace

PKCS11CryptoKi::PKCS11CryptoKi(const std::vector<std::string>& paths)
    : initialized(false),
      initCount(0),
      slotCount(1),
      objects(),
      generator(new SystemRandomGenerator()),
      workArea(kBlockSize) {
    for (const std::string& p : paths) {
        if (slotCount >= kMaxSlots) break;
        slots[slotCount++].path = p;
    }
}

PKCS11CryptoKi::~PKCS11CryptoKi() {
    for (CK_OBJECT_HANDLE h = 1; h <= kMaxObjects; ++h) dropObject(h);
}

std::vector<std::string> PKCS11CryptoKi::slotPathsFromEnvironment() {
    std::vector<std::string> paths;
    const char* base = getenv("PKCS11SLOT");
    if (base == nullptr) return paths;
    for (int i = 1; i <= 4; ++i) {
        std::vector<char> path(strlen(base) + 8);
        snprintf(path.data(), path.size(), "%s%.2d", base, i);
        paths.emplace_back(path.data());
    }
    return paths;
}

// ---- General ----

CK_RV PKCS11CryptoKi::C_Initialize(CK_VOID_PTR args) {
    if (args != nullptr) {
        auto* a = static_cast<CK_C_INITIALIZE_ARGS*>(args);
        if (a->pReserved != nullptr) return CKR_ARGUMENTS_BAD;
        // The mutex functions come all or none; the token takes no locks of its own.
        bool some = a->CreateMutex || a->DestroyMutex || a->LockMutex || a->UnlockMutex;
        bool all = a->CreateMutex && a->DestroyMutex && a->LockMutex && a->UnlockMutex;
        if (some && !all) return CKR_ARGUMENTS_BAD;
    }
    // The library and an outside caller may share this one token in a process: each
    // initialisation is counted, and only the last C_Finalize closes the sessions.
    ++initCount;
    if (initialized) return CKR_CRYPTOKI_ALREADY_INITIALIZED;
    initialized = true;
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_Finalize(CK_VOID_PTR reserved) {
    if (reserved != nullptr) return CKR_ARGUMENTS_BAD;
    if (!initialized) return CKR_CRYPTOKI_NOT_INITIALIZED;
    if (--initCount > 0) return CKR_OK;
    initCount = 0;
    for (CK_SESSION_HANDLE h = 1; h <= kMaxSessions; ++h) closeSession(h);
    for (CK_SLOT_ID s = 0; s < slotCount; ++s) logoutSlot(s);
    initialized = false;
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_GetInfo(CK_INFO_PTR info) {
    if (info == nullptr) return CKR_ARGUMENTS_BAD;
    memset(info, 0, sizeof *info);
    info->cryptokiVersion = {2, 0};
    blankCopy(info->manufacturerID, sizeof info->manufacturerID, kManufacturer);
    blankCopy(info->libraryDescription, sizeof info->libraryDescription, kLibraryDescription);
    info->libraryVersion = {1, 0};
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_GetFunctionList(CK_FUNCTION_LIST_PTR_PTR) {
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_GetSlotList(CK_BBOOL, CK_SLOT_ID_PTR list, CK_ULONG_PTR count) {
    if (count == nullptr) return CKR_ARGUMENTS_BAD;
    if (list != nullptr) {
        if (*count < slotCount) {
            *count = slotCount;
            return CKR_BUFFER_TOO_SMALL;
        }
        for (CK_ULONG i = 0; i < slotCount; ++i) list[i] = i;
    }
    *count = slotCount;
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_GetSlotInfo(CK_SLOT_ID slot, CK_SLOT_INFO_PTR info) {
    if (slot >= slotCount) return CKR_SLOT_ID_INVALID;
    if (info == nullptr) return CKR_ARGUMENTS_BAD;
    memset(info, 0, sizeof *info);
    blankCopy(info->slotDescription, sizeof info->slotDescription,
              slot == 0 ? kVirtualSlotName : kSlotDescription);
    blankCopy(info->manufacturerID, sizeof info->manufacturerID, kManufacturer);
    info->flags = CKF_TOKEN_PRESENT;
    info->hardwareVersion = {1, 0};
    info->firmwareVersion = {1, 0};
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_GetTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO_PTR info) {
    if (slot >= slotCount) return CKR_SLOT_ID_INVALID;
    if (info == nullptr) return CKR_ARGUMENTS_BAD;
    memset(info, 0, sizeof *info);
    Slot& s = slots[slot];
    if (slot == 0) {
        blankCopy(info->label, sizeof info->label, "Not Persistent Token");
        blankCopy(info->manufacturerID, sizeof info->manufacturerID, kManufacturer);
        blankCopy(info->model, sizeof info->model, "Virtual Token");
        memset(info->serialNumber, '0', sizeof info->serialNumber);
        info->flags = CKF_RNG | CKF_TOKEN_INITIALIZED;
    } else {
        CK_RV rv = s.headerLoaded ? CKR_OK : ReadHeader(slot);
        if (rv == CKR_OK) {
            memcpy(info->label, s.header, 32);
            memcpy(info->manufacturerID, s.header + 32, 32);
            memcpy(info->model, s.header + 64, 16);
            memcpy(info->serialNumber, s.header + 80, 16);
            info->flags = tokenFlags(slot);
        } else if (rv == CKR_TOKEN_NOT_PRESENT && access(s.path.c_str(), F_OK) != 0) {
            // No file yet: a token that waits for C_InitToken.
            blankCopy(info->label, sizeof info->label, "");
            blankCopy(info->manufacturerID, sizeof info->manufacturerID, kManufacturer);
            blankCopy(info->model, sizeof info->model, "Disk Token");
            blankCopy(info->serialNumber, sizeof info->serialNumber, "1234");
            info->flags = CKF_RNG | CKF_LOGIN_REQUIRED;
        } else {
            return rv;
        }
    }
    info->ulMaxSessionCount = kMaxSessions;
    info->ulSessionCount = sessionsOn(slot, false);
    info->ulMaxRwSessionCount = 1;
    info->ulRwSessionCount = sessionsOn(slot, true);
    info->ulMaxPinLen = kMaxPinLen;
    info->ulMinPinLen = slot == 0 ? 0 : 1;
    info->ulTotalPublicMemory = CK_UNAVAILABLE_INFORMATION;
    info->ulFreePublicMemory = CK_UNAVAILABLE_INFORMATION;
    info->ulTotalPrivateMemory = CK_UNAVAILABLE_INFORMATION;
    info->ulFreePrivateMemory = CK_UNAVAILABLE_INFORMATION;
    info->hardwareVersion = {1, 0};
    info->firmwareVersion = {1, 0};
    memset(info->utcTime, ' ', sizeof info->utcTime);
    return CKR_OK;
}

// ---- Sessions ----

CK_RV PKCS11CryptoKi::sessionOf(CK_SESSION_HANDLE h, TokenSession** s) {
    if (!initialized) return CKR_CRYPTOKI_NOT_INITIALIZED;
    // Handle 0 passes the range test and stands for no session. Every handle that is not an
    // open session is answered alike, with the value of a closed session.
    if (h > kMaxSessions || !sessions[h]) return CKR_SESSION_CLOSED;
    *s = sessions[h].get();
    return CKR_OK;
}

CK_ULONG PKCS11CryptoKi::sessionsOn(CK_SLOT_ID slot, bool readWriteOnly) const {
    CK_ULONG n = 0;
    for (CK_SESSION_HANDLE h = 1; h <= kMaxSessions; ++h) {
        if (sessions[h] && sessions[h]->slot == slot &&
            (!readWriteOnly || (sessions[h]->flags & CKF_RW_SESSION))) {
            ++n;
        }
    }
    return n;
}

CK_STATE PKCS11CryptoKi::stateOf(const TokenSession* s) const {
    bool rw = (s->flags & CKF_RW_SESSION) != 0;
    CK_USER_TYPE who = slots[s->slot].loggedIn;
    if (who == CKU_SO) return CKS_RW_SO_FUNCTIONS;
    if (who == CKU_USER) return rw ? CKS_RW_USER_FUNCTIONS : CKS_RO_USER_FUNCTIONS;
    return rw ? CKS_RW_PUBLIC_SESSION : CKS_RO_PUBLIC_SESSION;
}

CK_RV PKCS11CryptoKi::C_OpenSession(CK_SLOT_ID slot, CK_FLAGS flags, CK_VOID_PTR, CK_NOTIFY,
                                    CK_SESSION_HANDLE_PTR h) {
    if (!initialized) return CKR_CRYPTOKI_NOT_INITIALIZED;
    if (slot >= slotCount) return CKR_SLOT_ID_INVALID;
    if (h == nullptr) return CKR_ARGUMENTS_BAD;
    if (!(flags & CKF_SERIAL_SESSION)) return CKR_SESSION_PARALLEL_NOT_SUPPORTED;
    if (!(flags & CKF_RW_SESSION) && slots[slot].loggedIn == CKU_SO) {
        return CKR_SESSION_READ_WRITE_SO_EXISTS;
    }
    CK_SESSION_HANDLE free = 0;
    for (CK_SESSION_HANDLE i = 1; i <= kMaxSessions && free == 0; ++i) {
        if (!sessions[i]) free = i;
    }
    if (free == 0) return CKR_SESSION_COUNT;
    if (isDiskSlot(slot) && !slots[slot].objectsLoaded) {
        CK_RV rv = LoadTokenObjects(slot);
        if (rv != CKR_OK) return rv;
    }
    sessions[free].reset(new TokenSession());
    sessions[free]->slot = slot;
    sessions[free]->flags = flags & (CKF_RW_SESSION | CKF_SERIAL_SESSION);
    *h = free;
    return CKR_OK;
}

void PKCS11CryptoKi::closeSession(CK_SESSION_HANDLE h) {
    if (h == 0 || h > kMaxSessions || !sessions[h]) return;
    CK_SLOT_ID slot = sessions[h]->slot;
    for (CK_OBJECT_HANDLE o = 1; o <= kMaxObjects; ++o) {
        if (objects[o] != nullptr && objects[o]->session == h) dropObject(o);
    }
    sessions[h].reset();
    if (sessionsOn(slot, false) == 0) logoutSlot(slot);
}

CK_RV PKCS11CryptoKi::C_CloseSession(CK_SESSION_HANDLE h) {
    TokenSession* s;
    CK_RV rv = sessionOf(h, &s);
    if (rv != CKR_OK) return rv;
    closeSession(h);
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_CloseAllSessions(CK_SLOT_ID slot) {
    if (!initialized) return CKR_CRYPTOKI_NOT_INITIALIZED;
    if (slot >= slotCount) return CKR_SLOT_ID_INVALID;
    for (CK_SESSION_HANDLE h = 1; h <= kMaxSessions; ++h) {
        if (sessions[h] && sessions[h]->slot == slot) closeSession(h);
    }
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_GetSessionInfo(CK_SESSION_HANDLE h, CK_SESSION_INFO_PTR info) {
    TokenSession* s;
    CK_RV rv = sessionOf(h, &s);
    if (rv != CKR_OK) return rv;
    if (info == nullptr) return CKR_ARGUMENTS_BAD;
    info->slotID = s->slot;
    info->state = stateOf(s);
    info->flags = s->flags;
    info->ulDeviceError = 0;
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_GetOperationState(CK_SESSION_HANDLE h, CK_BYTE_PTR, CK_ULONG_PTR) {
    TokenSession* s;
    CK_RV rv = sessionOf(h, &s);
    return rv != CKR_OK ? rv : CKR_FUNCTION_NOT_SUPPORTED;
}

CK_RV PKCS11CryptoKi::C_SetOperationState(CK_SESSION_HANDLE h, CK_BYTE_PTR, CK_ULONG,
                                          CK_OBJECT_HANDLE, CK_OBJECT_HANDLE) {
    TokenSession* s;
    CK_RV rv = sessionOf(h, &s);
    return rv != CKR_OK ? rv : CKR_FUNCTION_NOT_SUPPORTED;
}

CK_RV PKCS11CryptoKi::C_GetFunctionStatus(CK_SESSION_HANDLE h) {
    TokenSession* s;
    CK_RV rv = sessionOf(h, &s);
    return rv != CKR_OK ? rv : CKR_FUNCTION_NOT_PARALLEL;
}

CK_RV PKCS11CryptoKi::C_CancelFunction(CK_SESSION_HANDLE h) {
    TokenSession* s;
    CK_RV rv = sessionOf(h, &s);
    return rv != CKR_OK ? rv : CKR_FUNCTION_NOT_PARALLEL;
}

CK_RV PKCS11CryptoKi::C_WaitForSlotEvent(CK_FLAGS, CK_SLOT_ID_PTR, CK_VOID_PTR) {
    return initialized ? CKR_FUNCTION_NOT_SUPPORTED : CKR_CRYPTOKI_NOT_INITIALIZED;
}

// ---- Login ----

void PKCS11CryptoKi::logoutSlot(CK_SLOT_ID slot) {
    Slot& s = slots[slot];
    s.loggedIn = CK_UNAVAILABLE_INFORMATION;
    s.masterKey.reset();
    // Private token objects go back to their enciphered images.
    for (CK_OBJECT_HANDLE o = 1; o <= kMaxObjects; ++o) {
        PKCS11Object* obj = objects[o];
        if (obj != nullptr && obj->slot == slot && isDiskSlot(slot) && obj->isPrivate() &&
            obj->session == 0 && !obj->cipherImage.empty()) {
            obj->clear();
            obj->locked = true;
        }
    }
}

CK_RV PKCS11CryptoKi::C_Login(CK_SESSION_HANDLE h, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin,
                              CK_ULONG pinLen) {
    TokenSession* s;
    CK_RV rv = sessionOf(h, &s);
    if (rv != CKR_OK) return rv;
    if (pin == nullptr) return CKR_ARGUMENTS_BAD;
    if (user > CKU_USER) return CKR_USER_TYPE_INVALID;
    Slot& slot = slots[s->slot];
    if (slot.loggedIn != CK_UNAVAILABLE_INFORMATION) {
        return slot.loggedIn == user ? CKR_USER_ALREADY_LOGGED_IN
                                     : CKR_USER_ANOTHER_ALREADY_LOGGED_IN;
    }
    if (user == CKU_SO) {
        for (CK_SESSION_HANDLE i = 1; i <= kMaxSessions; ++i) {
            if (sessions[i] && sessions[i]->slot == s->slot &&
                !(sessions[i]->flags & CKF_RW_SESSION)) {
                return CKR_SESSION_READ_ONLY_EXISTS;
            }
        }
    }
    // The virtual token has no PINs.
    if (s->slot == 0) return CKR_USER_PIN_NOT_INITIALIZED;
    if (pinLen > kMaxPinLen) return CKR_PIN_LEN_RANGE;
    if (!slot.headerLoaded) {
        rv = ReadHeader(s->slot);
        if (rv != CKR_OK) return rv;
    }
    return user == CKU_SO ? loginSO(s->slot, pin, pinLen) : loginUser(s->slot, pin, pinLen);
}

CK_RV PKCS11CryptoKi::C_Logout(CK_SESSION_HANDLE h) {
    TokenSession* s;
    CK_RV rv = sessionOf(h, &s);
    if (rv != CKR_OK) return rv;
    if (slots[s->slot].loggedIn == CK_UNAVAILABLE_INFORMATION) return CKR_USER_NOT_LOGGED_IN;
    logoutSlot(s->slot);
    return CKR_OK;
}

CK_ULONG PKCS11CryptoKi::getObjectCount() const {
    CK_ULONG n = 0;
    for (CK_OBJECT_HANDLE h = 1; h <= kMaxObjects; ++h) n += objects[h] != nullptr;
    return n;
}
