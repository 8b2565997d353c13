// DocVerifier: one RFC 3161 time-stamp token, wherever it came from (a TSR or TST file, a
// signer's unsigned attributes, the second part of an M7M, the evidence of a TSD).
//
// The token is a CMS SignedData over a TSTInfo. Its first signer is the authority: its
// certificate must be in the token, be trusted, and be meant for time stamping; its signature
// must hold over the TSTInfo; the imprint must match what the token is said to stamp. The
// authority's certificate is judged at the token's own genTime, not at the time of the
// verification: a token stays good after its authority's certificate expires, and a revocation
// after genTime does not undo it. The verdict is in TimeStampVerdict.cpp.
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
#include "frontend/Messages.h"
#include "net/Logger.h"
#include "pkix/ContentInfo.h"
#include "pkix/ESSCertID.h"
#include "pkix/EncapsulatedContentInfo.h"
#include "pkix/MessageImprint.h"
#include "pkix/Name.h"
#include "pkix/NameLabels.h"
#include "pkix/PKCS7SignerInfo.h"
#include "pkix/ReadSteps.h"
#include "pkix/SignedData.h"
#include "pkix/SignerInfo.h"
#include "pkix/TSTInfo.h"
#include "pkix/Validity.h"
#include "trust/CertVerifier.h"
#include "verify/DocVerifier.h"
#include "verify/ReportParts.h"
#include "verify/SignerParts.h"
#include "xml/XMLFile.h"

namespace {

using pkix::ownedText;

const char kSHA1[] = "1.3.14.3.2.26";
constexpr unsigned char kTimeStampUsage = 0x80;  // digitalSignature
const char kTimeStampingPurpose[] = "1.3.6.1.5.5.7.3.8";
// 2010-08-30 22:00:00 UTC, midnight of 31 August 2010 in Italy: from then on a SHA-1 token is
// no longer acceptable.
constexpr long kTimeStampSHA1EndDate = 1283205600;

constexpr unsigned long kErrNotFound = 5125;
constexpr unsigned long kErrNoDigest = 5154;
constexpr unsigned long kErrTokenInvalid = 5167;
constexpr unsigned long kErrNoToken = 5168;
constexpr unsigned long kErrNoESS = 5190;
constexpr unsigned long kErrESSv1 = 5191;
constexpr unsigned long kErrESSv2 = 5213;
constexpr unsigned long kErrTokenNotVerified = 5201;
constexpr unsigned long kErrAugust2010 = 5225;

bool sameDigest(const DigestInfo* digest, const unsigned char* bytes, unsigned int length) {
    return digest != nullptr && bytes != nullptr && digest->getLength() == length &&
           memcmp(digest->_getDigest(), bytes, length) == 0;
}

}  // namespace

unsigned char DocVerifier::verifyCMS(Content* content, PKCS7SignerInfo* signer, const char* text,
                                     unsigned char checkAge) {
    if (signer == nullptr) return verifyToken(content, nullptr, text, checkAge, nullptr);
    SignerParts parts = signerPartsOf(signer);
    return verifyToken(content, &parts, text, checkAge, nullptr);
}

unsigned char DocVerifier::verifyCMS(Content* content, SignerInfo* signer, const char* text,
                                     unsigned char checkAge) {
    if (signer == nullptr) return verifyToken(content, nullptr, text, checkAge, nullptr);
    SignerParts parts = signerPartsOf(signer);
    return verifyToken(content, &parts, text, checkAge, nullptr);
}

unsigned char DocVerifier::verifyCMS(Content* content, PKCS7SignerInfo* signer,
                                     unsigned char checkAge) {
    return verifyCMS(content, signer, nullptr, checkAge);
}

unsigned char DocVerifier::verifyCMS(Content* content, unsigned char checkAge) {
    return verifyToken(content, nullptr, nullptr, checkAge, nullptr);
}

X500Time* DocVerifier::getLastTimeStampTime() const {
    return lastTimeStampTime ? lastTimeStampTime->clone() : nullptr;
}

unsigned char DocVerifier::checkImprint(const MessageImprint* imprint, const SignerParts* signer,
                                        const char* text, SecureBuffer* imprinted) {
    if (cryptoDevice == nullptr) {
        errCode = kErrNoDigest;
        return 0;
    }
    AlgorithmIdentifier* algorithm = const_cast<AlgorithmIdentifier*>(imprint->_getHashAlgorithm());
    const unsigned char* expected = imprint->_getHashedMessage();
    unsigned int expectedLength = imprint->getHashedMessageLen();
    if (signer != nullptr) {
        // A signature time stamp stamps the signature value of its signer.
        std::unique_ptr<DigestInfo> digest;
        if (algorithm != nullptr && cryptoDevice->setDigestAlgorithm(algorithm))
            digest.reset(cryptoDevice->digest(signer->signature, signer->signatureLength));
        if (!digest) {
            errCode = kErrNoDigest;
            return 0;
        }
        if (!sameDigest(digest.get(), expected, expectedLength)) {
            errCode = kErrTokenInvalid;
            return 0;
        }
    } else if (imprinted != nullptr && imprinted->getWritePos() > 0) {
        if (log) log->print(7, 4690, "%s", Messages::getNotice(4690));
        std::unique_ptr<DigestInfo> digest;
        if (algorithm != nullptr && cryptoDevice->setDigestAlgorithm(algorithm))
            digest.reset(imprinted->digestOutputMessage());
        if (log) log->print(7, 4691, "%s", Messages::getNotice(4691));
        if (!sameDigest(digest.get(), expected, expectedLength)) {
            // The document may have been handed over in base64: the token then stamps what
            // the text decodes to. The text is decoded in place, so it is not tried again.
            bool matched = false;
            if (imprinted->decodePEM()) {
                imprinted->setReadPos(imprinted->getWritePos());
                if (cryptoDevice->setDigestAlgorithm(algorithm)) {
                    digest.reset(imprinted->digestInputMessage());
                    matched = sameDigest(digest.get(), expected, expectedLength);
                }
            }
            if (!matched) {
                errCode = kErrTokenInvalid;
                return 0;
            }
        }
    }
    if (text != nullptr) {
        std::unique_ptr<DigestInfo> digest;
        if (algorithm != nullptr && cryptoDevice->setDigestAlgorithm(algorithm)) {
            digest.reset(cryptoDevice->digest(reinterpret_cast<const unsigned char*>(text),
                                              static_cast<unsigned int>(strlen(text))));
        }
        if (!sameDigest(digest.get(), expected, expectedLength)) {
            errCode = kErrTokenInvalid;
            return 0;
        }
    }
    return 255;
}

unsigned char DocVerifier::verifyToken(Content* content, const SignerParts* signer,
                                       const char* text, unsigned char checkAge,
                                       SecureBuffer* imprinted) {
    if (imprinted == nullptr) imprinted = detachedBuffer.get();
    lastTimeStampTime.reset();
    if (log) log->print(7, 4684, "%s", Messages::getNotice(4684));

    // The token's certificates go into the CMS table; the envelope's own records are set aside
    // meanwhile, so that the signers after the one this token stamps still find theirs.
    std::unique_ptr<infoEntry[]> envelopeInfos(new infoEntry[records::kMaxInfos + 1]());
    for (int i = 0; i <= records::kMaxInfos; ++i) std::swap(envelopeInfos[i], cmsInfos[i]);
    auto* signedData = dynamic_cast<CMSSignedData*>(content);
    getCertificates(signedData);

    // Every failure ends here: the code stored and reported, and the envelope's table back.
    auto finish = [&](unsigned char ok) -> unsigned char {
        if (log) log->print(7, 4685, "%s", Messages::getNotice(4685));
        records::cleanInfos(cmsInfos);
        for (int i = 0; i <= records::kMaxInfos; ++i) std::swap(envelopeInfos[i], cmsInfos[i]);
        if (ok && errCode == NoError) {
            if (log) log->print(6, 4630, "%s", Messages::getNotice(4630));
            if (xmlOut != nullptr) xmlOut->insertTag("status", "OK");
            return 255;
        }
        return 0;
    };
    auto failWith = [&](unsigned long code) -> unsigned char {
        fail(code);
        return finish(0);
    };

    // Only the first signer of a token speaks for the authority.
    errCode = NoError;
    if (signedData == nullptr) return failWith(kErrNoToken);
    SignerInfoSet* signers = signedData->_getSignerInfos();
    if (signers == nullptr || signers->getCount() == 0) return failWith(kErrNotFound);
    SignerParts authority = signerPartsOf(signers->_getElement(0));
    int at = findSignerRecord(authority, cmsInfos);
    if (at < 0) return failWith(kErrNotFound);
    records::InfoCopy record;
    records::cloneInfo(&record.entry, cmsInfos[at]);
    const infoEntry& info = record.entry;
    if (log) {
        log->print(6, 4618, "Firmatario:\n%s", shortName(info.subject).c_str());
        log->print(6, 4619, "Issuer:\n%s", shortName(info.issuer).c_str());
    }
    describeSigner(info, false);

    // The content: a TSTInfo, in the draft form or the final one.
    EncapsulatedContentInfo* encap = signedData->_getEncapContentInfo();
    if (encap == nullptr || !encap->isEqual(TSTInfo::kContentType) ||
        encap->_getEContent() == nullptr) {
        return failWith(kErrNoToken);
    }
    std::unique_ptr<TSTInfo> tstInfo(
        TSTInfo::readAnyForm(encap->_getEContent(), encap->getEContentLen()));
    if (!tstInfo || tstInfo->_getMessageImprint() == nullptr || tstInfo->_getGenTime() == nullptr) {
        return failWith(kErrNoToken);
    }
    const MessageImprint* imprint = tstInfo->_getMessageImprint();
    std::string serial = ownedText(tstInfo->printSerialNumber(16));
    lastTimeStampTime.reset(tstInfo->_getGenTime()->clone());
    const X500Time* genTime = lastTimeStampTime.get();
    if (log) {
        char printed[X500Time::kPrintSize];
        log->print(6, 4627, "Seriale Marca Temporale: %s", serial.c_str());
        log->print(6, 4628, "Data Marca Temporale: %s", genTime->printLocalDateTime(printed));
    }
    if (xmlOut != nullptr) {
        xmlOut->insertTag("timeStampSerial", serial.c_str());
        xmlOut->insertTag("timeStampDate", ownedText(genTime->getValue()).c_str());
        xmlOut->insertTag("timeStampImprintAlgorithm",
                          ownedText(imprint->getHashAlgorithmName()).c_str());
        Buffer der;
        MessageImprint* m = const_cast<MessageImprint*>(imprint);
        der.enlarge(m->getWrapLength(&der));
        m->wrapASN1(&der);
        std::string b64 = ownedText(Base64::encode(der._getData(), der.getWritePos()));
        xmlOut->insertTag("timeStampImprint", b64.c_str());
    }

    // What the token stamps.
    if (!checkImprint(imprint, signer, text, imprinted)) return failWith(errCode);

    // The signed attributes, and the certificate they name when the switch asks for it.
    unsigned char* attrDigest = nullptr;
    unsigned int attrDigestLength = 0;
    ESSCertID* v1 = nullptr;
    ESSCertIDV2* v2 = nullptr;
    unsigned char read =
        readSignedAttributes(authority, &attrDigest, &attrDigestLength, &v1, &v2, true);
    std::unique_ptr<unsigned char[]> attrDigestOwner(attrDigest);
    std::unique_ptr<ESSCertID> v1Owner(v1);
    std::unique_ptr<ESSCertIDV2> v2Owner(v2);
    if (!read) return failWith(errCode);
    if (checkSigningCertificateAttr) {
        if (v1 == nullptr && v2 == nullptr) return failWith(kErrNoESS);
        if (v1 != nullptr && !checkESSCertID(v1, info)) return failWith(kErrESSv1);
        unsigned char ignored = 0;
        if (v2 != nullptr && !checkESSCertIDV2(v2, info, &ignored)) return failWith(kErrESSv2);
    }

    if (authority.digestAlgorithm == nullptr) return failWith(kErrNoDigest);
    std::string digestOID = ownedText(authority.digestAlgorithm->getAlgorithm());
    if (xmlOut != nullptr) xmlOut->insertTag("digestAlgorithm", digestOID.c_str());
    if (digestOID == kSHA1 && checkAugust2010) {
        const X500Time* notBefore =
            info.validity != nullptr ? info.validity->_getNotBefore() : nullptr;
        if ((notBefore != nullptr && notBefore->getClockValue() >= kTimeStampSHA1EndDate) ||
            genTime->getClockValue() >= kTimeStampSHA1EndDate) {
            return failWith(kErrAugust2010);
        }
    }

    // The authority's certificate, for time stamping (by the server in server mode).
    if (!checkCert(info, checkCRLTS, kTimeStampUsage, kTimeStampingPurpose)) {
        if (certVerifier || serverMode) errCode = getCertCode();
        if (errCode == NoError) errCode = 5126;
        return finish(0);
    }
    unsigned long certCode = getCertCode();
    std::unique_ptr<X500Time> revocationDate(getCertRevocationDate());
    std::unique_ptr<X500Time> expiredCertsOnCRL(getCertExpiredCertsOnCRL());

    // The authority's signature over the TSTInfo, through the signed attributes.
    if (cryptoDevice == nullptr ||
        !cryptoDevice->setDigestAlgorithm(
            const_cast<AlgorithmIdentifier*>(authority.digestAlgorithm))) {
        return failWith(kErrNoDigest);
    }
    std::unique_ptr<DigestInfo> digest(
        cryptoDevice->digest(encap->_getEContent(), encap->getEContentLen()));
    if (!digest) return failWith(kErrNoDigest);
    int signedPart = digestSignedAttributes(authority, attrDigest, attrDigestLength, &digest);
    if (signedPart < 0) return failWith(kErrNoDigest);
    if (signedPart == 0) return failWith(kErrTokenNotVerified);
    if (!checkSignature(digest.get(), authority, info.certificate))
        return failWith(kErrTokenNotVerified);

    if (xmlOut != nullptr) {
        errCode = certCode;
        if (!tokenVerdict(info, genTime, checkAge, certCode, revocationDate.get(),
                          expiredCertsOnCRL.get())) {
            return finish(0);
        }
    }
    return finish(255);
}
