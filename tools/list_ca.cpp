// sigilo --list-ca: the trusted CAs as a person reads them, one certificate a line:
//   subject | serial (hexadecimal) | valid from - to (UTC) | subject key identifier (or "-")
#include "tools/list_ca.h"

#include <cctype>
#include <memory>
#include <string>

#include "asn1/Buffer.h"
#include "asn1/X500Time.h"
#include "frontend/Globals.h"
#include "pkix/Certificate.h"
#include "pkix/CertificateInfo.h"
#include "pkix/Extension.h"
#include "pkix/Name.h"
#include "pkix/NameLabels.h"
#include "pkix/ReadSteps.h"
#include "pkix/Validity.h"
#include "trust/CACache.h"
#include "trust/TrustSteps.h"
#include "verify/TrustStore.h"

namespace {

std::string owned(char* text) {
    std::string s = text != nullptr ? text : "-";
    delete[] text;
    return s;
}

std::string dateOf(const X500Time* time) {
    if (time == nullptr) return "-";
    char printed[X500Time::kPrintSize];
    const char* text = time->printGMFormatted(printed, sizeof printed, "%Y-%m-%d %H:%M:%S");
    return text != nullptr ? text : "-";
}

// The key identifier inside its OCTET STRING, in hexadecimal.
std::string keyIdOf(const Certificate* certificate) {
    const Extension* extension = trust::findExtension(certificate, "2.5.29.14");
    if (extension == nullptr || extension->_getExtnValue() == nullptr) return "-";
    Buffer view;
    view.fromByteArray(extension->_getExtnValue(), extension->getVlen());
    unsigned char* id = nullptr;
    unsigned int length = 0;
    if (!view.readASN1(&id, &length, static_cast<unsigned char>(0x04))) return "-";
    std::string out = pkix::hexOf(id, length);
    delete[] id;
    for (char& c : out) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    return out;
}

}  // namespace

int listTrustedCAs(FILE* out) {
    CACache* cache = sigilo::cache != nullptr ? sigilo::cache->_getCACache() : nullptr;
    if (cache == nullptr) return 0;
    int count = 0;
    for (int row = 0; row < CACache::getCACertListMax(); ++row) {
        for (int index = 0; index < CACache::getRowCertCount(row); ++index) {
            std::unique_ptr<Certificate> certificate(cache->getCACert(row, index));
            const CertificateInfo* info =
                certificate != nullptr ? certificate->_getCertInfo() : nullptr;
            if (info == nullptr) continue;
            const Validity* validity = info->_getValidity();
            std::string subject = info->_getSubject() != nullptr
                                      ? owned(info->_getSubject()->getPrintableShortString(
                                            kNameLabelOIDs, kNameShortLabels, kNameLabelCount))
                                      : "-";
            fprintf(out, "%s | %s | %s - %s | %s\n", subject.c_str(),
                    owned(info->printSerial(16)).c_str(),
                    dateOf(validity != nullptr ? validity->_getNotBefore() : nullptr).c_str(),
                    dateOf(validity != nullptr ? validity->_getNotAfter() : nullptr).c_str(),
                    keyIdOf(certificate.get()).c_str());
            ++count;
        }
    }
    return count;
}
