// DocVerifier: RFC 5544 TimeStampedData. The file holds its content (or the caller names the
// detached document), optional metadata, and a list of tokens: the first stamps the content
// (with the metadata's DER in front of it when the metadata is hash-protected), each further
// one renews the one before. The content itself may be a signed envelope, a PDF, or plain data.
#include <memory>
#include <string>

#include "asn1/SecureBuffer.h"
#include "asn1/X500Time.h"
#include "frontend/Messages.h"
#include "net/Logger.h"
#include "pkix/ContentInfo.h"
#include "pkix/MetaData.h"
#include "pkix/PlainData.h"
#include "pkix/TimeStampAndCRL.h"
#include "pkix/TimeStampToken.h"
#include "pkix/TimeStampedData.h"
#include "verify/DocVerifier.h"
#include "verify/ReportParts.h"
#include "xml/XMLFile.h"

namespace {

constexpr unsigned long kErrNoDocument = 5193;

// Runs its action when the scope ends, on every way out.
template <class F>
struct ScopeExit {
    F action;
    ~ScopeExit() { action(); }
};
template <class F>
ScopeExit<F> onScopeExit(F action) {
    return ScopeExit<F>{action};
}

template <class T>
void derOf(T* object, Buffer* out) {
    out->enlarge(out->getWritePos() + object->getWrapLength(out));
    object->wrapASN1(out);
}

}  // namespace

unsigned char DocVerifier::verifyTSDFile(const char* input, const char* detached,
                                         const char* extractStem, const char* content) {
    if (log) log->print(6, kNoteInputFile, "Input File: %s", input != nullptr ? input : "");
    loadDoc(input);
    documentBuffer->setReadPos(0);
    ContentInfo file;
    auto* tsd =
        file._unwrapASN1(documentBuffer.get()) == 1 && file.isEqual(ContentInfo::kTimeStampedData)
            ? dynamic_cast<TimeStampedData*>(file._getContent())
            : nullptr;
    const TimeStampAndCRLList* tokens = tsd != nullptr ? tsd->_getTimeStampAndCRLList() : nullptr;
    TimeStampToken* firstToken = tokens != nullptr && tokens->getCount() > 0
                                     ? tokens->_getElement(0)->_getTimeStamp()
                                     : nullptr;
    if (firstToken == nullptr) {
        errCode = kErrNoTimeStampToken;
        if (log) log->print(3, kErrNoTimeStampToken, "%s", Messages::getText(errCode));
        if (xmlOut != nullptr) {
            xmlOut->openTag("timeStamp");
            setAttribute("filename", input);
            setAttribute("filetype", "TSD file");
            xmlOut->insertTag("errorMessage", Messages::getText(errCode));
            xmlOut->insertTag("status", "KO");
            xmlOut->closeTag();
        }
        return 0;
    }

    // The content: embedded, or the detached document. The TSD's own bytes stay alive in
    // tsdFile, since an embedded content is read in place.
    std::unique_ptr<SecureBuffer> tsdFile = std::move(documentBuffer);
    documentBuffer.reset(new SecureBuffer(cryptoDevice));
    bool borrowed = false;
    auto restoreBuffers = onScopeExit([&] {
        if (borrowed) documentBuffer->useByteArray(nullptr, 0);
        documentBuffer = std::move(tsdFile);
    });
    bool isDetached = detached != nullptr && *detached != 0;
    if (isDetached) {
        if (log) log->print(6, kNoteInputFile, "Input File: %s", detached);
        // Without the document the tokens would be judged on nothing.
        if (!documentBuffer->fromFile(detached)) {
            errCode = kErrNoDocument;
            if (log) log->print(3, kErrNoDocument, "%s", Messages::getText(errCode));
            if (xmlOut != nullptr) {
                xmlOut->openTag("timeStamp");
                setAttribute("filename", input);
                setAttribute("filetype", "TSD file");
                setAttribute("detachedDocument", detached);
                xmlOut->insertTag("errorMessage", Messages::getText(errCode));
                xmlOut->insertTag("status", "KO");
                xmlOut->closeTag();
            }
            return 0;
        }
    } else if (tsd->_getContent() != nullptr) {
        documentBuffer->useByteArray(const_cast<unsigned char*>(tsd->_getContent()),
                                     tsd->getContentLength());
        borrowed = true;
    }
    // What the first token stamps: the content, after the metadata's DER when that is
    // hash-protected. A copy, since a base64 retry decodes it in place.
    auto imprinted = std::make_unique<SecureBuffer>(cryptoDevice);
    if (documentBuffer->getWritePos() > 0) {
        const MetaData* metaData = tsd->_getMetaData();
        if (metaData != nullptr && metaData->getHashProtected())
            derOf(const_cast<MetaData*>(metaData), imprinted.get());
        imprinted->writeBytes(documentBuffer->_getData(), documentBuffer->getWritePos());
    }
    std::swap(detachedBuffer, imprinted);

    // The token extracted on request.
    std::string tokenName;
    if (extractStem != nullptr && *extractStem != 0) {
        std::string name = std::string(extractStem) + ".tst";
        Buffer der;
        derOf(firstToken, &der);
        if (der.toPEMFile(name.c_str(), nullptr)) {
            tokenName = name;
            if (log) log->print(6, kNoteExtractedFile, "Estratto file: %s", name.c_str());
        } else if (log) {
            log->print(6, kErrOutputFile, "%s", Messages::getText(kErrOutputFile));
        }
    }

    // The tokens, in a tree of their own. Each renewal is checked, as it always has been, with
    // the first token against the entry before it.
    XMLFile* mainReport = xmlOut;
    SideReport tokenReport;
    if (mainReport != nullptr) {
        tokenReport.xml.openTag("timeStamp");
        xmlOut = &tokenReport.xml;
    }
    lastTimeStampTime.reset();
    Content* firstContent = firstToken->_getContent();
    unsigned char tokensOk = verifyCMS(firstContent, isDetached ? 255 : 0);
    std::unique_ptr<X500Time> firstTime(lastTimeStampTime ? lastTimeStampTime->clone() : nullptr);
    for (int i = 1; i < tokens->getCount(); ++i) {
        if (xmlOut != nullptr) xmlOut->openTag("timeStamp");
        detachedBuffer->rewind();
        derOf(tokens->_getElement(i - 1), detachedBuffer.get());
        if (!verifyCMS(firstContent, 0)) tokensOk = 0;
    }
    for (int i = 1; xmlOut != nullptr && i < tokens->getCount(); ++i) xmlOut->closeTag();
    lastTimeStampTime = std::move(firstTime);
    // The tokens' tree stays at its root element, which may still get the file's names.
    xmlOut = mainReport;
    std::swap(detachedBuffer, imprinted);

    auto describeFile = [&](XMLFile* where, bool withContent, const std::string& contentName) {
        XMLFile* saved = xmlOut;
        xmlOut = where;
        setAttribute("filename", input);
        setAttribute("filetype", "TSD file");
        if (isDetached) setAttribute("detachedDocument", detached);
        if (withContent && !contentName.empty()) setAttribute("content", contentName.c_str());
        if (!tokenName.empty()) setAttribute("tsr", tokenName.c_str());
        xmlOut = saved;
    };

    if (isDetached) {
        // No element of the file is open here: the names go on the element open in the
        // report, and the tokens follow inside it.
        if (xmlOut != nullptr) {
            describeFile(xmlOut, false, "");
            xmlOut->insertXMLFile(&tokenReport.xml);
        }
        return tokensOk;
    }

    // The content, in a signedData tree that is kept only when the content was signed. It is
    // an envelope's whole content: no document of an earlier file may stand in for it.
    documentBuffer->setReadPos(0);
    detachedBuffer->rewind();
    std::unique_ptr<X500Time> kept = takeEnvelopeTime(tokensOk);
    SideReport contentReport;
    if (mainReport != nullptr) {
        contentReport.xml.openTag("signedData");
        xmlOut = &contentReport.xml;
    }
    unsigned char isSigned = 0, saved = 0;
    unsigned char contentOk = verifyTSDContent(extractStem, content, &isSigned, &saved);
    xmlOut = mainReport;
    if (xmlOut != nullptr) {
        if (isSigned) {
            describeFile(&contentReport.xml, false, "");
            contentReport.xml.closeTag();
            xmlOut->insertXMLFile(&contentReport.xml);
        } else {
            describeFile(&tokenReport.xml, true, saved ? std::string(content) : std::string());
        }
        xmlOut->insertXMLFile(&tokenReport.xml);
    }
    restoreEnvelopeTime(std::move(kept));
    return contentOk && tokensOk ? 255 : 0;
}

unsigned char DocVerifier::verifyTSDContent(const char* extractStem, const char* content,
                                            unsigned char* isSigned, unsigned char* saved) {
    *isSigned = 0;
    *saved = 0;
    const unsigned char* data = documentBuffer->_getData();
    unsigned int length = documentBuffer->getWritePos();
    bool named = content != nullptr && *content != 0;
    InputType type = guessInputType(documentBuffer.get());
    if (type == InputPDF) {
        documentBuffer->setReadPos(0);
        unsigned char ok = verifyPDFFile(documentBuffer.get());
        *isSigned = errCode != 5208 ? 255 : 0;
        if (named) *saved = savePlainData(content, data, length);
        return ok;
    }
    ContentInfo info;
    documentBuffer->setReadPos(0);
    if (info._unwrapASN1(documentBuffer.get()) != 1) {
        if (named) *saved = savePlainData(content, data, length);
        return 255;
    }
    if (info.isEqual(ContentInfo::kData)) {
        auto* plain = dynamic_cast<PlainData*>(info._getContent());
        if (named && plain != nullptr)
            *saved = savePlainData(content, plain->_getData(), plain->getLength());
        return 255;
    }
    *isSigned = 255;
    if (extractStem != nullptr && *extractStem != 0) {
        std::string name = std::string(extractStem) + ".p7m";
        unsigned char written = base64Output ? documentBuffer->toPEMFile(name.c_str(), nullptr)
                                             : documentBuffer->toFile(name.c_str());
        if (written) {
            setAttribute("pkcs7", name.c_str());
            if (log) log->print(6, kNoteExtractedFile, "Estratto file: %s", name.c_str());
        } else if (log) {
            log->print(6, kErrOutputFile, "%s", Messages::getText(kErrOutputFile));
        }
    }
    return type == InputCMS ? verifyCMSFile(content) : verifyPKCS7File(content);
}
