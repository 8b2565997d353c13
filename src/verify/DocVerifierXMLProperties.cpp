// DocVerifier: the parts of an XML signer beside its references: the SigningCertificate
// property, the signature value under the signer's key, the signature time stamps and the
// counter-signatures of the XAdES unsigned properties.
#include <libxml/tree.h>

#include <cstring>
#include <memory>
#include <string>

#include "asn1/Base64.h"
#include "asn1/Buffer.h"
#include "asn1/SecureBuffer.h"
#include "asn1/X500Time.h"
#include "crypto/BigInteger.h"
#include "crypto/CryptoDevice.h"
#include "crypto/DigestInfo.h"
#include "crypto/Signature.h"
#include "frontend/Messages.h"
#include "net/Logger.h"
#include "pkix/Certificate.h"
#include "pkix/CertificateInfo.h"
#include "pkix/ContentInfo.h"
#include "pkix/KeyInfo.h"
#include "pkix/PKIStatusInfo.h"
#include "pkix/SignedData.h"
#include "pkix/TimeStampResp.h"
#include "pkix/TimeStampToken.h"
#include "verify/DocVerifier.h"
#include "xml/XMLFile.h"
#include "xml/XMLNodes.h"

namespace {

using namespace xmlnodes;

constexpr unsigned long kErrTokenInvalid = 5167;
constexpr unsigned long kErrSignature = 5200;
constexpr unsigned long kErrNoSignature = 5205;
// Properties repeated more often than this are not honest.
constexpr int kMaxProperties = 64;

// The digest algorithm of a DigestMethod URI, or null for one not known.
const char* digestOfMethod(const std::string& uri) {
    if (uri == "http://www.w3.org/2000/09/xmldsig#sha1") return "1.3.14.3.2.26";
    if (uri == "http://www.w3.org/2001/04/xmlenc#sha256") return "2.16.840.1.101.3.4.2.1";
    if (uri == "http://www.w3.org/2001/04/xmlenc#sha512") return "2.16.840.1.101.3.4.2.3";
    return nullptr;
}

// A serial written in hexadecimal or, failing that, in decimal, against the certificate's
// hexadecimal text.
bool sameSerial(const std::string& written, const char* serial) {
    if (written.empty() || serial == nullptr) return false;
    BigInteger expected;
    if (!expected.fromString(serial, 16)) return false;
    BigInteger read;
    if (read.fromString(written.c_str(), 16) && BigInteger::cmp(read, expected) == 0) return true;
    BigInteger decimal;
    return decimal.fromString(written.c_str(), 10) && BigInteger::cmp(decimal, expected) == 0;
}

bool isTokenVersion(const Content* content) {
    auto* signedData = dynamic_cast<const CMSSignedData*>(content);
    return signedData != nullptr &&
           (signedData->getVersion() == 3 || signedData->getVersion() == 4);
}

}  // namespace

// The Cert that names the signer is the one whose serial is the signer's and whose digest is
// that of the signer's certificate. The issuer name is not compared as text: signing tools
// write it in either order and with attributes in hexadecimal, and a matching digest of the
// whole certificate already says which issuer it has.
unsigned char DocVerifier::checkXMLSigningCertificate(const Name* /*issuer*/, const char* serial,
                                                      const Certificate* signer,
                                                      unsigned char* compliant) {
    XMLFile* xml = xmlDocument.get();
    if (xml == nullptr || signer == nullptr || cryptoDevice == nullptr) return 0;
    Buffer der;
    Certificate* c = const_cast<Certificate*>(signer);
    der.enlarge(c->getWrapLength(&der));
    c->wrapASN1(&der);
    int count = 0;
    for (xmlNodePtr cert = childNamed(xml->_getCurrentNode(), "Cert");
         cert != nullptr && count < kMaxProperties; cert = nextNamed(cert, "Cert"), ++count) {
        xmlNodePtr issuerSerial = childNamed(cert, "IssuerSerial");
        if (!sameSerial(textOf(childNamed(issuerSerial, "X509SerialNumber")), serial)) continue;
        xmlNodePtr certDigest = childNamed(cert, "CertDigest");
        const char* algorithm =
            digestOfMethod(attributeOf(childNamed(certDigest, "DigestMethod"), "Algorithm"));
        if (algorithm == nullptr || !cryptoDevice->setDigestAlgorithm(algorithm)) continue;
        std::string value = textOf(childNamed(certDigest, "DigestValue"));
        unsigned int expectedLength = 0;
        std::unique_ptr<unsigned char[]> expected(Base64::decode(
            value.c_str(), static_cast<unsigned int>(value.size()), &expectedLength));
        std::unique_ptr<DigestInfo> digest(cryptoDevice->digest(der._getData(), der.getWritePos()));
        if (!digest || !expected || digest->getLength() != expectedLength ||
            memcmp(digest->_getDigest(), expected.get(), expectedLength) != 0) {
            continue;
        }
        if (xmlOut != nullptr) xmlOut->insertTag("signingCertificateV2", algorithm);
        if (strcmp(algorithm, "1.3.14.3.2.26") == 0 && compliant != nullptr) *compliant = 0;
        return 255;
    }
    return 0;
}

unsigned char DocVerifier::checkXMLSignature(const DigestInfo* digest, const char* base64Signature,
                                             const Certificate* signer) {
    bool ok = false;
    unsigned int length = 0;
    std::unique_ptr<unsigned char[]> bytes(
        base64Signature != nullptr ? Base64::decode(base64Signature, &length) : nullptr);
    if (log) log->print(7, 4682, "%s", Messages::getNotice(4682));
    if (bytes && digest != nullptr && signer != nullptr && signer->_getCertInfo() != nullptr &&
        cryptoDevice != nullptr) {
        Signature signature(bytes.get(), length);
        std::unique_ptr<KeyInfo> key(signer->_getCertInfo()->getSubjectPubKey());
        std::unique_ptr<DigestInfo> expected(digest->clone());
        ok = key && cryptoDevice->verify(&signature, expected.get(), key.get());
        // Some signers encode the DigestInfo without the NULL parameters of the algorithm.
        if (!ok && key && expected->getUseAlgorithmParameters()) {
            expected->setUseAlgorithmParameters(0);
            ok = cryptoDevice->verify(&signature, expected.get(), key.get());
        }
    }
    if (ok) {
        if (log) log->print(6, 4621, "%s", Messages::getNotice(4621));
    } else {
        fail(kErrSignature);
    }
    if (log) log->print(7, 4683, "%s", Messages::getNotice(4683));
    return ok ? 255 : 0;
}

unsigned char DocVerifier::verifyXMLSignatureTimeStamps(_xmlNode* unsignedProperties,
                                                        _xmlNode* signatureValue,
                                                        const std::string& c14nMethod) {
    XMLFile* xml = xmlDocument.get();
    unsigned char all = 255;
    int count = 0;
    for (xmlNodePtr stamp = childNamed(unsignedProperties, "SignatureTimeStamp");
         stamp != nullptr && count < kMaxProperties;
         stamp = nextNamed(stamp, "SignatureTimeStamp")) {
        // The token covers the canonical SignatureValue element, by the time stamp's own
        // canonical method when it names one, else by that of SignedInfo.
        std::string method = attributeOf(childNamed(stamp, "CanonicalizationMethod"), "Algorithm");
        xml->_setCurrentNode(signatureValue);
        std::string covered = canonicalOf(xml, method.empty() ? c14nMethod : method);
        for (xmlNodePtr encapsulated = childNamed(stamp, "EncapsulatedTimeStamp");
             encapsulated != nullptr && count < kMaxProperties;
             encapsulated = nextNamed(encapsulated, "EncapsulatedTimeStamp"), ++count) {
            std::string text = textOf(encapsulated);
            unsigned int length = 0;
            std::unique_ptr<unsigned char[]> bytes(
                Base64::decode(text.c_str(), static_cast<unsigned int>(text.size()), &length));
            if (!bytes || length == 0) {
                all = 0;
                continue;
            }
            if (xmlOut != nullptr) xmlOut->openTag("signatureTimeStamp");
            unsigned char ok = 0;
            Buffer in;
            in.fromByteArray(bytes.get(), length);
            TimeStampResp response;
            ContentInfo token;
            Content* content = nullptr;
            if (response.unwrapASN1(&in) && response._getTimeStampToken() != nullptr) {
                if (response._getStatus() == nullptr || response._getStatus()->getStatus() != 0) {
                    fail(kErrTokenInvalid);
                } else {
                    content = response._getTimeStampToken()->_getContent();
                }
            } else {
                in.setReadPos(0);
                if (token.unwrapASN1(&in) == 1) content = token._getContent();
                if (content == nullptr) fail(kErrNoTimeStampToken);
            }
            if (content != nullptr) {
                if (!isTokenVersion(content)) {
                    fail(kErrNoTimeStampToken);
                } else {
                    // The token stamps the signature value's text and nothing else.
                    SecureBuffer nothing(16, cryptoDevice);
                    ok = verifyToken(content, nullptr, covered.c_str(), 0, &nothing);
                }
            }
            // Only a token that held dates the signature: a failed one must not save a
            // certificate that has since expired or been revoked.
            if (!ok) {
                lastTimeStampTime.reset();
                all = 0;
            }
            if (xmlOut != nullptr) xmlOut->closeTag();
        }
    }
    return all;
}

unsigned char DocVerifier::verifyXMLCounterSignatures(_xmlNode* unsignedProperties,
                                                      const std::string& valueId, int depth) {
    XMLFile* xml = xmlDocument.get();
    unsigned char all = 255;
    int count = 0;
    for (xmlNodePtr counter = childNamed(unsignedProperties, "CounterSignature");
         counter != nullptr && count < kMaxProperties;
         counter = nextNamed(counter, "CounterSignature"), ++count) {
        xmlNodePtr signature = childNamed(counter, "Signature");
        if (signature == nullptr) {
            if (xmlOut != nullptr) xmlOut->openTag("countersigner");
            fail(kErrNoSignature);
            if (xmlOut != nullptr) xmlOut->closeTag();
            all = 0;
            continue;
        }
        if (depth >= kMaxCounterDepth) {
            if (log) log->print(3, "Controfirme annidate oltre il limite");
            all = 0;
            continue;
        }
        xml->_setCurrentNode(signature);
        if (!verifyXMLSigner(255, valueId, depth + 1)) all = 0;
    }
    return all;
}
