// CertVerifier: the CA path. From a CA certificate of the table the walk climbs, issuer by
// issuer, to a self-signed root of the table; every issuer must stand in the table, whatever
// the document carries. Each certificate on the way must be allowed to sign certificates and
// be a CA within its path length. Its revocation and validity are looked at once the path
// above it stands, so the root comes first and the starting certificate last; a revoked or
// expired CA is recorded for the report, not a failure of the path.
#include <cstring>
#include <memory>

#include "asn1/OIDList.h"
#include "asn1/X500Time.h"
#include "crypto/BigInteger.h"
#include "net/Logger.h"
#include "net/SystemClock.h"
#include "pkix/AccessDescription.h"
#include "pkix/AuthorityKeyIdentifier.h"
#include "pkix/BasicConstraintsSyntax.h"
#include "pkix/Certificate.h"
#include "pkix/CertificateInfo.h"
#include "pkix/DistributionPoint.h"
#include "pkix/GeneralName.h"
#include "pkix/KeyInfo.h"
#include "pkix/Name.h"
#include "pkix/NameLabels.h"
#include "pkix/Validity.h"
#include "trust/CACache.h"
#include "trust/CertVerifier.h"
#include "trust/OCSPChecker.h"
#include "trust/TrustSteps.h"

using trust::Text;

namespace {

const char kOCSPMethod[] = "1.3.6.1.5.5.7.48.1";
constexpr unsigned char kKeyCertSign = 0x04;

// Authorities whose CA certificates are not checked against CRLs, by the words of their name.
const char* const kCRLExemptIssuers[] = {"TI Firma Digitale CA",
                                         "Camerafida Time Stamping Authority 2",
                                         "Camerafida Time Stamping Authority 3"};

}  // namespace

void CertVerifier::failPath(const char* issuerText, unsigned long code, const char* text) {
    errCode = code;
    if (log != nullptr) {
        log->print(5, 4675, "%s", issuerText);
        log->print(3, static_cast<unsigned int>(code), "%s", text);
    }
}

unsigned char CertVerifier::checkKeyUsages(const unsigned char* keyUsage, unsigned char required,
                                           const OIDList* extKeyUsage, const char* requiredOID) {
    if (required != 0 && (keyUsage == nullptr || (keyUsage[0] & required) != required)) {
        errCode = 5129;
        return 0;
    }
    if (requiredOID == nullptr) return 255;
    for (int i = 0; extKeyUsage != nullptr && i < extKeyUsage->getCount(); ++i) {
        if (extKeyUsage->isEqual(i, requiredOID)) return 255;
    }
    errCode = 5187;
    return 0;
}

KeyInfo* CertVerifier::checkCertPath(int row, int index, int depth) {
    int visited[kMaxPathDepth + 1][2];
    return checkCertPath(row, index, depth, visited);
}

// visited holds the (row, index) of each level above the first, so that a loop of CAs in the
// table ends as an invalid path instead of recursing without end.
KeyInfo* CertVerifier::checkCertPath(int row, int index, int depth, int visited[][2]) {
    if (log != nullptr) log->print(7, 4706, "Inizio controllo CA Path");
    std::unique_ptr<Certificate> certificate(cache->getCACert(row, index));
    const CertificateInfo* info = certificate != nullptr ? certificate->_getCertInfo() : nullptr;
    if (info == nullptr) {
        failPath("", 5130, "Certificato di CA non trovato");
        return nullptr;
    }
    Text issuerText(info->_getIssuer() != nullptr
                        ? info->_getIssuer()->getPrintableShortString(
                              kNameLabelOIDs, kNameShortLabels, kNameLabelCount)
                        : nullptr);
    const char* issuerShown = issuerText != nullptr ? issuerText.get() : "";
    int level = depth < 0 ? 0 : depth;
    if (level > kMaxPathDepth) {
        failPath(issuerShown, 5131, "Certificato di CA non valido");
        return nullptr;
    }
    for (int i = 0; i < level; ++i) {
        if (visited[i][0] == row && visited[i][1] == index) {
            failPath(issuerShown, 5131, "Certificato di CA non valido");
            return nullptr;
        }
    }
    visited[level][0] = row;
    visited[level][1] = index;

    std::unique_ptr<unsigned char[]> keyUsage(
        trust::keyUsageOf(trust::findExtension(certificate.get(), "2.5.29.15")));
    auto constraints = trust::decodeExtension<BasicConstraintsSyntax>(
        trust::findExtension(certificate.get(), "2.5.29.19"));
    auto aki = trust::decodeExtension<AuthorityKeyIdentifier>(
        trust::findExtension(certificate.get(), "2.5.29.35"));
    auto points = trust::decodeExtension<DistributionPointList>(
        trust::findExtension(certificate.get(), "2.5.29.31"));
    auto aia = trust::decodeExtension<AuthorityInfoAccessSyntax>(
        trust::findExtension(certificate.get(), "1.3.6.1.5.5.7.1.1"));

    if (keyUsage == nullptr || !(keyUsage[0] & kKeyCertSign)) {
        failPath(issuerShown, 5135, "Chiave della CA non abilitata alla firma");
        return nullptr;
    }
    if (constraints != nullptr &&
        (!constraints->getCA() || constraints->getPathLenConstraint() < level)) {
        failPath(issuerShown, 5131, "Certificato di CA non valido");
        return nullptr;
    }

    std::unique_ptr<KeyInfo> key;
    if (info->_getSubject() != nullptr && info->_getIssuer() != nullptr &&
        info->_getSubject()->isEqual(info->_getIssuer())) {
        key.reset(info->getSubjectPubKey());
        if (!checkSignature(certificate.get(), key.get())) {
            failPath(issuerShown, 5132, "Certificato di CA non verificato");
            return nullptr;
        }
    } else {
        int upRow = cache->getCACerts(info->_getIssuer());
        int upIndex = upRow >= 0 ? cache->getCAIndex(certificate.get(), upRow, aki.get()) : -1;
        if (upRow < 0 || upIndex < 0) {
            failPath(issuerShown, 5130, "Certificato di CA non trovato");
            return nullptr;
        }
        std::unique_ptr<KeyInfo> upKey(checkCertPath(upRow, upIndex, level + 1, visited));
        if (upKey == nullptr) return nullptr;
        clearTimes();
        if (!checkSignature(certificate.get(), upKey.get())) {
            failPath(issuerShown, 5132, "Certificato di CA non verificato");
            return nullptr;
        }
        key.reset(info->getSubjectPubKey());
    }

    if (checkCACRL &&
        !checkCARevocation(certificate.get(), row, issuerShown, points.get(), aia.get())) {
        return nullptr;
    }

    if (checkCertificateValidity && info->_getValidity() != nullptr) {
        std::unique_ptr<X500Time> now(SystemClock::getUTCTime());
        const X500Time* from = info->_getValidity()->_getNotBefore();
        const X500Time* to = info->_getValidity()->_getNotAfter();
        if ((from != nullptr && *now < *from) || (to != nullptr && *now > *to)) {
            if (log != nullptr) {
                log->print(5, 4675, "%s", issuerShown);
                log->print(3, 5133, "Certificato di CA scaduto");
            }
            delete notAfter;
            notAfter = to != nullptr ? to->clone() : nullptr;
        }
    }
    if (log != nullptr) log->print(7, 4707, "Fine controllo CA Path");
    return key.release();
}

// OCSP first when asked (the CA certificate stands in the place of its own issuer, as the
// question about a CA is put), then the CRLs of its distribution points. A revocation is
// logged and left for the caller to read; only a CRL that could not be had fails the path.
bool CertVerifier::checkCARevocation(const Certificate* certificate, int row,
                                     const char* issuerText, const DistributionPointList* points,
                                     const AuthorityInfoAccessSyntax* aia) {
    bool exempt = false;
    for (const char* name : kCRLExemptIssuers)
        exempt = exempt || strstr(issuerText, name) != nullptr;
    if (exempt && points != nullptr) {
        points = nullptr;
        if (log != nullptr) log->print(5, 4722, "Controllo CRL CA saltato");
    }
    const CertificateInfo* info = certificate->_getCertInfo();
    bool settled = false;
    if (useOCSP && aia != nullptr) {
        source = 2;
        for (int i = 0; i < aia->getCount() && !settled; ++i) {
            const AccessDescription* d = aia->_getElement(i);
            if (d->_getAccessMethod() == nullptr || !d->_getAccessMethod()->isEqual(kOCSPMethod)) {
                continue;
            }
            Text uri(CACache::getURI(d->_getAccessLocation()));
            if (uri == nullptr) continue;
            if (ocspChecker->check(uri.get(), certificate, info->getSerial())) {
                if (log != nullptr) {
                    log->print(5, 4675, "%s", issuerText);
                    log->print(7, 5134, "Certificato di CA revocato");
                }
                thisUpdate[0] = ocspChecker->getThisUpdate();
                nextUpdate[0] = ocspChecker->getNextUpdate();
                settled = true;
            } else if (ocspChecker->getErrCode() == OCSPChecker::kNoError) {
                settled = true;
            } else {
                errCode = ocspChecker->getErrCode();
            }
        }
    }
    if (settled || points == nullptr) return true;

    source = 1;
    errCode = kNoError;
    Text serial(info->printSerial(16));
    unsigned int reasons = 0;
    int stored = 0;
    for (int i = 0; i < points->getCount(); ++i) {
        const DistributionPoint* point = points->_getElement(i);
        unsigned int pointReasons = point->getReasons();
        if (cache->searchCRL(point->_getDistributionPoint(), row, serial.get())) {
            if (log != nullptr) {
                log->print(5, 4675, "%s", issuerText);
                log->print(7, 5134, "Certificato di CA revocato");
            }
            if (stored < kTimes) recordCRLTimes(stored);
            break;
        }
        if (i < kTimes && stored < kTimes) recordCRLTimes(stored++);
        if (cache->getErrCode() != CACache::kNoError) {
            errCode = cache->getErrCode();
        } else {
            reasons |= pointReasons;
        }
        if (reasons == 0xFFFFFFFFu) break;
    }
    return errCode == kNoError || reasons == 0xFFFFFFFFu;
}
