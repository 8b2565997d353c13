// DocVerifier: XML signatures. The file driver, the walk over the Signature elements of a
// document, and the steps of one signer, in their order: the references, the canonical
// SignedInfo, the certificate in KeyInfo, the XAdES signed properties, the signature time
// stamps, the dated rules, the certificate check, the signature value, the verdict against the
// reference time, and the counter-signatures.
//
// The structure of a signature is read by its direct children (SignedInfo, SignatureValue,
// KeyInfo and Object under Signature, and so on down the XAdES properties), never by a search
// through the whole subtree: a search would take an element of a counter-signature, or of an
// Object that nothing signs, for the signer's own. The signed properties count only when a
// reference of SignedInfo covers them.
#include <libxml/tree.h>

#include <cstring>
#include <memory>
#include <string>

#include "asn1/Base64.h"
#include "asn1/Buffer.h"
#include "asn1/SecureBuffer.h"
#include "asn1/X500Time.h"
#include "crypto/CryptoDevice.h"
#include "crypto/DigestInfo.h"
#include "frontend/Messages.h"
#include "net/Logger.h"
#include "pkix/Certificate.h"
#include "pkix/CertificateInfo.h"
#include "pkix/Name.h"
#include "pkix/ReadSteps.h"
#include "pkix/Validity.h"
#include "trust/CertVerifier.h"
#include "verify/DocVerifier.h"
#include "xml/XMLFile.h"
#include "xml/XMLNodes.h"
#include "xml/XMLReferences.h"

namespace {

using namespace xmlnodes;

constexpr unsigned long kErrNotFound = 5125;
constexpr unsigned long kErrDigest = 5186;
constexpr unsigned long kErrSigningTime = 5194;
constexpr unsigned long kErrNotXML = 5204;
constexpr unsigned long kErrNoSignature = 5205;
constexpr unsigned long kErrSigningCertificate = 5213;
constexpr unsigned char kSignerUsage = 0x40;  // nonRepudiation
const char kSHA1[] = "1.3.14.3.2.26";
// More Signature elements than this in one file are not looked at.
constexpr int kMaxSignatures = 256;

struct SignatureMethod {
    const char* uri;
    const char* digest;
    const char* sign;
};

const SignatureMethod kSignatureMethods[] = {
    {"http://www.w3.org/2000/09/xmldsig#rsa-sha1", "1.3.14.3.2.26", "1.3.14.3.2.29"},
    {"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256", "2.16.840.1.101.3.4.2.1",
     "1.2.840.113549.1.1.11"},
    {"http://www.w3.org/2001/04/xmldsig-more#rsa-sha512", "2.16.840.1.101.3.4.2.3",
     "1.2.840.113549.1.1.13"},
};

// The folder of a path: up to its last "/", or with none its last "\"; empty with neither.
std::string folderOf(const char* path) {
    std::string p = path != nullptr ? path : "";
    size_t cut = p.rfind('/');
    if (cut == std::string::npos) cut = p.rfind('\\');
    return cut == std::string::npos ? std::string() : p.substr(0, cut);
}

// True when some Reference of SignedInfo names that Id.
bool referencedId(xmlNodePtr signedInfo, const std::string& id) {
    if (id.empty()) return false;
    int count = 0;
    for (xmlNodePtr r = childNamed(signedInfo, "Reference"); r != nullptr && count < 1000;
         r = nextNamed(r, "Reference"), ++count) {
        if (attributeOf(r, "URI") == "#" + id) return true;
    }
    return false;
}

bool referenced(xmlNodePtr signedInfo, xmlNodePtr element) {
    return referencedId(signedInfo, attributeOf(element, "Id"));
}

}  // namespace

unsigned char DocVerifier::verifyXMLFile(const char* input) {
    if (xmlOut != nullptr) {
        xmlOut->openTag("signedData");
        setAttribute("filename", input);
        setAttribute("filetype", "XML file");
    }
    if (log) log->print(6, kNoteInputFile, "Input File: %s", input != nullptr ? input : "");
    errCode = NoError;
    xmlDocument.reset(new XMLFile(workBuffer.get()));
    xmlDirectory = folderOf(input);
    xmlFilesAllowed = 255;
    unsigned char result;
    if (input == nullptr || !xmlDocument->fromFile(input)) {
        xmlDocument.reset();
        fail(kErrNotXML);
        result = 0;
    } else {
        result = verifyXMLSignatures();
    }
    if (xmlOut != nullptr) xmlOut->closeTag();
    return result;
}

unsigned char DocVerifier::verifyXMLFile(Buffer* document) {
    errCode = NoError;
    xmlDocument.reset(new XMLFile(workBuffer.get()));
    xmlDirectory.clear();
    xmlFilesAllowed = 0;
    if (document == nullptr || !xmlDocument->fromBuffer(document)) {
        xmlDocument.reset();
        fail(kErrNotXML);
        return 0;
    }
    return verifyXMLSignatures();
}

unsigned char DocVerifier::verifyXMLSignatures() {
    allSignaturesOk = 255;
    XMLFile* xml = xmlDocument.get();
    if (xml == nullptr) return 0;
    xml->rewind();
    if (!xml->findTag("Signature")) {
        fail(kErrNoSignature);
        xmlDocument.reset();
        return 0;
    }
    workBuffer->rewind();
    for (int count = 0; count < kMaxSignatures; ++count) {
        xmlNodePtr signature = xml->_getCurrentNode();
        if (!verifyXMLSigner(0, std::string(), 0)) allSignaturesOk = 0;
        xml->_setCurrentNode(signature);
        if (!xml->findSiblingTag("Signature")) break;
    }
    xmlDocument.reset();
    if (log) {
        if (allSignaturesOk) {
            log->print(6, kNoteAllSignaturesOk, "%s", Messages::getNotice(kNoteAllSignaturesOk));
        } else {
            log->print(6, kErrNotAllSignaturesOk, "%s", Messages::getText(kErrNotAllSignaturesOk));
        }
    }
    records::cleanDigests(digestTable);
    records::cleanInfos(pkcs7Infos);
    return 255;
}

unsigned char DocVerifier::verifyXMLSigner(unsigned char counter, const std::string& parentValueId,
                                           int depth) {
    XMLFile* xml = xmlDocument.get();
    xmlNodePtr signature = xml->_getCurrentNode();
    lastTimeStampTime.reset();
    if (xmlOut != nullptr) xmlOut->openTag(counter ? "countersigner" : "signer");
    auto refuse = [&](unsigned long code) -> unsigned char {
        fail(code);
        if (xmlOut != nullptr) xmlOut->closeTag();
        return 0;
    };

    // The parts of the signature.
    xmlNodePtr signedInfo = childNamed(signature, "SignedInfo");
    xmlNodePtr valueNode = childNamed(signature, "SignatureValue");
    std::string signatureValue = textOf(valueNode);
    std::string c14nMethod =
        attributeOf(childNamed(signedInfo, "CanonicalizationMethod"), "Algorithm");
    if (signedInfo == nullptr || valueNode == nullptr || c14nMethod.empty()) {
        return refuse(kErrNoSignature);
    }

    // The references. A failure is kept: the certificate and the signed properties are still
    // described before the signer is refused.
    unsigned char compliant = 255;
    unsigned long digestFailure = NoError;
    xml->_setCurrentNode(signedInfo);
    XMLReferences references(xml, cryptoDevice, xmlFilesAllowed ? xmlDirectory.c_str() : nullptr);
    if (!references.verifyDigests(&compliant)) {
        digestFailure = references.getErrorCode();
        if (log) log->print(3, digestFailure, "%s", Messages::getText(digestFailure));
    }
    // A counter-signature must cover the signature value it counter-signs.
    if (counter && digestFailure == NoError &&
        (parentValueId.empty() || !referencedId(signedInfo, parentValueId))) {
        digestFailure = kErrDigest;
        if (log) log->print(3, "La controfirma non copre il valore della firma");
    }

    // The canonical SignedInfo, and the algorithms of the signature.
    xml->_setCurrentNode(signedInfo);
    std::string canonicalSignedInfo = canonicalOf(xml, c14nMethod);
    std::string methodURI = attributeOf(childNamed(signedInfo, "SignatureMethod"), "Algorithm");
    if (methodURI.empty()) return refuse(kErrNoSignature);
    const SignatureMethod* method = nullptr;
    for (const SignatureMethod& m : kSignatureMethods) {
        if (methodURI == m.uri) method = &m;
    }
    // A method this engine cannot check is no signature it can vouch for.
    if (method == nullptr) return refuse(kErrNoSignature);
    if (strcmp(method->digest, kSHA1) == 0) compliant = 0;
    std::unique_ptr<DigestInfo> digest;
    if (cryptoDevice != nullptr && cryptoDevice->setDigestAlgorithm(method->digest)) {
        digest.reset(
            cryptoDevice->digest(reinterpret_cast<const unsigned char*>(canonicalSignedInfo.data()),
                                 static_cast<unsigned long>(canonicalSignedInfo.size())));
    }
    // The certificate: the first of the first X509Data; other forms of KeyInfo are not read.
    xmlNodePtr keyInfo = childNamed(signature, "KeyInfo");
    xmlNodePtr x509Data = childNamed(keyInfo, "X509Data");
    if (x509Data == nullptr) return refuse(kErrNoSignature);
    xmlNodePtr certNode = childNamed(x509Data, "X509Certificate");
    if (certNode == nullptr) return refuse(kErrNotFound);
    std::string certificateText = textOf(certNode);
    unsigned int derLength = 0;
    std::unique_ptr<unsigned char[]> der(Base64::decode(
        certificateText.c_str(), static_cast<unsigned int>(certificateText.size()), &derLength));
    std::unique_ptr<Certificate> certificate(new Certificate());
    {
        Buffer in;
        if (der) in.fromByteArray(der.get(), derLength);
        if (!der || !certificate->unwrapASN1(&in) || certificate->_getCertInfo() == nullptr) {
            return refuse(kErrNotX509);
        }
    }
    records::cleanInfos(pkcs7Infos);
    addCertRecord(certificate.get(), 0);
    const infoEntry& info = pkcs7Infos[0];
    if (info.serial == nullptr) return refuse(kErrNotX509);
    if (log) {
        log->print(6, 4617, "Seriale: %s", info.serial);
        std::unique_ptr<char[]> subject(info.subject != nullptr ? info.subject->getUTF8String()
                                                                : nullptr);
        log->print(counter ? 6 : 6, counter ? 4671 : 4618,
                   counter ? "Controfirmatario: %s" : "Firmatario:\n%s",
                   subject ? subject.get() : "");
    }
    describeSigner(info);
    const X500Time* notBefore = info.validity != nullptr ? info.validity->_getNotBefore() : nullptr;
    const X500Time* notAfter = info.validity != nullptr ? info.validity->_getNotAfter() : nullptr;

    // The XAdES properties.
    xmlNodePtr qualifying = nullptr;
    for (xmlNodePtr object = childNamed(signature, "Object"); object != nullptr && !qualifying;
         object = nextNamed(object, "Object")) {
        qualifying = childNamed(object, "QualifyingProperties");
    }
    xmlNodePtr signedProperties = childNamed(qualifying, "SignedProperties");
    xmlNodePtr signedSignature = childNamed(signedProperties, "SignedSignatureProperties");
    if (signedSignature != nullptr) {
        // Properties that no reference covers are anybody's words, not the signer's.
        if (digestFailure == NoError && !referenced(signedInfo, signedProperties)) {
            digestFailure = kErrDigest;
            if (log) log->print(3, "Le proprieta' firmate non sono coperte da una Reference");
        }
        if (xmlOut != nullptr) xmlOut->openTag("signedAttributes");
        auto refuseInProperties = [&](unsigned long code) -> unsigned char {
            if (xmlOut != nullptr) xmlOut->closeTag();
            return refuse(code);
        };
        xmlNodePtr signingTime = childNamed(signedSignature, "SigningTime");
        if (signingTime != nullptr) {
            std::string when = textOf(signingTime);
            if (log) log->print(6, 4625, "Data firma: %s", when.c_str());
            if (!XMLFile::checkDateTime(when.c_str())) return refuseInProperties(kErrSigningTime);
            if (xmlOut != nullptr) xmlOut->insertTag("signingTime", when.c_str());
        }
        xmlNodePtr signingCertificate = childNamed(signedSignature, "SigningCertificate");
        if (signingCertificate == nullptr) {
            signingCertificate = childNamed(signedSignature, "SigningCertificateV2");
        }
        if (signingCertificate != nullptr) {
            xml->_setCurrentNode(signingCertificate);
            if (!checkXMLSigningCertificate(info.issuer, info.serial, info.certificate,
                                            &compliant)) {
                return refuseInProperties(kErrSigningCertificate);
            }
        }
        if (xmlOut != nullptr) xmlOut->closeTag();
    }

    // A reference that did not match ends the signer, with nothing more checked.
    if (digestFailure != NoError) return refuse(digestFailure);

    // Signature time stamps: their verdict stands in their own elements.
    xmlNodePtr unsignedSignature =
        childNamed(childNamed(qualifying, "UnsignedProperties"), "UnsignedSignatureProperties");
    if (unsignedSignature != nullptr) {
        verifyXMLSignatureTimeStamps(unsignedSignature, valueNode, c14nMethod);
    }

    if (xmlOut != nullptr) {
        setAttribute("cadesCompliant", compliant ? "true" : "false");
        xmlOut->insertTag("digestAlgorithm", method->digest);
    }

    // The rules tied to dates.
    if (strcmp(method->digest, kSHA1) == 0) {
        errCode = checkJuly2011(notBefore);
        if (errCode == 5223 || errCode == 5224) {
            if (july2011Mode == 1) addVerificationTime();
            return refuse(errCode);
        }
    }
    if (!compliant) {
        errCode = checkConformance2011(notBefore);
        if (errCode == 5228) {
            if (july2011Mode == 1) addVerificationTime();
            return refuse(errCode);
        }
    }

    // The certificate now (by the server, in server mode).
    if (!checkCert(info, checkCRLPKCS7, kSignerUsage, nullptr)) {
        errCode = getCertCode();
        if (errCode == NoError) errCode = 5126;
        if (xmlOut != nullptr) xmlOut->closeTag();
        return 0;
    }
    // From the local verifier or, in server mode, from the server's answer.
    unsigned long certCode = getCertCode();
    std::unique_ptr<X500Time> revocationDate(getCertRevocationDate());
    std::unique_ptr<X500Time> expiredCertsOnCRL(getCertExpiredCertsOnCRL());

    // The signature value.
    if (cryptoDevice != nullptr) cryptoDevice->setSignAlgorithm(method->sign);
    if (!digest || !checkXMLSignature(digest.get(), signatureValue.c_str(), info.certificate)) {
        if (!digest) fail(kErrSignatureNotVerified);
        if (xmlOut != nullptr) xmlOut->closeTag();
        return 0;
    }

    // The verdict against the reference time, as for every other signer.
    signerVerdict(notBefore, notAfter, certCode, revocationDate.get(), expiredCertsOnCRL.get());

    // Counter-signatures, each over this signature's value.
    unsigned char result = 255;
    if (unsignedSignature != nullptr) {
        result = verifyXMLCounterSignatures(unsignedSignature, attributeOf(valueNode, "Id"), depth);
    }
    if (xmlOut != nullptr) xmlOut->closeTag();
    return result;
}
