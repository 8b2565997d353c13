// DocVerifier: the envelope unpacked into its records before the signers are looked at.
#include <memory>

#include "crypto/AlgorithmIdentifier.h"
#include "frontend/Messages.h"
#include "net/Logger.h"
#include "pkix/Certificate.h"
#include "pkix/CertificateChoices.h"
#include "pkix/SignedData.h"
#include "verify/DocVerifier.h"

namespace {

constexpr unsigned long kErrNoContent = 5193;
constexpr unsigned int kLogCertificateNotBER = 5222;

}  // namespace

unsigned char DocVerifier::calculateDigests(SignedData* signedData, const unsigned char* data,
                                            unsigned int length) {
    records::cleanDigests(digestTable);
    if (log) log->print(7, 4690, "%s", Messages::getNotice(4690));
    if (data == nullptr) {
        fail(kErrNoContent);
        return 0;
    }
    records::calculateDigests(digestTable, cryptoDevice,
                              signedData != nullptr ? signedData->_getDigestAlgorithms() : nullptr,
                              data, length);
    if (log) log->print(7, 4691, "%s", Messages::getNotice(4691));
    return 255;
}

int DocVerifier::getDataDigest(const AlgorithmIdentifier* algorithm) const {
    return records::getDataDigest(digestTable, algorithm);
}

unsigned char DocVerifier::addCertRecord(const Certificate* certificate, int index) {
    if (certificate == nullptr || index < 0 || index >= records::kMaxInfos) return 0;
    records::cleanInfo(&pkcs7Infos[index]);
    if (!records::fillInfo(&pkcs7Infos[index], certificate, false, &viewBuffer) && log) {
        log->print(4, kLogCertificateNotBER, "%s", Messages::getText(kLogCertificateNotBER));
    }
    return 255;
}

// Each certificate goes to the record of its own position, so a choice that is not a plain
// certificate leaves an empty record, which ends the lookups there.
void DocVerifier::getCertificates(PKCS7SignedData* signedData) {
    records::cleanInfos(pkcs7Infos);
    const ExtCertificatesAndCertificates* set =
        signedData != nullptr ? signedData->_getCertificates() : nullptr;
    for (int i = 0; set != nullptr && i < set->getCount() && i < records::kMaxInfos; ++i) {
        const Certificate* certificate = set->_getElement(i)->_getCertificate();
        if (certificate != nullptr) addCertRecord(certificate, i);
    }
}

void DocVerifier::getCertificates(CMSSignedData* signedData) {
    records::cleanInfos(cmsInfos);
    const CertificateSet* set = signedData != nullptr ? signedData->_getCertificates() : nullptr;
    for (int i = 0; set != nullptr && i < set->getCount() && i < records::kMaxInfos; ++i) {
        const Certificate* certificate = set->_getElement(i)->_getCertificate();
        if (certificate == nullptr) continue;
        records::cleanInfo(&cmsInfos[i]);
        if (!records::fillInfo(&cmsInfos[i], certificate, true, &viewBuffer) && log) {
            log->print(4, kLogCertificateNotBER, "%s", Messages::getText(kLogCertificateNotBER));
        }
    }
}
