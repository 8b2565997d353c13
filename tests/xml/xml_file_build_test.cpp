// The report-building side of XMLFile, checked byte for byte in both layouts.
#include <gtest/gtest.h>

#include <libxml/parser.h>

#include <string>

#include "asn1/Buffer.h"
#include "xml/XMLFile.h"

namespace {

void build(XMLFile& x) {
    x.insertComment("report");
    x.openTag("sigilo");
    x.setTagAttribute("version", "1");
    x.openTag("signedData");
    x.insertTag("filename", "caff\xe8.p7m");  // element text is taken as it is
    x.insertTag("count", 42L);
    x.insertTagHex("code", 5120u);
    x.insertTag("empty");
    x.closeTag();
    x.closeTag();
}

TEST(XMLFileBuild, FlatLayout) {
    Buffer b(4096);
    XMLFile x(&b);
    x.openTag("sigilo");
    x.setTagAttribute("name", "Citt\xe0");  // attributes go through Latin-1 to UTF-8
    x.openTag("signer");
    x.insertTag("status", "OK");
    x.closeTag();
    x.insertTag("n", 7L);
    std::string flat = x.getXML(1);
    // No indentation, one element a line, and with no encoding named the non-ASCII character
    // of the attribute comes out as a character reference.
    EXPECT_EQ(flat,
              "<?xml version=\"1.0\"?>\n"
              "<sigilo name=\"Citt&#xE0;\">\n<signer>\n<status>OK</status>\n</signer>\n"
              "<n>7</n>\n</sigilo>\n");
    // Computed once: a second call returns the stored text whatever it asks for.
    EXPECT_EQ(std::string(x.getXML(0)), flat);
}

TEST(XMLFileBuild, IndentedLayoutWithComment) {
    Buffer b(4096);
    XMLFile x(&b);
    build(x);
    EXPECT_EQ(std::string(x.getXML()),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<!--report-->\n"
              "<sigilo version=\"1\">\n"
              "  <signedData>\n"
              "    <filename>caff\xe8.p7m</filename>\n"
              "    <count>42</count>\n"
              "    <code>00001400</code>\n"
              "    <empty/>\n"
              "  </signedData>\n"
              "</sigilo>\n");
}

TEST(XMLFileBuild, InsertTagWithoutCurrentNodeBecomesRoot) {
    Buffer b(16);
    XMLFile x(&b);
    x.insertTag("root", "v");
    x.insertTag("child", "w");
    EXPECT_EQ(std::string(x.getXML(1)),
              "<?xml version=\"1.0\"?>\n<root>v<child>w</child></root>\n");
}

TEST(XMLFileBuild, CopiesAnotherReportAndReadsAttributes) {
    Buffer b(64);
    XMLFile inner(&b);
    inner.openTag("timeStamp");
    inner.insertTag("status", "KO");
    XMLFile outer(&b);
    outer.openTag("signer");
    outer.setTagAttribute("id", 10u);
    outer.insertXMLFile(&inner);
    char* id = outer.getTagAttribute("id");
    EXPECT_STREQ(id, "0000000A");
    xmlFree(id);
    EXPECT_EQ(std::string(outer.getXMLSubTree(1)),
              "<signer id=\"0000000A\">\n<timeStamp>\n<status>KO</status>\n</timeStamp>\n"
              "</signer>");
    EXPECT_EQ(std::string(outer.getXMLSubTree(0)),
              "<signer id=\"0000000A\">\n  <timeStamp>\n    <status>KO</status>\n  "
              "</timeStamp>\n</signer>");
    outer.closeTag();
    outer.closeTag();  // above the root: nothing to move to, no crash
    EXPECT_EQ(outer.getXMLSubTree(1), nullptr);
    EXPECT_FALSE(outer.setTagAttribute("x", "y"));
}

TEST(XMLFileBuild, RootAttributesSetAfterItsChildrenAndNullValues) {
    Buffer b(64);
    XMLFile x(&b);
    x.openTag("sigilo");
    x.insertTag("messageDigest", static_cast<const char*>(nullptr));
    x.openTag("signer");
    x.closeTag();
    x.setTagAttribute("tsr", "a.tsr");
    x.setTagValue(static_cast<const char*>(nullptr));
    EXPECT_EQ(std::string(x.getXML(1)),
              "<?xml version=\"1.0\"?>\n<sigilo tsr=\"a.tsr\">\n<messageDigest/>\n<signer/>\n"
              "</sigilo>\n");
}

}  // namespace
