#include "verify/SignerRecords.h"

#include <cstring>
#include <memory>

#include "asn1/Buffer.h"
#include "asn1/OIDList.h"
#include "crypto/AlgorithmIdentifier.h"
#include "crypto/CryptoDevice.h"
#include "crypto/DigestInfo.h"
#include "pkix/AccessDescription.h"
#include "pkix/Attribute.h"
#include "pkix/AuthorityKeyIdentifier.h"
#include "pkix/Certificate.h"
#include "pkix/CertificateInfo.h"
#include "pkix/CopySteps.h"
#include "pkix/DistributionPoint.h"
#include "pkix/Extension.h"
#include "pkix/GeneralName.h"
#include "pkix/Name.h"
#include "pkix/PolicyInformation.h"
#include "pkix/QCStatement.h"
#include "pkix/ReadSteps.h"
#include "pkix/Validity.h"

namespace records {

using pkix::cloneOf;

void cleanInfo(infoEntry* e) {
    delete[] e->serial;
    delete e->issuer;
    delete e->subject;
    delete[] e->keyUsage;
    delete[] e->subjectKeyId;
    delete e->validity;
    delete e->issuerAltName;
    delete e->authorityKeyId;
    delete e->distributionPoints;
    delete e->authorityInfoAccess;
    delete e->policies;
    delete e->qcStatementsExt;
    delete e->directoryAttrs;
    delete e->extKeyUsage;
    delete e->certificate;
    memset(e, 0, sizeof *e);
}

void cleanInfos(infoEntry* table) {
    for (int i = 0; i < kMaxInfos && table[i].serial != nullptr; ++i) cleanInfo(&table[i]);
}

void cloneInfo(infoEntry* target, const infoEntry& s) {
    cleanInfo(target);
    target->serial = pkix::copyText(s.serial);
    target->issuer = cloneOf(s.issuer);
    target->subject = cloneOf(s.subject);
    target->keyUsage = pkix::copyBytes(s.keyUsage, 1);
    target->subjectKeyId = pkix::copyBytes(s.subjectKeyId, s.subjectKeyIdLen);
    target->subjectKeyIdLen = s.subjectKeyIdLen;
    target->validity = cloneOf(s.validity);
    target->issuerAltName = cloneOf(s.issuerAltName);
    target->authorityKeyId = cloneOf(s.authorityKeyId);
    target->distributionPoints = cloneOf(s.distributionPoints);
    target->authorityInfoAccess = cloneOf(s.authorityInfoAccess);
    target->policies = cloneOf(s.policies);
    target->qcStatementsExt = cloneOf(s.qcStatementsExt);
    target->directoryAttrs = cloneOf(s.directoryAttrs);
    target->extKeyUsage = cloneOf(s.extKeyUsage);
    target->certificate = cloneOf(s.certificate);
}

int searchInfo(const infoEntry* table, const char* serial, const Name* issuer) {
    if (serial == nullptr || issuer == nullptr) return -1;
    for (int i = 0; i < kMaxInfos && table[i].serial != nullptr; ++i) {
        if (strcmp(table[i].serial, serial) == 0 && table[i].issuer != nullptr &&
            table[i].issuer->isEqual(issuer)) {
            return i;
        }
    }
    return -1;
}

int searchInfo(const infoEntry* table, const unsigned char* keyId, unsigned int length) {
    if (keyId == nullptr) return -1;
    for (int i = 0; i < kMaxInfos && table[i].serial != nullptr; ++i) {
        if (table[i].subjectKeyId != nullptr && table[i].subjectKeyIdLen == length &&
            memcmp(table[i].subjectKeyId, keyId, length) == 0) {
            return i;
        }
    }
    return -1;
}

namespace {

// Reads an extension's value with T's reader; the object, or null when it does not read.
template <class T>
T* readValue(const Extension* ext, Buffer* view) {
    view->useByteArray(const_cast<unsigned char*>(ext->_getExtnValue()), ext->getVlen());
    auto value = std::make_unique<T>();
    bool ok = value->unwrapASN1(view) != 0;
    view->useByteArray(nullptr, 0);
    return ok ? value.release() : nullptr;
}

// The first byte of the key-usage bit string (the usages the checks look at all sit in it).
unsigned char* readKeyUsage(const Extension* ext, Buffer* view) {
    view->useByteArray(const_cast<unsigned char*>(ext->_getExtnValue()), ext->getVlen());
    unsigned char* bits = nullptr;
    unsigned int n = 0;
    unsigned char unused = 0;
    bool ok = view->readASN1BitString(&bits, &n, &unused) != 0;
    view->useByteArray(nullptr, 0);
    unsigned char* first = nullptr;
    if (ok) {
        first = new unsigned char[1];
        first[0] = (bits != nullptr && n > 0) ? bits[0] : 0;
    }
    delete[] bits;
    return first;
}

unsigned char* readKeyId(const Extension* ext, Buffer* view, unsigned int* length) {
    view->useByteArray(const_cast<unsigned char*>(ext->_getExtnValue()), ext->getVlen());
    unsigned char* id = nullptr;
    *length = 0;
    if (!view->readASN1(&id, length)) {
        delete[] id;
        id = nullptr;
        *length = 0;
    }
    view->useByteArray(nullptr, 0);
    return id;
}

// Assigns a decoded value to a field only once: a certificate that repeats an extension keeps
// the first, as a lookup by OID would.
template <class T>
void setOnce(T*& field, T* value) {
    if (field == nullptr) {
        field = value;
    } else {
        delete value;
    }
}

}  // namespace

bool fillInfo(infoEntry* e, const Certificate* certificate, bool withExtKeyUsage, Buffer* view) {
    const CertificateInfo* info = certificate->_getCertInfo();
    e->certificate = certificate->clone();
    if (info == nullptr) {
        e->serial = pkix::copyText("");
        return certificate->isBEREncoded();
    }
    e->serial = info->printSerial(16);
    e->issuer = cloneOf(info->_getIssuer());
    if (e->issuer != nullptr) e->issuer->toUTF8();
    e->subject = cloneOf(info->_getSubject());
    if (e->subject != nullptr) e->subject->toUTF8();
    e->validity = cloneOf(info->_getValidity());
    const ExtensionList* extensions = info->_getExtensions();
    for (int i = 0; extensions != nullptr && i < extensions->getCount(); ++i) {
        const Extension* ext = extensions->_getElement(i);
        if (ext == nullptr || ext->_getExtnValue() == nullptr) continue;
        if (ext->isEqual("2.5.29.15")) {
            if (e->keyUsage == nullptr) e->keyUsage = readKeyUsage(ext, view);
        } else if (ext->isEqual("2.5.29.14")) {
            if (e->subjectKeyId == nullptr) {
                e->subjectKeyId = readKeyId(ext, view, &e->subjectKeyIdLen);
            }
        } else if (ext->isEqual("2.5.29.18")) {
            setOnce(e->issuerAltName, readValue<GeneralNameList>(ext, view));
        } else if (ext->isEqual("2.5.29.35")) {
            setOnce(e->authorityKeyId, readValue<AuthorityKeyIdentifier>(ext, view));
        } else if (ext->isEqual("2.5.29.31")) {
            setOnce(e->distributionPoints, readValue<DistributionPointList>(ext, view));
        } else if (ext->isEqual("1.3.6.1.5.5.7.1.1")) {
            setOnce(e->authorityInfoAccess, readValue<AuthorityInfoAccessSyntax>(ext, view));
        } else if (ext->isEqual("2.5.29.32")) {
            setOnce(e->policies, readValue<PolicyInformationList>(ext, view));
        } else if (ext->isEqual("1.3.6.1.5.5.7.1.3")) {
            setOnce(e->qcStatementsExt, readValue<QCStatements>(ext, view));
        } else if (ext->isEqual("2.5.29.9")) {
            setOnce(e->directoryAttrs, readValue<AttributeList>(ext, view));
        } else if (withExtKeyUsage && ext->isEqual("2.5.29.37")) {
            setOnce(e->extKeyUsage, readValue<OIDList>(ext, view));
        }
    }
    return certificate->isBEREncoded();
}

void cleanDigests(digestTableEntry* table) {
    for (int i = 0; i < kMaxDigests && table[i].algorithmOid != nullptr; ++i) {
        delete[] table[i].algorithmOid;
        delete table[i].digest;
        table[i].algorithmOid = nullptr;
        table[i].digest = nullptr;
    }
}

void calculateDigests(digestTableEntry* table, CryptoDevice* device,
                      const AlgorithmIdentifierSet* algorithms, const unsigned char* data,
                      unsigned long length) {
    calculateDigests(table, device, algorithms, data, length, nullptr, 0);
}

DigestInfo* digestPieces(CryptoDevice* device, const unsigned char* first,
                         unsigned long firstLength, const unsigned char* second,
                         unsigned long secondLength) {
    if (device == nullptr) return nullptr;
    if (second == nullptr || secondLength == 0) return device->digest(first, firstLength);
    if (!device->initDigest()) return nullptr;
    bool ok =
        device->updateDigest(first, firstLength) && device->updateDigest(second, secondLength);
    // The operation is ended in every case, so that the next digest can start.
    DigestInfo* digest = device->finalDigest();
    if (!ok) {
        delete digest;
        return nullptr;
    }
    return digest;
}

void calculateDigests(digestTableEntry* table, CryptoDevice* device,
                      const AlgorithmIdentifierSet* algorithms, const unsigned char* first,
                      unsigned long firstLength, const unsigned char* second,
                      unsigned long secondLength) {
    cleanDigests(table);
    int filled = 0;
    bool hasSHA256 = false;
    auto add = [&](const char* dotted) {
        table[filled].algorithmOid = pkix::copyText(dotted);
        table[filled].digest = device != nullptr && device->setDigestAlgorithm(dotted)
                                   ? digestPieces(device, first, firstLength, second, secondLength)
                                   : nullptr;
        ++filled;
    };
    // One slot is kept for SHA-256, which the signed-attribute check always needs.
    for (int i = 0; algorithms != nullptr && i < algorithms->getCount(); ++i) {
        const AlgorithmIdentifier* algorithm = algorithms->_getElement(i);
        std::unique_ptr<char[]> dotted(algorithm != nullptr ? algorithm->getAlgorithm() : nullptr);
        if (!dotted) continue;
        bool isSHA256 = strcmp(dotted.get(), kSHA256) == 0;
        if (filled >= kMaxDigests - (hasSHA256 || isSHA256 ? 0 : 1)) continue;
        hasSHA256 = hasSHA256 || isSHA256;
        add(dotted.get());
    }
    if (!hasSHA256) add(kSHA256);
}

int getDataDigest(const digestTableEntry* table, const AlgorithmIdentifier* algorithm) {
    if (algorithm == nullptr) return -2;
    for (int i = 0; i < kMaxDigests && table[i].algorithmOid != nullptr; ++i) {
        if (algorithm->isEqual(table[i].algorithmOid)) return table[i].digest != nullptr ? i : -1;
    }
    return -2;
}

}  // namespace records
