// The token files of the disk slots: header, directory and object blocks, and the PIN checks
// that open them.
//
// Header (188 bytes, integers big-endian):
//   0 label (32) | 32 manufacturer (32) | 64 model (16) | 80 serial (16) | 96 flags (8)
//   104 failed SO logins | 105 failed user logins | 106 SO verifier (24)
//   130 master key under the user PIN (32) | 162 blanks (6) | 168 SHA-1 of bytes 0-167 (20)
// Directory entries (40 bytes) follow in the first 4096-byte block:
//   0 class (8) | 8 key type (8) | 16 token flag | 17 private flag | 24 offset (8) | 32 size (2)
// Entry 0 is the directory's own: its size holds the number of entries in use. An entry's image
// lies at the offset the entry gives, anywhere behind the first block: this writer puts entry i
// at 4096 * i when that block is free, but files written elsewhere may place them otherwise, and
// no image is ever written over another entry's. A private image is an 8-byte IV followed by the
// image enciphered under the master key with three-key triple DES in 8-bit CFB.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "crypto/DES.h"
#include "crypto/PBE.h"
#include "crypto/PBEParameter.h"
#include "crypto/RandomGenerator.h"
#include "crypto/SHA1.h"
#include "crypto/token/PKCS11CryptoKi.h"
#include "crypto/token/PKCS11Object.h"
#include "crypto/token/TokenSession.h"

namespace {

constexpr unsigned int kLabel = 0, kMaker = 32, kModel = 64, kSerial = 80, kFlags = 96;
constexpr unsigned int kSOFailures = 104, kUserFailures = 105, kSOVerifier = 106;
constexpr unsigned int kMasterKey = 130, kDigest = 168;
constexpr unsigned int kSOVerifierLen = 24, kMasterKeyLen = 32, kVerifiedLen = 16;
constexpr int kPinIterations = 3;
constexpr const char kDiskManufacturer[] = "Sigilo";

uint64_t get64(const unsigned char* p) {
    uint64_t v = 0;
    for (int i = 0; i < 8; ++i) v = (v << 8) | p[i];
    return v;
}

void put64(unsigned char* p, uint64_t v) {
    for (int i = 7; i >= 0; --i, v >>= 8) p[i] = static_cast<unsigned char>(v);
}

// Whole reads and writes at an offset; false on an error or a short transfer.
bool readAt(int fd, unsigned char* p, size_t n, off_t at) {
    while (n > 0) {
        ssize_t r = pread(fd, p, n, at);
        if (r < 0 && errno == EINTR) continue;
        if (r <= 0) return false;
        p += r;
        n -= static_cast<size_t>(r);
        at += r;
    }
    return true;
}

bool writeAt(int fd, const unsigned char* p, size_t n, off_t at) {
    while (n > 0) {
        ssize_t r = pwrite(fd, p, n, at);
        if (r < 0 && errno == EINTR) continue;
        if (r <= 0) return false;
        p += r;
        n -= static_cast<size_t>(r);
        at += r;
    }
    return true;
}

struct File {
    int fd;
    explicit File(const std::string& path, int flags = O_RDWR)
        : fd(open(path.c_str(), flags | O_CLOEXEC, 0600)) {}
    ~File() {
        if (fd >= 0) close(fd);
    }
};

// The stretch of the file that an in-use directory entry's image covers.
struct Extent {
    uint64_t from, to;
};

unsigned int entrySize(const unsigned char* e) {
    return (e[32] << 8) | e[33];
}

// The extents of the images of all entries in use but one (except).
std::vector<Extent> otherImages(const std::vector<unsigned char>& block, unsigned int used,
                                unsigned int except) {
    std::vector<Extent> out;
    for (unsigned int i = 1; i <= used; ++i) {
        const unsigned char* e =
            block.data() + PKCS11CryptoKi::kHeaderSize + i * PKCS11CryptoKi::kEntrySize;
        unsigned int size = entrySize(e);
        if (i == except || size == 0) continue;
        uint64_t at = get64(e + 24);
        // An offset that no reader can use holds nothing worth keeping; it must not wrap.
        if (at > UINT64_MAX - size) continue;
        out.push_back({at, at + size});
    }
    return out;
}

// Whether a whole block at offset at stays clear of the first block and of every other image.
bool blockIsFree(const std::vector<Extent>& others, uint64_t at) {
    if (at < PKCS11CryptoKi::kBlockSize) return false;
    for (const Extent& x : others) {
        if (x.from < at + PKCS11CryptoKi::kBlockSize && at < x.to) return false;
    }
    return true;
}

void blankCopy(unsigned char* field, size_t size, const char* text) {
    memset(field, ' ', size);
    size_t n = strlen(text);
    memcpy(field, text, n < size ? n : size);
}

}  // namespace

// ---- Header ----

CK_FLAGS PKCS11CryptoKi::tokenFlags(CK_SLOT_ID slot) const {
    return static_cast<CK_FLAGS>(get64(slots[slot].header + kFlags));
}

void PKCS11CryptoKi::setTokenFlags(CK_SLOT_ID slot, CK_FLAGS flags) {
    put64(slots[slot].header + kFlags, flags);
}

// The salt comes from the serial number, byte i being serial[i] + i.
void PKCS11CryptoKi::pinParameterSalt(CK_SLOT_ID slot, unsigned char* salt) const {
    for (int i = 0; i < 8; ++i) {
        salt[i] = static_cast<unsigned char>(slots[slot].header[kSerial + i] + i);
    }
}

CK_RV PKCS11CryptoKi::ReadHeader(CK_SLOT_ID slot) {
    Slot& s = slots[slot];
    s.headerLoaded = false;
    File f(s.path, O_RDONLY);
    if (f.fd < 0) return CKR_TOKEN_NOT_PRESENT;
    unsigned char header[kHeaderSize];
    if (!readAt(f.fd, header, kHeaderSize, 0)) return CKR_TOKEN_NOT_RECOGNIZED;
    SHA1 sha;
    unsigned char digest[SHA1::kLength];
    sha.update(header, kDigest);
    sha.final(digest);
    if (memcmp(digest, header + kDigest, SHA1::kLength) != 0) return CKR_TOKEN_NOT_RECOGNIZED;
    memcpy(s.header, header, kHeaderSize);
    s.soFailures = header[kSOFailures];
    s.userFailures = header[kUserFailures];
    s.headerLoaded = true;
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::WriteHeader(CK_SLOT_ID slot) {
    Slot& s = slots[slot];
    s.header[kSOFailures] = s.soFailures;
    s.header[kUserFailures] = s.userFailures;
    SHA1 sha;
    sha.update(s.header, kDigest);
    sha.final(s.header + kDigest);
    File f(s.path);
    if (f.fd < 0 || !writeAt(f.fd, s.header, kHeaderSize, 0)) {
        s.headerLoaded = s.objectsLoaded = false;
        return CKR_TOKEN_NOT_PRESENT;
    }
    return CKR_OK;
}

// ---- Directory and objects ----

CK_RV PKCS11CryptoKi::RefreshMFile(CK_SLOT_ID slot, std::vector<unsigned char>* block) {
    block->assign(kBlockSize, 0);
    File f(slots[slot].path, O_RDONLY);
    if (f.fd < 0 || !readAt(f.fd, block->data(), kBlockSize, 0)) return CKR_TOKEN_NOT_PRESENT;
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::LoadTokenObjects(CK_SLOT_ID slot) {
    Slot& s = slots[slot];
    CK_RV rv = ReadHeader(slot);
    if (rv != CKR_OK) return rv;
    std::vector<unsigned char> block;
    rv = RefreshMFile(slot, &block);
    if (rv != CKR_OK) {
        s.headerLoaded = false;
        return rv;
    }
    dropSlotObjects(slot);
    unsigned int used = (block[kHeaderSize + 32] << 8) | block[kHeaderSize + 33];
    if (used >= kMaxEntries) used = kMaxEntries - 1;
    File f(s.path, O_RDONLY);
    struct stat st;
    if (f.fd < 0 || fstat(f.fd, &st) != 0) return CKR_TOKEN_NOT_PRESENT;
    const uint64_t fileSize = static_cast<uint64_t>(st.st_size);
    for (unsigned int i = 1; i <= used; ++i) {
        const unsigned char* e = block.data() + kHeaderSize + i * kEntrySize;
        unsigned int size = entrySize(e);
        uint64_t offset = get64(e + 24);
        // The image is read where its entry says, behind the first block and inside the file;
        // an entry that points elsewhere is damaged and skipped.
        if (size == 0 || offset < kBlockSize || offset > fileSize || size > fileSize - offset) {
            continue;
        }
        std::unique_ptr<PKCS11Object> o(PKCS11Object::create(static_cast<CK_ULONG>(get64(e)),
                                                             static_cast<CK_ULONG>(get64(e + 8))));
        if (!o) continue;
        std::vector<unsigned char> image(size);
        if (!readAt(f.fd, image.data(), size, static_cast<off_t>(offset))) continue;
        o->slot = slot;
        o->entry = i;
        o->offset = offset;
        if (e[17] == 1) {
            // Private: only the enciphered image, until the user logs in.
            if (size <= 8) continue;
            o->cipherImage = image;
            o->locked = true;
            o->setBool(CKA_PRIVATE, true);
            o->setBool(CKA_TOKEN, true);
            if (s.masterKey && !decipherObject(slot, o.get())) continue;
        } else if (!o->restoreObject(image.data(), size) || o->isPrivate() || !o->isTokenObject()) {
            continue;
        }
        CK_OBJECT_HANDLE h;
        if (newHandle(&h) != CKR_OK) break;
        objects[h] = o.release();
    }
    s.objectsLoaded = true;
    return CKR_OK;
}

bool PKCS11CryptoKi::decipherObject(CK_SLOT_ID slot, PKCS11Object* o) {
    Slot& s = slots[slot];
    if (!s.masterKey || o->cipherImage.size() <= 8) return false;
    DES des;
    des.init(DES::kEDE3 | DES::kCFB8, s.masterKey->_getKey(), DES3Key::kLength,
             o->cipherImage.data());
    unsigned long n;
    std::unique_ptr<unsigned char[]> plain(
        des.decrypt(o->cipherImage.data() + 8, o->cipherImage.size() - 8, &n, false));
    bool ok = plain && o->restoreObject(plain.get(), n) && o->isPrivate() && o->isTokenObject();
    if (plain) memset(plain.get(), 0, n);
    if (!ok) {
        o->clear();
        return false;
    }
    o->locked = false;
    return true;
}

CK_RV PKCS11CryptoKi::writeEntry(CK_SLOT_ID slot, unsigned int entry, const unsigned char* bytes) {
    File f(slots[slot].path);
    if (f.fd < 0 || !writeAt(f.fd, bytes, kEntrySize, kHeaderSize + entry * kEntrySize)) {
        slots[slot].headerLoaded = slots[slot].objectsLoaded = false;
        return CKR_TOKEN_NOT_PRESENT;
    }
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::DumpOnToken(CK_SLOT_ID slot, PKCS11Object* o) {
    std::vector<unsigned char> block;
    CK_RV rv = RefreshMFile(slot, &block);
    if (rv != CKR_OK) return rv;
    unsigned int used = (block[kHeaderSize + 32] << 8) | block[kHeaderSize + 33];
    if (used >= kMaxEntries) used = kMaxEntries - 1;
    unsigned int entry = 0;
    for (unsigned int i = 1; i <= used && entry == 0; ++i) {
        const unsigned char* e = block.data() + kHeaderSize + i * kEntrySize;
        if (((e[32] << 8) | e[33]) == 0) entry = i;
    }
    if (entry == 0) {
        if (used + 1 >= kMaxEntries) return CKR_DEVICE_MEMORY;
        entry = ++used;
        unsigned char own[kEntrySize] = {};
        own[32] = static_cast<unsigned char>(used >> 8);
        own[33] = static_cast<unsigned char>(used);
        rv = writeEntry(slot, 0, own);
        if (rv != CKR_OK) return rv;
    }
    o->entry = entry;
    o->offset = 0;
    return WriteOn(slot, o);
}

CK_RV PKCS11CryptoKi::placeImage(CK_SLOT_ID slot, PKCS11Object* o) {
    std::vector<unsigned char> block;
    CK_RV rv = RefreshMFile(slot, &block);
    if (rv != CKR_OK) return rv;
    unsigned int used = (block[kHeaderSize + 32] << 8) | block[kHeaderSize + 33];
    if (used >= kMaxEntries) used = kMaxEntries - 1;
    std::vector<Extent> others = otherImages(block, used, o->entry);
    // Where the object already lies, if a whole block there overlaps nothing; else the block of
    // its entry; else the first block free of every other image.
    if (o->offset != 0 && blockIsFree(others, o->offset)) return CKR_OK;
    uint64_t own = uint64_t(kBlockSize) * o->entry;
    if (blockIsFree(others, own)) {
        o->offset = own;
        return CKR_OK;
    }
    // Each other image rules out at most a few blocks, so this ends within a few dozen steps.
    for (uint64_t at = kBlockSize;; at += kBlockSize) {
        if (blockIsFree(others, at)) {
            o->offset = at;
            return CKR_OK;
        }
    }
}

CK_RV PKCS11CryptoKi::WriteOn(CK_SLOT_ID slot, PKCS11Object* o) {
    Slot& s = slots[slot];
    std::vector<unsigned char> image;
    o->dumpObject(&image);
    bool priv = o->isPrivate();
    if (priv) {
        if (!s.masterKey) return CKR_USER_NOT_LOGGED_IN;
        unsigned char iv[8];
        generator->random(iv, 8);
        DES des;
        des.init(DES::kEDE3 | DES::kCFB8, s.masterKey->_getKey(), DES3Key::kLength, iv);
        unsigned long n;
        std::unique_ptr<unsigned char[]> sealed(des.encrypt(image.data(), image.size(), &n, false));
        std::fill(image.begin(), image.end(), 0);
        image.assign(iv, iv + 8);
        image.insert(image.end(), sealed.get(), sealed.get() + n);
    }
    if (image.size() > kBlockSize) return CKR_DEVICE_MEMORY;
    CK_RV rv = placeImage(slot, o);
    if (rv != CKR_OK) return rv;
    workArea.assign(kBlockSize, 0);
    memcpy(workArea.data(), image.data(), image.size());
    File f(s.path);
    if (f.fd < 0 || !writeAt(f.fd, workArea.data(), kBlockSize, static_cast<off_t>(o->offset))) {
        s.headerLoaded = s.objectsLoaded = false;
        return CKR_TOKEN_NOT_PRESENT;
    }
    unsigned char e[kEntrySize] = {};
    put64(e, o->getClass());
    put64(e + 8, o->getKeyType());
    e[16] = 1;
    e[17] = priv ? 1 : 0;
    put64(e + 24, o->offset);
    e[32] = static_cast<unsigned char>(image.size() >> 8);
    e[33] = static_cast<unsigned char>(image.size());
    if (priv) o->cipherImage = image;
    return writeEntry(slot, o->entry, e);
}

CK_RV PKCS11CryptoKi::DeleteFrom(CK_SLOT_ID slot, PKCS11Object* o) {
    if (o->entry == 0) return CKR_OK;
    // The image is wiped as well as freed, so that nothing of it lingers in the file; only its
    // own bytes, since another writer may have packed the next image right behind it.
    std::vector<unsigned char> block;
    CK_RV rv = RefreshMFile(slot, &block);
    if (rv != CKR_OK) return rv;
    unsigned int size =
        o->entry < kMaxEntries ? entrySize(block.data() + kHeaderSize + o->entry * kEntrySize) : 0;
    workArea.assign(size > kBlockSize ? size : kBlockSize, 0);
    File f(slots[slot].path);
    if (f.fd < 0 || (o->offset >= kBlockSize &&
                     !writeAt(f.fd, workArea.data(), size, static_cast<off_t>(o->offset)))) {
        return CKR_TOKEN_NOT_PRESENT;
    }
    unsigned char e[kEntrySize] = {};
    rv = writeEntry(slot, o->entry, e);
    o->entry = 0;
    o->offset = 0;
    return rv;
}

// ---- PINs ----

void PKCS11CryptoKi::countFailure(CK_SLOT_ID slot, CK_USER_TYPE user) {
    Slot& s = slots[slot];
    unsigned char& count = user == CKU_SO ? s.soFailures : s.userFailures;
    if (count < kMaxPinTries) ++count;
    CK_FLAGS flags = tokenFlags(slot);
    if (user == CKU_SO) {
        flags |= CKF_SO_PIN_COUNT_LOW;
        if (count >= 2) flags |= CKF_SO_PIN_FINAL_TRY;
        if (count >= kMaxPinTries) flags |= CKF_SO_PIN_LOCKED;
    } else {
        flags |= CKF_USER_PIN_COUNT_LOW;
        if (count >= 2) flags |= CKF_USER_PIN_FINAL_TRY;
        if (count >= kMaxPinTries) flags |= CKF_USER_PIN_LOCKED;
    }
    setTokenFlags(slot, flags);
    WriteHeader(slot);
}

CK_RV PKCS11CryptoKi::loginSO(CK_SLOT_ID slot, const unsigned char* pin, CK_ULONG len) {
    Slot& s = slots[slot];
    if (s.soFailures >= kMaxPinTries) return CKR_PIN_LOCKED;
    unsigned char salt[8];
    pinParameterSalt(slot, salt);
    PBEParameter parameter(salt, 8, kPinIterations);
    unsigned long n;
    std::unique_ptr<unsigned char[]> plain(
        PBE::decrypt(pin, len, &parameter, s.header + kSOVerifier, kSOVerifierLen, &n));
    if (!plain || n != kVerifiedLen || memcmp(plain.get(), s.header + kMaker, kVerifiedLen) != 0) {
        countFailure(slot, CKU_SO);
        return CKR_PIN_INCORRECT;
    }
    s.soFailures = 0;
    setTokenFlags(slot, tokenFlags(slot) &
                            ~(CKF_SO_PIN_COUNT_LOW | CKF_SO_PIN_FINAL_TRY | CKF_SO_PIN_LOCKED));
    CK_RV rv = WriteHeader(slot);
    if (rv != CKR_OK) return rv;
    s.loggedIn = CKU_SO;
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::loginUser(CK_SLOT_ID slot, const unsigned char* pin, CK_ULONG len) {
    Slot& s = slots[slot];
    if (s.userFailures >= kMaxPinTries) return CKR_PIN_LOCKED;
    if (!(tokenFlags(slot) & CKF_USER_PIN_INITIALIZED)) return CKR_USER_PIN_NOT_INITIALIZED;
    unsigned char salt[8];
    pinParameterSalt(slot, salt);
    PBEParameter parameter(salt, 8, kPinIterations);
    unsigned long n;
    std::unique_ptr<unsigned char[]> key(
        PBE::decrypt(pin, len, &parameter, s.header + kMasterKey, kMasterKeyLen, &n));
    if (!key || n != DES3Key::kLength) {
        countFailure(slot, CKU_USER);
        return CKR_PIN_INCORRECT;
    }
    s.userFailures = 0;
    setTokenFlags(slot, tokenFlags(slot) & ~(CKF_USER_PIN_COUNT_LOW | CKF_USER_PIN_FINAL_TRY |
                                             CKF_USER_PIN_LOCKED));
    CK_RV rv = WriteHeader(slot);
    s.masterKey.reset(new DES3Key(key.get()));
    memset(key.get(), 0, n);
    if (rv != CKR_OK) {
        s.masterKey.reset();
        return rv;
    }
    s.loggedIn = CKU_USER;
    for (CK_OBJECT_HANDLE h = 1; h <= kMaxObjects; ++h) {
        PKCS11Object* o = objects[h];
        if (o != nullptr && o->slot == slot && o->locked) decipherObject(slot, o);
    }
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_InitToken(CK_SLOT_ID slot, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen,
                                  CK_UTF8CHAR_PTR label) {
    if (!initialized) return CKR_CRYPTOKI_NOT_INITIALIZED;
    if (slot >= slotCount) return CKR_SLOT_ID_INVALID;
    if (sessionsOn(slot, false) > 0) return CKR_SESSION_EXISTS;
    if (pin == nullptr || pinLen == 0 || memchr(pin, 0, pinLen) != nullptr) {
        return CKR_ARGUMENTS_BAD;
    }
    if (pinLen > kMaxPinLen) return CKR_PIN_LEN_RANGE;
    // The virtual token is made afresh with each process and cannot be initialised.
    if (slot == 0) return CKR_TOKEN_WRITE_PROTECTED;
    Slot& s = slots[slot];
    CK_RV rv = ReadHeader(slot);
    if (rv == CKR_TOKEN_NOT_RECOGNIZED) {
        // A damaged file is left as it is for someone to look at, not overwritten.
        return rv;
    }
    if (rv == CKR_OK && (tokenFlags(slot) & CKF_TOKEN_INITIALIZED)) {
        // An initialised token is initialised again only by its SO.
        rv = loginSO(slot, pin, pinLen);
        s.loggedIn = CK_UNAVAILABLE_INFORMATION;
        if (rv != CKR_OK) return rv;
    }
    dropSlotObjects(slot);
    logoutSlot(slot);
    workArea.assign(kBlockSize, 0);
    unsigned char* h = workArea.data();
    memset(h, ' ', kHeaderSize);
    if (label != nullptr) {
        memcpy(h + kLabel, label, 32);
    }
    blankCopy(h + kMaker, 32, kDiskManufacturer);
    blankCopy(h + kModel, 16, "Disk Token");
    blankCopy(h + kSerial, 16, "1234");
    put64(h + kFlags, CKF_RNG | CKF_LOGIN_REQUIRED | CKF_TOKEN_INITIALIZED);
    h[kSOFailures] = 0;
    h[kUserFailures] = 0;
    memcpy(s.header, h, kHeaderSize);
    unsigned char salt[8];
    pinParameterSalt(slot, salt);
    PBEParameter parameter(salt, 8, kPinIterations);
    unsigned long n;
    std::unique_ptr<unsigned char[]> verifier(
        PBE::encrypt(pin, pinLen, &parameter, h + kMaker, kVerifiedLen, &n));
    if (!verifier || n != kSOVerifierLen) return CKR_FUNCTION_FAILED;
    memcpy(h + kSOVerifier, verifier.get(), kSOVerifierLen);
    memset(h + kMasterKey, 0, kMasterKeyLen);
    SHA1 sha;
    sha.update(h, kDigest);
    sha.final(h + kDigest);
    memcpy(s.header, h, kHeaderSize);
    File f(s.path, O_RDWR | O_CREAT | O_TRUNC);
    if (f.fd < 0 || !writeAt(f.fd, h, kBlockSize, 0)) {
        s.headerLoaded = s.objectsLoaded = false;
        return CKR_TOKEN_NOT_PRESENT;
    }
    s.soFailures = s.userFailures = 0;
    s.headerLoaded = true;
    s.objectsLoaded = false;
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_InitPIN(CK_SESSION_HANDLE hs, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if (slots[s->slot].loggedIn != CKU_SO) return CKR_USER_NOT_LOGGED_IN;
    if (!(s->flags & CKF_RW_SESSION)) return CKR_SESSION_READ_ONLY;
    if (pin == nullptr || pinLen == 0) return CKR_ARGUMENTS_BAD;
    if (pinLen > kMaxPinLen) return CKR_PIN_LEN_RANGE;
    // A new master key: private objects enciphered under an earlier one stay in the file but
    // no longer open.
    unsigned char key[DES3Key::kLength];
    generator->random(key, sizeof key);
    unsigned char salt[8];
    pinParameterSalt(s->slot, salt);
    PBEParameter parameter(salt, 8, kPinIterations);
    unsigned long n;
    std::unique_ptr<unsigned char[]> sealed(
        PBE::encrypt(pin, pinLen, &parameter, key, sizeof key, &n));
    memset(key, 0, sizeof key);
    if (!sealed || n != kMasterKeyLen) return CKR_FUNCTION_FAILED;
    Slot& slot = slots[s->slot];
    memcpy(slot.header + kMasterKey, sealed.get(), kMasterKeyLen);
    slot.userFailures = 0;
    setTokenFlags(s->slot,
                  (tokenFlags(s->slot) | CKF_USER_PIN_INITIALIZED) &
                      ~(CKF_USER_PIN_COUNT_LOW | CKF_USER_PIN_FINAL_TRY | CKF_USER_PIN_LOCKED));
    return WriteHeader(s->slot);
}

CK_RV PKCS11CryptoKi::C_SetPIN(CK_SESSION_HANDLE hs, CK_UTF8CHAR_PTR oldPin, CK_ULONG oldLen,
                               CK_UTF8CHAR_PTR newPin, CK_ULONG newLen) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if (oldPin == nullptr || newPin == nullptr || newLen == 0) return CKR_ARGUMENTS_BAD;
    if (!(s->flags & CKF_RW_SESSION)) return CKR_SESSION_READ_ONLY;
    if (s->slot == 0) return CKR_USER_PIN_NOT_INITIALIZED;
    if (newLen > kMaxPinLen || oldLen > kMaxPinLen) return CKR_PIN_LEN_RANGE;
    Slot& slot = slots[s->slot];
    if (!slot.headerLoaded && (rv = ReadHeader(s->slot)) != CKR_OK) return rv;
    bool so = slot.loggedIn == CKU_SO;
    unsigned char salt[8];
    pinParameterSalt(s->slot, salt);
    PBEParameter parameter(salt, 8, kPinIterations);
    unsigned long n;
    unsigned int at = so ? kSOVerifier : kMasterKey;
    unsigned int size = so ? kSOVerifierLen : kMasterKeyLen;
    unsigned char& failures = so ? slot.soFailures : slot.userFailures;
    if (failures >= kMaxPinTries) return CKR_PIN_LOCKED;
    if (!so && !(tokenFlags(s->slot) & CKF_USER_PIN_INITIALIZED)) {
        return CKR_USER_PIN_NOT_INITIALIZED;
    }
    std::unique_ptr<unsigned char[]> plain(
        PBE::decrypt(oldPin, oldLen, &parameter, slot.header + at, size, &n));
    bool ok = plain && (so ? n == kVerifiedLen && memcmp(plain.get(), slot.header + kMaker, n) == 0
                           : n == DES3Key::kLength);
    if (!ok) {
        countFailure(s->slot, so ? CKU_SO : CKU_USER);
        return CKR_PIN_INCORRECT;
    }
    std::unique_ptr<unsigned char[]> sealed(
        PBE::encrypt(newPin, newLen, &parameter, plain.get(), n, &n));
    memset(plain.get(), 0, so ? kVerifiedLen : DES3Key::kLength);
    if (!sealed || n != size) return CKR_FUNCTION_FAILED;
    memcpy(slot.header + at, sealed.get(), size);
    failures = 0;
    return WriteHeader(s->slot);
}
