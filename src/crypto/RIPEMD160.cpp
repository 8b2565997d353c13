#include "crypto/RIPEMD160.h"

namespace {

const unsigned char kWordLeft[80] = {0, 1,  2,  3,  4,  5,  6,  7,  8,  9, 10, 11, 12, 13, 14, 15,
                                     7, 4,  13, 1,  10, 6,  15, 3,  12, 0, 9,  5,  2,  14, 11, 8,
                                     3, 10, 14, 4,  9,  15, 8,  1,  2,  7, 0,  6,  13, 11, 5,  12,
                                     1, 9,  11, 10, 0,  8,  12, 4,  13, 3, 7,  15, 14, 5,  6,  2,
                                     4, 0,  5,  9,  7,  12, 2,  10, 14, 1, 3,  8,  11, 6,  15, 13};
const unsigned char kWordRight[80] = {5,  14, 7,  0, 9, 2,  11, 4,  13, 6,  15, 8,  1,  10, 3,  12,
                                      6,  11, 3,  7, 0, 13, 5,  10, 14, 15, 8,  12, 4,  9,  1,  2,
                                      15, 5,  1,  3, 7, 14, 6,  9,  11, 8,  12, 2,  10, 0,  4,  13,
                                      8,  6,  4,  1, 3, 11, 15, 0,  5,  12, 2,  13, 9,  7,  10, 14,
                                      12, 15, 10, 4, 1, 5,  8,  7,  6,  2,  13, 14, 0,  3,  9,  11};
const unsigned char kShiftLeft[80] = {
    11, 14, 15, 12, 5, 8,  7,  9,  11, 13, 14, 15, 6,  7,  9,  8,  7,  6,  8,  13,
    11, 9,  7,  15, 7, 12, 15, 9,  11, 7,  13, 12, 11, 13, 6,  7,  14, 9,  13, 15,
    14, 8,  13, 6,  5, 12, 7,  5,  11, 12, 14, 15, 14, 15, 9,  8,  9,  14, 5,  6,
    8,  6,  5,  12, 9, 15, 5,  11, 6,  8,  13, 12, 5,  12, 13, 14, 11, 8,  5,  6};
const unsigned char kShiftRight[80] = {
    8,  9,  9,  11, 13, 15, 15, 5, 7,  7,  8,  11, 14, 14, 12, 6,  9,  13, 15, 7,
    12, 8,  9,  11, 7,  7,  12, 7, 6,  15, 13, 11, 9,  7,  15, 11, 8,  6,  6,  14,
    12, 13, 5,  14, 13, 13, 7,  5, 15, 5,  8,  11, 14, 14, 6,  14, 6,  9,  12, 9,
    12, 5,  15, 8,  8,  5,  12, 9, 12, 5,  14, 6,  8,  13, 6,  5,  15, 13, 11, 11};
const uint32_t kConstLeft[5] = {0x00000000, 0x5A827999, 0x6ED9EBA1, 0x8F1BBCDC, 0xA953FD4E};
const uint32_t kConstRight[5] = {0x50A28BE6, 0x5C4DD124, 0x6D703EF3, 0x7A6D76E9, 0x00000000};

inline uint32_t f(int round, uint32_t x, uint32_t y, uint32_t z) {
    switch (round) {
        case 0:
            return x ^ y ^ z;
        case 1:
            return (x & y) | (~x & z);
        case 2:
            return (x | ~y) ^ z;
        case 3:
            return (x & z) | (y & ~z);
        default:
            return x ^ (y | ~z);
    }
}

}  // namespace

RIPEMD160::RIPEMD160() : BlockDigest(64, 8, false), h() {
    reset();
}

void RIPEMD160::reset() {
    h[0] = 0x67452301;
    h[1] = 0xEFCDAB89;
    h[2] = 0x98BADCFE;
    h[3] = 0x10325476;
    h[4] = 0xC3D2E1F0;
    resetCount();
}

void RIPEMD160::compress(const unsigned char* p, size_t blocks) {
    for (; blocks > 0; --blocks, p += 64) {
        uint32_t x[16];
        for (int i = 0; i < 16; ++i) x[i] = load32le(p + 4 * i);
        uint32_t al = h[0], bl = h[1], cl = h[2], dl = h[3], el = h[4];
        uint32_t ar = h[0], br = h[1], cr = h[2], dr = h[3], er = h[4];
        for (int j = 0; j < 80; ++j) {
            int round = j / 16;
            uint32_t t = rotl32(al + f(round, bl, cl, dl) + x[kWordLeft[j]] + kConstLeft[round],
                                kShiftLeft[j]) +
                         el;
            al = el;
            el = dl;
            dl = rotl32(cl, 10);
            cl = bl;
            bl = t;
            t = rotl32(ar + f(4 - round, br, cr, dr) + x[kWordRight[j]] + kConstRight[round],
                       kShiftRight[j]) +
                er;
            ar = er;
            er = dr;
            dr = rotl32(cr, 10);
            cr = br;
            br = t;
        }
        uint32_t t = h[1] + cl + dr;
        h[1] = h[2] + dl + er;
        h[2] = h[3] + el + ar;
        h[3] = h[4] + al + br;
        h[4] = h[0] + bl + cr;
        h[0] = t;
    }
}

void RIPEMD160::final(unsigned char* out) {
    pad();
    for (int i = 0; i < 5; ++i) store32le(out + 4 * i, h[i]);
    reset();
}
