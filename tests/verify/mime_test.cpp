// The M7M reader: the file made by Python's email package, and hand-written messages for the
// corners of the boundary rules.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "asn1/Base64.h"
#include "asn1/Buffer.h"
#include "support/VecFile.h"
#include "verify/MIME.h"

namespace {

std::string writeTemp(const std::string& name, const std::string& text) {
    std::string path = ::testing::TempDir() + "/" + name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

std::string contents(const Buffer& b) {
    return std::string(reinterpret_cast<const char*>(b._getData()), b.getWritePos());
}

std::string fileBytes(const std::string& path) {
    Buffer b;
    b.fromFile(path.c_str());
    return contents(b);
}

std::string decoded(const Buffer& b) {
    unsigned int n = 0;
    std::string text = contents(b);
    unsigned char* bytes = Base64::decode(text.c_str(), static_cast<unsigned int>(text.size()), &n);
    std::string result(reinterpret_cast<const char*>(bytes), n);
    delete[] bytes;
    return result;
}

TEST(MIMEReader, SplitsTheM7MMadeByPython) {
    MIME mime;
    ASSERT_TRUE(mime.setFile(testData("verify/doc.m7m").c_str()));
    EXPECT_STREQ(mime.getMimeVersion(), "1.0");
    EXPECT_EQ(std::string(mime.getBoundary()).substr(0, 17), "--===============");

    Buffer envelope, stamp;
    ASSERT_TRUE(mime.seekAttachment());
    EXPECT_STREQ(mime.getHeader("content-type"), "Content-Type: application/pkcs7-mime; name=\"doc.p7m\"");
    EXPECT_TRUE(mime.isPEMEncoded());
    ASSERT_TRUE(mime.readAttachment(&envelope));
    EXPECT_TRUE(mime.getReadPEM());
    EXPECT_EQ(decoded(envelope), fileBytes(testData("verify/doc_der.p7m")));

    ASSERT_TRUE(mime.seekAttachment());
    ASSERT_TRUE(mime.readAttachment(&stamp));
    EXPECT_EQ(decoded(stamp), fileBytes(testData("verify/doc.tsr")));
    // The closing boundary leaves no further part.
    EXPECT_FALSE(mime.seekAttachment());
}

TEST(MIMEReader, BinaryPartsKeepEveryByteButTheLineEndBeforeTheBoundary) {
    // CR LF line ends, a boundary on the folded line after Content-Type, a dash after a line
    // feed that starts no boundary, a longer boundary that is another one, and blanks after the
    // real boundary.
    std::string body1 = "0\x82\x01\x02\n-not a boundary\n--frontierax\r\n";
    body1 += std::string(1, '\0') + "\xff end";
    std::string text = std::string("MIME-Version:   1.0\r\nContent-Type: multipart/mixed;\r\n") +
                       "\tboundary=frontiera\r\n\r\n--frontiera\r\n" +
                       "Content-Type: application/pkcs7-mime\r\n\r\n" + body1 +
                       "\r\n--frontiera \t\r\nContent-Type: application/timestamp-reply\r\n" +
                       "Content-Transfer-Encoding: binary\r\n\r\nMIIB" + "\r\n--frontiera--\r\n";
    std::string path = writeTemp("binary.m7m", text);

    MIME mime;
    ASSERT_TRUE(mime.setFile(path.c_str()));
    EXPECT_STREQ(mime.getMimeVersion(), "1.0");
    EXPECT_STREQ(mime.getBoundary(), "--frontiera");
    Buffer first, second;
    ASSERT_TRUE(mime.seekAttachment());
    EXPECT_FALSE(mime.isPEMEncoded());
    ASSERT_TRUE(mime.readAttachment(&first));
    EXPECT_EQ(contents(first), body1);
    EXPECT_FALSE(mime.getReadPEM());
    ASSERT_TRUE(mime.seekAttachment());
    ASSERT_TRUE(mime.readAttachment(&second));
    EXPECT_EQ(contents(second), "MIIB");
    // A part that begins with "M" is base64 text whatever its header says.
    EXPECT_TRUE(mime.getReadPEM());
    EXPECT_FALSE(mime.seekAttachment());
}

TEST(MIMEReader, APartCutByTheEndOfTheFileEndsThere) {
    std::string path = writeTemp("cut.m7m",
                                 "Mime-Version: 1.0\nContent-Type: multipart/mixed; "
                                 "boundary=\"b\"\n\n--b\n\nprima parte\n--b\n\nseconda");
    MIME mime;
    ASSERT_TRUE(mime.setFile(path.c_str()));
    Buffer first, second;
    ASSERT_TRUE(mime.seekAttachment());
    ASSERT_TRUE(mime.readAttachment(&first));
    EXPECT_EQ(contents(first), "prima parte");
    ASSERT_TRUE(mime.seekAttachment());
    ASSERT_TRUE(mime.readAttachment(&second));
    EXPECT_EQ(contents(second), "seconda");
    EXPECT_FALSE(mime.seekAttachment());
}

TEST(MIMEReader, NoPartIsFoundWhereTheRulesFindNone) {
    MIME mime;
    // An empty line in the preamble ends the search.
    std::string path = writeTemp("preamble.m7m",
                                 "Mime-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n\n"
                                 "Questo e' un messaggio MIME.\n\n--b\n\ndati\n--b--\n");
    ASSERT_TRUE(mime.setFile(path.c_str()));
    EXPECT_FALSE(mime.seekAttachment());
    // Without a boundary parameter there is nothing to split on.
    path = writeTemp("noboundary.m7m", "Mime-Version: 1.0\nContent-Type: text/plain\n\n--b\n\nx\n");
    ASSERT_TRUE(mime.setFile(path.c_str()));
    EXPECT_STREQ(mime.getBoundary(), "");
    EXPECT_FALSE(mime.seekAttachment());
    Buffer b;
    EXPECT_TRUE(mime.readAttachment(&b));
    // No file at all.
    EXPECT_FALSE(mime.setFile("/nonexistent/file.m7m"));
    EXPECT_FALSE(mime.seekAttachment());
    EXPECT_FALSE(mime.readAttachment(&b));
}

TEST(MIMEReader, LongLinesAndLongBoundariesStayInsideTheirFields) {
    std::string longValue(200, 'z');
    std::string longLine(5000, 'h');
    std::string path = writeTemp("long.m7m", "Mime-Version: " + longValue +
                                                 "\nContent-Type: multipart/mixed; boundary=" +
                                                 longValue + "\n" + longLine + "\n\n");
    MIME mime;
    ASSERT_TRUE(mime.setFile(path.c_str()));
    EXPECT_EQ(strlen(mime.getMimeVersion()), MIME::kVersionSize - 1);
    EXPECT_EQ(strlen(mime.getBoundary()), MIME::kBoundarySize - 1);
    // A line longer than a slot goes on as the next line.
    EXPECT_EQ(strlen(mime.getSlot(2)), MIME::kSlotSize - 1);
    EXPECT_EQ(strlen(mime.getSlot(3)), MIME::kSlotSize - 1);
    EXPECT_EQ(strlen(mime.getSlot(4)), 5000 - 2 * (MIME::kSlotSize - 1));
}

}  // namespace
