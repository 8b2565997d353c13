#include "crypto/SHA1.h"

#include <utility>

#include "crypto/CpuFeatures.h"

#if defined(__x86_64__)
#include <immintrin.h>
#define SIGILO_SHA_NI 1
#endif

namespace {

void compressPortable(uint32_t* h, const unsigned char* p, size_t blocks) {
    for (; blocks > 0; --blocks, p += 64) {
        uint32_t w[16];
        for (int i = 0; i < 16; ++i) w[i] = load32be(p + 4 * i);
        uint32_t a = h[0], b = h[1], c = h[2], d = h[3], e = h[4];
        for (int i = 0; i < 80; ++i) {
            if (i >= 16) {
                w[i & 15] =
                    rotl32(w[(i + 13) & 15] ^ w[(i + 8) & 15] ^ w[(i + 2) & 15] ^ w[i & 15], 1);
            }
            uint32_t f, k;
            if (i < 20) {
                f = (b & c) | (~b & d);
                k = 0x5A827999;
            } else if (i < 40) {
                f = b ^ c ^ d;
                k = 0x6ED9EBA1;
            } else if (i < 60) {
                f = (b & c) | (b & d) | (c & d);
                k = 0x8F1BBCDC;
            } else {
                f = b ^ c ^ d;
                k = 0xCA62C1D6;
            }
            uint32_t t = rotl32(a, 5) + f + e + k + w[i & 15];
            e = d;
            d = c;
            c = rotl32(b, 30);
            b = a;
            a = t;
        }
        h[0] += a;
        h[1] += b;
        h[2] += c;
        h[3] += d;
        h[4] += e;
    }
}

#ifdef SIGILO_SHA_NI
// Four rounds at a time with the SHA instructions. Message words w[i % 4] hold the schedule
// four words at a time; word group g (g >= 4) is msg2(msg1(W[g-4], W[g-3]) ^ W[g-2], W[g-1]),
// its three steps spread over the iterations g-3, g-2 and g-1. Each step is a template on its
// number so that the compiler sees constant indexes and keeps everything in registers.
#define SIGILO_SHA_TARGET __attribute__((target("sha,sse4.1,ssse3"), always_inline))

template <int i>
SIGILO_SHA_TARGET inline void sha1Step(__m128i& abcd, __m128i* e, __m128i* w,
                                       const unsigned char* p, __m128i mask) {
    constexpr int a = i & 1;
    if constexpr (i < 4) {
        w[i] =
            _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * i)), mask);
    }
    if constexpr (i == 0) {
        e[0] = _mm_add_epi32(e[0], w[0]);
    } else {
        e[a] = _mm_sha1nexte_epu32(e[a], w[i & 3]);
    }
    e[1 - a] = abcd;
    if constexpr (i >= 3 && i <= 18) {
        w[(i + 1) & 3] = _mm_sha1msg2_epu32(w[(i + 1) & 3], w[i & 3]);
    }
    abcd = _mm_sha1rnds4_epu32(abcd, e[a], i / 5);
    if constexpr (i >= 1 && i <= 16) {
        w[(i + 3) & 3] = _mm_sha1msg1_epu32(w[(i + 3) & 3], w[i & 3]);
    }
    if constexpr (i >= 2 && i <= 17) w[(i + 2) & 3] = _mm_xor_si128(w[(i + 2) & 3], w[i & 3]);
}

template <int... i>
SIGILO_SHA_TARGET inline void sha1Steps(std::integer_sequence<int, i...>, __m128i& abcd, __m128i* e,
                                        __m128i* w, const unsigned char* p, __m128i mask) {
    (sha1Step<i>(abcd, e, w, p, mask), ...);
}

__attribute__((target("sha,sse4.1,ssse3"))) void compressSHANI(uint32_t* h, const unsigned char* p,
                                                               size_t blocks) {
    const __m128i mask = _mm_set_epi64x(0x0001020304050607LL, 0x08090a0b0c0d0e0fLL);
    __m128i abcd = _mm_shuffle_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(h)), 0x1B);
    __m128i e0 = _mm_set_epi32(static_cast<int>(h[4]), 0, 0, 0);
    for (; blocks > 0; --blocks, p += 64) {
        const __m128i abcdSave = abcd;
        const __m128i eSave = e0;
        __m128i w[4];
        __m128i e[2] = {e0, _mm_setzero_si128()};
        sha1Steps(std::make_integer_sequence<int, 20>(), abcd, e, w, p, mask);
        e0 = _mm_sha1nexte_epu32(e[0], eSave);
        abcd = _mm_add_epi32(abcd, abcdSave);
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(h), _mm_shuffle_epi32(abcd, 0x1B));
    h[4] = static_cast<uint32_t>(_mm_extract_epi32(e0, 3));
}
#endif

}  // namespace

SHA1::SHA1() : BlockDigest(64, 8, true), h() {
    reset();
}

void SHA1::reset() {
    h[0] = 0x67452301;
    h[1] = 0xEFCDAB89;
    h[2] = 0x98BADCFE;
    h[3] = 0x10325476;
    h[4] = 0xC3D2E1F0;
    resetCount();
}

void SHA1::compress(const unsigned char* p, size_t blocks) {
#ifdef SIGILO_SHA_NI
    if (CpuFeatures::useSHAExtensions()) {
        compressSHANI(h, p, blocks);
        return;
    }
#endif
    compressPortable(h, p, blocks);
}

void SHA1::final(unsigned char* out) {
    pad();
    for (int i = 0; i < 5; ++i) store32be(out + 4 * i, h[i]);
    reset();
}
