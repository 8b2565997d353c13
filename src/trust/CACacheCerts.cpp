// CACache: adding CA certificates and finding them.
#include <strings.h>

#include <cstring>
#include <memory>
#include <mutex>
#include <string>

#include "asn1/Buffer.h"
#include "asn1/SecureBuffer.h"
#include "crypto/BigInteger.h"
#include "net/HTTP.h"
#include "net/Logger.h"
#include "net/Mutex.h"
#include "net/Semaphore.h"
#include "pkix/AuthorityKeyIdentifier.h"
#include "pkix/Certificate.h"
#include "pkix/CertificateInfo.h"
#include "pkix/Extension.h"
#include "pkix/GeneralName.h"
#include "pkix/KeyInfo.h"
#include "pkix/Name.h"
#include "trust/CACache.h"
#include "trust/TrustSteps.h"

namespace {

using trust::findExtension;
using trust::Text;

const char kSubjectAltName[] = "2.5.29.17";
const char kIssuerAltName[] = "2.5.29.18";
const char kSubjectKeyIdentifier[] = "2.5.29.14";

// The first uniformResourceIdentifier of an alternative-name extension, cleaned; null when the
// extension is absent, does not decode or holds no URI.
char* firstURI(const Certificate* certificate, const char* oid) {
    const Extension* extension = findExtension(certificate, oid);
    if (extension == nullptr || extension->_getExtnValue() == nullptr) return nullptr;
    Buffer view;
    view.fromByteArray(extension->_getExtnValue(), extension->getVlen());
    GeneralNameList names;
    if (!names.unwrapASN1(&view)) return nullptr;
    for (int i = 0; i < names.getCount(); ++i) {
        if (char* uri = CACache::getURI(names._getElement(i))) return uri;
    }
    return nullptr;
}

}  // namespace

char* CACache::getURI(const GeneralName* name) {
    if (name == nullptr || name->getChoice() != GeneralName::kURI) return nullptr;
    Text raw(name->getUniformResourceIdentifier());
    return HTTP::cleanURL(raw.get());
}

char* CACache::rowURI(const Certificate* certificate) {
    char* uri = firstURI(certificate, kSubjectAltName);
    return uri != nullptr ? uri : firstURI(certificate, kIssuerAltName);
}

// The file is tried as DER first and then as PEM, so a certificate in either form is taken
// without asking the user which one it is.
Certificate* CACache::readCertificateFile(const char* path) {
    if (path == nullptr) return nullptr;
    buffer->rewind();
    if (buffer->fromFile(path)) {
        std::unique_ptr<Certificate> certificate(new Certificate());
        if (certificate->unwrapASN1(buffer)) return certificate.release();
    }
    buffer->rewind();
    if (!buffer->fromPEMFile(path, nullptr)) return nullptr;
    std::unique_ptr<Certificate> certificate(new Certificate());
    return certificate->unwrapASN1(buffer) ? certificate.release() : nullptr;
}

unsigned char CACache::addCACert(const char* path) {
    note(7, 4723, "Aggiunta alla lista dei certificati in corso");
    std::unique_ptr<Certificate> certificate(readCertificateFile(path));
    if (certificate == nullptr) {
        note(3, 5195, "Impossibile aggiungere alla lista dei certificati");
        return 0;
    }
    // A tolerated encoding is a warning only: rejecting it would refuse CA certificates that
    // are in real use.
    if (!certificate->isBEREncoded()) {
        note(4, 5222, "Codifica del certificato non conforme al formato BER");
    }
    int row;
    {
        MutexLock hold(*certMutex);
        row = insertCertificate(certificate.get());
    }
    if (row < 0) {
        note(3, 5195, "Impossibile aggiungere alla lista dei certificati");
        return 0;
    }
    note(7, 4695, "Aggiunta alla lista dei certificati completata");
    noteCount(5);
    return 255;
}

unsigned char CACache::addCACert(const Certificate* certificate) {
    if (certificate == nullptr) return 0;
    return insertCertificate(certificate) >= 0 ? 255 : 0;
}

// The row key is (uri, subject) when the certificate has a URI and the subject alone when it
// has none, compared without regard to case. The search and the addition happen under one hold
// of the exclusive lock, so that two adders can never both make the same row.
int CACache::insertCertificate(const Certificate* certificate) {
    const CertificateInfo* info = certificate->_getCertInfo();
    if (info == nullptr) return -1;
    Text subject(shortText(info->_getSubject()));
    if (subject == nullptr) return -1;
    Text uri(rowURI(certificate));

    std::unique_lock<std::shared_mutex> table(certTableLock);
    int row = -1;
    for (int i = 0; i < caCertListMax && row < 0; ++i) {
        const CACertEntry& entry = caCertList[i];
        if (entry.subject == nullptr || strcasecmp(entry.subject, subject.get()) != 0) continue;
        if (uri == nullptr || (entry.uri != nullptr && strcasecmp(entry.uri, uri.get()) == 0)) {
            row = i;
        }
    }
    if (row < 0) {
        if (caCertListMax >= kMaxCACertRows) return -1;
        row = caCertListMax;
        CACertEntry& entry = caCertList[row];
        // A row past the count may still hold what a damaged file left there.
        freeCACertRow(&entry);
        entry.uri = uri.release();
        entry.subject = subject.release();
        entry.certs = new CertList();
        ++caCertListMax;
        if (log != nullptr) log->print(5, 4675, "%s", entry.subject);
    }
    caCertList[row].certs->addCertificate(certificate);
    return row;
}

int CACache::getCACerts(const Name* subject) {
    Text text(shortText(subject));
    if (text == nullptr) return -1;
    std::shared_lock<std::shared_mutex> table(certTableLock);
    for (int i = 0; i < caCertListMax; ++i) {
        const char* rowSubject = caCertList[i].subject;
        if (rowSubject != nullptr && strcasecmp(rowSubject, text.get()) == 0) return i;
    }
    return -1;
}

Certificate* CACache::getCACert(int row, int index) {
    std::shared_lock<std::shared_mutex> table(certTableLock);
    if (row < 0 || row >= caCertListMax || caCertList[row].certs == nullptr) return nullptr;
    return caCertList[row].certs->getCertificate(index);
}

int CACache::getCAIndex(Certificate* certificate, int row, const AuthorityKeyIdentifier* aki) {
    if (certificate == nullptr) return -1;
    return getCAIndex(row, aki, [this, certificate](KeyInfo* key) {
        return certificate->checkSignature(cryptoDevice, key);
    });
}

// The search works on a copy of the row, so that no lock is held while signatures are checked.
int CACache::getCAIndex(int row, const AuthorityKeyIdentifier* aki,
                        const std::function<unsigned char(KeyInfo* key)>& verifies) {
    std::unique_ptr<CertList> certs(rowCertificates(row));
    if (certs == nullptr) return -1;
    if (aki != nullptr) {
        for (int i = 0; i < certs->getCount(); ++i) {
            if (checkKeyId(aki, certs->_getElement(i)) == 255) return i;
        }
        return -1;
    }
    // Without an identifier the last check's byte is the answer: 0 (the first certificate) when
    // no key verifies, 255 for a row without certificates. A miss thus reads as index 0, and
    // the caller, which checks the signature again with the certificate found there, fails then.
    unsigned char last = 255;
    for (int i = 0; i < certs->getCount(); ++i) {
        const CertificateInfo* info = certs->_getElement(i)->_getCertInfo();
        std::unique_ptr<KeyInfo> key(info != nullptr ? info->getSubjectPubKey() : nullptr);
        if (semaphore != nullptr) semaphore->wait();
        last = verifies(key.get());
        if (semaphore != nullptr) semaphore->post();
        if (last == 255) return i;
    }
    return last;
}

unsigned char CACache::checkKeyId(const AuthorityKeyIdentifier* aki,
                                  const Certificate* certificate) {
    if (aki == nullptr || certificate == nullptr) return 0;
    const CertificateInfo* info = certificate->_getCertInfo();
    if (info == nullptr) return 0;

    // By issuer and serial. The issuer is compared case-sensitively, unlike the table's keys:
    // this names one certificate, not a row.
    BigInteger serial = aki->getAuthorityCertSerialNumber();
    const GeneralNameList* issuers = aki->_getAuthorityCertIssuer();
    if (!serial.isZero() && issuers != nullptr && BigInteger::cmp(serial, info->getSerial()) == 0) {
        Text issuer(shortText(info->_getIssuer()));
        for (int i = 0; issuer != nullptr && i < issuers->getCount(); ++i) {
            const GeneralName* name = issuers->_getElement(i);
            if (name->getChoice() != GeneralName::kDirectoryName) continue;
            Text text(shortText(name->_getDirectoryName()));
            if (text != nullptr && strcmp(text.get(), issuer.get()) == 0) return 255;
        }
    }

    // By key identifier. An identifier without bytes names nothing: an empty subject key
    // identifier must not pass for a match.
    const Extension* extension = findExtension(certificate, kSubjectKeyIdentifier);
    if (extension == nullptr || extension->_getExtnValue() == nullptr) return 0;
    if (aki->_getKeyIdentifier() == nullptr || aki->getKeyIdentifierLen() == 0) return 0;
    Buffer view;
    view.fromByteArray(extension->_getExtnValue(), extension->getVlen());
    unsigned char* id;
    unsigned int length;
    if (!view._readASN1(&id, &length, 0x04) || id == nullptr) return 0;
    return length == aki->getKeyIdentifierLen() && memcmp(id, aki->_getKeyIdentifier(), length) == 0
               ? 255
               : 0;
}

unsigned char CACache::trustedCA(const unsigned char* der, unsigned int length) {
    if (der == nullptr || length == 0) return 0;
    Buffer in;
    in.fromByteArray(der, length);
    Certificate certificate;
    if (!certificate.unwrapASN1(&in) || certificate._getCertInfo() == nullptr) return 0;
    Text issuer(shortText(certificate._getCertInfo()->_getIssuer()));
    if (issuer == nullptr) return 0;
    std::shared_lock<std::shared_mutex> table(certTableLock);
    for (int i = 0; i < caCertListMax; ++i) {
        const char* subject = caCertList[i].subject;
        if (subject != nullptr && strcasecmp(subject, issuer.get()) == 0) return 255;
    }
    return 0;
}

namespace {

// The DER of a certificate, for comparing two of them byte for byte.
std::string derOf(Certificate* certificate) {
    Buffer b;
    b.enlarge(certificate->getWrapLength(&b));
    certificate->wrapASN1(&b);
    return std::string(reinterpret_cast<const char*>(b._getData()), b.getWritePos());
}

}  // namespace

// The row and index of the last copy of exactly this certificate, or false; the caller holds
// the table lock.
bool CACache::findExactCert(Certificate* certificate, int* row, int* index) {
    Text subject(shortText(certificate->_getCertInfo()->_getSubject()));
    if (subject == nullptr) return false;
    std::string wanted = derOf(certificate);
    for (int r = caCertListMax - 1; r >= 0; --r) {
        const CACertEntry& entry = caCertList[r];
        if (entry.subject == nullptr || entry.certs == nullptr ||
            strcasecmp(entry.subject, subject.get()) != 0) {
            continue;
        }
        for (int i = entry.certs->getCount() - 1; i >= 0; --i) {
            Certificate* held = entry.certs->_getElement(i);
            if (held != nullptr && derOf(held) == wanted) {
                *row = r;
                *index = i;
                return true;
            }
        }
    }
    return false;
}

unsigned char CACache::holdsCACert(const char* path) {
    std::unique_ptr<Certificate> certificate(readCertificateFile(path));
    if (certificate == nullptr || certificate->_getCertInfo() == nullptr) return 0;
    std::shared_lock<std::shared_mutex> table(certTableLock);
    int row, index;
    return findExactCert(certificate.get(), &row, &index) ? 255 : 0;
}

// Undoes an addCACert: the certificate leaves its row, and a row left empty at the end of the
// table goes with it (rows before the end keep their places, which CRL rows refer to).
unsigned char CACache::removeCACert(const char* path) {
    std::unique_ptr<Certificate> certificate(readCertificateFile(path));
    if (certificate == nullptr || certificate->_getCertInfo() == nullptr) return 0;
    MutexLock hold(*certMutex);
    std::unique_lock<std::shared_mutex> table(certTableLock);
    int row, index;
    if (!findExactCert(certificate.get(), &row, &index)) return 0;
    CACertEntry& entry = caCertList[row];
    delete entry.certs->_getElement(index);
    entry.certs->removeElementAt(index);
    if (entry.certs->getCount() == 0 && row == caCertListMax - 1) {
        freeCACertRow(&entry);
        --caCertListMax;
    }
    return 255;
}
