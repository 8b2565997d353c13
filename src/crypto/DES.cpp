#include "crypto/DES.h"

#include <cstring>
#include <vector>

namespace {

const unsigned char kIP[64] = {58, 50, 42, 34, 26, 18, 10, 2, 60, 52, 44, 36, 28, 20, 12, 4,
                               62, 54, 46, 38, 30, 22, 14, 6, 64, 56, 48, 40, 32, 24, 16, 8,
                               57, 49, 41, 33, 25, 17, 9,  1, 59, 51, 43, 35, 27, 19, 11, 3,
                               61, 53, 45, 37, 29, 21, 13, 5, 63, 55, 47, 39, 31, 23, 15, 7};
const unsigned char kFP[64] = {40, 8, 48, 16, 56, 24, 64, 32, 39, 7, 47, 15, 55, 23, 63, 31,
                               38, 6, 46, 14, 54, 22, 62, 30, 37, 5, 45, 13, 53, 21, 61, 29,
                               36, 4, 44, 12, 52, 20, 60, 28, 35, 3, 43, 11, 51, 19, 59, 27,
                               34, 2, 42, 10, 50, 18, 58, 26, 33, 1, 41, 9,  49, 17, 57, 25};
const unsigned char kE[48] = {32, 1,  2,  3,  4,  5,  4,  5,  6,  7,  8,  9,  8,  9,  10, 11,
                              12, 13, 12, 13, 14, 15, 16, 17, 16, 17, 18, 19, 20, 21, 20, 21,
                              22, 23, 24, 25, 24, 25, 26, 27, 28, 29, 28, 29, 30, 31, 32, 1};
const unsigned char kP[32] = {16, 7, 20, 21, 29, 12, 28, 17, 1,  15, 23, 26, 5,  18, 31, 10,
                              2,  8, 24, 14, 32, 27, 3,  9,  19, 13, 30, 6,  22, 11, 4,  25};
const unsigned char kPC1[56] = {57, 49, 41, 33, 25, 17, 9,  1,  58, 50, 42, 34, 26, 18,
                                10, 2,  59, 51, 43, 35, 27, 19, 11, 3,  60, 52, 44, 36,
                                63, 55, 47, 39, 31, 23, 15, 7,  62, 54, 46, 38, 30, 22,
                                14, 6,  61, 53, 45, 37, 29, 21, 13, 5,  28, 20, 12, 4};
const unsigned char kPC2[48] = {14, 17, 11, 24, 1,  5,  3,  28, 15, 6,  21, 10, 23, 19, 12, 4,
                                26, 8,  16, 7,  27, 20, 13, 2,  41, 52, 31, 37, 47, 55, 30, 40,
                                51, 45, 33, 48, 44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32};
const unsigned char kShifts[16] = {1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};
const unsigned char kS[8][64] = {
    {14, 4,  13, 1, 2,  15, 11, 8, 3, 10, 6, 12, 5,  9,  0,  7,  0,  15, 7,  4,  14, 2,
     13, 1,  10, 6, 12, 11, 9,  5, 3, 8,  4, 1,  14, 8,  13, 6,  2,  11, 15, 12, 9,  7,
     3,  10, 5,  0, 15, 12, 8,  2, 4, 9,  1, 7,  5,  11, 3,  14, 10, 0,  6,  13},
    {15, 1,  8,  14, 6,  11, 3,  4, 9,  7,  2, 13, 12, 0,  5,  10, 3,  13, 4,  7, 15, 2,
     8,  14, 12, 0,  1,  10, 6,  9, 11, 5,  0, 14, 7,  11, 10, 4,  13, 1,  5,  8, 12, 6,
     9,  3,  2,  15, 13, 8,  10, 1, 3,  15, 4, 2,  11, 6,  7,  12, 0,  5,  14, 9},
    {10, 0,  9,  14, 6, 3,  15, 5,  1,  13, 12, 7, 11, 4,  2,  8,  13, 7, 0,  9, 3, 4,
     6,  10, 2,  8,  5, 14, 12, 11, 15, 1,  13, 6, 4,  9,  8,  15, 3,  0, 11, 1, 2, 12,
     5,  10, 14, 7,  1, 10, 13, 0,  6,  9,  8,  7, 4,  15, 14, 3,  11, 5, 2,  12},
    {7, 13, 14, 3, 0, 6,  9, 10, 1,  2, 8,  5, 11, 12, 4,  15, 13, 8,  11, 5, 6, 15,
     0, 3,  4,  7, 2, 12, 1, 10, 14, 9, 10, 6, 9,  0,  12, 11, 7,  13, 15, 1, 3, 14,
     5, 2,  8,  4, 3, 15, 0, 6,  10, 1, 13, 8, 9,  4,  5,  11, 12, 7,  2,  14},
    {2,  12, 4, 1,  7,  10, 11, 6, 8, 5,  3, 15, 13, 0,  14, 9,  14, 11, 2,  12, 4,  7,
     13, 1,  5, 0,  15, 10, 3,  9, 8, 6,  4, 2,  1,  11, 10, 13, 7,  8,  15, 9,  12, 5,
     6,  3,  0, 14, 11, 8,  12, 7, 1, 14, 2, 13, 6,  15, 0,  9,  10, 4,  5,  3},
    {12, 1,  10, 15, 9,  2,  6, 8,  0, 13, 3,  4,  14, 7,  5, 11, 10, 15, 4, 2, 7, 12,
     9,  5,  6,  1,  13, 14, 0, 11, 3, 8,  9,  14, 15, 5,  2, 8,  12, 3,  7, 0, 4, 10,
     1,  13, 11, 6,  4,  3,  2, 12, 9, 5,  15, 10, 11, 14, 1, 7,  6,  0,  8, 13},
    {4, 11, 2,  14, 15, 0,  8,  13, 3, 12, 9,  7, 5,  10, 6,  1,  13, 0,  11, 7,  4, 9,
     1, 10, 14, 3,  5,  12, 2,  15, 8, 6,  1,  4, 11, 13, 12, 3,  7,  14, 10, 15, 6, 8,
     0, 5,  9,  2,  6,  11, 13, 8,  1, 4,  10, 7, 9,  5,  0,  15, 14, 2,  3,  12},
    {13, 2, 8,  4, 6, 15, 11, 1,  10, 9,  3, 14, 5,  0,  12, 7,  1,  15, 13, 8, 10, 3,
     7,  4, 12, 5, 6, 11, 0,  14, 9,  2,  7, 11, 4,  1,  9,  12, 14, 2,  0,  6, 10, 13,
     15, 3, 5,  8, 2, 1,  14, 7,  4,  10, 8, 13, 15, 12, 9,  0,  3,  5,  6,  11}};

// Bit i of the output (1 = most significant of outBits) is bit table[i] of the input
// (1 = most significant of inBits).
uint64_t permute(uint64_t in, int inBits, const unsigned char* table, int outBits) {
    uint64_t out = 0;
    for (int i = 0; i < outBits; ++i) {
        out = (out << 1) | ((in >> (inBits - table[i])) & 1);
    }
    return out;
}

// S-box output already passed through P, for each box and each 6-bit input.
struct SPTable {
    uint32_t sp[8][64];
    SPTable() {
        for (int box = 0; box < 8; ++box) {
            for (int v = 0; v < 64; ++v) {
                int row = ((v >> 4) & 2) | (v & 1);
                int col = (v >> 1) & 15;
                uint64_t s = static_cast<uint64_t>(kS[box][row * 16 + col]) << (28 - 4 * box);
                sp[box][v] = static_cast<uint32_t>(permute(s, 32, kP, 32));
            }
        }
    }
};

const SPTable& spTable() {
    static const SPTable table;
    return table;
}

uint32_t feistel(uint32_t r, uint64_t subkey, const SPTable& t) {
    uint64_t x = permute(r, 32, kE, 48) ^ subkey;
    uint32_t out = 0;
    for (int box = 0; box < 8; ++box) out |= t.sp[box][(x >> (42 - 6 * box)) & 63];
    return out;
}

uint64_t load64(const unsigned char* p) {
    uint64_t v = 0;
    for (int i = 0; i < 8; ++i) v = (v << 8) | p[i];
    return v;
}

void store64(unsigned char* p, uint64_t v) {
    for (int i = 7; i >= 0; --i, v >>= 8) p[i] = static_cast<unsigned char>(v);
}

void keySchedule(const unsigned char* key, uint64_t* subkeys) {
    uint64_t cd = permute(load64(key), 64, kPC1, 56);
    uint32_t c = static_cast<uint32_t>(cd >> 28) & 0x0FFFFFFF;
    uint32_t d = static_cast<uint32_t>(cd) & 0x0FFFFFFF;
    for (int round = 0; round < 16; ++round) {
        for (int s = 0; s < kShifts[round]; ++s) {
            c = ((c << 1) | (c >> 27)) & 0x0FFFFFFF;
            d = ((d << 1) | (d >> 27)) & 0x0FFFFFFF;
        }
        subkeys[round] = permute((static_cast<uint64_t>(c) << 28) | d, 56, kPC2, 48);
    }
}

uint64_t desBlock(uint64_t block, const uint64_t* subkeys, bool encrypt) {
    const SPTable& t = spTable();
    uint64_t x = permute(block, 64, kIP, 64);
    uint32_t l = static_cast<uint32_t>(x >> 32), r = static_cast<uint32_t>(x);
    for (int round = 0; round < 16; ++round) {
        uint32_t next = l ^ feistel(r, subkeys[encrypt ? round : 15 - round], t);
        l = r;
        r = next;
    }
    return permute((static_cast<uint64_t>(r) << 32) | l, 64, kFP, 64);
}

}  // namespace

DES3Key::DES3Key(const unsigned char* bytes) : key() {
    if (bytes != nullptr) memcpy(key, bytes, kLength);
}

DES3Key::~DES3Key() {
    memset(key, 0, kLength);
}

DES::DES() : subkeys(), keys(0), chaining(kECB), iv() {}

DES::~DES() {
    memset(subkeys, 0, sizeof subkeys);
}

bool DES::init(int mode, const unsigned char* key, unsigned int keyLen, const unsigned char* v) {
    int variant = mode & (kEDE2 | kEDE3);
    int chain = mode & 3;
    unsigned int wanted = variant == kEDE3 ? 24 : variant == kEDE2 ? 16 : 8;
    if (key == nullptr || keyLen != wanted || chain == 3 || variant == (kEDE2 | kEDE3)) {
        return false;
    }
    keySchedule(key, subkeys[0]);
    keys = 1;
    if (variant != 0) {
        keySchedule(key + 8, subkeys[1]);
        // Two-key EDE uses the first key again as the third.
        keySchedule(variant == kEDE3 ? key + 16 : key, subkeys[2]);
        keys = 3;
    }
    chaining = chain;
    if (v != nullptr) {
        memcpy(iv, v, 8);
    } else {
        memset(iv, 0, 8);
    }
    return true;
}

void DES::crypt(const unsigned char* in, unsigned char* out, bool encrypt) const {
    uint64_t b = load64(in);
    if (keys == 1) {
        b = desBlock(b, subkeys[0], encrypt);
    } else if (encrypt) {
        b = desBlock(desBlock(desBlock(b, subkeys[0], true), subkeys[1], false), subkeys[2], true);
    } else {
        b = desBlock(desBlock(desBlock(b, subkeys[2], false), subkeys[1], true), subkeys[0], false);
    }
    store64(out, b);
}

void DES::encryptBlock(const unsigned char* in, unsigned char* out) const {
    crypt(in, out, true);
}

void DES::decryptBlock(const unsigned char* in, unsigned char* out) const {
    crypt(in, out, false);
}

unsigned char* DES::encrypt(const unsigned char* in, unsigned long len, unsigned long* outLen,
                            bool pad) {
    *outLen = 0;
    if (keys == 0 || (in == nullptr && len > 0)) return nullptr;
    if (chaining == kCFB8) {
        unsigned char* out = new unsigned char[len > 0 ? len : 1];
        unsigned char reg[8], ks[8];
        memcpy(reg, iv, 8);
        for (unsigned long i = 0; i < len; ++i) {
            crypt(reg, ks, true);
            out[i] = in[i] ^ ks[0];
            memmove(reg, reg + 1, 7);
            reg[7] = out[i];
        }
        *outLen = len;
        return out;
    }
    if (!pad && len % 8 != 0) return nullptr;
    unsigned long total = pad ? (len / 8 + 1) * 8 : len;
    std::vector<unsigned char> plain(total);
    if (len > 0) memcpy(plain.data(), in, len);
    for (unsigned long i = len; i < total; ++i) plain[i] = static_cast<unsigned char>(total - len);
    unsigned char* out = new unsigned char[total > 0 ? total : 1];
    unsigned char prev[8];
    memcpy(prev, iv, 8);
    for (unsigned long at = 0; at < total; at += 8) {
        unsigned char block[8];
        for (int i = 0; i < 8; ++i) {
            block[i] = chaining == kCBC ? plain[at + i] ^ prev[i] : plain[at + i];
        }
        crypt(block, out + at, true);
        memcpy(prev, out + at, 8);
    }
    *outLen = total;
    return out;
}

unsigned char* DES::decrypt(const unsigned char* in, unsigned long len, unsigned long* outLen,
                            bool pad) {
    *outLen = 0;
    if (keys == 0 || (in == nullptr && len > 0)) return nullptr;
    if (chaining == kCFB8) {
        unsigned char* out = new unsigned char[len > 0 ? len : 1];
        unsigned char reg[8], ks[8];
        memcpy(reg, iv, 8);
        for (unsigned long i = 0; i < len; ++i) {
            crypt(reg, ks, true);
            out[i] = in[i] ^ ks[0];
            memmove(reg, reg + 1, 7);
            reg[7] = in[i];
        }
        *outLen = len;
        return out;
    }
    if (len % 8 != 0 || (pad && len == 0)) return nullptr;
    std::vector<unsigned char> plain(len > 0 ? len : 1);
    unsigned char prev[8];
    memcpy(prev, iv, 8);
    for (unsigned long at = 0; at < len; at += 8) {
        crypt(in + at, plain.data() + at, false);
        if (chaining == kCBC) {
            for (int i = 0; i < 8; ++i) plain[at + i] ^= prev[i];
        }
        memcpy(prev, in + at, 8);
    }
    unsigned long n = len;
    if (pad) {
        // Every pad byte must carry the pad length: a wrong key almost never passes this.
        unsigned char p = plain[len - 1];
        if (p == 0 || p > 8 || p > len) return nullptr;
        for (unsigned long i = len - p; i < len; ++i) {
            if (plain[i] != p) return nullptr;
        }
        n = len - p;
    }
    unsigned char* out = new unsigned char[n > 0 ? n : 1];
    if (n > 0) memcpy(out, plain.data(), n);
    memset(plain.data(), 0, plain.size());
    *outLen = n;
    return out;
}
