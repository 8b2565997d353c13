// Files and PEM: certificates written by the openssl CLI, locked files, and our own PEM output
// read back by openssl.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "asn1/Buffer.h"
#include "support/VecFile.h"

namespace {

std::vector<unsigned char> fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<unsigned char>((std::istreambuf_iterator<char>(in)),
                                      std::istreambuf_iterator<char>());
}

std::vector<unsigned char> content(const Buffer& b) {
    return std::vector<unsigned char>(b._getData(), b._getData() + b.getWritePos());
}

class TempDir : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/sigilo-pem-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
    }
    void TearDown() override { std::system(("rm -rf " + dir).c_str()); }
    std::string path(const std::string& name) const { return dir + "/" + name; }
    std::string dir;
};

TEST(PemFile, SingleCertificateFromOpenssl) {
    Buffer b;
    char label[kPEMLabelSize];
    ASSERT_TRUE(b.fromPEMFile(testData("asn1/pem_cert_a.pem").c_str(), label));
    EXPECT_STREQ(label, "ERTIFICATE");  // the first letter of the label is dropped
    EXPECT_EQ(content(b), fileBytes(testData("asn1/pem_cert_a.der")));
    EXPECT_EQ(b.getReadPos(), 0u);
    EXPECT_EQ(b.getMaxSize(), b.getWritePos());
}

TEST(PemFile, BareBase64IsAccepted) {
    Buffer b;
    char label[kPEMLabelSize] = "unchanged";
    ASSERT_TRUE(b.fromPEMFile(testData("asn1/pem_cert_a.b64").c_str(), label));
    EXPECT_STREQ(label, "");
    EXPECT_EQ(content(b), fileBytes(testData("asn1/pem_cert_a.der")));
}

TEST(PemFile, BundleIsReadBlockByBlock) {
    int fd = open(testData("asn1/pem_bundle.pem").c_str(), O_RDONLY);
    ASSERT_GE(fd, 0);
    Buffer b;
    char label[kPEMLabelSize];
    std::vector<std::vector<unsigned char>> blocks;
    for (int guard = 0; guard < 10 && b.fromPEMFiles(fd, label) && b.getWritePos() > 0; ++guard) {
        EXPECT_STREQ(label, "CERTIFICATE");  // the stream reader keeps the label whole
        blocks.push_back(content(b));
    }
    close(fd);
    ASSERT_EQ(blocks.size(), 2u);
    EXPECT_EQ(blocks[0], fileBytes(testData("asn1/pem_cert_a.der")));
    EXPECT_EQ(blocks[1], fileBytes(testData("asn1/pem_cert_b.der")));
}

TEST_F(TempDir, TrailingBlankLineGivesOneEmptySuccess) {
    std::string pem = path("extra.pem");
    std::system(("cp " + testData("asn1/pem_cert_a.pem") + " " + pem + "; echo >> " + pem).c_str());
    int fd = open(pem.c_str(), O_RDONLY);
    Buffer b;
    EXPECT_TRUE(b.fromPEMFiles(fd, nullptr));
    EXPECT_GT(b.getWritePos(), 0u);
    EXPECT_TRUE(b.fromPEMFiles(fd, nullptr));
    EXPECT_EQ(b.getWritePos(), 0u);
    EXPECT_FALSE(b.fromPEMFiles(fd, nullptr));
    close(fd);
}

TEST_F(TempDir, OurPemIsReadByOpenssl) {
    Buffer der;
    ASSERT_TRUE(der.fromFile(testData("asn1/pem_cert_b.der").c_str()));
    ASSERT_TRUE(der.toPEMFile(path("ours.pem").c_str(), "CERTIFICATE"));
    std::string cmd = std::string(SIGILO_OPENSSL) + " x509 -in " + path("ours.pem") +
                      " -outform DER -out " + path("back.der");
    ASSERT_EQ(std::system(cmd.c_str()), 0);
    EXPECT_EQ(fileBytes(path("back.der")), fileBytes(testData("asn1/pem_cert_b.der")));

    std::vector<unsigned char> text = fileBytes(path("ours.pem"));
    std::string s(text.begin(), text.end());
    EXPECT_EQ(s.rfind("-----BEGIN CERTIFICATE-----\r\n", 0), 0u);
    EXPECT_NE(s.find("\r\n-----END CERTIFICATE-----\r\n"), std::string::npos);
}

TEST_F(TempDir, PemLinesAreSixtyFourCharacters) {
    Buffer b;
    std::vector<unsigned char> bytes(48, 0x5A);
    b.fromByteArray(bytes.data(), 48);
    ASSERT_TRUE(b.toPEMFile(path("48.txt").c_str(), nullptr));
    std::vector<unsigned char> text = fileBytes(path("48.txt"));
    ASSERT_EQ(text.size(), 66u);  // one line of 64 characters, CR LF, and no empty line
    EXPECT_EQ(text[64], '\r');
    EXPECT_EQ(text[65], '\n');
}

TEST_F(TempDir, DamagedPemFailsCleanly) {
    std::ofstream(path("bad.pem")) << "-----BEGIN CERTIFICATE-----\nZm9=v\n-----END X-----\n";
    Buffer b;
    EXPECT_FALSE(b.fromPEMFile(path("bad.pem").c_str(), nullptr));
    EXPECT_EQ(b.getWritePos(), 0u);
    std::ofstream(path("long.pem")) << "-----BEGIN " << std::string(500, 'L') << "\nZm9v\n";
    char label[kPEMLabelSize];
    EXPECT_TRUE(b.fromPEMFile(path("long.pem").c_str(), label));
    EXPECT_EQ(std::string(label).size(), kPEMLabelSize - 1);  // cut, never overrun
    EXPECT_FALSE(b.fromPEMFile(path("missing.pem").c_str(), nullptr));
}

TEST(PemFile, DecodePemOnlyTakesTextThatLooksLikeDer) {
    std::vector<unsigned char> der = fileBytes(testData("asn1/pem_cert_a.der"));
    Buffer b;
    b.fromByteArray(der.data(), static_cast<unsigned int>(der.size()));
    EXPECT_FALSE(b.decodePEM());
    EXPECT_EQ(content(b), der);

    std::vector<unsigned char> text = fileBytes(testData("asn1/pem_cert_a.b64"));
    b.fromByteArray(text.data(), static_cast<unsigned int>(text.size()));
    EXPECT_TRUE(b.decodePEM());
    EXPECT_EQ(content(b), der);
}

TEST_F(TempDir, FilesRoundTripWithAndWithoutLocks) {
    std::vector<unsigned char> bytes(100000);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(i * 7);
    Buffer b;
    b.fromByteArray(bytes.data(), static_cast<unsigned int>(bytes.size()));
    ASSERT_TRUE(b.toLockedFile(path("locked").c_str()));
    EXPECT_EQ(b.getReadPos(), b.getWritePos());
    struct stat st;
    ASSERT_EQ(stat(path("locked").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0644u);

    // A shorter save replaces the whole file.
    Buffer small;
    small.fromByteArray(bytes.data(), 10);
    ASSERT_TRUE(small.toLockedFile(path("locked").c_str()));
    Buffer back;
    ASSERT_TRUE(back.fromLockedFile(path("locked").c_str()));
    EXPECT_EQ(back.getWritePos(), 10u);

    ASSERT_TRUE(b.toFile(path("plain").c_str()));
    ASSERT_TRUE(back.fromFile(path("plain").c_str()));
    EXPECT_EQ(content(back), bytes);
    EXPECT_EQ(back.getMaxSize(), bytes.size());
    EXPECT_FALSE(back.fromFile(path("absent").c_str()));
    EXPECT_FALSE(back.fromFile(-1));
}

TEST_F(TempDir, PipeWithoutSizeIsReadWhole) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    std::vector<unsigned char> bytes(20000, 0x42);
    ASSERT_EQ(write(fds[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    close(fds[1]);
    Buffer b;
    ASSERT_TRUE(b.fromFile(fds[0]));
    close(fds[0]);
    EXPECT_EQ(content(b), bytes);
}

TEST_F(TempDir, AppendFromDescriptorStepsBackOneByte) {
    std::ofstream(path("f"), std::ios::binary) << "ABCDEFGH";
    int fd = open(path("f").c_str(), O_RDONLY);
    char first;
    ASSERT_EQ(read(fd, &first, 1), 1);
    Buffer b;
    b.writeByte('>');
    ASSERT_TRUE(b.fromFile(fd, 4));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(b._getData()), b.getWritePos()), ">ABCD");
    EXPECT_FALSE(b.fromFile(fd, 100));  // the file is shorter than that
    EXPECT_FALSE(b.fromFile(-2, 1));
    close(fd);
}

TEST_F(TempDir, DumpPacketWritesAPrivateFile) {
    Buffer b;
    unsigned char bytes[3] = {1, 2, 3};
    b.fromByteArray(bytes, 3);
    ASSERT_TRUE(b.dumpPacket(path("dump").c_str()));
    struct stat st;
    ASSERT_EQ(stat(path("dump").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    EXPECT_EQ(st.st_size, 3);
}

}  // namespace
