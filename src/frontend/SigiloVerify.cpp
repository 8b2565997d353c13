// The exported functions: verification of files into the report, and its output.
#include <strings.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "frontend/Globals.h"
#include "frontend/Messages.h"
#include "frontend/Report.h"
#include "frontend/Sigilo.h"
#include "net/Logger.h"
#include "verify/DocVerifier.h"
#include "verify/TrustStore.h"
#include "xml/XMLFile.h"

using namespace sigilo;

namespace {

char* copyOf(const std::string& s) {
    char* copy = new char[s.size() + 1];
    memcpy(copy, s.c_str(), s.size() + 1);
    return copy;
}

void forgetReport() {
    delete out;
    out = nullptr;
    if (docVerifier != nullptr) docVerifier->setXMLOutput(nullptr);
}

// The element of a file that could not be verified at all: its name, the message, "KO".
void reportFileFailure(const char* input, unsigned int code) {
    out->openTag("signedData");
    if (input != nullptr) out->setTagAttribute("filename", input);
    out->insertTag("errorMessage", Messages::getText(code));
    out->insertTag("status", "KO");
    out->closeTag();
}

void logFileFailure(const char* input, unsigned int code) {
    if (log == nullptr) return;
    log->print(3, kNoteInputFile, "Input File: %s", input != nullptr ? input : "");
    log->print(3, code, "%s", Messages::getText(code));
}

// The CA list, and the CRL cache when some CRL check is on and the mode reads it at all, are
// loaded on first use. A failed load is tried again on the next file; verification goes on.
void loadTrustFiles() {
    if (!loadedCACertList) loadedCACertList = cache->loadCACertList(caCertsListName);
    if (!loadedCRLCache && (checkCRLPKCS7 || checkCRLTS || checkCACRL) && downloadCRL != 3) {
        loadedCRLCache = cache->loadCRLCache(crlCacheName);
    }
}

}  // namespace

// In server mode the server is asked once per report; when it does not answer, the report is
// printed at once with that failure alone, and 0 comes back.
bool sigilo::openReport() {
    if (out != nullptr) return true;
    out = new XMLFile(buf);
    docVerifier->setXMLOutput(out);
    Report::openRoot(out);
    if (!standAlone && !docVerifier->checkServerStatus()) {
        const char* text = Messages::getText(kErrServerUnreachable);
        if (log != nullptr) log->print(3, kErrServerUnreachable, "%s", text);
        out->insertTag("errorMessage", text);
        out->insertTag("status", "KO");
        out->closeTag();
        printOut(out, outputFormat);
        forgetReport();
        return false;
    }
    Report::insertNotices(out);
    return true;
}

unsigned char verifyDocuments(const char* input, const char* path, bool extract) {
    // Without init there is no engine to verify with.
    if (docVerifier == nullptr || buf == nullptr) return 0;
    if (!openReport()) return 0;
    // Every file's element hangs from the root, whatever an earlier driver left open.
    out->_setCurrentNode(xmlDocGetRootElement(out->_getDocument()));
    if (standAlone) loadTrustFiles();

    // A directory receives extracted content; anything else, even a name that does not exist,
    // is the detached document, and its absence is found when the driver opens it.
    std::unique_ptr<char[]> content;
    std::unique_ptr<char[]> extractStem;
    std::string detached;
    if (path != nullptr) {
        struct stat st;
        if (stat(path, &st) == 0 && S_ISDIR(st.st_mode)) {
            content.reset(getContentFile(path, input));
            if (extract) extractStem.reset(copyOf(content.get()));
        } else {
            detached = path;
        }
    }
    const char* detachedName = detached.c_str();

    InputType type = docVerifier->guessInputType(input);
    if (log != nullptr) {
        log->print(7, "Tipo del file %s: %s", input != nullptr ? input : "", inputTypeName(type));
    }
    unsigned char result = 0;
    switch (type) {
        case InputUnreadable:
            logFileFailure(input, kErrUnreadableFile);
            reportFileFailure(input, kErrUnreadableFile);
            break;
        case InputTSR:
            result = docVerifier->verifyTSRFile(input, detachedName);
            break;
        case InputPKCS7:
            if (docVerifier->guessInputType(detachedName) == InputTSR) {
                result = docVerifier->verifyDetachedTimeStamp(input, detachedName, content.get());
            } else {
                result = docVerifier->verifyPKCS7File(input, detachedName, content.get());
            }
            break;
        case InputTST:
            result = docVerifier->verifyTSTFile(input, detachedName);
            break;
        case InputM7M:
            if (!detached.empty()) {
                // Refused in the report alone: nothing is logged and the result code stays.
                reportFileFailure(input, kErrM7MDetached);
            } else {
                result = docVerifier->verifyMIMEFile(input, extractStem.get(), content.get());
            }
            break;
        case InputXML:
            result = docVerifier->verifyXMLFile(input);
            break;
        case InputPDF:
            docVerifier->verifyPDFFile(input, content.get());
            result = 255;
            break;
        case InputTSD:
            result =
                docVerifier->verifyTSDFile(input, detachedName, extractStem.get(), content.get());
            break;
        case InputCMS:
            result = docVerifier->verifyCMSFile(input, detachedName, content.get());
            break;
        default:
            logFileFailure(input, kErrUnknownFormat);
            reportFileFailure(input, kErrUnknownFormat);
            break;
    }
    docVerifier->resetBuffer();
    return result;
}

unsigned char verifyDocument(const char* input, const char* path, bool extract) {
    unsigned char result = verifyDocuments(input, path, extract);
    printResults();
    return result;
}

unsigned char printResults() {
    // The CRL cache is saved even when there is no report to print.
    if (standAlone && (downloadCRL == 1 || downloadCRL == 2) && cache != nullptr &&
        cache->isCRLCacheModified()) {
        if (!cache->saveCRLCache(crlCacheName) && log != nullptr) {
            log->print(3, kErrCRLCacheSave, "%s", Messages::getText(kErrCRLCacheSave));
        }
        cache->clearCRLCacheModified();
    }
    if (out == nullptr) return 0;
    unsigned char printed = printOut(out, outputFormat);
    forgetReport();
    // A report that could not be written is lost to the caller: that is a failure to tell.
    return printed;
}

void deleteResults() {
    forgetReport();
}

unsigned char printOut(XMLFile* report, unsigned char /*format*/) {
    if (report == nullptr) return 0;
    const char* text = report->getXML(flat);
    if (text == nullptr) text = "";
    if (reportFilename[0] == 0) {
        puts(text);
        fflush(stdout);
        return 255;
    }
    FILE* file = fopen(reportFilename, "w");
    if (file == nullptr) {
        if (log != nullptr) log->print(3, kErrOutputFile, "%s", Messages::getText(kErrOutputFile));
        return 0;
    }
    bool ok = fputs(text, file) >= 0 && fputc('\n', file) != EOF;
    ok = fclose(file) == 0 && ok;
    if (!ok && log != nullptr) {
        log->print(3, kErrOutputFile, "%s", Messages::getText(kErrOutputFile));
    }
    return ok ? 255 : 0;
}

unsigned long getErrorCode() {
    // Without init nothing was verified, and "no error" would be a claim.
    return docVerifier != nullptr ? docVerifier->getErrCode()
                                  : static_cast<unsigned long>(kErrInternal);
}

char* getContentFile(const char* dir, const char* input) {
    std::string name = dir != nullptr ? dir : "";
    const char* slash = input != nullptr ? strrchr(input, '/') : nullptr;
    if (slash != nullptr) {
        name += slash;
    } else {
        name += "/";
        name += input != nullptr ? input : "";
    }
    // The last dot anywhere, even one of the directory when the file name has none; then the
    // first of each envelope extension, so that "a.pdf.p7m" gives "a.pdf" and "x.p7m.tsd" "x".
    size_t dot = name.rfind('.');
    if (dot != std::string::npos) name.erase(dot);
    for (const char* extension : {".p7m", ".m7m", ".tsd"}) {
        for (size_t i = 0; i + 4 <= name.size(); ++i) {
            if (strncasecmp(name.c_str() + i, extension, 4) == 0) {
                name.erase(i);
                break;
            }
        }
    }
    return copyOf(name);
}

const char* getVersion() {
    return Report::kRelease;
}

void printVersion() {
    printf("\n\tsigilo Release %s\n", getVersion());
}
