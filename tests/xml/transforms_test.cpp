// The transform chain against documents signed by xmlsec1: every reference digest is rebuilt and
// compared with the DigestValue that xmlsec1 wrote; and the hostile cases: entities, duplicate
// identifiers, a reference moved elsewhere, a stylesheet that reaches for files.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cctype>
#include <cstring>
#include <memory>
#include <string>

#include "asn1/Base64.h"
#include "asn1/Buffer.h"
#include "crypto/SHA256.h"
#include "crypto/SHA512.h"
#include "xml/XMLFile.h"

namespace {

struct Doc {
    Buffer work{64};
    XMLFile xml{&work};
    bool ok = false;
    explicit Doc(const std::string& text) {
        Buffer in;
        in.fromByteArray(reinterpret_cast<const unsigned char*>(text.data()),
                         static_cast<unsigned int>(text.size()));
        ok = xml.fromBuffer(&in) != 0;
    }
    Doc() = default;
};

std::string attribute(XMLFile& x, const char* name) {
    char* v = x.getTagAttribute(name);
    std::string s = v != nullptr ? v : "";
    XMLFile::freeTagValue(v);
    return s;
}

// The transforms of the Reference that is current, the way a verifier runs them.
void runTransforms(XMLFile& x) {
    x.setBookmark();
    if (!x.findSubTag("Transforms") || !x.findSubTag("Transform")) {
        x.goBookmark();
        return;
    }
    do {
        std::string a = attribute(x, "Algorithm");
        if (a == "http://www.w3.org/2000/09/xmldsig#enveloped-signature") x.applyEnvSig();
        if (a == "http://www.w3.org/2001/10/xml-exc-c14n#WithComments") x.applyC14nx(1);
        if (a == "http://www.w3.org/2001/10/xml-exc-c14n#") x.applyC14nx(0);
        if (a == "http://www.w3.org/2000/09/xmldsig#base64") x.applyBase64();
    } while (x.findSiblingTag("Transform"));
    x.goBookmark();
}

std::string digestOf(const std::string& method, const unsigned char* p, unsigned int n) {
    std::unique_ptr<MessageDigest> md;
    if (method == "http://www.w3.org/2001/04/xmlenc#sha256") md = std::make_unique<SHA256>();
    if (method == "http://www.w3.org/2001/04/xmlenc#sha512") md = std::make_unique<SHA512>();
    if (!md) return "";
    md->reset();
    md->update(p, n);
    unsigned char out[MessageDigest::kMaxLength];
    md->final(out);
    char* text = Base64::encode(out, md->getLength());
    std::string s = text;
    delete[] text;
    return s;
}

// Every reference of the file, checked; returns the number that matched.
int matchingReferences(const std::string& file, int* total) {
    Buffer work(64);
    XMLFile x(&work);
    std::string path = std::string(SIGILO_TEST_DATA) + "/xml/" + file;
    if (!x.fromFile(path.c_str()) || !x.findTag("Reference")) return -1;
    int matched = 0;
    *total = 0;
    do {
        ++*total;
        std::string uri = attribute(x, "URI");
        bool started = uri.empty() ? x.startTransforms() : x.startTransforms(uri.c_str());
        if (!started) continue;
        runTransforms(x);
        char* method = x.getSubTagAttribute("DigestMethod", "Algorithm");
        char* value = x.getTagValue("DigestValue");
        std::string got = digestOf(method, x.getTransformsResult(), x.getTransformsResultLen());
        std::string expected;
        for (const char* c = value != nullptr ? value : ""; *c != '\0'; ++c) {
            if (!isspace(static_cast<unsigned char>(*c))) expected += *c;  // xmlsec1 wraps lines
        }
        if (!got.empty() && got == expected) ++matched;
        XMLFile::freeTagValue(method);
        XMLFile::freeTagValue(value);
    } while (x.findSiblingTag("Reference"));
    return matched;
}

TEST(XMLTransforms, ReferenceDigestsMatchXmlsec) {
    for (const char* file : {"enveloped_c14n.xml", "enveloped_exc.xml", "id_ref.xml"}) {
        int total = 0;
        EXPECT_EQ(matchingReferences(file, &total), total) << file;
        EXPECT_GT(total, 0) << file;
    }
}

TEST(XMLTransforms, CanonicalFormsOfTheCurrentSubtree) {
    Doc d("<r xmlns:p=\"urn:p\" xmlns:q=\"urn:q\"><p:s b=\"2\"   a=\"1\"><!--c--><e/></p:s></r>");
    ASSERT_TRUE(d.ok);
    ASSERT_TRUE(d.xml.findTag("s"));
    // Inclusive forms carry the inherited namespaces; the exclusive one only those used.
    EXPECT_STREQ(d.xml.canonizeC14n(0),
                 "<p:s xmlns:p=\"urn:p\" xmlns:q=\"urn:q\" a=\"1\" b=\"2\"><e></e></p:s>");
    EXPECT_STREQ(d.xml.canonizeC14nx(1),
                 "<p:s xmlns:p=\"urn:p\" a=\"1\" b=\"2\"><!--c--><e></e></p:s>");
    EXPECT_STREQ(d.xml.canonizeC14n11(0),
                 "<p:s xmlns:p=\"urn:p\" xmlns:q=\"urn:q\" a=\"1\" b=\"2\"><e></e></p:s>");
}

TEST(XMLTransforms, FragmentsSelectOnlyUniqueCapitalIds) {
    Doc lower("<r><a id=\"x\">1</a></r>");
    ASSERT_TRUE(lower.ok);
    EXPECT_FALSE(lower.xml.startTransforms("#x"));  // only "Id" is looked at
    Doc twice("<r><a Id=\"x\">1</a><b Id=\"x\">2</b></r>");
    ASSERT_TRUE(twice.ok);
    EXPECT_FALSE(twice.xml.startTransforms("#x"));  // a duplicate is ambiguous: nothing
    Doc mixed("<r><a Id=\"x\">1</a><b id=\"x\">2</b></r>");
    ASSERT_TRUE(mixed.ok);
    EXPECT_FALSE(mixed.xml.startTransforms("#x"));
    EXPECT_FALSE(mixed.xml.startTransforms("#xpointer(id('x'))"));
    Doc one("<r><a Id=\"x\"><!--k-->1</a></r>");
    ASSERT_TRUE(one.ok);
    ASSERT_TRUE(one.xml.startTransforms("#x"));
    std::string got(reinterpret_cast<const char*>(one.xml.getTransformsResult()),
                    one.xml.getTransformsResultLen());
    EXPECT_EQ(got, "<a Id=\"x\">1</a>");
    // An injected quote can't widen the selection.
    EXPECT_FALSE(one.xml.startTransforms("#x' or '1'='1"));
    EXPECT_FALSE(one.xml.startTransforms("#xpointer(id('x' or 1))"));
}

TEST(XMLTransforms, WrappedElementDoesNotPass) {
    // The signed element is moved into an Object and a forged one takes its place with the same
    // Id: the reference resolves to nothing rather than to either of them.
    std::string path = std::string(SIGILO_TEST_DATA) + "/xml/id_ref.xml";
    Buffer file;
    ASSERT_TRUE(file.fromFile(path.c_str()));
    std::string text(reinterpret_cast<const char*>(file._getData()), file.getWritePos());
    size_t at = text.find("<data Id=\"d1\">");
    ASSERT_NE(at, std::string::npos);
    text.insert(at, "<data Id=\"d1\">forged</data>");
    int total = 0;
    {
        Doc d(text);
        ASSERT_TRUE(d.ok);
        EXPECT_FALSE(d.xml.startTransforms("#d1"));
    }
    // A reference that points elsewhere digests other octets.
    std::string moved =
        file.getWritePos()
            ? std::string(reinterpret_cast<const char*>(file._getData()), file.getWritePos())
            : "";
    size_t ref = moved.find("URI=\"#d1\"");
    ASSERT_NE(ref, std::string::npos);
    moved.replace(ref, 9, "URI=\"#d2\"");
    std::string tmp = std::string(SIGILO_BINARY_DIR) + "/moved_ref.xml";
    Buffer out;
    out.fromByteArray(reinterpret_cast<const unsigned char*>(moved.data()),
                      static_cast<unsigned int>(moved.size()));
    ASSERT_TRUE(out.toFile(tmp.c_str()));
    Buffer work(64);
    XMLFile x(&work);
    ASSERT_TRUE(x.fromFile(tmp.c_str()));
    ASSERT_TRUE(x.findTag("Reference"));
    ASSERT_TRUE(x.startTransforms("#d2"));
    char* value = x.getTagValue("DigestValue");
    EXPECT_NE(digestOf("http://www.w3.org/2001/04/xmlenc#sha256", x.getTransformsResult(),
                       x.getTransformsResultLen()),
              value);
    XMLFile::freeTagValue(value);
    (void)total;
}

TEST(XMLTransforms, EntityDeclarationsAreRefused) {
    // External entity (XXE) and exponential expansion: refused at loading, nothing read.
    Doc xxe("<!DOCTYPE r [<!ENTITY e SYSTEM \"file:///etc/passwd\">]><r>&e;</r>");
    EXPECT_FALSE(xxe.ok);
    Doc laughs(
        "<!DOCTYPE r [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;\">"
        "<!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;\"><!ENTITY d \"&c;&c;&c;&c;&c;&c;&c;&c;\">]>"
        "<r>&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;</r>");
    EXPECT_FALSE(laughs.ok);
    Doc external("<!DOCTYPE r SYSTEM \"http://127.0.0.1:1/x.dtd\"><r/>");
    EXPECT_FALSE(external.ok);
    Doc attlist("<!DOCTYPE r [<!ATTLIST a Id ID #IMPLIED>]><r><a Id=\"k\">v</a></r>");
    EXPECT_TRUE(attlist.ok);  // identifier declarations alone are harmless
    EXPECT_TRUE(attlist.xml.startTransforms("#xpointer(id('k'))"));
}

TEST(XMLTransforms, StylesheetCannotReadOrWriteFiles) {
    std::string target = std::string(SIGILO_BINARY_DIR) + "/xslt_written.txt";
    unlink(target.c_str());
    std::string doc =
        "<r><Transform xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\">"
        "<xsl:stylesheet version=\"1.0\"><xsl:template match=\"/\">"
        "<out><xsl:copy-of select=\"document('/etc/passwd')\"/>"
        "<xsl:document href=\"" +
        target +
        "\"><x/></xsl:document></out>"
        "</xsl:template></xsl:stylesheet></Transform><d>1</d></r>";
    Doc d(doc);
    ASSERT_TRUE(d.ok);
    ASSERT_TRUE(d.xml.startTransforms());
    ASSERT_TRUE(d.xml.findTag("Transform"));
    d.xml.applyXSLT();
    std::string got(reinterpret_cast<const char*>(d.xml.getTransformsResult()),
                    d.xml.getTransformsResultLen());
    EXPECT_EQ(got.find("root:"), std::string::npos);
    EXPECT_NE(access(target.c_str(), F_OK), 0);
}

TEST(XMLTransforms, XPathFilter2AndXPath) {
    Doc d("<r><a>1<s>2</s></a><b>3</b></r>");
    ASSERT_TRUE(d.ok);
    ASSERT_TRUE(d.xml.startTransforms());
    ASSERT_TRUE(d.xml.startXFilter2());
    ASSERT_TRUE(d.xml.addXFilter2("subtract", "//s"));
    EXPECT_FALSE(d.xml.addXFilter2("except", "//b"));
    ASSERT_TRUE(d.xml.applyXFilter2());
    std::string got(reinterpret_cast<const char*>(d.xml.getTransformsResult()),
                    d.xml.getTransformsResultLen());
    EXPECT_EQ(got, "<r><a>1</a><b>3</b></r>");
    // An intersection with nothing leaves nothing.
    ASSERT_TRUE(d.xml.startTransforms());
    ASSERT_TRUE(d.xml.startXFilter2());
    ASSERT_TRUE(d.xml.addXFilter2("intersect", "//none"));
    ASSERT_TRUE(d.xml.applyXFilter2());
    EXPECT_EQ(d.xml.getTransformsResultLen(), 0u);
    ASSERT_TRUE(d.xml.startTransforms());
    ASSERT_TRUE(d.xml.applyXPath("not(ancestor-or-self::b)"));
    got.assign(reinterpret_cast<const char*>(d.xml.getTransformsResult()),
               d.xml.getTransformsResultLen());
    EXPECT_EQ(got, "<r><a>1<s>2</s></a></r>");
}

TEST(XMLTransforms, DateTimeCheck) {
    EXPECT_TRUE(XMLFile::checkDateTime("2020-01-02T03:04:05Z"));
    EXPECT_FALSE(XMLFile::checkDateTime("2020-13-02T03:04:05Z"));
    EXPECT_FALSE(XMLFile::checkDateTime(nullptr));
}

}  // namespace
