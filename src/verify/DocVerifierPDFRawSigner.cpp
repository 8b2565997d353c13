// DocVerifier: adbe.x509.rsa_sha1, the oldest kind of PDF signature. There is no envelope: the
// dictionary carries the signer's certificate in /Cert and, in /Contents, an OCTET STRING with a
// PKCS#1 signature over the SHA-1 of the two signed ranges. There are no signed attributes, so
// no signing time but the dictionary's own /M and no time stamp: the signer is judged at the
// verification time, with the same rules as any other signer.
#include <memory>
#include <string>

#include "asn1/Buffer.h"
#include "asn1/X500Time.h"
#include "crypto/CryptoDevice.h"
#include "crypto/DigestInfo.h"
#include "crypto/Signature.h"
#include "frontend/Messages.h"
#include "net/Logger.h"
#include "pdf/PDFFile.h"
#include "pkix/Certificate.h"
#include "pkix/CertificateInfo.h"
#include "pkix/KeyInfo.h"
#include "pkix/Validity.h"
#include "trust/CertVerifier.h"
#include "verify/DocVerifier.h"
#include "xml/XMLFile.h"

namespace {

constexpr unsigned long kErrNoContent = 5193;
constexpr unsigned long kErrNoDigest = 5154;
constexpr unsigned char kSignerUsage = 0x40;  // nonRepudiation
const char kSHA1[] = "1.3.14.3.2.26";
const char kSHA1WithRSA[] = "1.2.840.113549.1.1.5";
const char kRSAEncryption[] = "1.2.840.113549.1.1.1";

}  // namespace

unsigned char DocVerifier::checkPDFSignature(DigestInfo* digest, Signature* signature,
                                             Certificate* certificate) {
    if (cryptoDevice == nullptr || digest == nullptr || signature == nullptr ||
        certificate == nullptr || certificate->_getCertInfo() == nullptr) {
        fail(kErrSignatureNotVerified);
        return 0;
    }
    std::unique_ptr<KeyInfo> key(certificate->_getCertInfo()->getSubjectPubKey());
    if (log) log->print(7, 4682, "%s", Messages::getNotice(4682));
    cryptoDevice->setSignAlgorithm(kSHA1WithRSA);
    bool ok = cryptoDevice->verify(signature, digest, key.get());
    if (!ok && digest->_getDigest() != nullptr) {
        // Some signers put the bare digest in the PKCS#1 block, without the DigestInfo around it.
        cryptoDevice->setCryptoAlgorithm(kRSAEncryption);
        ok = cryptoDevice->verify(signature, digest->_getDigest(), digest->getLength(), key.get());
    }
    if (ok) {
        if (log) log->print(6, 4621, "%s", Messages::getNotice(4621));
    } else {
        fail(kErrSignatureNotVerified);
    }
    if (log) log->print(7, 4683, "%s", Messages::getNotice(4683));
    return ok ? 255 : 0;
}

unsigned char DocVerifier::verifyPDFSigner(Certificate* certificate) {
    lastTimeStampTime.reset();
    if (!addCertRecord(certificate, 0)) {
        fail(kErrNotX509);
        return 0;
    }
    // The record is the table's first; it goes with this signature.
    struct TableCleaner {
        infoEntry* table;
        ~TableCleaner() { records::cleanInfos(table); }
    } cleaner{pkcs7Infos};
    const infoEntry& info = pkcs7Infos[0];

    if (xmlOut != nullptr) xmlOut->openTag("signer");
    auto close = [&] {
        if (xmlOut != nullptr) xmlOut->closeTag();
    };
    auto failWith = [&](unsigned long code) -> unsigned char {
        fail(code);
        close();
        return 0;
    };
    if (log) log->print(6, 4617, "Seriale: %s", info.serial != nullptr ? info.serial : "");
    describeSigner(info);
    std::unique_ptr<char[]> signingTime(pdfFile ? pdfFile->getSigningTime() : nullptr);
    if (signingTime && xmlOut != nullptr) xmlOut->insertTag("signingTime", signingTime.get());

    const unsigned char* first = pdfFile ? pdfFile->toDigest1() : nullptr;
    const unsigned char* second = pdfFile ? pdfFile->toDigest2() : nullptr;
    if (first != nullptr && second != nullptr && xmlOut != nullptr) {
        setAttribute("cadesCompliant", "false");
        xmlOut->insertTag("digestAlgorithm", kSHA1);
    }

    // The rules tied to dates: a SHA-1 signature, and one that is not CAdES.
    const X500Time* notBefore = info.validity != nullptr ? info.validity->_getNotBefore() : nullptr;
    const X500Time* notAfter = info.validity != nullptr ? info.validity->_getNotAfter() : nullptr;
    errCode = checkJuly2011(notBefore);
    if (errCode == 5223 || errCode == 5224) {
        addVerificationTime();
        return failWith(errCode);
    }
    errCode = checkConformance2011(notBefore);
    if (errCode == 5228) {
        addVerificationTime();
        return failWith(errCode);
    }
    errCode = NoError;

    if (!checkCert(info, checkCRLPKCS7, kSignerUsage, nullptr)) {
        close();
        return 0;
    }
    // From the local verifier or, in server mode, from the server's answer.
    unsigned long certCode = getCertCode();
    std::unique_ptr<X500Time> revocationDate(getCertRevocationDate());
    std::unique_ptr<X500Time> expiredCertsOnCRL(getCertExpiredCertsOnCRL());

    // The signature value: one OCTET STRING at the start of /Contents, whose padding follows.
    std::unique_ptr<Signature> signature;
    {
        Buffer view;
        view.useByteArray(pdfFile ? pdfFile->getContents() : nullptr,
                          pdfFile ? pdfFile->getContentsLen() : 0);
        unsigned char* value = nullptr;
        unsigned int length = 0;
        unsigned char read =
            pdfFile && pdfFile->getContents() != nullptr ? view.readASN1(&value, &length, 0x04) : 0;
        view.useByteArray(nullptr, 0);
        std::unique_ptr<unsigned char[]> owner(value);
        if (!read || value == nullptr || length == 0) return failWith(kErrSignatureNotVerified);
        signature = std::make_unique<Signature>(value, length);
    }

    if (first == nullptr || second == nullptr) return failWith(kErrNoContent);
    std::unique_ptr<DigestInfo> digest;
    if (cryptoDevice != nullptr && cryptoDevice->setDigestAlgorithm(kSHA1)) {
        digest.reset(records::digestPieces(cryptoDevice, first, pdfFile->toDigestLen1(), second,
                                           pdfFile->toDigestLen2()));
    }
    if (!digest) return failWith(kErrNoDigest);
    if (!checkPDFSignature(digest.get(), signature.get(), info.certificate)) {
        close();
        return 0;
    }
    signerVerdict(notBefore, notAfter, certCode, revocationDate.get(), expiredCertsOnCRL.get());
    close();
    return 255;
}
