// Throughput of the digests on 64 MiB (the classes alone and through the token), and RSA-2048
// signature checks per second through the whole path: temporary key object, C_VerifyInit,
// C_Verify, object destroyed.
#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <vector>

#include "crypto/CpuFeatures.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "crypto/DigestInfo.h"
#include "crypto/RSAPrivateKey.h"
#include "crypto/RSAPublicKey.h"
#include "crypto/RandomGenerator.h"
#include "crypto/SHA1.h"
#include "crypto/SHA256.h"
#include "crypto/SHA512.h"
#include "crypto/Signature.h"
#include "crypto/tsRSA.h"
#include "pkix/KeyInfo.h"

namespace {

constexpr size_t kSize = 64u << 20;

const std::vector<unsigned char>& data() {
    static const std::vector<unsigned char> bytes = [] {
        std::vector<unsigned char> v(kSize);
        std::mt19937 rng(1);
        for (auto& b : v) b = static_cast<unsigned char>(rng());
        return v;
    }();
    return bytes;
}

template <class D>
void digestClass(benchmark::State& state, bool extensions) {
    CpuFeatures::allowSHAExtensions(extensions);
    const std::vector<unsigned char>& d = data();
    D digest;
    unsigned char out[64];
    for (auto _ : state) {
        digest.update(d.data(), d.size());
        digest.final(out);
        benchmark::DoNotOptimize(out);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kSize);
    CpuFeatures::allowSHAExtensions(true);
}

void BM_SHA1(benchmark::State& s) {
    digestClass<SHA1>(s, true);
}
void BM_SHA1_Portable(benchmark::State& s) {
    digestClass<SHA1>(s, false);
}
void BM_SHA256(benchmark::State& s) {
    digestClass<SHA256>(s, true);
}
void BM_SHA256_Portable(benchmark::State& s) {
    digestClass<SHA256>(s, false);
}
void BM_SHA512(benchmark::State& s) {
    digestClass<SHA512>(s, true);
}

struct Device {
    CryptoKi ki;
    CryptoDevice device{&ki};
    Device() { device.openToken(0, nullptr, 0); }
};

Device& device() {
    static Device d;
    return d;
}

void tokenDigest(benchmark::State& state, const char* oid) {
    CryptoDevice& dev = device().device;
    dev.setDigestAlgorithm(oid);
    const std::vector<unsigned char>& d = data();
    for (auto _ : state) {
        std::unique_ptr<DigestInfo> info(dev.digest(d.data(), d.size()));
        benchmark::DoNotOptimize(info.get());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kSize);
}

void BM_Token_SHA1(benchmark::State& s) {
    tokenDigest(s, "1.3.14.3.2.26");
}
void BM_Token_SHA256(benchmark::State& s) {
    tokenDigest(s, "2.16.840.1.101.3.4.2.1");
}
void BM_Token_SHA512(benchmark::State& s) {
    tokenDigest(s, "2.16.840.1.101.3.4.2.3");
}

void BM_RSA2048_Verify(benchmark::State& state) {
    SystemRandomGenerator random;
    RSAPrivateKey key;
    key.generateNewKey(2048, &random);
    std::unique_ptr<RSAPublicKey> pub(key.toRSAPublicKey());
    KeyInfo keyInfo(pub.get());
    CryptoDevice& dev = device().device;
    dev.setSignAlgorithm("1.2.840.113549.1.1.11");
    unsigned char hash[32] = {1, 2, 3};
    DigestInfo digest("2.16.840.1.101.3.4.2.1", hash, 32);
    dev.setPrivateKey(&key);
    std::unique_ptr<Signature> sig(dev.signDigest(&digest));
    if (!sig || !dev.verify(sig.get(), &digest, &keyInfo)) {
        state.SkipWithError("the signature does not verify");
        return;
    }
    for (auto _ : state) {
        bool ok = dev.verify(sig.get(), &digest, &keyInfo);
        benchmark::DoNotOptimize(ok);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

}  // namespace

BENCHMARK(BM_SHA1)->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(BM_SHA1_Portable)->Unit(benchmark::kMillisecond)->MinTime(1);
BENCHMARK(BM_SHA256)->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(BM_SHA256_Portable)->Unit(benchmark::kMillisecond)->MinTime(1);
BENCHMARK(BM_SHA512)->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(BM_Token_SHA1)->Unit(benchmark::kMillisecond)->MinTime(1);
BENCHMARK(BM_Token_SHA256)->Unit(benchmark::kMillisecond)->MinTime(1);
BENCHMARK(BM_Token_SHA512)->Unit(benchmark::kMillisecond)->MinTime(1);
BENCHMARK(BM_RSA2048_Verify)->Unit(benchmark::kMicrosecond)->MinTime(2);
