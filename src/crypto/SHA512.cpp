#include "crypto/SHA512.h"

namespace {

const uint64_t kK[80] = {
    0x428a2f98d728ae22ULL, 0x7137449123ef65cdULL, 0xb5c0fbcfec4d3b2fULL, 0xe9b5dba58189dbbcULL,
    0x3956c25bf348b538ULL, 0x59f111f1b605d019ULL, 0x923f82a4af194f9bULL, 0xab1c5ed5da6d8118ULL,
    0xd807aa98a3030242ULL, 0x12835b0145706fbeULL, 0x243185be4ee4b28cULL, 0x550c7dc3d5ffb4e2ULL,
    0x72be5d74f27b896fULL, 0x80deb1fe3b1696b1ULL, 0x9bdc06a725c71235ULL, 0xc19bf174cf692694ULL,
    0xe49b69c19ef14ad2ULL, 0xefbe4786384f25e3ULL, 0x0fc19dc68b8cd5b5ULL, 0x240ca1cc77ac9c65ULL,
    0x2de92c6f592b0275ULL, 0x4a7484aa6ea6e483ULL, 0x5cb0a9dcbd41fbd4ULL, 0x76f988da831153b5ULL,
    0x983e5152ee66dfabULL, 0xa831c66d2db43210ULL, 0xb00327c898fb213fULL, 0xbf597fc7beef0ee4ULL,
    0xc6e00bf33da88fc2ULL, 0xd5a79147930aa725ULL, 0x06ca6351e003826fULL, 0x142929670a0e6e70ULL,
    0x27b70a8546d22ffcULL, 0x2e1b21385c26c926ULL, 0x4d2c6dfc5ac42aedULL, 0x53380d139d95b3dfULL,
    0x650a73548baf63deULL, 0x766a0abb3c77b2a8ULL, 0x81c2c92e47edaee6ULL, 0x92722c851482353bULL,
    0xa2bfe8a14cf10364ULL, 0xa81a664bbc423001ULL, 0xc24b8b70d0f89791ULL, 0xc76c51a30654be30ULL,
    0xd192e819d6ef5218ULL, 0xd69906245565a910ULL, 0xf40e35855771202aULL, 0x106aa07032bbd1b8ULL,
    0x19a4c116b8d2d0c8ULL, 0x1e376c085141ab53ULL, 0x2748774cdf8eeb99ULL, 0x34b0bcb5e19b48a8ULL,
    0x391c0cb3c5c95a63ULL, 0x4ed8aa4ae3418acbULL, 0x5b9cca4f7763e373ULL, 0x682e6ff3d6b2b8a3ULL,
    0x748f82ee5defb2fcULL, 0x78a5636f43172f60ULL, 0x84c87814a1f0ab72ULL, 0x8cc702081a6439ecULL,
    0x90befffa23631e28ULL, 0xa4506cebde82bde9ULL, 0xbef9a3f7b2c67915ULL, 0xc67178f2e372532bULL,
    0xca273eceea26619cULL, 0xd186b8c721c0c207ULL, 0xeada7dd6cde0eb1eULL, 0xf57d4f7fee6ed178ULL,
    0x06f067aa72176fbaULL, 0x0a637dc5a2c898a6ULL, 0x113f9804bef90daeULL, 0x1b710b35131c471bULL,
    0x28db77f523047d84ULL, 0x32caab7b40c72493ULL, 0x3c9ebe0a15c9bebcULL, 0x431d67c49c100d4cULL,
    0x4cc5d4becb3e42b6ULL, 0x597f299cfc657e2aULL, 0x5fcb6fab3ad6faecULL, 0x6c44198c4a475817ULL};

#define SIGILO_SHA512_ROUND(a, b, c, d, e, f, g, h, i)                                             \
    do {                                                                                           \
        uint64_t t1 = h + (rotr64(e, 14) ^ rotr64(e, 18) ^ rotr64(e, 41)) + (g ^ (e & (f ^ g))) +  \
                      kK[i] + w[(i)&15];                                                           \
        uint64_t t2 = (rotr64(a, 28) ^ rotr64(a, 34) ^ rotr64(a, 39)) + ((a & b) | (c & (a | b))); \
        d += t1;                                                                                   \
        h = t1 + t2;                                                                               \
    } while (0)

// The rounds in groups of sixteen with the variables renamed instead of moved; from round 16
// on, each round works out its own message word in the 16-word ring just before it uses it.
#define SIGILO_SHA512_EXPAND(j)                                                            \
    do {                                                                                   \
        uint64_t w15 = w[((j) + 1) & 15], w2 = w[((j) + 14) & 15];                         \
        w[(j) & 15] += (rotr64(w15, 1) ^ rotr64(w15, 8) ^ (w15 >> 7)) + w[((j) + 9) & 15] + \
                       (rotr64(w2, 19) ^ rotr64(w2, 61) ^ (w2 >> 6));                       \
    } while (0)

#define SIGILO_SHA512_STEP(a, b, c, d, e, f, g, h, i, j)    \
    do {                                                    \
        if ((i) >= 16) SIGILO_SHA512_EXPAND((i) + (j));     \
        SIGILO_SHA512_ROUND(a, b, c, d, e, f, g, h, (i) + (j)); \
    } while (0)

__attribute__((always_inline)) inline void compressBlocks(uint64_t* state, const unsigned char* p,
                                                          size_t blocks) {
    for (; blocks > 0; --blocks, p += 128) {
        uint64_t w[16];
        for (int i = 0; i < 16; ++i) w[i] = load64be(p + 8 * i);
        uint64_t a = state[0], b = state[1], c = state[2], d = state[3];
        uint64_t e = state[4], f = state[5], g = state[6], h = state[7];
        for (int i = 0; i < 80; i += 16) {
            SIGILO_SHA512_STEP(a, b, c, d, e, f, g, h, i, 0);
            SIGILO_SHA512_STEP(h, a, b, c, d, e, f, g, i, 1);
            SIGILO_SHA512_STEP(g, h, a, b, c, d, e, f, i, 2);
            SIGILO_SHA512_STEP(f, g, h, a, b, c, d, e, i, 3);
            SIGILO_SHA512_STEP(e, f, g, h, a, b, c, d, i, 4);
            SIGILO_SHA512_STEP(d, e, f, g, h, a, b, c, i, 5);
            SIGILO_SHA512_STEP(c, d, e, f, g, h, a, b, i, 6);
            SIGILO_SHA512_STEP(b, c, d, e, f, g, h, a, i, 7);
            SIGILO_SHA512_STEP(a, b, c, d, e, f, g, h, i, 8);
            SIGILO_SHA512_STEP(h, a, b, c, d, e, f, g, i, 9);
            SIGILO_SHA512_STEP(g, h, a, b, c, d, e, f, i, 10);
            SIGILO_SHA512_STEP(f, g, h, a, b, c, d, e, i, 11);
            SIGILO_SHA512_STEP(e, f, g, h, a, b, c, d, i, 12);
            SIGILO_SHA512_STEP(d, e, f, g, h, a, b, c, i, 13);
            SIGILO_SHA512_STEP(c, d, e, f, g, h, a, b, i, 14);
            SIGILO_SHA512_STEP(b, c, d, e, f, g, h, a, i, 15);
        }
        state[0] += a;
        state[1] += b;
        state[2] += c;
        state[3] += d;
        state[4] += e;
        state[5] += f;
        state[6] += g;
        state[7] += h;
    }
}

#if defined(__x86_64__)
// The same code compiled for processors with BMI2, whose rotate instruction does not touch
// the flags and needs no copy: chosen at run time.
__attribute__((target("bmi2"))) void compressBMI2(uint64_t* state, const unsigned char* p,
                                                  size_t blocks) {
    compressBlocks(state, p, blocks);
}

bool hasBMI2() {
    static const bool present = __builtin_cpu_supports("bmi2");
    return present;
}
#endif

}  // namespace

SHA512::SHA512() : BlockDigest(128, 16, true), h() {
    SHA512::reset();
}

void SHA512::reset() {
    static const uint64_t initial[8] = {
        0x6a09e667f3bcc908ULL, 0xbb67ae8584caa73bULL, 0x3c6ef372fe94f82bULL, 0xa54ff53a5f1d36f1ULL,
        0x510e527fade682d1ULL, 0x9b05688c2b3e6c1fULL, 0x1f83d9abfb41bd6bULL, 0x5be0cd19137e2179ULL};
    for (int i = 0; i < 8; ++i) h[i] = initial[i];
    resetCount();
}

void SHA512::compress(const unsigned char* p, size_t blocks) {
#if defined(__x86_64__)
    if (hasBMI2()) {
        compressBMI2(h, p, blocks);
        return;
    }
#endif
    compressBlocks(h, p, blocks);
}

void SHA512::finish(unsigned char* out, unsigned int n) {
    pad();
    unsigned char all[64];
    for (int i = 0; i < 8; ++i) store64be(all + 8 * i, h[i]);
    for (unsigned int i = 0; i < n; ++i) out[i] = all[i];
}

void SHA512::final(unsigned char* out) {
    finish(out, kLength);
    reset();
}

SHA384::SHA384() {
    SHA384::reset();
}

void SHA384::reset() {
    static const uint64_t initial[8] = {
        0xcbbb9d5dc1059ed8ULL, 0x629a292a367cd507ULL, 0x9159015a3070dd17ULL, 0x152fecd8f70e5939ULL,
        0x67332667ffc00b31ULL, 0x8eb44a8768581511ULL, 0xdb0c2e0d64f98fa7ULL, 0x47b5481dbefa4fa4ULL};
    for (int i = 0; i < 8; ++i) h[i] = initial[i];
    resetCount();
}

void SHA384::final(unsigned char* out) {
    finish(out, kLength);
    reset();
}
