// Which instruction-set extensions the hash functions may use. The choice is made at run time
// from CPUID, so that one binary runs everywhere and uses the SHA extensions where they exist.
#ifndef SIGILO_CRYPTO_CPUFEATURES_H
#define SIGILO_CRYPTO_CPUFEATURES_H

namespace CpuFeatures {

// True when the processor has the SHA extensions and the SSE levels their code needs.
bool hasSHAExtensions();
// Whether SHA-1 and SHA-256 use the extensions: on by default where they exist. Turning it off
// selects the portable code (tests compare the two, benchmarks time both).
bool useSHAExtensions();
void allowSHAExtensions(bool allow);

}  // namespace CpuFeatures

#endif
