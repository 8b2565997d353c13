// XMLReferences: the references of one SignedInfo. Each is rebuilt (a same-document node set run
// through its transforms, or a file beside the signed file), digested through the crypto
// facade, and compared with its DigestValue.
#ifndef SIGILO_XML_XMLREFERENCES_H
#define SIGILO_XML_XMLREFERENCES_H

#include <string>

class CryptoDevice;
class XMLFile;

class XMLReferences {
public:
    static constexpr unsigned long kErrDigestMismatch = 5186;
    static constexpr unsigned long kErrEmptyDocument = 5202;
    static constexpr unsigned long kErrNoSignature = 5205;
    static constexpr unsigned long kErrUnhandledURI = 5206;

    // `directory` is the folder of the signed file, the only place external references are
    // read from; with none (null) no reference may name a file. Nothing is owned.
    XMLReferences(XMLFile* xml, CryptoDevice* device, const char* directory);

    // The current node of the document is SignedInfo. True when every reference matches;
    // `compliant` is cleared for SHA-1, for no reference over ds:X509Data, and for a properties
    // reference without its Type. On failure the code is kept for getErrorCode.
    unsigned char verifyDigests(unsigned char* compliant);
    // Runs the Transform elements from the current node; false when a filter is refused.
    unsigned char applyTransforms();
    unsigned long getErrorCode() const { return errorCode; }

    // The path a file reference reads, or "" when the URI may not be read: only plain names
    // beside the signed file, never a folder, an absolute path, ".." or another scheme.
    static std::string besideFile(const char* directory, const char* uri);

private:
    unsigned char fail(unsigned long code);

    XMLFile* xml;
    CryptoDevice* device;
    std::string directory;
    bool filesAllowed;
    unsigned long errorCode = 0;
};

#endif
