// DocVerifier: construction, switches that need more than a store, the time, the log, and the
// way a failure is recorded.
#include "verify/DocVerifier.h"

#include <libxml/parser.h>

#include "asn1/SecureBuffer.h"
#include "asn1/X500Time.h"
#include "frontend/Messages.h"
#include "net/Logger.h"
#include "net/SystemClock.h"
#include "pdf/PDFFile.h"
#include "trust/CertVerifier.h"
#include "trust/ServerInterface.h"
#include "verify/TrustStore.h"
#include "xml/XMLFile.h"

DocVerifier::DocVerifier(CryptoDevice* device, TrustStore* trustStore)
    // The drivers reset errCode before they use it; it starts at NoError so that a caller who
    // asks before any file gets a defined answer.
    : errCode(NoError),
      serverMode(0),
      allSignaturesOk(255),
      checkCRLPKCS7(255),
      checkCRLTS(255),
      checkCACRL(255),
      useOCSP(0),
      base64Output(0),
      checkCertificateValidity(255),
      checkSigningCertificateAttr(0),
      checkAugust2010(255),
      errorOnExpiredCRL(255),
      july2011Mode(2),
      checkEncapSigs(1),
      workBuffer(new SecureBuffer(kWorkBufferSize, device)),
      viewBuffer(),
      documentBuffer(new SecureBuffer(kDocumentBufferSize, device)),
      detachedBuffer(new SecureBuffer(kDocumentBufferSize, device)),
      xmlOut(nullptr),
      cryptoDevice(device),
      cache(trustStore),
      serverPort(0),
      digestTable(),
      pkcs7Infos(),
      cmsInfos() {
    CACache* store = trustStore != nullptr ? trustStore->_getCACache() : nullptr;
    if (store != nullptr) certVerifier.reset(new CertVerifier(device, store));
    serverInterface.reset(new ServerInterface());
}

DocVerifier::~DocVerifier() {
    records::cleanDigests(digestTable);
    records::cleanInfos(pkcs7Infos);
    records::cleanInfos(cmsInfos);
}

void DocVerifier::init() {
    // The report and the XML inputs both go through libxml2, which wants its set-up done once,
    // on one thread, before any document is made.
    xmlInitParser();
}

void DocVerifier::setServerName(const char* name) {
    serverName = name != nullptr ? name : "";
    serverMode = name != nullptr && *name != 0 ? 255 : 0;
    serverInterface->setServerName(serverMode ? name : nullptr);
}

void DocVerifier::setServerPort(unsigned short port) {
    if (port != 0) {
        serverPort = port;
        serverInterface->setServerPort(port);
    }
}

unsigned char DocVerifier::checkServerStatus() {
    serverInterface->setXMLOutput(xmlOut);
    serverInterface->setCheckCRL(checkCRLPKCS7);
    return serverInterface->checkServerStatus();
}

unsigned char DocVerifier::askServer(const char* certificate, unsigned char checkCRL,
                                     unsigned char timeStamp) {
    serverInterface->setXMLOutput(xmlOut);
    serverInterface->setCheckCRL(checkCRL);
    serverInterface->setCheckCACRL(checkCACRL);
    serverInterface->setUseOCSP(useOCSP);
    serverInterface->setCheckCertificateValidity(checkCertificateValidity);
    serverInterface->setErrorOnExpiredCRL(errorOnExpiredCRL);
    return serverInterface->askServer(certificate, timeStamp);
}

unsigned char DocVerifier::setVerificationTime(X500Time* time) {
    verificationTime.reset();
    if (time == nullptr) return 255;
    std::unique_ptr<X500Time> now(SystemClock::getUTCTime());
    // A time that failed to parse carries the clock -1; it would pass as a date in 1969, and
    // a certificate judged at that date could come out valid when it is not.
    if (time->getClockValue() != -1 && *time < *now) {
        verificationTime.reset(time->clone());
        return 255;
    }
    if (log) {
        char printed[X500Time::kPrintSize];
        std::unique_ptr<char[]> text(time->getValue());
        log->print(3, kErrVerificationTime, Messages::getText(kErrVerificationTime),
                   time->getClockValue() != -1 ? time->printLocalDateTime(printed) : text.get());
    }
    return 0;
}

X500Time* DocVerifier::getVerificationTime() const {
    return verificationTime ? verificationTime->clone() : nullptr;
}

void DocVerifier::enableLog(unsigned char level) {
    if (!log) log.reset(new Logger(level));
    log->enableLog(static_cast<char>(level));
    if (certVerifier) certVerifier->enableLog(level);
    serverInterface->enableLog(level);
}

void DocVerifier::disableLog() {
    log.reset();
    if (certVerifier) certVerifier->disableLog();
    serverInterface->disableLog();
}

void DocVerifier::resetBuffer() {
    workBuffer.reset(new SecureBuffer(kWorkBufferSize, cryptoDevice));
}

void DocVerifier::setAttribute(const char* name, const char* value) {
    if (xmlOut != nullptr && value != nullptr) xmlOut->setTagAttribute(name, value);
}

void DocVerifier::fail(unsigned long code) {
    errCode = code;
    const char* text = Messages::getText(code);
    if (log) log->print(3, static_cast<unsigned int>(code), "%s", text);
    if (xmlOut != nullptr) {
        xmlOut->insertTag("errorMessage", text);
        xmlOut->insertTag("status", "KO");
    }
}

