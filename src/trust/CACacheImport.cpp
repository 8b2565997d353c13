// CACache: filling the CA table from a file of PEM certificates or from a trust list.
//
// An import trusts whatever parses: the judgement of the input (the signature of a trust list)
// is the caller's. It holds certMutex for its whole run, so imports never interleave, while
// lookups go on and see the rows added so far. Nothing is rolled back: a failed import keeps
// what it added, and a failed replacing import leaves the table without its former rows.
#include <fcntl.h>
#include <unistd.h>

#include <memory>

#include "asn1/Base64.h"
#include "asn1/SecureBuffer.h"
#include "net/Logger.h"
#include "net/Mutex.h"
#include "pkix/Certificate.h"
#include "trust/CACache.h"
#include "xml/XMLFile.h"

namespace {

const char kAddFailed[] = "Impossibile aggiungere alla lista dei certificati";
const char kInitFailed[] = "Impossibile inizializzare la lista dei Certificati";

struct Descriptor {
    int fd;
    ~Descriptor() {
        if (fd >= 0) close(fd);
    }
};

}  // namespace

unsigned char CACache::addCACertListPEM(const char* path) {
    return importPEM(path, false);
}

unsigned char CACache::initCACertListPEM(const char* path) {
    return importPEM(path, true);
}

unsigned char CACache::addCACertListTSL(const char* path) {
    return importTSL(path, false);
}

unsigned char CACache::initCACertListTSL(const char* path) {
    return importTSL(path, true);
}

// The descriptor is closed on every path: an import run again and again must not use up the
// process's descriptors.
unsigned char CACache::importPEM(const char* path, bool replace) {
    Descriptor file{path != nullptr ? open(path, O_RDONLY) : -1};
    if (file.fd < 0) {
        note(3, replace ? 5192 : 5195, replace ? kInitFailed : kAddFailed);
        return 0;
    }
    if (replace) {
        note(7, 4678, "Inizializzazione lista dei certificati");
    } else {
        note(7, 4723, "Aggiunta alla lista dei certificati in corso");
    }

    MutexLock hold(*certMutex);
    if (replace) clearCACertRows();
    bool failed = false;
    // Every call either consumes input or reports the end, so the loop ends with the file.
    for (;;) {
        off_t before = lseek(file.fd, 0, SEEK_CUR);
        if (!buffer->fromPEMFiles(file.fd, nullptr)) {
            // Nothing more to read ends the import well. A block that was read but did not
            // decode is a block that is no certificate.
            failed = lseek(file.fd, 0, SEEK_CUR) != before;
            break;
        }
        // Line ends with no block behind them, or a block with no content: nothing to add.
        if (buffer->getWritePos() == 0) continue;
        Certificate certificate;
        if (!certificate.unwrapASN1(buffer)) {
            failed = true;
            break;
        }
        if (!certificate.isBEREncoded()) {
            note(4, 5222, "Codifica del certificato non conforme al formato BER");
        }
        if (!addCACert(&certificate)) {
            failed = true;
            break;
        }
    }
    if (failed) {
        note(3, 5195, kAddFailed);
        if (replace) note(3, 5192, kInitFailed);
        return 0;
    }
    if (replace) {
        note(7, 4681, "Inizializzazione lista dei certificati completata");
    } else {
        note(7, 4695, "Aggiunta alla lista dei certificati completata");
    }
    noteCount(6);
    return 255;
}

unsigned char CACache::importTSL(const char* path, bool replace) {
    std::unique_ptr<XMLFile> xml(new XMLFile(buffer));
    if (!xml->fromFile(path)) {
        note(3, replace ? 5192 : 5195, replace ? kInitFailed : kAddFailed);
        return 0;
    }
    if (replace) {
        note(7, 4678, "Inizializzazione lista dei certificati");
    } else {
        note(7, 4723, "Aggiunta alla lista dei certificati in corso");
    }
    MutexLock hold(*certMutex);
    // The replacing form empties the table before the list has been looked at: a list of the
    // wrong shape leaves an empty table, never a mix of the old list and the new.
    if (replace) clearCACertRows();
    unsigned char walked = manageTSL(xml.get());
    xml.reset();
    if (!walked) {
        note(3, replace ? 5192 : 5195, replace ? kInitFailed : kAddFailed);
        return 0;
    }
    if (replace) {
        note(7, 4681, "Inizializzazione lista dei certificati completata");
    } else {
        note(7, 4695, "Aggiunta alla lista dei certificati completata");
    }
    noteCount(6);
    return 255;
}

// The walk matches local element names exactly. It takes the first X509Certificate of the
// ServiceDigitalIdentity of every TSPService of every TrustServiceProvider, and looks at nothing
// else: not the service type, not its status, not its history, not pointers to other lists. A
// provider or a service that lacks the expected element ends the walk as a failure.
unsigned char CACache::manageTSL(XMLFile* xml) {
    if (xml == nullptr) return 0;
    if (!xml->findTag("TrustServiceProviderList")) return 0;
    if (!xml->findSubTag("TrustServiceProvider")) return 0;
    do {
        xml->setBookmark();
        if (!xml->findSubTag("TSPServices") || !xml->findSubTag("TSPService")) return 0;
        do {
            xml->setBookmark();
            if (!addTSLService(xml)) return 0;
            xml->goBookmark("TSPService");
        } while (xml->findSiblingTag("TSPService"));
        xml->goBookmark("TrustServiceProvider");
    } while (xml->findSiblingTag("TrustServiceProvider"));
    return 255;
}

// One service, its current node the TSPService.
unsigned char CACache::addTSLService(XMLFile* xml) {
    if (!xml->findSubTag("ServiceInformation") || !xml->findSubTag("ServiceDigitalIdentity")) {
        return 0;
    }
    char* text = xml->getTagValue("X509Certificate");
    // A digital identity given only by name or key has no certificate to trust: the list is
    // refused rather than read past it.
    if (text == nullptr) return 0;
    unsigned int length = 0;
    unsigned char* der = Base64::decode(text, &length);
    XMLFile::freeTagValue(text);
    if (der == nullptr) return 0;
    buffer->rewind();
    buffer->writeBytes(der, length);
    delete[] der;
    Certificate certificate;
    if (!certificate.unwrapASN1(buffer)) return 0;
    if (!certificate.isBEREncoded()) {
        note(4, 5222, "Codifica del certificato non conforme al formato BER");
    }
    return addCACert(&certificate);
}
