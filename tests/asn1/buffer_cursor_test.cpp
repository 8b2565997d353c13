// The byte cursor under every reader: positions, bounds, growth and the guard value.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "asn1/Buffer.h"

namespace {

std::unique_ptr<Buffer> bufferOf(std::initializer_list<unsigned char> bytes) {
    auto b = std::make_unique<Buffer>();
    std::vector<unsigned char> v(bytes);
    b->fromByteArray(v.data(), static_cast<unsigned int>(v.size()));
    return b;
}

TEST(BufferCursor, ReadPastEndYieldsGuardWithoutMoving) {
    auto b = bufferOf({0x05});
    EXPECT_EQ(b->readByte(), 0x05);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(b->readByte(), kBufferGuardByte);
    EXPECT_EQ(b->getReadPos(), 1u);
    EXPECT_EQ(b->peekByte(), kBufferGuardByte);
    EXPECT_EQ(b->peekByte(0xFFFFFFFFu), kBufferGuardByte);
}

TEST(BufferCursor, EmptyBufferNeverTouchesMemory) {
    Buffer b;
    EXPECT_EQ(b._getData(), nullptr);
    EXPECT_EQ(b.readByte(), kBufferGuardByte);
    EXPECT_EQ(b.peekByte(7), kBufferGuardByte);
    unsigned char out[4] = {9, 9, 9, 9};
    EXPECT_EQ(b.readBytes(out, 4), 0u);
    EXPECT_EQ(out[0], 9);
    unsigned char tag;
    unsigned int len;
    EXPECT_EQ(b.readASN1Header(&tag, &len), 0);
}

TEST(BufferCursor, ReadBytesStopsAtTheBound) {
    auto b = bufferOf({1, 2, 3});
    b->readByte();
    unsigned char out[8] = {};
    EXPECT_EQ(b->readBytes(out, 8), 2u);
    EXPECT_EQ(out[0], 2);
    EXPECT_EQ(out[1], 3);
    EXPECT_TRUE(b->isEmpty());
}

TEST(BufferCursor, BoundIsMaxSizeNotWritePos) {
    Buffer b(8);
    b.writeByte(0x11);
    // Bytes between the write position and the bound are readable (zeroed at allocation).
    EXPECT_EQ(b.peekByte(1), 0);
    EXPECT_EQ(b.peekByte(8), kBufferGuardByte);
    b.setMaxSize(1);
    EXPECT_EQ(b.peekByte(1), kBufferGuardByte);
    b.setMaxSize(100);  // never above the capacity
    EXPECT_EQ(b.getMaxSize(), 8u);
}

TEST(BufferCursor, PositionsClampToTheBound) {
    Buffer b(10);
    b.setReadPos(50);
    b.setWritePos(60);
    EXPECT_EQ(b.getReadPos(), 10u);
    EXPECT_EQ(b.getWritePos(), 10u);
    EXPECT_TRUE(b.isFull());
    b.setMaxSize(4);
    EXPECT_EQ(b.getReadPos(), 4u);
    b.rewind();
    EXPECT_EQ(b.getReadPos() + b.getWritePos(), 0u);
}

TEST(BufferCursor, WritesGrowAndKeepEveryByte) {
    Buffer b;
    for (int i = 0; i < 10000; ++i) b.writeByte(static_cast<unsigned char>(i));
    EXPECT_EQ(b.getWritePos(), 10000u);
    for (int i = 0; i < 10000; ++i) ASSERT_EQ(b.readByte(), static_cast<unsigned char>(i));
    // Single-byte writes grow a page at a time; multi-byte writes to the exact size.
    Buffer exact;
    std::vector<unsigned char> chunk(300, 0xAB);
    exact.writeBytes(chunk.data(), 300);
    EXPECT_EQ(exact.getMaxSize(), 300u);
    exact.writeByte(1);
    EXPECT_EQ(exact.getMaxSize(), 300u + 4096u);
    EXPECT_EQ(exact._getData()[300], 1);
}

TEST(BufferCursor, EnlargeKeepsContentAndPositions) {
    Buffer b(4);
    unsigned char four[4] = {1, 2, 3, 4};
    b.writeBytes(four, 4);
    b.readByte();
    b.enlarge(2);  // never shrinks
    EXPECT_EQ(b.getMaxSize(), 4u);
    b.enlarge(1000);
    EXPECT_EQ(b.getMaxSize(), 1000u);
    EXPECT_EQ(b.getReadPos(), 1u);
    EXPECT_EQ(b.getWritePos(), 4u);
    EXPECT_EQ(memcmp(b._getData(), four, 4), 0);
}

TEST(BufferCursor, FromByteArrayBoundsReadsToTheNewContent) {
    Buffer b;
    std::vector<unsigned char> big(100, 0x30), small = {0x04, 0x01};
    b.fromByteArray(big.data(), 100);
    b.fromByteArray(small.data(), 2);
    EXPECT_EQ(b.getMaxSize(), 2u);
    b.readByte();
    b.readByte();
    EXPECT_EQ(b.readByte(), kBufferGuardByte);  // nothing of the earlier content shows through
    b.fromByteArray(nullptr, 5);                // a null array changes nothing
    EXPECT_EQ(b.getWritePos(), 2u);
}

TEST(BufferCursor, ShapeCopyAndByteArrays) {
    Buffer source(64);
    source.writeByte(7);
    Buffer shape(&source);
    EXPECT_EQ(shape.getMaxSize(), 64u);
    EXPECT_EQ(shape.getWritePos(), 0u);

    unsigned char* copy;
    unsigned long n;
    source.toByteArray(&copy, &n);
    EXPECT_EQ(n, 1u);
    EXPECT_EQ(copy[0], 7);
    delete[] copy;

    unsigned char lent[3] = {0x05, 0x00, 0x42};
    Buffer borrowed;
    borrowed.useByteArray(lent, 3);
    EXPECT_EQ(borrowed.readNULL(), 255);
    EXPECT_EQ(borrowed.readByte(), 0x42);
    EXPECT_EQ(borrowed.readByte(), kBufferGuardByte);
    borrowed.useByteArray(nullptr, 0);  // hand the array back before destruction
}

TEST(BufferCursor, ReadBytesArrayIsShortenedAtTheEnd) {
    auto b = bufferOf({9, 8});
    unsigned char* p = b->readBytes(10);
    EXPECT_EQ(p[0], 9);
    EXPECT_EQ(p[1], 8);
    EXPECT_EQ(b->getReadPos(), 2u);
    delete[] p;
}

}  // namespace
