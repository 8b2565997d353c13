#include "tools/server/RequestHandler.h"

#include <cstdio>
#include <memory>
#include <string>

#include "asn1/Base64.h"
#include "asn1/Buffer.h"
#include "asn1/X500Time.h"
#include "net/SystemClock.h"
#include "net/Transport.h"
#include "pkix/Certificate.h"
#include "trust/CACache.h"
#include "trust/CertVerifier.h"
#include "trust/ServerRequest.h"
#include "xml/XMLFile.h"

namespace {

constexpr unsigned long kNoError = CertVerifier::kNoError;
// A certificate that does not decode.
constexpr unsigned long kErrBadCertificate = 5185;
// A check that failed without saying why.
constexpr unsigned long kErrNotVerified = 5126;
constexpr unsigned char kSignerUsage = 0x40;
constexpr unsigned char kTimeStampUsage = 0x80;
constexpr char kTimeStampingPurpose[] = "1.3.6.1.5.5.7.3.8";

std::string textOf(const X500Time* t) {
    if (t == nullptr) return "";
    std::unique_ptr<char[]> text(t->getValue());
    return text ? text.get() : "";
}

// OCSP times and the expired-certificates date travel as generalized time, whatever form they
// were read in.
std::string generalizedOf(const X500Time* t) {
    if (t == nullptr) return "";
    if (t->getFormat() != X500Time::kGeneralizedTime && t->getClockValue() != -1) {
        X500Time g;
        g.setGeneralizedValue(t->getClockValue());
        return textOf(&g);
    }
    return textOf(t);
}

void addTime(XMLFile* reply, const char* element, const X500Time* t, bool generalized) {
    if (t == nullptr) return;
    reply->insertTag(element, (generalized ? generalizedOf(t) : textOf(t)).c_str());
}

void insertCode(XMLFile* reply, unsigned long code) {
    char hex[16];
    snprintf(hex, sizeof hex, "%lX", code == kNoError ? 0ul : code);
    reply->insertTag("errorCode", hex);
}

}  // namespace

RequestHandler::RequestHandler(CryptoDevice* device, Semaphore* deviceLock,
                               const ServerSettings* serverSettings)
    : settings(serverSettings),
      cache(new CACache(device, deviceLock)),
      verifier(new CertVerifier(device, deviceLock, cache.get())) {}

RequestHandler::~RequestHandler() = default;

RequestHandler::Outcome RequestHandler::serve(Transport* transport) {
    Outcome outcome;
    Buffer requestBuffer;
    XMLFile message(&requestBuffer);
    if (!message.fromNetwork(transport, nullptr, settings->maxRequest)) {
        outcome.note = "richiesta non leggibile";
        return outcome;
    }
    ServerRequest request;
    if (!request.read(&message)) {
        outcome.note = "richiesta non valida";
        return outcome;
    }
    Buffer replyBuffer;
    XMLFile reply(&replyBuffer);
    outcome = answer(request, &reply);
    if (!reply.toNetwork(transport)) {
        outcome.note = "risposta non inviata";
        outcome.code = -1;
    }
    return outcome;
}

RequestHandler::Outcome RequestHandler::answer(const ServerRequest& request, XMLFile* reply) {
    Outcome outcome;
    outcome.opCode = request.getOpCode();
    reply->openTag("sigiloResponse");
    if (request.getOpCode() == ServerRequest::kStatus) {
        reply->setTagAttribute("release", settings->release.c_str());
        reply->setTagAttribute("downloadCRL", static_cast<unsigned int>(
                                                  settings->checkCRL ? settings->downloadCRL : 5));
        outcome.code = 0;
    } else {
        judge(request, reply, &outcome);
    }
    reply->closeTag();
    return outcome;
}

void RequestHandler::judge(const ServerRequest& request, XMLFile* reply, Outcome* outcome) {
    auto refuse = [&](unsigned long code, const char* note) {
        insertCode(reply, code);
        outcome->code = static_cast<long>(code);
        outcome->note = note;
    };
    unsigned int length = 0;
    const std::string& text = request.getCertificate();
    std::unique_ptr<unsigned char[]> der(
        Base64::decode(text.c_str(), static_cast<unsigned int>(text.size()), &length));
    if (!der || length == 0) return refuse(kErrBadCertificate, "certificato non in base64");
    Buffer bytes;
    bytes.fromByteArray(der.get(), length);
    Certificate certificate;
    if (!certificate.unwrapASN1(&bytes))
        return refuse(kErrBadCertificate, "certificato illeggibile");

    bool timeStamp = request.getOpCode() == ServerRequest::kTimeStampCert;
    verifier->setCheckCRL(settings->checkCRL && request.getCheckCRL() ? 255 : 0);
    verifier->setCheckCACRL(settings->checkCRL && request.getCheckCACRL() ? 255 : 0);
    verifier->setUseOCSP(request.getUseOCSP());
    verifier->setCheckCertificateValidity(request.getCheckCertificateValidity());
    unsigned char verified =
        timeStamp ? verifier->verify(&certificate, kTimeStampUsage, kTimeStampingPurpose)
                  : verifier->verify(&certificate, kSignerUsage);
    unsigned long code = verifier->getErrCode();
    if (!verified) return refuse(code == kNoError ? kErrNotVerified : code, "rifiutato");

    insertCode(reply, code);
    outcome->code = code == kNoError ? 0 : static_cast<long>(code);
    // Where the state came from, as the stand-alone engine writes it in its report; whether a
    // CRL past its next update is an error is the client's choice.
    bool ocsp = verifier->getSource() == 2;
    std::unique_ptr<X500Time> thisUpdate(verifier->getThisUpdate());
    addTime(reply, ocsp ? "ocspThisUpdate" : "crlThisUpdate", thisUpdate.get(), ocsp);
    std::unique_ptr<X500Time> next(verifier->getNextUpdate());
    std::unique_ptr<X500Time> now(SystemClock::getUTCTime());
    if (next && *next < *now) addTime(reply, ocsp ? "ocspExpired" : "crlExpired", next.get(), ocsp);
    std::unique_ptr<X500Time> revoked(verifier->getRevocationDate());
    if (revoked) {
        const char* element = code == 5161 ? (ocsp ? "ocspHoldDate" : "crlHoldDate")
                              : code == kNoError
                                  ? "caCertRevoked"
                                  : (ocsp ? "ocspRevocationDate" : "crlRevocationDate");
        addTime(reply, element, revoked.get(), ocsp && code != kNoError);
    }
    std::unique_ptr<X500Time> invalid(verifier->getInvalidSince());
    addTime(reply, ocsp ? "ocspInvalidSince" : "crlInvalidSince", invalid.get(), ocsp);
    if (code == kNoError) {
        std::unique_ptr<X500Time> caExpired(verifier->getNotAfter());
        addTime(reply, "caCertExpired", caExpired.get(), false);
    }
    std::unique_ptr<X500Time> expired(verifier->getExpiredCertsOnCRL());
    addTime(reply, "expiredCertsOnCRL", expired.get(), true);
}
