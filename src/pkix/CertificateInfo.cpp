#include "pkix/CertificateInfo.h"

#include <cstdio>
#include <memory>
#include <string>

#include "asn1/Buffer.h"
#include "asn1/X500Time.h"
#include "crypto/AlgorithmIdentifier.h"
#include "crypto/Key.h"
#include "pkix/AlgorithmNames.h"
#include "pkix/Extension.h"
#include "pkix/KeyInfo.h"
#include "pkix/Name.h"
#include "pkix/NameLabels.h"
#include "pkix/ReadSteps.h"
#include "pkix/Validity.h"

CertificateInfo::CertificateInfo()
    : version(2),
      explicitVersion(0),
      serial(0UL),
      signAlg(nullptr),
      issuer(nullptr),
      validity(nullptr),
      subject(nullptr),
      subjectPubKeyInfo(nullptr),
      issuerUniqueID(nullptr),
      issuerUniqueIDLen(0),
      issuerUniqueIDUnused(0),
      subjectUniqueID(nullptr),
      subjectUniqueIDLen(0),
      subjectUniqueIDUnused(0),
      extensions(nullptr) {}

CertificateInfo::~CertificateInfo() {
    delete signAlg;
    delete issuer;
    delete validity;
    delete subject;
    delete subjectPubKeyInfo;
    delete[] issuerUniqueID;
    delete[] subjectUniqueID;
    delete extensions;
}

CertificateInfo* CertificateInfo::clone() const {
    CertificateInfo* copy = new CertificateInfo();
    copy->version = version;
    copy->explicitVersion = explicitVersion;
    copy->serial = serial;
    copy->setSignAlg(signAlg);
    copy->setIssuer(issuer);
    copy->setValidity(validity);
    copy->setSubject(subject);
    copy->setSubjectPubKey(subjectPubKeyInfo);
    copy->issuerUniqueID = pkix::copyBytes(issuerUniqueID, issuerUniqueIDLen);
    copy->issuerUniqueIDLen = issuerUniqueIDLen;
    copy->issuerUniqueIDUnused = issuerUniqueIDUnused;
    copy->subjectUniqueID = pkix::copyBytes(subjectUniqueID, subjectUniqueIDLen);
    copy->subjectUniqueIDLen = subjectUniqueIDLen;
    copy->subjectUniqueIDUnused = subjectUniqueIDUnused;
    copy->setExtensions(extensions);
    return copy;
}

char* CertificateInfo::printSerial(int base) const {
    return serial.printSerial(base);
}

// ---- Accessors ----

template <class T>
static T* cloneOf(const T* p) {
    return p != nullptr ? p->clone() : nullptr;
}

template <class T>
static void replace(T*& field, const T* value) {
    T* copy = cloneOf(value);
    delete field;
    field = copy;
}

AlgorithmIdentifier* CertificateInfo::getSignAlg() const {
    return cloneOf(signAlg);
}
void CertificateInfo::setSignAlg(const AlgorithmIdentifier* a) {
    replace(signAlg, a);
}

void CertificateInfo::setSignAlg(const char* dotted) {
    delete signAlg;
    signAlg = dotted != nullptr ? new AlgorithmIdentifier(dotted) : nullptr;
}

Name* CertificateInfo::getIssuer() const {
    return cloneOf(issuer);
}
void CertificateInfo::setIssuer(const Name* name) {
    replace(issuer, name);
}
Validity* CertificateInfo::getValidity() const {
    return cloneOf(validity);
}
void CertificateInfo::setValidity(const Validity* v) {
    replace(validity, v);
}
Name* CertificateInfo::getSubject() const {
    return cloneOf(subject);
}
void CertificateInfo::setSubject(const Name* name) {
    replace(subject, name);
}
KeyInfo* CertificateInfo::getSubjectPubKey() const {
    return cloneOf(subjectPubKeyInfo);
}
void CertificateInfo::setSubjectPubKey(const KeyInfo* key) {
    replace(subjectPubKeyInfo, key);
}
ExtensionList* CertificateInfo::getExtensions() const {
    return cloneOf(extensions);
}
void CertificateInfo::setExtensions(const ExtensionList* list) {
    replace(extensions, list);
}

unsigned char* CertificateInfo::getIssuerUniqueID() const {
    return pkix::copyBytes(issuerUniqueID, issuerUniqueIDLen);
}

void CertificateInfo::setIssuerUniqueID(const unsigned char* bits, unsigned int length) {
    delete[] issuerUniqueID;
    issuerUniqueID = pkix::copyBytes(bits, length);
    issuerUniqueIDLen = bits != nullptr ? length : 0;
    issuerUniqueIDUnused = 0;
}

unsigned char* CertificateInfo::getSubjectUniqueID() const {
    return pkix::copyBytes(subjectUniqueID, subjectUniqueIDLen);
}

void CertificateInfo::setSubjectUniqueID(const unsigned char* bits, unsigned int length) {
    delete[] subjectUniqueID;
    subjectUniqueID = pkix::copyBytes(bits, length);
    subjectUniqueIDLen = bits != nullptr ? length : 0;
    subjectUniqueIDUnused = 0;
}

bool CertificateInfo::isBEREncoded() const {
    if (subjectPubKeyInfo == nullptr) return true;
    const AlgorithmIdentifier* algorithm = subjectPubKeyInfo->_getAlgorithm();
    if (algorithm == nullptr || !algorithm->isEqual(KeyInfo::kRSAEncryption)) return true;
    return subjectPubKeyInfo->isBEREncoded();
}

// ---- Printable form ----

char* CertificateInfo::getPrintableString() const {
    static const char* const kVersions[] = {"Versione: 1", "Versione: 2", "Versione: 3"};
    std::string out = version >= 0 && version <= 2 ? kVersions[version] : "Versione: sconosciuta";
    out += "\n\n";

    std::unique_ptr<char[]> serialText(printSerial(16));
    out += "N.ro seriale: " + std::string(serialText ? serialText.get() : "") + "\n\n";

    auto nameText = [](const Name* name) {
        if (name == nullptr) return std::string();
        std::unique_ptr<char[]> text(
            name->getPrintableString(kNameLabelOIDs, kNameItalianLabels, kNameLabelCount));
        return std::string(text.get());
    };
    out += "Rilasciato a: \n" + nameText(subject) + "\n";
    out += "Emesso da: \n" + nameText(issuer) + "\n";

    auto dateText = [](const X500Time* t) {
        if (t == nullptr) return std::string();
        std::unique_ptr<char[]> text(t->printLocalDate());
        return std::string(text.get());
    };
    const X500Time* notBefore = validity != nullptr ? validity->_getNotBefore() : nullptr;
    const X500Time* notAfter = validity != nullptr ? validity->_getNotAfter() : nullptr;
    out += "Emesso il " + dateText(notBefore) + "\n\n";
    out += "Scade il " + dateText(notAfter) + "\n\n";

    out += "Chiave valida per l'algoritmo di firma: \n";
    out += "    " + pkix::algorithmName(signAlg) + "\n";

    unsigned int keyBytes = 0;
    if (subjectPubKeyInfo != nullptr) {
        std::unique_ptr<Key> key(subjectPubKeyInfo->getKey());
        if (key) keyBytes = key->getKeyLen();
    }
    char line[64];
    snprintf(line, sizeof line, "Lunghezza della chiave: %d bits\n\n",
             static_cast<int>(keyBytes * 8));
    out += line;
    return pkix::newText(out);
}

// ---- BER ----

// The [0] element is written for a version other than the default, and for a default that
// came spelled out. A negative version (never valid, but kept as read) is written too, so
// that what was read re-encodes as it came.
bool CertificateInfo::writesVersion() const {
    return explicitVersion != 0 || version != 0;
}

unsigned int CertificateInfo::contentLength(Buffer* b) {
    unsigned int sum = 0;
    if (writesVersion()) sum += b->lenASN1Header(0xA0, b->lenASN1(version)) + b->lenASN1(version);
    sum += serial.lenASN1(b);
    if (signAlg != nullptr) sum += signAlg->getWrapLength(b);
    if (issuer != nullptr) sum += issuer->getWrapLength(b);
    if (validity != nullptr) sum += validity->getWrapLength(b);
    if (subject != nullptr) sum += subject->getWrapLength(b);
    if (subjectPubKeyInfo != nullptr) sum += subjectPubKeyInfo->getWrapLength(b);
    if (issuerUniqueID != nullptr) sum += b->lenASN1BitString(issuerUniqueIDLen);
    if (subjectUniqueID != nullptr) sum += b->lenASN1BitString(subjectUniqueIDLen);
    if (extensions != nullptr) {
        unsigned int inner = extensions->getWrapLength(b);
        sum += b->lenASN1Header(0xA3, inner) + inner;
    }
    return sum;
}

unsigned int CertificateInfo::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void CertificateInfo::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (writesVersion()) {
        b->writeASN1Header(0xA0, b->lenASN1(version));
        b->writeASN1(version);
    }
    serial.writeASN1(b);
    if (signAlg != nullptr) signAlg->wrapASN1(b);
    if (issuer != nullptr) issuer->wrapASN1(b);
    if (validity != nullptr) validity->wrapASN1(b);
    if (subject != nullptr) subject->wrapASN1(b);
    if (subjectPubKeyInfo != nullptr) subjectPubKeyInfo->wrapASN1(b);
    if (issuerUniqueID != nullptr) {
        b->writeASN1BitString(issuerUniqueID, issuerUniqueIDLen, issuerUniqueIDUnused, 0xA1);
    }
    if (subjectUniqueID != nullptr) {
        b->writeASN1BitString(subjectUniqueID, subjectUniqueIDLen, subjectUniqueIDUnused, 0xA2);
    }
    if (extensions != nullptr) {
        b->writeASN1Header(0xA3, extensions->getWrapLength(b));
        extensions->wrapASN1(b);
    }
}

unsigned char CertificateInfo::unwrapASN1(Buffer* b) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    unsigned char tag;
    unsigned int n;
    if (!b->peekASN1Header(&tag, &n)) return 0;
    version = 0;
    explicitVersion = 0;
    if (tag == 0xA0) {
        b->readASN1Header(&tag, &n);
        if (!b->readASN1(&version)) return 0;
        if (version == 0) explicitVersion = 255;
    }
    if (!serial.readASN1NoBER(b)) return 0;
    delete signAlg;
    signAlg = new AlgorithmIdentifier();
    if (!signAlg->unwrapASN1(b)) return 0;
    delete issuer;
    issuer = new Name();
    if (!issuer->unwrapASN1(b)) return 0;
    delete validity;
    validity = new Validity();
    if (!validity->unwrapASN1(b)) return 0;
    delete subject;
    subject = new Name();
    if (!subject->unwrapASN1(b)) return 0;
    delete subjectPubKeyInfo;
    subjectPubKeyInfo = new KeyInfo();
    if (!subjectPubKeyInfo->unwrapASN1(b)) return 0;

    setIssuerUniqueID(nullptr, 0);
    setSubjectUniqueID(nullptr, 0);
    setExtensions(nullptr);
    if (version == 0) return 255;

    tag = pkix::peekTag(b);
    if (tag == 0xA1) {
        if (!b->readASN1BitString(&issuerUniqueID, &issuerUniqueIDLen, &issuerUniqueIDUnused,
                                  0xA1)) {
            return 0;
        }
        if (issuerUniqueID == nullptr) issuerUniqueID = new unsigned char[1];
        tag = pkix::peekTag(b);
    }
    if (tag == 0xA2) {
        if (!b->readASN1BitString(&subjectUniqueID, &subjectUniqueIDLen, &subjectUniqueIDUnused,
                                  0xA2)) {
            return 0;
        }
        if (subjectUniqueID == nullptr) subjectUniqueID = new unsigned char[1];
        tag = pkix::peekTag(b);
    }
    if (tag != 0xA3) return 255;
    b->readASN1Header(&tag, &n);
    extensions = new ExtensionList();
    return extensions->unwrapASN1(b);
}
