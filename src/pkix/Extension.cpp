#include "pkix/Extension.h"

#include <cstdio>
#include <cstring>
#include <memory>

#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "pkix/ListSteps.h"
#include "pkix/ReadSteps.h"

Extension::Extension()
    : extnId(nullptr), critical(0), criticalOnWire(-1), extnValue(nullptr), vlen(0) {}

Extension::Extension(const char* dotted, unsigned char isCritical, const unsigned char* value,
                     unsigned int length)
    : Extension() {
    setExtnId(dotted);
    if (isCritical) setCritical();
    setExtnValue(value, length);
}

Extension::~Extension() {
    delete extnId;
    delete[] extnValue;
}

Extension* Extension::clone() const {
    Extension* copy = new Extension();
    copy->setExtnId(extnId);
    copy->critical = critical;
    copy->criticalOnWire = criticalOnWire;
    copy->setExtnValue(extnValue, vlen);
    return copy;
}

void Extension::setExtnId(const OID* oid) {
    delete extnId;
    extnId = oid != nullptr ? oid->clone() : nullptr;
}

void Extension::setExtnId(const char* dotted) {
    delete extnId;
    extnId = dotted != nullptr ? new OID(dotted) : nullptr;
}

char* Extension::getExtnId() const {
    return extnId != nullptr ? extnId->getValue() : nullptr;
}

unsigned char Extension::isEqual(const char* dotted) const {
    return extnId != nullptr ? extnId->isEqual(dotted) : 0;
}

unsigned char Extension::isEqual(const OID* oid) const {
    return extnId != nullptr ? extnId->isEqual(oid) : 0;
}

unsigned char Extension::isEqual(const Extension* other) const {
    return other != nullptr ? isEqual(other->extnId) : 0;
}

void Extension::setExtnValue(const unsigned char* value, unsigned int length) {
    delete[] extnValue;
    extnValue = pkix::copyBytes(value, length);
    vlen = value != nullptr ? length : 0;
}

unsigned char* Extension::getExtnValue() const {
    return pkix::copyBytes(extnValue, vlen);
}

void Extension::setCritical() {
    critical = 255;
    criticalOnWire = 255;
}

void Extension::setNotCritical() {
    critical = 0;
    criticalOnWire = -1;
}

// ---- Names ----

namespace {

struct NamedArc {
    unsigned int arc;
    const char* name;
};

struct Family {
    const char* prefix;
    const NamedArc* arcs;
    size_t count;
};

const NamedArc kPKIXArcs[] = {{1, "authorityInfoAccess"},
                              {2, "biometricInfo"},
                              {3, "qcStatements"},
                              {11, "subjectInfoAccess"}};
const NamedArc kOCSPArcs[] = {
    {5, "ocspNoCheck"}, {6, "ocspArchiveCutoff"}, {7, "ocspServiceLocator"}};
const NamedArc kX509Arcs[] = {{9, "subjectDirectoryAttributes"},
                              {14, "subjectKeyIdentifier"},
                              {15, "keyUsage"},
                              {16, "privateKeyUsagePeriod"},
                              {17, "subjectAltName"},
                              {18, "issuerAltName"},
                              {19, "basicConstraints"},
                              {20, "cRLNumber"},
                              {21, "reasonCode"},
                              {23, "instructionCode"},
                              {24, "invalidityDate"},
                              {27, "deltaCRLIndicator"},
                              {28, "issuingDistributionPoint"},
                              {29, "certificateIssuer"},
                              {30, "nameConstraints"},
                              {31, "cRLDistributionPoints"},
                              {32, "certificatePolicies"},
                              {33, "policyMappings"},
                              {35, "authorityKeyIdentifier"},
                              {36, "policyConstraints"},
                              {37, "extKeyUsage"},
                              {60, "expiredCertsOnCRL"}};
const NamedArc kNetscapeArcs[] = {{1, "netscapeCertificateType"}, {2, "netscapeBaseURL"},
                                  {3, "netscapeRevocationURL"},   {4, "netscapeCARevocationURL"},
                                  {7, "netscapeCertRenewalURL"},  {8, "netscapeCAPolicyURL"},
                                  {12, "netscapeSSLServerName"},  {13, "netscapeComment"}};

const Family kFamilies[] = {
    {"1.3.6.1.5.5.7.1", kPKIXArcs, sizeof kPKIXArcs / sizeof kPKIXArcs[0]},
    {"1.3.6.1.5.5.7.48.1", kOCSPArcs, sizeof kOCSPArcs / sizeof kOCSPArcs[0]},
    {"2.5.29", kX509Arcs, sizeof kX509Arcs / sizeof kX509Arcs[0]},
    {"2.16.840.1.113730.1", kNetscapeArcs, sizeof kNetscapeArcs / sizeof kNetscapeArcs[0]}};

}  // namespace

// The prefix is tested, then the one arc behind it; an OID with further arcs below a named one
// is not that extension and keeps its dotted text.
char* Extension::getExtnName() const {
    if (extnId == nullptr) return nullptr;
    for (const Family& family : kFamilies) {
        OID prefix(family.prefix);
        if (!extnId->hasPrefix(&prefix) || extnId->getLength() != prefix.getLength() + 1) {
            continue;
        }
        unsigned int arc = extnId->getPos(prefix.getLength());
        for (size_t i = 0; i < family.count; ++i) {
            if (family.arcs[i].arc == arc) {
                char* name = new char[kNameSize];
                snprintf(name, kNameSize, "%s", family.arcs[i].name);
                return name;
            }
        }
    }
    std::unique_ptr<char[]> dotted(extnId->getValue());
    size_t n = strlen(dotted.get()) + 1;
    char* name = new char[n > kNameSize ? n : kNameSize];
    memcpy(name, dotted.get(), n);
    return name;
}

// ---- BER ----

unsigned int Extension::contentLength(Buffer* b) {
    unsigned int sum = extnId != nullptr ? b->lenASN1(extnId) : 0;
    if (criticalOnWire >= 0) sum += b->lenBoolean(static_cast<unsigned char>(criticalOnWire));
    return sum + b->lenASN1(extnValue, vlen);
}

unsigned int Extension::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void Extension::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (extnId != nullptr) b->writeASN1(extnId);
    if (criticalOnWire >= 0) b->writeBoolean(static_cast<unsigned char>(criticalOnWire));
    b->writeASN1(extnValue, vlen);
}

unsigned char Extension::unwrapASN1(Buffer* b) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    unsigned int end = pkix::endOf(b, len);
    delete extnId;
    extnId = new OID();
    if (!b->readASN1(extnId)) return 0;
    critical = 0;
    criticalOnWire = -1;
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == 0x01) {
        unsigned char flag;
        if (!b->readBoolean(&flag)) return 0;
        critical = flag != 0 ? 255 : 0;
        criticalOnWire = flag;
    }
    delete[] extnValue;
    extnValue = nullptr;
    vlen = 0;
    return b->readASN1(&extnValue, &vlen);
}

// ---- ExtensionList ----

unsigned char ExtensionList::delExtension(int i) {
    return pkix::deleteElement(this, i);
}

unsigned char ExtensionList::substituteExtension(int i, const Extension* e) {
    return pkix::substituteElement(this, i, e);
}

unsigned char ExtensionList::isEqual(int i, const char* dotted) const {
    const Extension* e = _getElement(i);
    return e != nullptr ? e->isEqual(dotted) : 0;
}

unsigned char ExtensionList::isEqual(int i, const OID* oid) const {
    const Extension* e = _getElement(i);
    return e != nullptr ? e->isEqual(oid) : 0;
}

unsigned char ExtensionList::isEqual(int i, const Extension* other) const {
    const Extension* e = _getElement(i);
    return e != nullptr ? e->isEqual(other) : 0;
}

char* ExtensionList::getExtensionID(int i) const {
    const Extension* e = _getElement(i);
    return e != nullptr ? e->getExtnId() : nullptr;
}

int ExtensionList::findExtension(const char* dotted) const {
    OID wanted(dotted);
    for (int i = 0; i < getCount(); ++i) {
        const Extension* e = _getElement(i);
        if (e != nullptr && e->isEqual(&wanted)) return i;
    }
    return -1;
}
