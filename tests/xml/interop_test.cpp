// Enveloping and detached signatures made by xmlsec1 (tests/data/xml/interop/gen.sh), one per
// canonical method, with an XPointer reference, a base64 transform, a reference without
// transforms and one to a file beside the document. Each reference must match its digest, the
// octets the transform chain gives must be exactly those xmlsec1 digested (its
// --store-references output, kept beside each file), and a changed copy must fail.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "asn1/Buffer.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "xml/XMLFile.h"
#include "xml/XMLReferences.h"

namespace {

const std::string kDir = std::string(SIGILO_TEST_DATA) + "/xml/interop";

std::string load(const std::string& path) {
    Buffer b;
    if (!b.fromFile(path.c_str())) return "";
    return std::string(reinterpret_cast<const char*>(b._getData()), b.getWritePos());
}

// The octets xmlsec1 digested for the first reference of the file.
std::string preDigest(const std::string& name) {
    std::string refs = load(kDir + "/" + name + ".refs");
    const std::string start = "== PreDigest data - start buffer:\n";
    size_t from = refs.find(start);
    size_t to = refs.find("\n== PreDigest data - end buffer", from);
    if (from == std::string::npos || to == std::string::npos) return "<none>";
    from += start.size();
    return refs.substr(from, to - from);
}

class Interop : public ::testing::Test {
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
    // The references of the text, verified from its folder.
    static unsigned char verify(const std::string& text, unsigned long* code) {
        Buffer in;
        in.fromByteArray(reinterpret_cast<const unsigned char*>(text.data()),
                         static_cast<unsigned int>(text.size()));
        Buffer work(64);
        XMLFile x(&work);
        if (!x.fromBuffer(&in) || !x.findTag("SignedInfo")) return 0;
        XMLReferences refs(&x, device, kDir.c_str());
        unsigned char compliant = 255;
        unsigned char ok = refs.verifyDigests(&compliant);
        *code = refs.getErrorCode();
        return ok;
    }
    // The octets of the first same-document reference after its transforms.
    static std::string octets(const std::string& text) {
        Buffer in;
        in.fromByteArray(reinterpret_cast<const unsigned char*>(text.data()),
                         static_cast<unsigned int>(text.size()));
        Buffer work(64);
        XMLFile x(&work);
        if (!x.fromBuffer(&in) || !x.findTag("Reference")) return "<no reference>";
        char* uri = x.getTagAttribute("URI");
        bool started = uri != nullptr && x.startTransforms(uri);
        XMLFile::freeTagValue(uri);
        if (!started) return "<not started>";
        XMLReferences refs(&x, device, kDir.c_str());
        if (x.findSubTag("Transforms")) refs.applyTransforms();
        return std::string(reinterpret_cast<const char*>(x.getTransformsResult()),
                           x.getTransformsResultLen());
    }
    static CryptoKi* ki;
    static CryptoDevice* device;
};
CryptoKi* Interop::ki = nullptr;
CryptoDevice* Interop::device = nullptr;

TEST_F(Interop, EveryXmlsecSignatureMatchesWhatXmlsecDigested) {
    for (const char* name : {"enveloping_c14n", "enveloping_c14n_comments", "enveloping_exc",
                             "enveloping_exc_comments", "enveloping_c14n11", "enveloping_default",
                             "enveloping_base64"}) {
        SCOPED_TRACE(name);
        std::string text = load(kDir + "/" + name + ".xml");
        ASSERT_FALSE(text.empty());
        unsigned long code = 0;
        EXPECT_TRUE(verify(text, &code)) << code;
        EXPECT_EQ(octets(text), preDigest(name));
        // One character of the signed object changed.
        std::string changed = text;
        size_t at = changed.find(std::string(name) == "enveloping_base64" ? "VGVzdG8" : ">uno ");
        ASSERT_NE(at, std::string::npos);
        changed[at + 1] = changed[at + 1] == 'u' ? 'U' : 'W';
        EXPECT_FALSE(verify(changed, &code));
        EXPECT_EQ(code, XMLReferences::kErrDigestMismatch);
    }
    // The comment is in the octets only for the forms that keep comments.
    EXPECT_NE(preDigest("enveloping_exc_comments").find("<!-- commento -->"), std::string::npos);
    EXPECT_EQ(preDigest("enveloping_exc").find("commento"), std::string::npos);
    // The exclusive form leaves out the namespace the object does not use.
    EXPECT_EQ(preDigest("enveloping_exc").find("urn:inutile"), std::string::npos);
    EXPECT_NE(preDigest("enveloping_c14n").find("urn:inutile"), std::string::npos);
}

TEST_F(Interop, AFileBesideTheDocumentIsDigestedAsItIs) {
    std::string text = load(kDir + "/detached_file.xml");
    unsigned long code = 0;
    EXPECT_TRUE(verify(text, &code)) << code;
    EXPECT_EQ(load(kDir + "/esterno.txt"), preDigest("detached_file"));
    // A name that leaves the folder is never read.
    std::string away = text;
    size_t at = away.find("URI=\"esterno.txt\"");
    ASSERT_NE(at, std::string::npos);
    away.replace(at, 17, "URI=\"../interop/esterno.txt\"");
    EXPECT_FALSE(verify(away, &code));
    EXPECT_EQ(code, XMLReferences::kErrUnhandledURI);
}

// The published Italian trust lists, signed by their operator and accepted by xmlsec1: both of
// their references (the whole list under the enveloped transform and exclusive canonical form,
// and the XAdES signed properties) match. Skipped when the shared data is not beside the tree.
TEST_F(Interop, ThePublishedItalianListsReferencesMatch) {
    const std::string shared = std::string(SIGILO_SOURCE_DIR) + "/../shared/data/tsl/";
    struct stat st;
    if (stat(shared.c_str(), &st) != 0) GTEST_SKIP() << "no " << shared;
    for (const char* name : {"IT-TSL-seq141-2019-09-04.xml", "IT-TSL-seq194-2023-09-26.xml"}) {
        std::string text = load(shared + name);
        ASSERT_FALSE(text.empty()) << name;
        unsigned long code = 0;
        EXPECT_TRUE(verify(text, &code)) << name << " " << code;
        // The first service's certificate, one character changed.
        size_t at = text.find("<X509Certificate>MII");
        ASSERT_NE(at, std::string::npos) << name;
        text[at + 20] = text[at + 20] == 'A' ? 'B' : 'A';
        EXPECT_FALSE(verify(text, &code)) << name;
    }
}

}  // namespace
