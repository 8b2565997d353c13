// DocVerifier: the steps of one signer, in their order, and the verdict against the reference
// time. See DocVerifierSigner.cpp for the pieces.
#include <cstring>
#include <memory>
#include <string>

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
#include "pkix/IssuerAndSerialNumber.h"
#include "pkix/KeyInfo.h"
#include "pkix/Name.h"
#include "pkix/NameLabels.h"
#include "pkix/PKCS7SignerInfo.h"
#include "pkix/ReadSteps.h"
#include "pkix/SignerIdentifier.h"
#include "pkix/SignerInfo.h"
#include "pkix/Validity.h"
#include "trust/CertVerifier.h"
#include "verify/DocVerifier.h"
#include "verify/ReportParts.h"
#include "verify/SignerParts.h"
#include "xml/XMLFile.h"

namespace {

const char kSignatureTimeStamp[] = "1.2.840.113549.1.9.16.2.14";
const char kCounterSignature[] = "1.2.840.113549.1.9.6";
const char kSHA256[] = "2.16.840.1.101.3.4.2.1";
const char kSHA1[] = "1.3.14.3.2.26";
const char kRSAEncryption[] = "1.2.840.113549.1.1.1";
constexpr unsigned char kSignerUsage = 0x40;  // nonRepudiation

using pkix::ownedText;

}  // namespace

DocVerifier::SignerParts signerPartsOf(const PKCS7SignerInfo* s) {
    DocVerifier::SignerParts p;
    p.cms = false;
    p.issuerAndSerial = s->_getIssuerAndSerialNumber();
    p.digestAlgorithm = s->_getDigestAlgorithm();
    p.signedAttrs = s->_getAuthenticatedAttrs();
    p.signatureAlgorithm = s->_getDigestEncryptionAlgorithm();
    p.signature = s->_getEncryptedDigest();
    p.signatureLength = s->getEncryptedDigestLen();
    p.unsignedAttrs = s->_getUnauthenticatedAttrs();
    return p;
}

DocVerifier::SignerParts signerPartsOf(const SignerInfo* s) {
    DocVerifier::SignerParts p;
    p.cms = true;
    const SignerIdentifier* sid = s->_getSid();
    p.issuerAndSerial = sid != nullptr ? sid->_getIssuerAndSerialNumber() : nullptr;
    p.keyId = sid != nullptr ? sid->_getSubjectKeyIdentifier() : nullptr;
    p.keyIdLength = sid != nullptr ? sid->getSubjectKeyIdentifierLen() : 0;
    p.digestAlgorithm = s->_getDigestAlgorithm();
    p.signedAttrs = s->_getSignedAttrs();
    p.signatureAlgorithm = s->_getSignatureAlgorithm();
    p.signature = s->_getSignature();
    p.signatureLength = s->getSignatureLen();
    p.unsignedAttrs = s->_getUnsignedAttrs();
    return p;
}

unsigned char DocVerifier::checkSignature(const DigestInfo* digest, const SignerParts& signer,
                                          const Certificate* certificate) {
    if (cryptoDevice == nullptr || digest == nullptr || certificate == nullptr ||
        certificate->_getCertInfo() == nullptr || signer.signatureAlgorithm == nullptr ||
        signer.signature == nullptr) {
        return 0;
    }
    AlgorithmIdentifier* algorithm = const_cast<AlgorithmIdentifier*>(signer.signatureAlgorithm);
    if (algorithm->isEqual(kRSAEncryption)) {
        cryptoDevice->setCryptoAlgorithm(algorithm);
    } else {
        cryptoDevice->setSignAlgorithm(algorithm);
    }
    Signature signature(signer.signature, signer.signatureLength);
    std::unique_ptr<KeyInfo> key(certificate->_getCertInfo()->getSubjectPubKey());
    std::unique_ptr<DigestInfo> expected(digest->clone());
    if (log) log->print(7, 4682, "%s", Messages::getNotice(4682));
    bool ok = cryptoDevice->verify(&signature, expected.get(), key.get());
    // Some signers encode the DigestInfo without the NULL parameters of the algorithm.
    if (!ok && expected->getUseAlgorithmParameters()) {
        expected->setUseAlgorithmParameters(0);
        ok = cryptoDevice->verify(&signature, expected.get(), key.get());
        expected->setUseAlgorithmParameters(255);
    }
    if (ok && log) log->print(6, 4621, "%s", Messages::getNotice(4621));
    if (log) log->print(7, 4683, "%s", Messages::getNotice(4683));
    return ok ? 255 : 0;
}

unsigned char DocVerifier::checkCounterSignatures(const SignerParts& signer, int depth) {
    const AttributeSet* attributes = signer.unsignedAttrs;
    if (attributes == nullptr) return 255;
    ParentSignature parent{signer.signature, signer.signatureLength};
    unsigned char all = 255;
    for (int i = 0; i < attributes->getCount(); ++i) {
        const Attribute* a = attributes->_getElement(i);
        if (!a->isEqual(kCounterSignature)) continue;
        const AttributeValueSet* values = a->_getValues();
        for (int j = 0; values != nullptr && j < values->getCount(); ++j) {
            const AttributeValue* v = values->_getElement(j);
            // Each counter-signature is read from its own buffer: the checks below reuse the
            // view buffer.
            Buffer in;
            in.fromByteArray(v->_getValue(), v->getValueLen());
            if (depth >= kMaxCounterDepth) {
                if (log) log->print(3, "Controfirme annidate oltre il limite");
                all = 0;
                continue;
            }
            if (signer.cms) {
                SignerInfo counter;
                if (!counter.unwrapASN1(&in)) {
                    all = 0;
                    continue;
                }
                if (!verifySigner(signerPartsOf(&counter), &parent, 255, 255, depth + 1)) all = 0;
            } else {
                PKCS7SignerInfo counter;
                if (!counter.unwrapASN1(&in)) {
                    all = 0;
                    continue;
                }
                if (!verifySigner(signerPartsOf(&counter), &parent, 255, 255, depth + 1)) all = 0;
            }
        }
    }
    return all;
}

int DocVerifier::digestSignedAttributes(const SignerParts& s, const unsigned char* attrDigest,
                                        unsigned int attrDigestLength,
                                        std::unique_ptr<DigestInfo>* digest) {
    if (s.signedAttrs == nullptr) return 1;
    const DigestInfo* content = digest->get();
    if (attrDigest == nullptr || content == nullptr || attrDigestLength != content->getLength() ||
        memcmp(attrDigest, content->_getDigest(), attrDigestLength) != 0) {
        return 0;
    }
    // What was signed is the DER of the attributes under the SET tag.
    Buffer der;
    AttributeSet* attributes = const_cast<AttributeSet*>(s.signedAttrs);
    der.enlarge(attributes->getWrapLength(&der));
    attributes->wrapASN1(kSetTag, &der);
    if (cryptoDevice == nullptr ||
        !cryptoDevice->setDigestAlgorithm(const_cast<AlgorithmIdentifier*>(s.digestAlgorithm))) {
        return -1;
    }
    digest->reset(cryptoDevice->digest(der._getData(), der.getWritePos()));
    return *digest ? 1 : -1;
}

int DocVerifier::findSignerRecord(const SignerParts& s, const infoEntry* table) {
    std::string serialText;
    std::unique_ptr<Name> issuer;
    int at = -1;
    if (s.issuerAndSerial != nullptr) {
        serialText = ownedText(s.issuerAndSerial->printSerialNumber(16));
        if (s.issuerAndSerial->_getIssuer() != nullptr) {
            issuer.reset(s.issuerAndSerial->_getIssuer()->clone());
            issuer->toUTF8();
        }
        at = records::searchInfo(table, serialText.c_str(), issuer.get());
    } else if (s.keyId != nullptr) {
        at = records::searchInfo(table, s.keyId, s.keyIdLength);
    }
    if (at >= 0) return at;
    if (log) {
        log->print(6, 4617, "Seriale: %s", serialText.c_str());
        log->print(6, 4619, "Issuer:\n%s", shortName(issuer.get()).c_str());
    }
    // A signer named by a key identifier has neither to show.
    if (xmlOut != nullptr && s.issuerAndSerial != nullptr) {
        xmlOut->insertTag("serial", serialText.c_str());
        xmlOut->openTag("issuer");
        if (issuer) {
            issuer->getXMLRepresentation(kNameLabelOIDs, kNameShortLabels, kNameLabelCount, xmlOut);
        }
        xmlOut->closeTag();
    }
    return -1;
}

unsigned char DocVerifier::verifySigner(const SignerParts& s, const ParentSignature* parent,
                                        unsigned char cadesFlag, unsigned char conformanceCheck,
                                        int depth) {
    lastTimeStampTime.reset();
    if (s.cms) errCode = NoError;
    if (xmlOut != nullptr) xmlOut->openTag(parent == nullptr ? "signer" : "countersigner");
    auto close = [&] {
        if (xmlOut != nullptr) xmlOut->closeTag();
    };
    auto failWith = [&](unsigned long code) -> unsigned char {
        fail(code);
        checkCounterSignatures(s, depth);
        close();
        return 0;
    };

    // The certificate among the envelope's.
    infoEntry* table = s.cms ? cmsInfos : pkcs7Infos;
    int at = findSignerRecord(s, table);
    if (at < 0) {
        // A CMS signer named by a key identifier that no certificate has fails here like any
        // other: its element is closed once, after its counter-signatures. Closing it first and
        // then closing once more would end the envelope's element early and leave the file's
        // closing to the element above it, so the rest of the report would land in the wrong
        // place.
        return failWith(5125);
    }
    // The record is copied: a time-stamp token below refills the tables.
    records::InfoCopy record;
    records::cloneInfo(&record.entry, table[at]);
    const infoEntry& info = record.entry;
    if (log) {
        log->print(6, 4617, "Seriale: %s", info.serial);
        if (parent == nullptr) {
            log->print(6, 4618, "Firmatario:\n%s", shortName(info.subject).c_str());
        } else {
            log->print(6, 4671, "Controfirmatario: %s", shortName(info.subject).c_str());
        }
        log->print(6, 4619, "Issuer:\n%s", shortName(info.issuer).c_str());
    }
    describeSigner(info);

    // The signed attributes and the ESS identifiers of the certificate.
    unsigned char* attrDigest = nullptr;
    unsigned int attrDigestLength = 0;
    ESSCertID* v1 = nullptr;
    ESSCertIDV2* v2 = nullptr;
    unsigned char read = readSignedAttributes(s, &attrDigest, &attrDigestLength, &v1, &v2);
    std::unique_ptr<unsigned char[]> attrDigestOwner(attrDigest);
    std::unique_ptr<ESSCertID> v1Owner(v1);
    std::unique_ptr<ESSCertIDV2> v2Owner(v2);
    if (!read) return failWith(errCode);
    if (v1 != nullptr && !checkESSCertID(v1, info)) return failWith(5191);
    if (v2 != nullptr) {
        if (!checkESSCertIDV2(v2, info, &cadesFlag)) return failWith(5213);
    } else {
        cadesFlag = 0;
    }

    // Signature time stamps: each stamps this signer's signature value, and the last one's
    // result and time count.
    bool timeStampOk = true;
    for (int i = 0; s.unsignedAttrs != nullptr && i < s.unsignedAttrs->getCount(); ++i) {
        const Attribute* a = s.unsignedAttrs->_getElement(i);
        if (!a->isEqual(kSignatureTimeStamp)) continue;
        const AttributeValueSet* values = a->_getValues();
        for (int j = 0; values != nullptr && j < values->getCount(); ++j) {
            const AttributeValue* v = values->_getElement(j);
            if (xmlOut != nullptr) xmlOut->openTag("signatureTimeStamp");
            Buffer in;
            in.fromByteArray(v->_getValue(), v->getValueLen());
            ContentInfo token;
            if (token.unwrapASN1(&in) != 1) {
                fail(5169);
                close();
                if (xmlOut != nullptr) xmlOut->insertTag("status", "KO");
                close();
                return 0;
            }
            timeStampOk = verifyToken(token._getContent(), &s, nullptr, 0, nullptr) != 0;
            close();
        }
    }

    if (s.digestAlgorithm == nullptr) return failWith(5220);
    std::string digestOID = ownedText(s.digestAlgorithm->getAlgorithm());
    if (digestOID != kSHA256) cadesFlag = 0;
    if (xmlOut != nullptr) {
        setAttribute("cadesCompliant", cadesFlag ? "true" : "false");
        xmlOut->insertTag("digestAlgorithm", digestOID.c_str());
    }

    // The rules tied to dates.
    const X500Time* notBefore = info.validity != nullptr ? info.validity->_getNotBefore() : nullptr;
    const X500Time* notAfter = info.validity != nullptr ? info.validity->_getNotAfter() : nullptr;
    if (digestOID == kSHA1) {
        errCode = checkJuly2011(notBefore);
        if (errCode == 5223 || errCode == 5224) {
            if (july2011Mode == 1) addVerificationTime();
            return failWith(errCode);
        }
    }
    if (conformanceCheck && !cadesFlag) {
        errCode = checkConformance2011(notBefore);
        if (errCode == 5228) {
            if (july2011Mode == 1) addVerificationTime();
            return failWith(errCode);
        }
    }

    // The certificate now.
    if (!checkCert(info, checkCRLPKCS7, kSignerUsage, nullptr)) {
        if (s.cms && (certVerifier || serverMode)) errCode = getCertCode();
        checkCounterSignatures(s, depth);
        close();
        return 0;
    }
    unsigned long certCode = getCertCode();
    std::unique_ptr<X500Time> revocationDate(getCertRevocationDate());
    std::unique_ptr<X500Time> expiredCertsOnCRL(getCertExpiredCertsOnCRL());

    // The digest that was signed.
    std::unique_ptr<DigestInfo> digest;
    if (parent == nullptr) {
        int index = getDataDigest(s.digestAlgorithm);
        if (index == -1) return failWith(5154);
        if (index == -2) return failWith(5220);
        digest.reset(digestTable[index].digest->clone());
    } else {
        if (cryptoDevice == nullptr) return failWith(5154);
        cryptoDevice->setDigestAlgorithm(const_cast<AlgorithmIdentifier*>(s.digestAlgorithm));
        digest.reset(cryptoDevice->digest(parent->value, parent->length));
        if (!digest) return failWith(5154);
    }
    int signedPart = digestSignedAttributes(s, attrDigest, attrDigestLength, &digest);
    if (signedPart == 0) return failWith(5186);
    if (signedPart < 0) return failWith(5154);
    unsigned char signatureOk = checkSignature(digest.get(), s, info.certificate);
    if (!signatureOk) fail(5200);

    // The verdict against the reference time.
    if (xmlOut != nullptr) {
        if (!timeStampOk) {
            fail(5167);
        } else if (signatureOk) {
            signerVerdict(notBefore, notAfter, certCode, revocationDate.get(),
                          expiredCertsOnCRL.get());
        }
    }
    unsigned char counters = checkCounterSignatures(s, depth);
    close();
    return signatureOk && counters ? 255 : 0;
}

void DocVerifier::signerVerdict(const X500Time* notBefore, const X500Time* notAfter,
                                unsigned long certCode, const X500Time* revocationDate,
                                const X500Time* expiredCertsOnCRL) {
    if (xmlOut == nullptr) return;
    errCode = certCode;
    std::unique_ptr<X500Time> refTime;
    if (lastTimeStampTime) {
        refTime.reset(lastTimeStampTime->clone());
    } else {
        refTime.reset(verificationTime ? verificationTime->clone() : SystemClock::getUTCTime());
        xmlOut->insertTag("verificationTime", ownedText(refTime->getValue()).c_str());
    }
    long expiredFrom = expiredCertsOnCRL ? expiredCertsOnCRL->getClockValue() : kCRLAmnestyDate;
    if (notBefore != nullptr && *notBefore > *refTime) {
        xmlOut->insertTag("errorMessage", "Certificato del Firmatario non ancora valido");
        xmlOut->insertTag("status", "KO");
    } else if (certCode == 5128 || certCode == 5161) {
        // A revocation with no date is taken as before any time.
        if (!revocationDate || *revocationDate < *refTime) {
            xmlOut->insertTag("errorMessage", Messages::getText(certCode));
            xmlOut->insertTag("status", "KO");
        } else {
            xmlOut->insertTag("status", "OK");
        }
    } else if (certCode == 5127) {
        if (notAfter == nullptr || *notAfter < *refTime) {
            xmlOut->insertTag("errorMessage", Messages::getText(certCode));
            xmlOut->insertTag("status", "KO");
        } else if (notAfter->getClockValue() < expiredFrom) {
            xmlOut->insertTag("errorMessage",
                              "Stato del certificato alla data di firma non disponibile");
            xmlOut->insertTag("status", "KO");
        } else {
            xmlOut->insertTag("certExpired", ownedText(notAfter->getValue()).c_str());
            xmlOut->insertTag("status", "OK");
        }
    } else {
        xmlOut->insertTag("status", "OK");
    }
}
