// XMLReferences: digests of the references of a SignedInfo.
#include "xml/XMLReferences.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <memory>

#include "asn1/Base64.h"
#include "asn1/Buffer.h"
#include "crypto/CryptoDevice.h"
#include "crypto/DigestInfo.h"
#include "xml/XMLFile.h"

namespace {

struct TextFree {
    void operator()(char* p) const { XMLFile::freeTagValue(p); }
};
using Text = std::unique_ptr<char, TextFree>;

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool contains(const unsigned char* p, unsigned int n, const char* needle) {
    size_t k = strlen(needle);
    if (p == nullptr || n < k) return false;
    return memmem(p, n, needle, k) != nullptr;
}

// Reads a regular file, never following a link.
bool readRegular(const std::string& path, Buffer* out) {
    int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat st;
    bool ok = fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && out->fromFile(fd);
    close(fd);
    return ok;
}

}  // namespace

XMLReferences::XMLReferences(XMLFile* x, CryptoDevice* d, const char* dir)
    : xml(x), device(d), directory(dir != nullptr ? dir : ""), filesAllowed(dir != nullptr) {}

unsigned char XMLReferences::fail(unsigned long code) {
    errorCode = code;
    return 0;
}

std::string XMLReferences::besideFile(const char* dir, const char* uri) {
    if (dir == nullptr || uri == nullptr) return "";
    const char* p = uri;
    if (strncasecmp(p, "file:", 5) == 0) p += 5;
    std::string name;
    for (; *p != '\0'; ++p) {
        if (*p == '%') {
            int hi = hexValue(p[1]);
            int lo = hi < 0 ? -1 : hexValue(p[2]);
            if (lo < 0) return "";
            name += static_cast<char>(hi * 16 + lo);
            p += 2;
        } else {
            name += *p;
        }
    }
    // A plain name: no folder part of any spelling, no scheme, no NUL, not "." or "..".
    if (name.empty() || name == "." || name == ".." || name.size() > 255 ||
        name.find_first_of(std::string("/\\:#?\0", 6)) != std::string::npos) {
        return "";
    }
    std::string path = *dir != '\0' ? dir : ".";
    if (path.back() != '/') path += '/';
    return path + name;
}

unsigned char XMLReferences::applyTransforms() {
    if (!xml->findTag("Transform")) return 255;
    // Bounded: a signature with more transforms than this is not honest.
    for (int count = 0; count < 64; ++count) {
        Text algorithm(xml->getTagAttribute("Algorithm"));
        const char* a = algorithm ? algorithm.get() : "";
        if (strcmp(a, "http://www.w3.org/2002/06/xmldsig-filter2") == 0) {
            xml->setBookmark();
            if (xml->findSubTag("XPath")) {
                xml->startXFilter2();
                do {
                    Text filter(xml->getTagAttribute("Filter"));
                    Text expression(xml->getTagValue());
                    if (!xml->addXFilter2(filter.get(), expression.get())) {
                        xml->goBookmark("Transform");
                        return 0;
                    }
                } while (xml->findSiblingTag("XPath"));
                xml->applyXFilter2();
            }
            xml->goBookmark("Transform");
        } else if (strcmp(a, "http://www.w3.org/TR/1999/REC-xpath-19991116") == 0 ||
                   strcmp(a, "http://www.w3.org/TR/xpath20") == 0) {
            Text expression(xml->getTagValue("XPath"));
            if (expression) xml->applyXPath(expression.get());
        } else if (strcmp(a, "http://www.w3.org/TR/1999/REC-xslt-19991116") == 0) {
            xml->applyXSLT();
        } else if (strcmp(a, "http://www.w3.org/2000/09/xmldsig#base64") == 0) {
            xml->applyBase64();
        } else if (strcmp(a, "http://www.w3.org/TR/2001/REC-xml-c14n-20010315") == 0) {
            xml->applyC14n(0);
        } else if (strcmp(a, "http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments") == 0) {
            xml->applyC14n(1);
        } else if (strcmp(a, "http://www.w3.org/2001/10/xml-exc-c14n#") == 0) {
            xml->applyC14nx(0);
        } else if (strcmp(a, "http://www.w3.org/2001/10/xml-exc-c14n#WithComments") == 0) {
            xml->applyC14nx(1);
        } else if (strcmp(a, "http://www.w3.org/2006/12/xml-c14n11") == 0) {
            xml->applyC14n11(0);
        } else if (strcmp(a, "http://www.w3.org/2006/12/xml-c14n11#WithComments") == 0 ||
                   strcmp(a, "http://www.w3.org/2006/12/xml-c14n11#") == 0) {
            xml->applyC14n11(1);
        } else if (strcmp(a, "http://www.w3.org/2000/09/xmldsig#enveloped-signature") == 0) {
            xml->applyEnvSig();
        }
        if (!xml->findSiblingTag("Transform")) return 255;
    }
    return 255;
}

unsigned char XMLReferences::verifyDigests(unsigned char* compliant) {
    errorCode = 0;
    if (xml == nullptr || device == nullptr || !xml->findTag("Reference")) {
        return fail(kErrNoSignature);
    }
    bool coversCertificate = false;
    bool badPropertiesType = false;
    for (int count = 0; count < 1000; ++count) {
        xml->setBookmark();
        Text type(xml->getTagAttribute("Type"));
        Text uri(xml->getTagAttribute("URI"));
        Text method(xml->getSubTagAttribute("DigestMethod", "Algorithm"));
        Text value(xml->getTagValue("DigestValue"));
        if (!uri || !method || !value) return fail(kErrNoSignature);
        Buffer file;
        const unsigned char* octets = nullptr;
        unsigned int length = 0;
        if (*uri == '\0' || xml->startTransforms(uri.get())) {
            if (*uri == '\0') xml->startTransforms();
            if (xml->findSubTag("Transforms")) applyTransforms();
            octets = xml->getTransformsResult();
            length = xml->getTransformsResultLen();
        } else {
            // A fragment that resolves to nothing (or to more than one element) is never taken
            // for a file name.
            if (uri.get()[0] == '#' || !filesAllowed) return fail(kErrUnhandledURI);
            std::string path = besideFile(directory.c_str(), uri.get());
            if (path.empty() || !readRegular(path, &file)) return fail(kErrUnhandledURI);
            octets = file._getData();
            length = file.getWritePos();
        }
        xml->goBookmark("Reference");
        if (length == 0 || octets == nullptr) return fail(kErrEmptyDocument);
        if (contains(octets, length, "<ds:KeyInfo") && contains(octets, length, "<ds:X509Data")) {
            coversCertificate = true;
        }
        if (contains(octets, length, "<xades:SignedProperties") &&
            (!type || strcmp(type.get(), "http://uri.etsi.org/01903#SignedProperties") != 0)) {
            badPropertiesType = true;
        }
        if (strcmp(method.get(), "http://www.w3.org/2000/09/xmldsig#sha1") == 0) {
            device->setDigestAlgorithm("1.3.14.3.2.26");
            if (compliant != nullptr) *compliant = 0;
        } else if (strcmp(method.get(), "http://www.w3.org/2001/04/xmlenc#sha256") == 0) {
            device->setDigestAlgorithm("2.16.840.1.101.3.4.2.1");
        } else if (strcmp(method.get(), "http://www.w3.org/2001/04/xmlenc#sha512") == 0) {
            device->setDigestAlgorithm("2.16.840.1.101.3.4.2.3");
        }
        std::unique_ptr<DigestInfo> digest(device->digest(octets, length));
        unsigned int size = 0;
        std::unique_ptr<unsigned char[]> expected(Base64::decode(value.get(), &size));
        if (!digest || !expected || digest->getLength() != size ||
            memcmp(digest->_getDigest(), expected.get(), size) != 0) {
            return fail(kErrDigestMismatch);
        }
        if (!xml->findSiblingTag("Reference")) break;
    }
    if ((!coversCertificate || badPropertiesType) && compliant != nullptr) *compliant = 0;
    return 255;
}
