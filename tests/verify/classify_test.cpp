// Classification of every input type, on files made by openssl, asn1crypto, Python's email
// package and xmlsec1 (tests/data/verify/gen_inputs.py); the expected types are in
// classify.vec.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "asn1/Buffer.h"
#include "support/VecFile.h"
#include "verify/DocVerifier.h"
#include "verify/TrustStore.h"

namespace {

class Classify : public ::testing::Test {
protected:
    UnavailableTrustStore store;
    DocVerifier verifier{nullptr, &store};
};

TEST_F(Classify, FilesAndTheirBytesByTheTable) {
    std::vector<VecCase> cases = casesOfKind(readVecFile(testData("verify/classify.vec")), "input");
    ASSERT_GE(cases.size(), 20u);
    for (const VecCase& c : cases) {
        std::string path = testData("verify/" + c.get("name"));
        EXPECT_EQ(static_cast<int>(verifier.guessInputType(path.c_str())), std::stoi(c.get("file")))
            << c.get("name") << " (" << c.where() << ")";
        if (!c.has("buffer")) continue;
        // The same bytes in memory, behind a few bytes that are not part of them: the read
        // position says where the input starts, and it is left where it was.
        Buffer whole;
        ASSERT_TRUE(whole.fromFile(path.c_str())) << path;
        Buffer b;
        b.fromByteArray(reinterpret_cast<const unsigned char*>("\x05\x04\x03"), 3);
        b.writeBytes(whole._getData(), whole.getWritePos());
        b.setReadPos(3);
        EXPECT_EQ(static_cast<int>(verifier.guessInputType(&b)), std::stoi(c.get("buffer")))
            << c.get("name") << " in a buffer (" << c.where() << ")";
        EXPECT_EQ(b.getReadPos(), 3u) << c.get("name");
    }
}

TEST_F(Classify, DERFilesAreJudgedByTheirFirst128BytesAlone) {
    // The DER envelope with everything after its first 128 bytes replaced: still PKCS#7.
    Buffer whole;
    ASSERT_TRUE(whole.fromFile(testData("verify/doc_der.p7m").c_str()));
    std::string path = ::testing::TempDir() + "/prefix_only.p7m";
    Buffer cut;
    cut.fromByteArray(whole._getData(), 128);
    for (int i = 0; i < 50; ++i) cut.writeByte(0xEE);
    ASSERT_TRUE(cut.toFile(path.c_str()));
    EXPECT_EQ(verifier.guessInputType(path.c_str()), InputPKCS7);
    // And one byte short of 128 it is unreadable, whatever it holds.
    cut.fromByteArray(whole._getData(), 127);
    ASSERT_TRUE(cut.toFile(path.c_str()));
    EXPECT_EQ(verifier.guessInputType(path.c_str()), InputUnreadable);
}

TEST_F(Classify, OnlyRegularFilesAreRead) {
    EXPECT_EQ(verifier.guessInputType(::testing::TempDir().c_str()), InputUnreadable);
    EXPECT_EQ(verifier.guessInputType("/dev/zero"), InputUnreadable);
    EXPECT_EQ(verifier.guessInputType(""), InputUnreadable);
    EXPECT_EQ(verifier.guessInputType(static_cast<const char*>(nullptr)), InputUnreadable);
}

TEST_F(Classify, ShortBuffersAndTextMarkers) {
    struct Case {
        const char* bytes;
        unsigned int length;
        InputType type;
    } cases[] = {
        {"%PDF-", 5, InputPDF},
        {"<", 1, InputXML},
        {"   <?xml version=\"1.0\"?>", 25, InputXML},  // found inside the first 16 bytes
        {"    <?xml version=\"1.0\"?>", 26, InputUnknown},  // ends past them
        {"0", 1, InputUnknown},
        {"", 0, InputUnknown},
        // A SEQUENCE holding a SEQUENCE: a TimeStampResp, whatever follows.
        {"\x30\x03\x30\x01\x02", 5, InputTSR},
        // A ContentInfo of signedData whose version is 2.
        {"\x30\x13\x06\x09\x2a\x86\x48\x86\xf7\x0d\x01\x07\x02\xa0\x06\x30\x04\x02\x01\x02\x31",
         21, InputUnknown},
        // The same with version 1, cut right after it: PKCS#7.
        {"\x30\x13\x06\x09\x2a\x86\x48\x86\xf7\x0d\x01\x07\x02\xa0\x06\x30\x04\x02\x01\x01", 20,
         InputPKCS7},
        // Version 3 cut before its content type: a token, for the token driver to refuse.
        {"\x30\x13\x06\x09\x2a\x86\x48\x86\xf7\x0d\x01\x07\x02\xa0\x06\x30\x04\x02\x01\x03", 20,
         InputTST},
        // The right OID outside a [0] wrapper.
        {"\x30\x0d\x06\x09\x2a\x86\x48\x86\xf7\x0d\x01\x07\x02\x30\x00", 15, InputUnknown},
    };
    for (const Case& c : cases) {
        Buffer b;
        b.fromByteArray(reinterpret_cast<const unsigned char*>(c.bytes), c.length);
        EXPECT_EQ(verifier.guessInputType(&b), c.type) << "case " << (&c - cases);
        EXPECT_EQ(b.getReadPos(), 0u);
    }
    EXPECT_EQ(verifier.guessInputType(static_cast<Buffer*>(nullptr)), InputUnknown);
}

}  // namespace
