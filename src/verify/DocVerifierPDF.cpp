// DocVerifier: the PDF driver. The reader finds the signature dictionaries of the file; each one
// is then judged by the route its /SubFilter names, oldest first, so that the report reads in the
// order the document was signed. A signature whose ranges leave part of its revision out is
// refused before its signer is looked at: what it signs is not the document.
//
// The signers themselves go through the same checks as those of a PKCS#7 or CMS envelope
// (DocVerifierPDFSigners.cpp), or the bare RSA check of adbe.x509.rsa_sha1
// (DocVerifierPDFRawSigner.cpp).
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

#include "asn1/Buffer.h"
#include "asn1/SecureBuffer.h"
#include "frontend/Messages.h"
#include "net/Logger.h"
#include "pdf/PDFFile.h"
#include "pkix/Certificate.h"
#include "pkix/ContentInfo.h"
#include "verify/DocVerifier.h"
#include "xml/XMLFile.h"

namespace {

constexpr unsigned long kErrNotPDF = 5207;
constexpr unsigned long kErrNoPDFSignature = 5208;
constexpr unsigned long kErrPartialSignature = 5229;
constexpr unsigned int kLogCertificateNotBER = 5222;

const char kRawRSA[] = "adbe.x509.rsa_sha1";
const char kPKCS7Detached[] = "adbe.pkcs7.detached";
const char kPKCS7SHA1[] = "adbe.pkcs7.sha1";
const char kCAdESDetached[] = "ETSI.CAdES.detached";

// A view of bytes the reader owns, released before the view goes.
struct BytesView {
    Buffer buffer;
    BytesView(unsigned char* p, unsigned int n) { buffer.useByteArray(p, n); }
    ~BytesView() { buffer.useByteArray(nullptr, 0); }
};

}  // namespace

unsigned char DocVerifier::verifyPDFFile(const char* input, const char* output) {
    if (xmlOut != nullptr) {
        xmlOut->openTag("signedData");
        setAttribute("filename", input);
        setAttribute("filetype", "PDF file");
    }
    if (log) log->print(6, kNoteInputFile, "Input File: %s", input != nullptr ? input : "");
    pdfFile = std::make_unique<PDFFile>(workBuffer.get());
    if (input == nullptr || !pdfFile->fromFile(input)) {
        fail(kErrNotPDF);
        if (xmlOut != nullptr) xmlOut->closeTag();
        pdfFile.reset();
        return 0;
    }
    unsigned char result = verifyPDFRead(output);
    if (xmlOut != nullptr) xmlOut->closeTag();
    pdfFile.reset();
    return result;
}

unsigned char DocVerifier::verifyPDFFile(const char* input) {
    return verifyPDFFile(input, nullptr);
}

unsigned char DocVerifier::verifyPDFFile(Buffer* buffer) {
    pdfFile = std::make_unique<PDFFile>(workBuffer.get());
    if (buffer == nullptr || !pdfFile->fromBuffer(buffer)) {
        fail(kErrNotPDF);
        pdfFile.reset();
        return 0;
    }
    unsigned char result = verifyPDFRead(nullptr);
    pdfFile.reset();
    return result;
}

unsigned char DocVerifier::loadPDF(const char* name) {
    pdfFile = std::make_unique<PDFFile>(workBuffer.get());
    if (name == nullptr || !pdfFile->fromFile(name)) {
        pdfFile.reset();
        return 0;
    }
    return 255;
}

unsigned char DocVerifier::verifyPDFRead(const char* output) {
    unsigned char result = verifyPDFSignatures();
    // The reader is gone when the file held no signature: there is no revision to extract.
    if (pdfFile && output != nullptr && *output != 0) savePDFData(output);
    return result;
}

unsigned char DocVerifier::verifyPDFSignatures() {
    errCode = NoError;
    if (!pdfFile || pdfFile->signaturesCount() <= 0) {
        fail(kErrNoPDFSignature);
        pdfFile.reset();
        return 0;
    }
    unsigned char all = 255;
    // The reader records the newest first: backwards is the order of signing.
    for (int i = pdfFile->signaturesCount() - 1; i >= 0; --i) {
        pdfFile->setCurrentSignature(i);
        unsigned char known = 255;
        unsigned char ok = verifyPDFSignature(&known);
        if (known && !ok) all = 0;
    }
    // A signature field whose dictionary could not be read is a signature that cannot be
    // verified, not one to leave out: passed over, it would let a damaged later signature vanish
    // from the report and the earlier ones speak for the whole file.
    int unread = unreadSignatureFields();
    if (unread > 0) {
        if (log) log->print(3, "Campi firma senza un dizionario di firma leggibile: %d", unread);
        fail(kErrSignatureNotVerified);
        all = 0;
    }
    if (log) {
        if (all) {
            log->print(6, kNoteAllSignaturesOk, "%s", Messages::getNotice(kNoteAllSignaturesOk));
        } else {
            log->print(6, kErrNotAllSignaturesOk, "%s", Messages::getText(kErrNotAllSignaturesOk));
        }
    }
    return 255;
}

int DocVerifier::unreadSignatureFields() const {
    int unread = 0;
    for (int i = 0; pdfFile && i < pdfFile->fieldsCount(); ++i) {
        const signatureField* field = pdfFile->_getField(i);
        if (field == nullptr || field->shadowed || field->valueObject == kNoValueObject) continue;
        bool found = false;
        for (int j = 0; j < pdfFile->signaturesCount() && !found; ++j) {
            const signatureRecord* record = pdfFile->_getSignature(j);
            found = record != nullptr && record->objectNumber == field->valueObject;
        }
        if (!found) ++unread;
    }
    return unread;
}

unsigned char DocVerifier::verifyPDFSignature(unsigned char* known) {
    *known = 255;
    if (!pdfFile->signOverall()) {
        fail(kErrPartialSignature);
        return 0;
    }
    if (pdfFile->isSubFilter(kRawRSA)) {
        if (pdfFile->getCert() == nullptr || pdfFile->getCertLen() == 0) {
            fail(kErrNotX509);
            return 0;
        }
        BytesView view(pdfFile->getCert(), pdfFile->getCertLen());
        Certificate certificate;
        if (!certificate.unwrapASN1(&view.buffer)) {
            fail(kErrNotX509);
            return 0;
        }
        if (!certificate.isBEREncoded() && log) {
            log->print(4, kLogCertificateNotBER, "%s", Messages::getText(kLogCertificateNotBER));
        }
        return verifyPDFSigner(&certificate);
    }
    bool pkcs7 = pdfFile->isSubFilter(kPKCS7Detached) || pdfFile->isSubFilter(kPKCS7SHA1);
    bool cades = pdfFile->isSubFilter(kCAdESDetached);
    if (!pkcs7 && !cades) {
        // A signature of a kind this engine has no route for is passed over: it is neither
        // judged nor counted.
        if (log) log->print(6, "Firma PDF con /SubFilter non gestito: ignorata");
        *known = 0;
        return 255;
    }
    ContentInfo info;
    unsigned char parsed;
    {
        BytesView view(pdfFile->getContents(), pdfFile->getContentsLen());
        parsed = pdfFile->getContents() != nullptr ? info.unwrapASN1(&view.buffer) : 0;
    }
    if (parsed != 1) {
        fail(parsed == 2 ? kErrNotX509 : kErrNotPKCS7);
        return 0;
    }
    return cades ? verifyPADESSigner(&info) : verifyPDFSigner(&info);
}

unsigned char DocVerifier::savePDFData(const char* name) {
    if (!pdfFile || name == nullptr) return 0;
    char path[kMaxPathSize];
    int n = std::snprintf(path, sizeof path, "%s-EXTRACTED.pdf", name);
    if (n < 0 || static_cast<unsigned int>(n) >= sizeof path) {
        fail(kErrOutputFile);
        return 0;
    }
    int fd = ::open(path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0) {
        fail(kErrOutputFile);
        return 0;
    }
    if (!pdfFile->saveOrigFile(fd)) {
        ::close(fd);
        ::unlink(path);
        return 0;
    }
    ::close(fd);
    if (log) log->print(6, kNoteExtractedFile, "Estratto file: %s", path);
    setAttribute("content", path);
    return 255;
}
