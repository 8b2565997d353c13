#include "crypto/SHA256.h"

#include <utility>

#include "crypto/CpuFeatures.h"

#if defined(__x86_64__)
#include <immintrin.h>
#define SIGILO_SHA_NI 1
#endif

namespace {

alignas(16) const uint32_t kK[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

#define SIGILO_SHA256_ROUND(a, b, c, d, e, f, g, h, i)                                            \
    do {                                                                                          \
        uint32_t t1 = h + (rotr32(e, 6) ^ rotr32(e, 11) ^ rotr32(e, 25)) + ((e & f) ^ (~e & g)) + \
                      kK[i] + w[(i)&15];                                                          \
        uint32_t t2 =                                                                             \
            (rotr32(a, 2) ^ rotr32(a, 13) ^ rotr32(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));       \
        d += t1;                                                                                  \
        h = t1 + t2;                                                                              \
    } while (0)

void compressPortable(uint32_t* state, const unsigned char* p, size_t blocks) {
    for (; blocks > 0; --blocks, p += 64) {
        uint32_t w[16];
        for (int i = 0; i < 16; ++i) w[i] = load32be(p + 4 * i);
        uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
        uint32_t e = state[4], f = state[5], g = state[6], h = state[7];
        for (int i = 0; i < 64; i += 8) {
            if (i >= 16) {
                for (int j = i; j < i + 8; ++j) {
                    uint32_t w15 = w[(j + 1) & 15], w2 = w[(j + 14) & 15];
                    w[j & 15] += (rotr32(w15, 7) ^ rotr32(w15, 18) ^ (w15 >> 3)) + w[(j + 9) & 15] +
                                 (rotr32(w2, 17) ^ rotr32(w2, 19) ^ (w2 >> 10));
                }
            }
            SIGILO_SHA256_ROUND(a, b, c, d, e, f, g, h, i);
            SIGILO_SHA256_ROUND(h, a, b, c, d, e, f, g, i + 1);
            SIGILO_SHA256_ROUND(g, h, a, b, c, d, e, f, i + 2);
            SIGILO_SHA256_ROUND(f, g, h, a, b, c, d, e, i + 3);
            SIGILO_SHA256_ROUND(e, f, g, h, a, b, c, d, i + 4);
            SIGILO_SHA256_ROUND(d, e, f, g, h, a, b, c, i + 5);
            SIGILO_SHA256_ROUND(c, d, e, f, g, h, a, b, i + 6);
            SIGILO_SHA256_ROUND(b, c, d, e, f, g, h, a, i + 7);
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

#ifdef SIGILO_SHA_NI
// Four rounds at a time with the SHA instructions; the state lives as ABEF and CDGH. Message
// group g (g >= 4) is msg2(msg1(W[g-4], W[g-3]) + alignr(W[g-1], W[g-2]), W[g-1]), its steps
// spread over the iterations g-3 and g-1. Each step is a template on its number so that the
// compiler sees constant indexes and keeps everything in registers.
#define SIGILO_SHA_TARGET __attribute__((target("sha,sse4.1,ssse3"), always_inline))

template <int i>
SIGILO_SHA_TARGET inline void sha256Step(__m128i& s0, __m128i& s1, __m128i* w,
                                         const unsigned char* p, __m128i mask) {
    if constexpr (i < 4) {
        w[i] =
            _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * i)), mask);
    }
    __m128i m =
        _mm_add_epi32(w[i & 3], _mm_load_si128(reinterpret_cast<const __m128i*>(kK + 4 * i)));
    s1 = _mm_sha256rnds2_epu32(s1, s0, m);
    if constexpr (i >= 3 && i <= 14) {
        __m128i t = _mm_alignr_epi8(w[i & 3], w[(i + 3) & 3], 4);
        w[(i + 1) & 3] = _mm_sha256msg2_epu32(_mm_add_epi32(w[(i + 1) & 3], t), w[i & 3]);
    }
    m = _mm_shuffle_epi32(m, 0x0E);
    s0 = _mm_sha256rnds2_epu32(s0, s1, m);
    if constexpr (i >= 1 && i <= 12) {
        w[(i + 3) & 3] = _mm_sha256msg1_epu32(w[(i + 3) & 3], w[i & 3]);
    }
}

template <int... i>
SIGILO_SHA_TARGET inline void sha256Steps(std::integer_sequence<int, i...>, __m128i& s0,
                                          __m128i& s1, __m128i* w, const unsigned char* p,
                                          __m128i mask) {
    (sha256Step<i>(s0, s1, w, p, mask), ...);
}

__attribute__((target("sha,sse4.1,ssse3"))) void compressSHANI(uint32_t* state,
                                                               const unsigned char* p,
                                                               size_t blocks) {
    const __m128i mask = _mm_set_epi64x(0x0c0d0e0f08090a0bLL, 0x0405060700010203LL);
    __m128i tmp = _mm_loadu_si128(reinterpret_cast<const __m128i*>(state));
    __m128i s1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(state + 4));
    tmp = _mm_shuffle_epi32(tmp, 0xB1);        // CDAB
    s1 = _mm_shuffle_epi32(s1, 0x1B);          // EFGH
    __m128i s0 = _mm_alignr_epi8(tmp, s1, 8);  // ABEF
    s1 = _mm_blend_epi16(s1, tmp, 0xF0);       // CDGH
    for (; blocks > 0; --blocks, p += 64) {
        const __m128i save0 = s0, save1 = s1;
        __m128i w[4];
        sha256Steps(std::make_integer_sequence<int, 16>(), s0, s1, w, p, mask);
        s0 = _mm_add_epi32(s0, save0);
        s1 = _mm_add_epi32(s1, save1);
    }
    tmp = _mm_shuffle_epi32(s0, 0x1B);    // FEBA
    s1 = _mm_shuffle_epi32(s1, 0xB1);     // DCHG
    s0 = _mm_blend_epi16(tmp, s1, 0xF0);  // DCBA
    s1 = _mm_alignr_epi8(s1, tmp, 8);     // HGFE
    _mm_storeu_si128(reinterpret_cast<__m128i*>(state), s0);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(state + 4), s1);
}
#endif

}  // namespace

SHA256::SHA256() : BlockDigest(64, 8, true), h() {
    reset();
}

void SHA256::reset() {
    static const uint32_t initial[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                        0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    for (int i = 0; i < 8; ++i) h[i] = initial[i];
    resetCount();
}

void SHA256::compress(const unsigned char* p, size_t blocks) {
#ifdef SIGILO_SHA_NI
    if (CpuFeatures::useSHAExtensions()) {
        compressSHANI(h, p, blocks);
        return;
    }
#endif
    compressPortable(h, p, blocks);
}

void SHA256::final(unsigned char* out) {
    pad();
    for (int i = 0; i < 8; ++i) store32be(out + 4 * i, h[i]);
    reset();
}
