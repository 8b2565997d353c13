#include "trust/OCSPChecker.h"

#include <memory>

#include "asn1/Buffer.h"
#include "asn1/OIDList.h"
#include "asn1/X500Time.h"
#include "net/HTTP.h"
#include "net/HTTPS.h"
#include "net/Logger.h"
#include "net/Semaphore.h"
#include "net/SystemClock.h"
#include "pkix/BasicOCSPResponse.h"
#include "pkix/Certificate.h"
#include "pkix/CertificateInfo.h"
#include "pkix/CopySteps.h"
#include "pkix/CrlID.h"
#include "pkix/Extension.h"
#include "pkix/KeyInfo.h"
#include "pkix/OCSPCertID.h"
#include "pkix/OCSPCertStatus.h"
#include "pkix/OCSPRequest.h"
#include "pkix/OCSPResponse.h"
#include "pkix/Request.h"
#include "pkix/ResponseBytes.h"
#include "pkix/ResponseData.h"
#include "pkix/RevokedInfo.h"
#include "pkix/SingleResponse.h"
#include "pkix/TBSRequest.h"
#include "trust/TrustSteps.h"

namespace {

constexpr char kRequestType[] = "application/ocsp-request";
constexpr char kKeyUsage[] = "2.5.29.15";
constexpr char kExtKeyUsage[] = "2.5.29.37";
constexpr char kOCSPSigning[] = "1.3.6.1.5.5.7.3.9";
constexpr char kInvalidityDate[] = "2.5.29.24";
constexpr unsigned char kKeyCertSign = 0x04;
constexpr char kTimeFormat[] = "%b %d %H:%M:%S %Y GMT";

// The signing lock of the device, held for one digest or signature operation.
class DeviceLock {
public:
    explicit DeviceLock(Semaphore* s) : semaphore(s) {
        if (semaphore != nullptr) semaphore->wait();
    }
    ~DeviceLock() {
        if (semaphore != nullptr) semaphore->post();
    }
    DeviceLock(const DeviceLock&) = delete;
    DeviceLock& operator=(const DeviceLock&) = delete;

private:
    Semaphore* semaphore;
};

// The extension's value read by T's reader, from a list that may be null.
template <class T>
std::unique_ptr<T> extensionValue(const ExtensionList* list, const char* oid) {
    return trust::decodeExtension<T>(trust::findExtension(list, oid));
}

}  // namespace

int OCSPChecker::tcpTimeout = OCSPChecker::kDefaultTimeout;

OCSPChecker::OCSPChecker(CryptoDevice* device, Semaphore* deviceSemaphore)
    : log(nullptr),
      cryptoDevice(device),
      semaphore(deviceSemaphore),
      errCode(kNoError),
      detailCode(kNoError),
      detailValue(0),
      reason(0),
      thisUpdate(nullptr),
      nextUpdate(nullptr),
      producedAt(nullptr),
      revocationDate(nullptr),
      invalidSince(nullptr),
      crlID(nullptr) {}

OCSPChecker::OCSPChecker(CryptoDevice* device) : OCSPChecker(device, nullptr) {}

OCSPChecker::~OCSPChecker() {
    resetReport();
    delete log;
}

void OCSPChecker::enableLog(unsigned char level) {
    if (log == nullptr) log = new Logger(level);
    log->enableLog(static_cast<char>(level));
}

void OCSPChecker::disableLog() {
    delete log;
    log = nullptr;
}

void OCSPChecker::resetReport() {
    errCode = kNoError;
    detailCode = kNoError;
    detailValue = 0;
    reason = 0;
    delete thisUpdate;
    delete nextUpdate;
    delete producedAt;
    delete revocationDate;
    delete invalidSince;
    delete crlID;
    thisUpdate = nextUpdate = producedAt = revocationDate = invalidSince = nullptr;
    crlID = nullptr;
}

bool OCSPChecker::fail(unsigned long detail, int value, const char* text) {
    errCode = kErrNoAnswer;
    detailCode = detail;
    detailValue = value;
    if (log != nullptr) {
        log->print(7, static_cast<unsigned int>(detail), text, value);
        log->print(3, static_cast<unsigned int>(kErrNoAnswer), "%s",
                   "Impossibile accedere allo stato OCSP");
    }
    return false;
}

void OCSPChecker::logTime(int level, unsigned int code, const char* format, const X500Time* time) {
    if (log == nullptr || time == nullptr) return;
    std::unique_ptr<char[]> text(time->printGMFormatted(kTimeFormat));
    log->print(level, code, format, text != nullptr ? text.get() : "");
}

bool OCSPChecker::encodeRequest(const OCSPCertID* id, Buffer* out) {
    Request request(id);
    RequestList list;
    list.addRequest(&request);
    TBSRequest tbs;
    tbs.setRequestList(&list);
    OCSPRequest message;
    message.setTBSRequest(&tbs);
    out->rewind();
    out->enlarge(message.getWrapLength(out));
    message.wrapASN1(out);
    return out->getWritePos() > 0;
}

// The entry that answers for the certificate asked about. A responder may put answers for
// other certificates in the same response (or answer for another one altogether); only the
// entry with the same CertID speaks for this certificate.
const SingleResponse* OCSPChecker::answerFor(const BasicOCSPResponse* response,
                                             const OCSPCertID* id) {
    const ResponseData* data = response->_getTbsResponseData();
    const SingleResponseList* list = data != nullptr ? data->_getResponses() : nullptr;
    if (list == nullptr) return nullptr;
    for (int i = 0; i < list->getCount(); ++i) {
        const SingleResponse* entry = list->_getElement(i);
        if (entry != nullptr && id->isEqual(entry->_getCertID())) return entry;
    }
    return nullptr;
}

bool OCSPChecker::check(const char* uri, const Certificate* issuer, const BigInteger& serial) {
    resetReport();
    std::unique_ptr<OCSPCertID> id;
    {
        DeviceLock lock(semaphore);
        id.reset(OCSPCertID::forIssuer(cryptoDevice, issuer, serial));
    }
    Buffer request;
    if (id == nullptr || !encodeRequest(id.get(), &request)) {
        return fail(kErrFormat, 0, "Servizio OCSP: risposta con formato non valido");
    }
    if (log != nullptr) {
        log->print(7, 4692, "%s", "Inizio accesso OCSP");
        log->print(5, 4614, "OCSP uri %s", uri != nullptr ? uri : "");
    }

    // The request, by the scheme of the address. HTTPS has no TLS underneath and answers every
    // post with "no connection"; other schemes have no way to post at all.
    HTTP::URLParts parts;
    if (uri == nullptr || !parts.parse(uri))
        return fail(kErrHTTP, 0, "Servizio OCSP: errore HTTP [%d]");
    Buffer reply;
    int status = 0;
    if (parts.scheme == HTTP::kSchemeHTTP) {
        int previous = HTTP::getTimeout();
        HTTP::setTimeout(tcpTimeout);
        status =
            HTTP::postDER(uri, kRequestType, request._getData(), request.getWritePos(), &reply);
        HTTP::setTimeout(previous);
    } else if (parts.scheme == HTTP::kSchemeHTTPS) {
        HTTPS::setTimeout(tcpTimeout);
        status =
            HTTPS::postDER(uri, kRequestType, request._getData(), request.getWritePos(), &reply);
    }
    if (status != 200) return fail(kErrHTTP, status, "Servizio OCSP: errore HTTP [%d]");

    OCSPResponse response;
    reply.setReadPos(0);
    if (!response.unwrapASN1(&reply)) {
        return fail(kErrFormat, 0, "Servizio OCSP: risposta con formato non valido");
    }
    unsigned char responseStatus = response.getResponseStatus();
    if (responseStatus != OCSPResponse::kSuccessful) {
        return fail(kErrStatus, responseStatus, "Servizio OCSP: errore OCSP [%d]");
    }
    // Nothing but a basic response answers; a successful status without one says nothing.
    const ResponseBytes* bytes = response._getResponseBytes();
    std::unique_ptr<BasicOCSPResponse> basic(bytes != nullptr ? bytes->getBasicResponse()
                                                              : nullptr);
    if (basic == nullptr) {
        return fail(kErrFormat, 0, "Servizio OCSP: risposta con formato non valido");
    }
    if (!verifyResponse(basic.get(), issuer)) {
        return fail(kErrSignature, 0, "Servizio OCSP: firma sulla risposta non verificata");
    }
    const SingleResponse* answer = answerFor(basic.get(), id.get());
    if (answer == nullptr || answer->_getCertStatus() == nullptr) {
        return fail(kErrUnknown, 0, "Servizio OCSP: certificato non riconosciuto");
    }

    producedAt = pkix::cloneOf(basic->_getTbsResponseData()->_getProducedAt());
    thisUpdate = answer->getThisUpdate();
    nextUpdate = answer->getNextUpdate();
    logTime(6, 4615, "Data risposta OCSP: %s", producedAt);
    logTime(6, 4629, "Data allineamento OCSP: %s", thisUpdate);
    if (nextUpdate != nullptr) {
        std::unique_ptr<X500Time> now(SystemClock::getUTCTime());
        if (now != nullptr && *now > *nextUpdate) {
            errCode = kErrStale;
            if (log != nullptr) {
                std::unique_ptr<char[]> text(nextUpdate->printGMFormatted(kTimeFormat));
                log->print(6, static_cast<unsigned int>(kErrStale), "%s [%s]",
                           "Servizio OCSP: dati scaduti", text != nullptr ? text.get() : "");
            }
        }
    }

    switch (answer->_getCertStatus()->getTag()) {
        case OCSPCertStatus::kGood:
            if (log != nullptr) {
                log->print(7, 4693, "%s", "Fine accesso OCSP: certificato non revocato");
            }
            return false;
        case OCSPCertStatus::kRevoked:
            keepRevocation(answer);
            if (log != nullptr) {
                log->print(7, 4694, "%s", "Fine accesso OCSP: certificato revocato");
            }
            return true;
        case OCSPCertStatus::kUnknown:
            return fail(kErrUnknown, 0, "Servizio OCSP: certificato non riconosciuto");
        default:
            // A status this reader does not know is no answer, and certainly not a good one.
            return fail(kErrFormat, 0, "Servizio OCSP: risposta con formato non valido");
    }
}

void OCSPChecker::keepRevocation(const SingleResponse* answer) {
    const RevokedInfo* info = answer->_getCertStatus()->_getRevokedInfo();
    if (info != nullptr) {
        revocationDate = info->getRevocationTime();
        reason = info->getReason();
    }
    const ExtensionList* extensions = answer->_getSingleExtensions();
    if (auto date = extensionValue<X500Time>(extensions, kInvalidityDate)) {
        invalidSince = date.release();
    }
    if (auto id = extensionValue<CrlID>(extensions, CrlID::kExtensionOID)) crlID = id.release();
    if (reason == RevokedInfo::kCertificateHold) {
        if (log != nullptr) log->print(6, 5162, "%s", "Data sospensione:");
    } else {
        logTime(6, 5140, "Data revoca: %s", revocationDate);
    }
}

bool OCSPChecker::verifyWithKey(BasicOCSPResponse* response, const Certificate* keyHolder) {
    const CertificateInfo* info = keyHolder != nullptr ? keyHolder->_getCertInfo() : nullptr;
    if (info == nullptr || info->_getSubjectPubKey() == nullptr) return false;
    std::unique_ptr<KeyInfo> key(info->getSubjectPubKey());
    DeviceLock lock(semaphore);
    return response->checkSignature(cryptoDevice, key.get()) == 255;
}

bool OCSPChecker::verifyResponse(BasicOCSPResponse* response, const Certificate* issuer) {
    if (log != nullptr) log->print(7, 4620, "%s", "Inizio verifica risposta OCSP");
    if (response == nullptr || issuer == nullptr) return false;
    const CertList* certs = response->_getCerts();
    bool accepted;
    if (certs == nullptr || certs->getCount() == 0) {
        accepted = verifyWithKey(response, issuer);
    } else {
        const Certificate* responder = certs->_getElement(0);
        const CertificateInfo* info = responder != nullptr ? responder->_getCertInfo() : nullptr;
        const ExtensionList* extensions = info != nullptr ? info->_getExtensions() : nullptr;
        std::unique_ptr<unsigned char[]> keyUsage(
            trust::keyUsageOf(trust::findExtension(extensions, kKeyUsage)));
        if (keyUsage == nullptr) return false;
        if (keyUsage[0] & kKeyCertSign) {
            // A CA certificate in the response proves nothing by itself: only the issuer's own
            // key may have signed.
            accepted = verifyWithKey(response, issuer);
        } else {
            // A delegated responder: issued by the same CA, for OCSP signing.
            auto usages = extensionValue<OIDList>(extensions, kExtKeyUsage);
            bool forOCSP = false;
            for (int i = 0; usages != nullptr && i < usages->getCount() && !forOCSP; ++i) {
                forOCSP = usages->isEqual(i, kOCSPSigning) != 0;
            }
            accepted = false;
            if (forOCSP) {
                std::unique_ptr<KeyInfo> issuerKey(issuer->_getCertInfo() != nullptr
                                                       ? issuer->_getCertInfo()->getSubjectPubKey()
                                                       : nullptr);
                bool issued = false;
                if (issuerKey != nullptr) {
                    DeviceLock lock(semaphore);
                    issued = const_cast<Certificate*>(responder)->checkSignature(
                                 cryptoDevice, issuerKey.get()) == 255;
                }
                accepted = issued && verifyWithKey(response, responder);
            }
        }
    }
    if (log != nullptr) log->print(7, 4623, "%s", "Fine verifica risposta OCSP");
    return accepted;
}

X500Time* OCSPChecker::getThisUpdate() const {
    return pkix::cloneOf(thisUpdate);
}
X500Time* OCSPChecker::getNextUpdate() const {
    return pkix::cloneOf(nextUpdate);
}
X500Time* OCSPChecker::getProducedAt() const {
    return pkix::cloneOf(producedAt);
}
X500Time* OCSPChecker::getRevocationDate() const {
    return pkix::cloneOf(revocationDate);
}
X500Time* OCSPChecker::getInvalidSince() const {
    return pkix::cloneOf(invalidSince);
}
CrlID* OCSPChecker::getCrlID() const {
    return pkix::cloneOf(crlID);
}
