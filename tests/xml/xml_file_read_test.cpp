// The reading side of XMLFile: loading outside XML safely and walking it by element name.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>
#include <fstream>
#include <string>

#include "asn1/Buffer.h"
#include "xml/XMLFile.h"

namespace {

// A trust-list shape: prefixed names, two providers, nested services.
const char* kList =
    "<?xml version=\"1.0\"?>\n"
    "<tsl:TrustServiceStatusList xmlns:tsl=\"http://uri.etsi.org/02231/v2#\">"
    "<tsl:TrustServiceProviderList>"
    "<tsl:TrustServiceProvider><tsl:TSPServices>"
    "<tsl:TSPService><tsl:Name lang=\"it\">uno</tsl:Name></tsl:TSPService>"
    "<tsl:TSPService><tsl:Name lang=\"en\">due</tsl:Name></tsl:TSPService>"
    "</tsl:TSPServices></tsl:TrustServiceProvider>"
    "<tsl:TrustServiceProvider><tsl:TSPServices>"
    "<tsl:TSPService><tsl:Name>tre</tsl:Name></tsl:TSPService>"
    "</tsl:TSPServices></tsl:TrustServiceProvider>"
    "</tsl:TrustServiceProviderList></tsl:TrustServiceStatusList>";

struct Loaded {
    Buffer buffer{64};
    XMLFile xml{&buffer};
    explicit Loaded(const std::string& text) {
        Buffer in;
        in.fromByteArray(reinterpret_cast<const unsigned char*>(text.data()),
                         static_cast<unsigned int>(text.size()));
        ok = xml.fromBuffer(&in) != 0;
    }
    std::string value() {
        char* v = xml.getTagValue();
        std::string s = v != nullptr ? v : "<null>";
        XMLFile::freeTagValue(v);
        return s;
    }
    bool ok = false;
};

TEST(XMLFileRead, WalksByLocalNameIgnoringPrefixes) {
    Loaded t(kList);
    ASSERT_TRUE(t.ok);
    ASSERT_TRUE(t.xml.findTag("TrustServiceProviderList"));
    ASSERT_TRUE(t.xml.findSubTag("TrustServiceProvider"));
    t.xml.setBookmark();
    ASSERT_TRUE(t.xml.findSubTag("TSPService"));
    t.xml.setBookmark();
    char* name = t.xml.getTagValue("Name");
    EXPECT_STREQ(name, "uno");
    XMLFile::freeTagValue(name);
    char* lang = t.xml.getSubTagAttribute("Name", "lang");
    EXPECT_STREQ(lang, "it");
    XMLFile::freeTagValue(lang);
    ASSERT_TRUE(t.xml.goBookmark("TSPService"));
    ASSERT_TRUE(t.xml.findSiblingTag("TSPService"));
    ASSERT_TRUE(t.xml.findSubTag("Name"));
    EXPECT_EQ(t.value(), "due");
    // The sibling walk searches the subtrees of later siblings, never above the parent.
    ASSERT_TRUE(t.xml.goBookmark("TrustServiceProvider"));
    ASSERT_TRUE(t.xml.findSiblingTag("TrustServiceProvider"));
    ASSERT_TRUE(t.xml.findSubTag("Name"));
    EXPECT_EQ(t.value(), "tre");
    EXPECT_FALSE(t.xml.findSiblingTag("TSPService"));
    EXPECT_EQ(t.value(), "tre");  // a miss moves nothing
}

TEST(XMLFileRead, SubtreeWalkDoesNotEscapeItsStart) {
    Loaded t("<a><b><c/></b><d>x</d></a>");
    ASSERT_TRUE(t.ok);
    ASSERT_TRUE(t.xml.findTag("b"));
    EXPECT_FALSE(t.xml.findSubTag("d"));  // d is b's sibling, not below it
    EXPECT_TRUE(t.xml.findTag("d"));     // but findTag looks at following siblings
    t.xml.rewind();
    EXPECT_FALSE(t.xml.findLevelSubTag("c"));  // no descent
    EXPECT_TRUE(t.xml.findLevelSubTag("b"));
}

TEST(XMLFileRead, Bookmarks) {
    Loaded t("<a><b><c/></b></a>");
    ASSERT_TRUE(t.ok);
    EXPECT_FALSE(t.xml.goBookmark());
    t.xml.setBookmark();  // a
    t.xml.findTag("b");
    t.xml.setBookmark();  // b
    t.xml.findTag("c");
    EXPECT_FALSE(t.xml.goBookmark("zz"));  // stack and current node untouched
    EXPECT_TRUE(t.xml.goBookmark("a"));   // drops b on the way
    EXPECT_FALSE(t.xml.goBookmark());
    EXPECT_FALSE(t.xml.findLevelSubTag("c"));
    EXPECT_TRUE(t.xml.findLevelSubTag("b"));
}

TEST(XMLFileRead, MalformedInputFailsCleanly) {
    for (const char* text : {"", "<a>", "<a></b>", "not xml", "<a x='1' x='2'/>"}) {
        Loaded t(text);
        EXPECT_FALSE(t.ok) << text;
    }
    Buffer b(8);
    XMLFile x(&b);
    EXPECT_FALSE(x.fromFile("/nonexistent/file.xml"));
    EXPECT_FALSE(x.findTag("a"));
}

TEST(XMLFileRead, ExternalEntitiesAreNotFetched) {
    char path[] = "/tmp/sigilo-xxe-XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(write(fd, "SECRET", 6), 6);
    close(fd);
    std::string text = std::string("<!DOCTYPE a [<!ENTITY x SYSTEM \"file://") + path +
                       "\">]><a>&x;</a>";
    Loaded t(text);
    unlink(path);
    if (t.ok) {
        EXPECT_EQ(t.value().find("SECRET"), std::string::npos);
    }
}

TEST(XMLFileRead, EntityExpansionBombIsRefusedOrBounded) {
    std::string bomb = "<!DOCTYPE a [<!ENTITY e0 \"xxxxxxxxxx\">";
    for (int i = 1; i < 10; ++i) {
        bomb += "<!ENTITY e" + std::to_string(i) + " \"";
        for (int j = 0; j < 10; ++j) bomb += "&e" + std::to_string(i - 1) + ";";
        bomb += "\">";
    }
    bomb += "]><a>&e9;</a>";
    Loaded t(bomb);
    if (t.ok) {
        EXPECT_LT(t.value().size(), 1000000u);
    }
}

TEST(XMLFileRead, PushParsingInPieces) {
    Buffer b(8);
    XMLFile x(&b);
    std::string text = "<root><item>one</item><item>two</item></root>";
    ASSERT_TRUE(x.parse(text.data(), 10, 0));
    ASSERT_TRUE(x.parse(text.data() + 10, static_cast<int>(text.size()) - 10, 1));
    ASSERT_TRUE(x.findSubTag("item"));
    ASSERT_TRUE(x.findSiblingTag("item"));
    char* v = x.getTagValue();
    EXPECT_STREQ(v, "two");
    XMLFile::freeTagValue(v);
    // A second document through the same object, then a broken one.
    std::string second = "<other/>";
    EXPECT_TRUE(x.parse(second.data(), static_cast<int>(second.size()), 1));
    EXPECT_FALSE(x.findSubTag("item"));
    std::string broken = "<x><y></x>";
    EXPECT_FALSE(x.parse(broken.data(), static_cast<int>(broken.size()), 1));
    EXPECT_NE(x.getErrorCode(), 0);
    EXPECT_GT(x.getErrorLineNum(), 0);
}

TEST(XMLFileRead, FromFile) {
    char path[] = "/tmp/sigilo-xml-XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(write(fd, kList, strlen(kList)), static_cast<ssize_t>(strlen(kList)));
    close(fd);
    Buffer b(8);
    XMLFile x(&b);
    EXPECT_TRUE(x.fromFile(path));
    unlink(path);
    EXPECT_TRUE(x.findTag("TSPService"));
}

}  // namespace
