// DocVerifier: one signer, from either family, checked step by step in a fixed order. The
// first failing step decides and writes errorMessage and status KO into the signer's element;
// counter-signatures are still checked below it. A signer's result tells only of its signature
// (and its counter-signatures); the verdict on its certificate and its time stamps stands in
// the report, under status.
#include <cstring>
#include <memory>
#include <string>

#include "asn1/Base64.h"
#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "asn1/SecureBuffer.h"
#include "asn1/X500Time.h"
#include "crypto/AlgorithmIdentifier.h"
#include "crypto/CryptoDevice.h"
#include "crypto/DigestInfo.h"
#include "crypto/Signature.h"
#include "frontend/Messages.h"
#include "net/Logger.h"
#include "net/SystemClock.h"
#include "pkix/Attribute.h"
#include "pkix/AttributeValue.h"
#include "pkix/Certificate.h"
#include "pkix/CertificateInfo.h"
#include "pkix/ContentInfo.h"
#include "pkix/ESSCertID.h"
#include "pkix/GeneralName.h"
#include "pkix/IssuerAndSerialNumber.h"
#include "pkix/Name.h"
#include "pkix/NameLabels.h"
#include "pkix/PKCS7SignerInfo.h"
#include "pkix/ReadSteps.h"
#include "pkix/SignerInfo.h"
#include "pkix/Validity.h"
#include "verify/DocVerifier.h"
#include "verify/SignerParts.h"
#include "xml/XMLFile.h"

namespace {

const char kMessageDigest[] = "1.2.840.113549.1.9.4";
const char kSigningTime[] = "1.2.840.113549.1.9.5";
const char kSigningCertificate[] = "1.2.840.113549.1.9.16.2.12";
const char kSigningCertificateV2[] = "1.2.840.113549.1.9.16.2.47";
const char kSHA256[] = "2.16.840.1.101.3.4.2.1";
const char kSHA1[] = "1.3.14.3.2.26";

using pkix::ownedText;

// The PEM text of a certificate's DER, in lines of 64 characters.
std::string pemOf(const Certificate* certificate) {
    Buffer der;
    Certificate* c = const_cast<Certificate*>(certificate);
    der.enlarge(c->getWrapLength(&der));
    c->wrapASN1(&der);
    std::string b64 = ownedText(Base64::encode(der._getData(), der.getWritePos()));
    std::string out = "-----BEGIN CERTIFICATE-----\n";
    std::string flat;
    for (char ch : b64) {
        if (ch != '\n' && ch != '\r') flat += ch;
    }
    for (size_t i = 0; i < flat.size(); i += 64) out += flat.substr(i, 64) + "\n";
    return out + "-----END CERTIFICATE-----";
}

void addName(XMLFile* xml, const char* element, const Name* name) {
    xml->openTag(element);
    if (name != nullptr) {
        name->getXMLRepresentation(kNameLabelOIDs, kNameShortLabels, kNameLabelCount, xml);
    }
    xml->closeTag();
}

}  // namespace

// ---- Pieces of the report ----

void DocVerifier::describeSigner(const infoEntry& info, bool withSerial) {
    if (xmlOut == nullptr) return;
    // A time-stamp token shows its own serial, not its authority's.
    if (withSerial) xmlOut->insertTag("serial", info.serial);
    addName(xmlOut, "subject", info.subject);
    addName(xmlOut, "issuer", info.issuer);
    getDirectoryAttributes(info.directoryAttrs);
    getPolicyList(info.policies);
    getQualifiedStatements(info.qcStatementsExt);
    const X500Time* notBefore = info.validity != nullptr ? info.validity->_getNotBefore() : nullptr;
    const X500Time* notAfter = info.validity != nullptr ? info.validity->_getNotAfter() : nullptr;
    xmlOut->insertTag("certNotBefore",
                      notBefore != nullptr ? ownedText(notBefore->getValue()).c_str() : "");
    xmlOut->insertTag("certNotAfter",
                      notAfter != nullptr ? ownedText(notAfter->getValue()).c_str() : "");
    if (info.certificate != nullptr)
        xmlOut->insertTag("certificate", pemOf(info.certificate).c_str());
}

void DocVerifier::addVerificationTime() {
    if (xmlOut == nullptr) return;
    std::unique_ptr<X500Time> now(verificationTime ? verificationTime->clone()
                                                   : SystemClock::getUTCTime());
    xmlOut->insertTag("verificationTime", ownedText(now->getValue()).c_str());
}

// ---- Attributes ----

unsigned char DocVerifier::printSigningTime(const Attribute* attribute) {
    const AttributeValueSet* values = attribute->_getValues();
    X500Time when;
    bool ok = false;
    if (values != nullptr && values->getCount() > 0) {
        const AttributeValue* v = values->_getElement(0);
        viewBuffer.useByteArray(const_cast<unsigned char*>(v->_getValue()), v->getValueLen());
        ok = when.unwrapASN1(&viewBuffer) != 0;
        viewBuffer.useByteArray(nullptr, 0);
    }
    if (!ok) {
        errCode = 5194;
        return 0;
    }
    if (log) {
        char printed[X500Time::kPrintSize];
        log->print(6, 4625, "Data firma: %s", when.printLocalDateTime(printed));
    }
    if (xmlOut != nullptr) xmlOut->insertTag("signingTime", ownedText(when.getValue()).c_str());
    return 255;
}

// Goes through the signed attributes in their order, writing signedAttributes; the message
// digest and the ESS identifiers are handed back (the caller deletes them). False with the code
// stored when one of them does not read. A time-stamp token's signing time is not shown (its
// genTime is), and its ESS identifiers are read only when the switch asks for them.
unsigned char DocVerifier::readSignedAttributes(const SignerParts& signer, unsigned char** digest,
                                                unsigned int* digestLength, ESSCertID** essV1,
                                                ESSCertIDV2** essV2, bool forToken) {
    const bool readESS = !forToken || checkSigningCertificateAttr;
    const AttributeSet* attributes = signer.signedAttrs;
    if (attributes == nullptr) return 255;
    if (xmlOut != nullptr) xmlOut->openTag("signedAttributes");
    unsigned char result = 255;
    for (int i = 0; i < attributes->getCount() && result; ++i) {
        const Attribute* a = attributes->_getElement(i);
        const AttributeValueSet* values = a->_getValues();
        const AttributeValue* first =
            values != nullptr && values->getCount() > 0 ? values->_getElement(0) : nullptr;
        if (a->isEqual(kMessageDigest)) {
            if (xmlOut != nullptr) xmlOut->insertTag("messageDigest");
            if (first == nullptr) continue;
            viewBuffer.useByteArray(const_cast<unsigned char*>(first->_getValue()),
                                    first->getValueLen());
            delete[] * digest;
            *digest = nullptr;
            if (!viewBuffer.readASN1(digest, digestLength)) {
                delete[] * digest;
                *digest = nullptr;
            }
            viewBuffer.useByteArray(nullptr, 0);
        } else if (a->isEqual(kSigningTime) && !forToken) {
            result = printSigningTime(a);
        } else if (a->isEqual(kSigningCertificate) && readESS) {
            {
                bool ok = false;
                if (first != nullptr && *essV1 == nullptr) {
                    viewBuffer.useByteArray(const_cast<unsigned char*>(first->_getValue()),
                                            first->getValueLen());
                    unsigned int len;
                    // SigningCertificate ::= SEQUENCE { certs SEQUENCE OF ESSCertID, ... }
                    if (viewBuffer.readASN1Sequence(&len) && viewBuffer.readASN1Sequence(&len)) {
                        auto id = std::make_unique<ESSCertID>();
                        if (id->unwrapASN1(&viewBuffer)) {
                            *essV1 = id.release();
                            ok = true;
                        }
                    }
                    viewBuffer.useByteArray(nullptr, 0);
                }
                if (!ok) {
                    errCode = 5189;
                    result = 0;
                }
                if (xmlOut != nullptr) xmlOut->insertTag("signingCertificate");
            }
        } else if (a->isEqual(kSigningCertificateV2) && readESS) {
            bool ok = false;
            if (first != nullptr && *essV2 == nullptr) {
                viewBuffer.useByteArray(const_cast<unsigned char*>(first->_getValue()),
                                        first->getValueLen());
                unsigned int len;
                if (viewBuffer.readASN1Sequence(&len) && viewBuffer.readASN1Sequence(&len)) {
                    auto id = std::make_unique<ESSCertIDV2>();
                    if (id->unwrapASN1(&viewBuffer)) {
                        *essV2 = id.release();
                        ok = true;
                    }
                }
                viewBuffer.useByteArray(nullptr, 0);
            }
            if (!ok) {
                errCode = 5212;
                result = 0;
            } else if (xmlOut != nullptr) {
                xmlOut->insertTag("signingCertificateV2",
                                  ownedText((*essV2)->getHashAlgorithmName()).c_str());
            }
        }
    }
    if (xmlOut != nullptr) xmlOut->closeTag();
    return result;
}

// The identifier names the signer's certificate: by issuer and serial when it carries them,
// and always by the hash of the certificate's DER.
static unsigned char essMatches(CryptoDevice* device, const char* hashAlgorithm,
                                const unsigned char* hash, unsigned int hashLength,
                                const ESSIssuerSerial* issuerSerial, const infoEntry& info) {
    if (device == nullptr || info.certificate == nullptr || hash == nullptr) return 0;
    if (issuerSerial != nullptr) {
        std::string serial = ownedText(issuerSerial->printSerialNumber(16));
        if (info.serial == nullptr || serial != info.serial) return 0;
        bool named = false;
        const GeneralNameList* names = issuerSerial->_getIssuer();
        for (int i = 0; names != nullptr && i < names->getCount() && !named; ++i) {
            const Name* n = names->_getElement(i)->_getDirectoryName();
            if (n == nullptr) continue;
            std::unique_ptr<Name> utf8(n->clone());
            utf8->toUTF8();
            named = info.issuer != nullptr && utf8->isEqual(info.issuer);
        }
        if (!named) return 0;
    }
    Buffer der;
    Certificate* c = const_cast<Certificate*>(info.certificate);
    der.enlarge(c->getWrapLength(&der));
    c->wrapASN1(&der);
    if (!device->setDigestAlgorithm(hashAlgorithm)) return 0;
    std::unique_ptr<DigestInfo> digest(device->digest(der._getData(), der.getWritePos()));
    return digest != nullptr && digest->getLength() == hashLength &&
                   memcmp(digest->_getDigest(), hash, hashLength) == 0
               ? 255
               : 0;
}

unsigned char DocVerifier::checkESSCertID(const ESSCertID* id, const infoEntry& info) {
    return essMatches(cryptoDevice, kSHA1, id->_getCertHash(), id->getHashLen(),
                      id->_getIssuerSerial(), info);
}

unsigned char DocVerifier::checkESSCertIDV2(const ESSCertIDV2* id, const infoEntry& info,
                                            unsigned char* cadesFlag) {
    std::string algorithm = ownedText(id->getHashAlgorithmName());
    if (algorithm != kSHA256) *cadesFlag = 0;
    return essMatches(cryptoDevice, algorithm.c_str(), id->_getCertHash(), id->getHashLen(),
                      id->_getIssuerSerial(), info);
}
