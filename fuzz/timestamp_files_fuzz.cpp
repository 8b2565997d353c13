// Any bytes as a time-stamp file. The first byte picks the driver: a TSR, a TST, a TSD (with or
// without a detached document), an M7M message, or the separate TSR of a fixed PKCS#7 envelope;
// the rest is the file. The trust list holds the root of tests/data/engine/pki, whose
// time-stamp authority signed the seeds (fuzz/make_timestamp_seeds.py), so inputs reach the
// token's signature, certificate and verdict. Every path must end without a crash, a hang or
// a leak.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "asn1/Buffer.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "trust/CACache.h"
#include "trust/LocalTrustStore.h"
#include "verify/DocVerifier.h"
#include "xml/XMLFile.h"

namespace {

// The engine's test data: its root, its document and a CAdES envelope of it.
const std::string kData = std::string(SIGILO_SOURCE_DIR) + "/tests/data/engine/";

struct World {
    std::string input;
    std::string document;
    std::string envelope;
    CryptoKi ki;
    std::unique_ptr<CryptoDevice> device;
    std::unique_ptr<LocalTrustStore> store;
};

void writeFile(const std::string& path, const void* data, size_t size) {
    FILE* f = fopen(path.c_str(), "wb");
    if (f == nullptr) abort();
    if (size > 0 && fwrite(data, 1, size, f) != size) abort();
    fclose(f);
}

World* setUp() {
    auto* w = new World();
    char dir[] = "/tmp/sigilo_ts_fuzz_XXXXXX";
    if (mkdtemp(dir) == nullptr) abort();
    w->input = std::string(dir) + "/input";
    w->document = kData + "document.txt";
    w->envelope = kData + "cades.p7m";
    DocVerifier::init();
    CACache::init();
    // Only the CRLs at hand: no network.
    CACache::setDownloadCRL(4);
    w->device.reset(new CryptoDevice(&w->ki));
    if (!w->device->openToken(0, nullptr, 0)) abort();
    w->store.reset(new LocalTrustStore(w->device.get()));
    if (w->store->addCACert((kData + "pki/root.pem").c_str()) != 255) abort();
    return w;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static World* world = setUp();
    if (size == 0) return 0;
    writeFile(world->input, data + 1, size - 1);
    DocVerifier verifier(world->device.get(), world->store.get());
    Buffer text(4096);
    XMLFile report(&text);
    report.openTag("sigilo");
    verifier.setXMLOutput(&report);
    const char* input = world->input.c_str();
    const char* document = world->document.c_str();
    switch (data[0] % 6) {
        case 0:
            verifier.verifyTSRFile(input, document);
            break;
        case 1:
            verifier.verifyTSTFile(input, document);
            break;
        case 2:
            verifier.verifyTSDFile(input, nullptr, nullptr, nullptr);
            break;
        case 3:
            verifier.verifyTSDFile(input, document, nullptr, nullptr);
            break;
        case 4:
            verifier.verifyMIMEFile(input, nullptr, nullptr);
            break;
        default:
            verifier.verifyDetachedTimeStamp(world->envelope.c_str(), input, nullptr);
            break;
    }
    report.getXML(1);
    return 0;
}
