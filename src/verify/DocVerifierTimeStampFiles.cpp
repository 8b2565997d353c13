// DocVerifier: the files that carry time stamps. A TSR or TST file stamps a document given
// beside it; an M7M or a PKCS#7 with a separate TSR stamps a whole envelope, whose signers are
// then judged at the token's time; a TSD (RFC 5544) carries its content, or names a detached
// one, with a list of tokens.
#include <memory>
#include <string>

#include "asn1/SecureBuffer.h"
#include "asn1/X500Time.h"
#include "frontend/Messages.h"
#include "net/Logger.h"
#include "pkix/ContentInfo.h"
#include "pkix/PKIStatusInfo.h"
#include "pkix/PlainData.h"
#include "pkix/SignedData.h"
#include "pkix/TimeStampResp.h"
#include "pkix/TimeStampToken.h"
#include "verify/DocVerifier.h"
#include "verify/ReportParts.h"
#include "xml/XMLFile.h"

namespace {

constexpr unsigned long kErrTokenInvalid = 5167;
constexpr unsigned long kErrNoToken = 5168;
constexpr unsigned long kErrNoDocument = 5193;

bool isTokenVersion(const Content* content) {
    auto* signedData = dynamic_cast<const CMSSignedData*>(content);
    return signedData != nullptr &&
           (signedData->getVersion() == 3 || signedData->getVersion() == 4);
}

}  // namespace

unsigned char DocVerifier::verifyTSRFile(unsigned char checkAge) {
    errCode = NoError;
    TimeStampResp response;
    if (!response._unwrapASN1(documentBuffer.get()) || response._getTimeStampToken() == nullptr) {
        fail(kErrNoToken);
        return 0;
    }
    // Only a plain grant is taken: a token granted with modifications is not what was asked.
    if (response._getStatus() == nullptr || response._getStatus()->getStatus() != 0) {
        fail(kErrTokenInvalid);
        return 0;
    }
    Content* content = response._getTimeStampToken()->_getContent();
    if (!isTokenVersion(content)) {
        fail(kErrNoToken);
        return 0;
    }
    return verifyCMS(content, checkAge);
}

unsigned char DocVerifier::verifyTSTFile(unsigned char checkAge) {
    ContentInfo token;
    if (token._unwrapASN1(documentBuffer.get()) != 1 || !isTokenVersion(token._getContent())) {
        fail(kErrNoTimeStampToken);
        return 0;
    }
    return verifyCMS(token._getContent(), checkAge);
}

unsigned char DocVerifier::verifyTimeStampFile(const char* input, const char* detached, bool tst) {
    if (xmlOut != nullptr) {
        xmlOut->openTag("timeStamp");
        setAttribute("filename", input);
    }
    loadInputs(input, detached);
    documentBuffer->setReadPos(0);
    unsigned char result;
    if (detached != nullptr && *detached != 0 && detachedBuffer->getWritePos() == 0) {
        // A document named but not read: the token would be judged on nothing.
        fail(kErrNoDocument);
        result = 0;
    } else {
        result = tst ? verifyTSTFile(255) : verifyTSRFile(255);
    }
    if (xmlOut != nullptr) xmlOut->closeTag();
    return result;
}

unsigned char DocVerifier::verifyTSRFile(const char* input, const char* detached) {
    return verifyTimeStampFile(input, detached, false);
}

unsigned char DocVerifier::verifyTSTFile(const char* input, const char* detached) {
    return verifyTimeStampFile(input, detached, true);
}

// The token of an envelope dates the envelope: while its signers are checked, the token's time
// is their verification time and the proof of date the 2011 rules ask for. Only a token that
// verified gives its time: one that failed must not save a certificate that has since expired
// or been revoked.
std::unique_ptr<X500Time> DocVerifier::takeEnvelopeTime(unsigned char tokenOk) {
    std::unique_ptr<X500Time> kept = std::move(verificationTime);
    if (tokenOk && lastTimeStampTime) {
        verificationTime.reset(lastTimeStampTime->clone());
        envelopeTimeStampTime.reset(lastTimeStampTime->clone());
    } else {
        verificationTime.reset();
        envelopeTimeStampTime.reset();
    }
    return kept;
}

// With a time of the caller's, that time comes back. Without one, the token's time stays the
// verification time, and the proof of date, of the files verified after this one too.
void DocVerifier::restoreEnvelopeTime(std::unique_ptr<X500Time> kept) {
    if (!kept) return;
    envelopeTimeStampTime.reset();
    verificationTime = std::move(kept);
}

unsigned char DocVerifier::verifyDetachedTimeStamp(const char* input, const char* tsr,
                                                   const char* content) {
    if (xmlOut != nullptr) {
        xmlOut->openTag("signedData");
        setAttribute("filename", input);
    }
    if (log) log->print(6, kNoteInputFile, "Input File: %s", input != nullptr ? input : "");
    unsigned char pem = loadDetached(input);
    // PEM text is decoded later, from a terminated string.
    if (pem) detachedBuffer->writeByte(0);
    loadDoc(tsr);
    return verifyDetachedTimeStamp(content, pem);
}

unsigned char DocVerifier::verifyDetachedTimeStamp(const char* content, unsigned char pem) {
    // The token first, into a tree of its own: it goes after the envelope's element.
    XMLFile* mainReport = xmlOut;
    auto first = std::make_unique<SideReport>();
    std::unique_ptr<SideReport> second;
    if (mainReport != nullptr) {
        first->xml.openTag("timeStamp");
        xmlOut = &first->xml;
    }
    lastTimeStampTime.reset();
    documentBuffer->setReadPos(0);
    unsigned char tokenOk = verifyTSRFile(0);
    SideReport* tokenReport = first.get();
    if (!tokenOk) {
        second = std::make_unique<SideReport>();
        if (mainReport != nullptr) {
            second->xml.openTag("timeStamp");
            xmlOut = &second->xml;
        }
        documentBuffer->setReadPos(0);
        tokenOk = verifyTSTFile(0);
        // When neither form verifies, the answer of the first stands.
        if (tokenOk) tokenReport = second.get();
    }
    std::unique_ptr<X500Time> kept = takeEnvelopeTime(tokenOk);
    if (mainReport != nullptr) tokenReport->xml.closeTag();
    xmlOut = mainReport;

    // Then the envelope, which was waiting in the detached buffer.
    std::swap(documentBuffer, detachedBuffer);
    if (pem && documentBuffer->getWritePos() > 0 && documentBuffer->_getData()[0] == 'M') {
        documentBuffer->writeByte(0);
        documentBuffer->decodePEM();
    }
    detachedBuffer->rewind();
    unsigned char envelopeOk = verifyPKCS7File(content);
    if (xmlOut != nullptr) {
        xmlOut->closeTag();
        xmlOut->insertXMLFile(&tokenReport->xml);
    }
    restoreEnvelopeTime(std::move(kept));
    return tokenOk && envelopeOk ? 255 : 0;
}
