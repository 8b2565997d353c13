// PlainData: the copying and the no-copy readers, and who frees what.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "asn1/Buffer.h"
#include "pkix/PlainData.h"
#include "support/VecFile.h"

namespace {

std::unique_ptr<Buffer> bufferOf(const std::vector<unsigned char>& v) {
    auto b = std::make_unique<Buffer>();
    b->fromByteArray(v.data(), static_cast<unsigned int>(v.size()));
    return b;
}

TEST(PlainData, NoCopyReadBorrowsAPrimitiveString) {
    auto in = bufferOf(fromHex("0405" "68656c6c6f"));
    PlainData data;
    ASSERT_EQ(data._unwrapASN1(in.get()), 1);
    EXPECT_TRUE(data.isBorrowed());
    EXPECT_EQ(data._getData(), in->_getData() + 2);
    // A clone shares the borrowed bytes, and neither frees them (LeakSanitizer and ASan would
    // complain about a double or foreign free).
    std::unique_ptr<PlainData> copy(data.clone());
    EXPECT_EQ(copy->_getData(), data._getData());
    EXPECT_EQ(copy->getLength(), 5u);
}

TEST(PlainData, NoCopyReadOwnsAnAssembledString) {
    auto in = bufferOf(fromHex("2480" "0402aabb" "0401cc" "0000"));
    PlainData data;
    ASSERT_EQ(data._unwrapASN1(in.get()), 1);
    EXPECT_FALSE(data.isBorrowed());
    EXPECT_EQ(toHex(data._getData(), data.getLength()), "aabbcc");
    std::unique_ptr<PlainData> copy(data.clone());
    EXPECT_NE(copy->_getData(), data._getData());
}

TEST(PlainData, CopyingReadAndWrite) {
    std::vector<unsigned char> der = fromHex("0403010203");
    auto in = bufferOf(der);
    PlainData data;
    ASSERT_TRUE(data.unwrapASN1(in.get()));
    EXPECT_FALSE(data.isBorrowed());
    in.reset();  // the data outlives the buffer
    EXPECT_EQ(toHex(data._getData(), data.getLength()), "010203");
    Buffer out;
    out.enlarge(data.getWrapLength(&out));
    data.wrapASN1(&out);
    EXPECT_EQ(std::vector<unsigned char>(out._getData(), out._getData() + out.getWritePos()), der);
}

TEST(PlainData, SetDataReplacesBorrowedBytesWithACopy) {
    auto in = bufferOf(fromHex("0401ff"));
    PlainData data;
    ASSERT_EQ(data._unwrapASN1(in.get()), 1);
    unsigned char mine[2] = {1, 2};
    data.setData(mine, 2);
    EXPECT_FALSE(data.isBorrowed());
    EXPECT_NE(data._getData(), mine);
    data.setData(nullptr, 0);
    EXPECT_EQ(data._getData(), nullptr);
    EXPECT_EQ(data.getData(), nullptr);
}

TEST(PlainData, FailuresLeaveNothingToFree) {
    for (const char* hex : {"", "0405aa", "0300", "2480040100", "04"}) {
        auto in = bufferOf(fromHex(hex));
        PlainData borrowed, copied;
        EXPECT_EQ(borrowed._unwrapASN1(in.get()), 0) << hex;
        in->rewind();
        in->setWritePos(static_cast<unsigned int>(fromHex(hex).size()));
        EXPECT_EQ(copied.unwrapASN1(in.get()), 0) << hex;
    }
    // NULL in place of the data is an absent content, not an error.
    auto null = bufferOf(fromHex("0500"));
    PlainData absent;
    EXPECT_EQ(absent._unwrapASN1(null.get()), 1);
    EXPECT_EQ(absent._getData(), nullptr);
}

}  // namespace
