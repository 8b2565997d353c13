// Reference digests through the crypto facade on the xmlsec1-signed documents, a changed byte,
// and the rule that external references name only files beside the signed file.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "asn1/Buffer.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "xml/XMLFile.h"
#include "xml/XMLReferences.h"

namespace {

class References : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        ki = new CryptoKi();
        device = new CryptoDevice(ki);
        ASSERT_NE(device->openToken(0, nullptr, 0), 0u);
    }
    static void TearDownTestSuite() {
        delete device;
        delete ki;
    }
    // Verifies the references of the text; returns the result and the code.
    static unsigned char verify(const std::string& text, unsigned long* code,
                                unsigned char* compliant) {
        Buffer in;
        in.fromByteArray(reinterpret_cast<const unsigned char*>(text.data()),
                         static_cast<unsigned int>(text.size()));
        Buffer work(64);
        XMLFile x(&work);
        if (!x.fromBuffer(&in) || !x.findTag("SignedInfo")) return 0;
        XMLReferences refs(&x, device, SIGILO_TEST_DATA "/xml");
        unsigned char ok = refs.verifyDigests(compliant);
        *code = refs.getErrorCode();
        return ok;
    }
    static std::string load(const char* name) {
        Buffer b;
        std::string path = std::string(SIGILO_TEST_DATA) + "/xml/" + name;
        if (!b.fromFile(path.c_str())) return "";
        return std::string(reinterpret_cast<const char*>(b._getData()), b.getWritePos());
    }
    static CryptoKi* ki;
    static CryptoDevice* device;
};
CryptoKi* References::ki = nullptr;
CryptoDevice* References::device = nullptr;

TEST_F(References, XmlsecDocumentsVerifyAndAChangeIsCaught) {
    for (const char* file : {"enveloped_c14n.xml", "enveloped_exc.xml", "id_ref.xml", "filters.xml"}) {
        std::string text = load(file);
        ASSERT_FALSE(text.empty()) << file;
        unsigned long code = 0;
        unsigned char compliant = 255;
        EXPECT_TRUE(verify(text, &code, &compliant)) << file << " " << code;
        EXPECT_EQ(compliant, 0) << file;  // no reference covers a certificate
        std::string changed = text;
        size_t at = changed.find("uno");
        if (at == std::string::npos) at = changed.find("payload");
        if (at == std::string::npos) at = changed.find("QUJD");
        ASSERT_NE(at, std::string::npos);
        changed[at] = 'X';
        EXPECT_FALSE(verify(changed, &code, &compliant)) << file;
        EXPECT_EQ(code, XMLReferences::kErrDigestMismatch) << file;
    }
}

TEST_F(References, MissingTargetsAndEmptySignedInfo) {
    unsigned long code = 0;
    unsigned char compliant = 255;
    std::string base = "<r xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\"><ds:SignedInfo>";
    EXPECT_FALSE(verify(base + "</ds:SignedInfo></r>", &code, &compliant));
    EXPECT_EQ(code, XMLReferences::kErrNoSignature);
    std::string ref =
        "<ds:Reference URI=\"%s\"><ds:DigestMethod Algorithm=\""
        "http://www.w3.org/2001/04/xmlenc#sha256\"/><ds:DigestValue>AA==</ds:"
        "DigestValue></ds:Reference></ds:SignedInfo></r>";
    for (const char* uri : {"#nothing", "missing.xml", "../xml/make.sh", "/etc/passwd",
                            "file:/etc/passwd", "a%2Fb", "http://127.0.0.1:1/x"}) {
        std::string r = ref;
        r.replace(r.find("%s"), 2, uri);
        EXPECT_FALSE(verify(base + r, &code, &compliant)) << uri;
        EXPECT_EQ(code, XMLReferences::kErrUnhandledURI) << uri;
    }
    // A file beside the signed one is read (and here its digest differs).
    std::string r = ref;
    r.replace(r.find("%s"), 2, "file:make.sh");
    EXPECT_FALSE(verify(base + r, &code, &compliant));
    EXPECT_EQ(code, XMLReferences::kErrDigestMismatch);
}

TEST(ReferencePaths, OnlyPlainNamesBesideTheFile) {
    EXPECT_EQ(XMLReferences::besideFile("/d", "a.txt"), "/d/a.txt");
    EXPECT_EQ(XMLReferences::besideFile("/d/", "FILE:a%20b.txt"), "/d/a b.txt");
    for (const char* bad : {"", ".", "..", "../a", "sub/a", "/a", "\\a", "a\\b", "c:a", "a%00b",
                            "a%2e%2e%2F", "a%2", "http://h/a"}) {
        EXPECT_EQ(XMLReferences::besideFile("/d", bad), "") << bad;
    }
}

}  // namespace
