// The two local files of the trust store, "caCertsList" and "crlCache", with arbitrary contents:
// each load must end without a crash or a leak, and leave tables that can be searched, written
// and cleaned.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "trust/CACache.h"

namespace {

const std::string& scratchFile() {
    static const std::string path = [] {
        char name[] = "/tmp/sigilo_trust_fuzz_XXXXXX";
        int fd = mkstemp(name);
        if (fd >= 0) close(fd);
        return std::string(name);
    }();
    return path;
}

void writeScratch(const uint8_t* data, size_t size) {
    FILE* f = fopen(scratchFile().c_str(), "wb");
    if (f == nullptr) abort();
    if (size > 0 && fwrite(data, 1, size, f) != size) abort();
    fclose(f);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool ready = [] {
        CACache::init();
        CACache::setDownloadCRL(4);
        return true;
    }();
    (void)ready;
    CACache cache(nullptr);
    writeScratch(data, size);
    cache.loadCACertList(scratchFile().c_str());
    for (int row = 0; row < CACache::getCACertListMax(); ++row) {
        delete[] CACache::getRowSubject(row);
        delete[] CACache::getRowURI(row);
    }
    cache.loadCRLCache(scratchFile().c_str());
    for (int row = 0; row < CACache::getCRLCacheMax(); ++row) {
        unsigned int length = 0;
        delete[] CACache::getCRLRowBody(row, &length);
        delete[] CACache::getCRLRowURI(row);
    }
    // What was loaded writes out again.
    cache.saveCACertList(scratchFile().c_str());
    cache.saveCRLCache(scratchFile().c_str());
    cache.clean();
    return 0;
}
