#include "crypto/CpuFeatures.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace {

bool detect() {
#if defined(__x86_64__) || defined(__i386__)
    unsigned int a, b, c, d;
    if (!__get_cpuid(1, &a, &b, &c, &d)) return false;
    const bool ssse3 = (c & (1u << 9)) != 0;
    const bool sse41 = (c & (1u << 19)) != 0;
    if (__get_cpuid_max(0, nullptr) < 7) return false;
    __cpuid_count(7, 0, a, b, c, d);
    const bool sha = (b & (1u << 29)) != 0;
    return ssse3 && sse41 && sha;
#else
    return false;
#endif
}

bool allowed = true;

}  // namespace

bool CpuFeatures::hasSHAExtensions() {
    static const bool present = detect();
    return present;
}

bool CpuFeatures::useSHAExtensions() {
    return allowed && hasSHAExtensions();
}

void CpuFeatures::allowSHAExtensions(bool allow) {
    allowed = allow;
}
