// DocVerifier: the file drivers, one per input type.
//
// Each driver opens the report element of its file, with the attributes that name it, and loads
// what the verification will need. The M7M driver also splits the message and writes the parts
// out on request. PKCS#7 and CMS envelopes are verified in DocVerifierEnvelope.cpp, time stamps
// in DocVerifierTimeStampFiles.cpp and DocVerifierTSD.cpp, PDF signatures in DocVerifierPDF.cpp,
// XML signatures in DocVerifierXML.cpp.
#include <string>

#include "asn1/SecureBuffer.h"
#include "frontend/Messages.h"
#include "net/Logger.h"
#include "verify/DocVerifier.h"
#include "verify/MIME.h"
#include "xml/XMLFile.h"

void DocVerifier::loadInputs(const char* input, const char* detached) {
    if (log) log->print(6, kNoteInputFile, "Input File: %s", input != nullptr ? input : "");
    loadDoc(input);
    if (detached != nullptr && *detached != 0) {
        setAttribute("detachedDocument", detached);
        if (log) log->print(6, kNoteDocument, "Documento: %s", detached);
        loadDetached(detached);
    } else {
        detachedBuffer->rewind();
    }
}

unsigned char DocVerifier::verifyPKCS7File(const char* input, const char* detached,
                                           const char* content) {
    if (xmlOut != nullptr) {
        xmlOut->openTag("signedData");
        setAttribute("filename", input);
        setAttribute("filetype", "PKCS7 file");
    }
    loadInputs(input, detached);
    unsigned char result = verifyPKCS7File(content);
    if (xmlOut != nullptr) xmlOut->closeTag();
    return result;
}

unsigned char DocVerifier::verifyCMSFile(const char* input, const char* detached,
                                         const char* content) {
    if (xmlOut != nullptr) {
        xmlOut->openTag("signedData");
        setAttribute("filename", input);
        setAttribute("filetype", "CMS file");
    }
    loadInputs(input, detached);
    unsigned char result = verifyCMSFile(content);
    if (xmlOut != nullptr) xmlOut->closeTag();
    return result;
}

unsigned char DocVerifier::verifyMIMEFile(const char* input, const char* extractStem,
                                          const char* content) {
    if (xmlOut != nullptr) {
        xmlOut->openTag("signedData");
        setAttribute("filename", input);
        setAttribute("filetype", "M7M file");
    }
    if (log) log->print(6, kNoteInputFile, "Input File: %s", input != nullptr ? input : "");
    documentBuffer->rewind();
    detachedBuffer->rewind();
    MIME mime;
    if (!mime.setFile(input)) {
        fail(kErrUnreadableFile);
        if (xmlOut != nullptr) xmlOut->closeTag();
        return 0;
    }
    // The first part is the envelope, the second its time stamp.
    unsigned char pem = 0;
    if (mime.seekAttachment()) {
        mime.readAttachment(detachedBuffer.get());
        pem = mime.getReadPEM();
    }
    if (mime.seekAttachment()) {
        mime.readAttachment(documentBuffer.get());
        if (documentBuffer->getWritePos() > 0 && documentBuffer->_getData()[0] == 'M') {
            documentBuffer->writeByte(0);
            documentBuffer->decodePEM();
        }
    }

    if (extractStem != nullptr && *extractStem != 0) {
        // An empty part is not written: there is nothing to extract, and an empty file by that
        // name would look like a result.
        if (detachedBuffer->getWritePos() > 0) {
            std::string name = std::string(extractStem) + ".p7m";
            unsigned char written = base64Output && !pem
                                        ? detachedBuffer->toPEMFile(name.c_str(), nullptr)
                                        : detachedBuffer->toFile(name.c_str());
            if (written) {
                setAttribute("pkcs7", name.c_str());
            } else if (log) {
                log->print(6, kErrOutputFile, "%s", Messages::getText(kErrOutputFile));
            }
        }
        if (documentBuffer->getWritePos() > 0) {
            std::string name = std::string(extractStem) + ".tsr";
            if (documentBuffer->toPEMFile(name.c_str(), nullptr)) {
                setAttribute("tsr", name.c_str());
            } else if (log) {
                log->print(6, kErrOutputFile, "%s", Messages::getText(kErrOutputFile));
            }
        }
    }
    documentBuffer->setReadPos(0);
    detachedBuffer->setReadPos(0);
    return verifyDetachedTimeStamp(content, pem);
}
