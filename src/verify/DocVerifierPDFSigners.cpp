// DocVerifier: the signers of a PDF signature that carries a PKCS#7 or CMS SignedData. What the
// signers signed is not in the envelope: it is the file's bytes in the two signed ranges, so the
// digest table is filled from them, and the signers then take the checks of any envelope.
#include <memory>

#include "asn1/X500Time.h"
#include "crypto/CryptoDevice.h"
#include "crypto/DigestInfo.h"
#include "frontend/Messages.h"
#include "net/Logger.h"
#include "pdf/PDFFile.h"
#include "pkix/ContentInfo.h"
#include "pkix/SignedData.h"
#include "verify/DocVerifier.h"

namespace {

constexpr unsigned long kErrNoContent = 5193;
constexpr unsigned long kErrNoDigest = 5154;
const char kSHA1[] = "1.3.14.3.2.26";

}  // namespace

unsigned char DocVerifier::calculatePDFDigests(SignedData* signedData, unsigned char* cadesFlag) {
    records::cleanDigests(digestTable);
    if (log) log->print(7, 4690, "%s", Messages::getNotice(4690));
    const unsigned char* first = pdfFile ? pdfFile->toDigest1() : nullptr;
    const unsigned char* second = pdfFile ? pdfFile->toDigest2() : nullptr;
    if (first == nullptr || second == nullptr) {
        fail(kErrNoContent);
        return 0;
    }
    unsigned int firstLength = pdfFile->toDigestLen1();
    unsigned int secondLength = pdfFile->toDigestLen2();
    if (pdfFile->isSubFilter("adbe.pkcs7.sha1")) {
        // The signer signed the SHA-1 of the ranges as its content. The copy of it that the
        // envelope embeds is not trusted: the digest computed here is what the signer's
        // digests are checked against.
        if (cadesFlag != nullptr) *cadesFlag = 0;
        std::unique_ptr<DigestInfo> sha1;
        if (cryptoDevice != nullptr && cryptoDevice->setDigestAlgorithm(kSHA1)) {
            sha1.reset(
                records::digestPieces(cryptoDevice, first, firstLength, second, secondLength));
        }
        if (!sha1) {
            fail(kErrNoDigest);
            return 0;
        }
        return calculateDigests(signedData, sha1->_getDigest(), sha1->getLength());
    }
    records::calculateDigests(digestTable, cryptoDevice,
                              signedData != nullptr ? signedData->_getDigestAlgorithms() : nullptr,
                              first, firstLength, second, secondLength);
    if (log) log->print(7, 4691, "%s", Messages::getNotice(4691));
    return 255;
}

unsigned char DocVerifier::calculatePDFDigests(SignedData* signedData) {
    unsigned char cadesFlag = 255;
    return calculatePDFDigests(signedData, &cadesFlag);
}

unsigned char DocVerifier::verifyPDFSigner(ContentInfo* contentInfo) {
    lastTimeStampTime.reset();
    auto* signedData = contentInfo != nullptr && contentInfo->isEqual(ContentInfo::kSignedData)
                           ? dynamic_cast<PKCS7SignedData*>(contentInfo->_getContent())
                           : nullptr;
    if (signedData == nullptr || signedData->getVersion() != 1) {
        fail(kErrNotSignedData);
        return 0;
    }
    unsigned char cadesFlag = 255;
    // A digest table left from the signature before must never stand for this one.
    records::cleanDigests(digestTable);
    ContentInfo* inner = signedData->_getContentInfo();
    if (inner != nullptr && inner->isEqual(ContentInfo::kData)) {
        if (!calculatePDFDigests(signedData, &cadesFlag)) return 0;
    }
    return verifyPKCS7Signers(signedData, cadesFlag);
}

unsigned char DocVerifier::verifyPADESSigner(ContentInfo* contentInfo) {
    lastTimeStampTime.reset();
    if (contentInfo == nullptr || !contentInfo->isEqual(ContentInfo::kSignedData)) {
        fail(kErrNotSignedData);
        return 0;
    }
    Content* body = contentInfo->_getContent();
    if (auto* cms = dynamic_cast<CMSSignedData*>(body)) {
        if (!calculatePDFDigests(cms)) return 0;
        return verifyCMSSigners(cms);
    }
    // Version 1 is a PKCS#7 SignedData, judged as one.
    return verifyPDFSigner(contentInfo);
}
