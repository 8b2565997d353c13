// SecureBuffer hands stretches of its bytes to the device: in one call below half a MiB and in
// pieces above, with every byte passed exactly once.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "asn1/SecureBuffer.h"
#include "crypto/CryptoDevice.h"
#include "crypto/DigestInfo.h"
#include "crypto/Signature.h"

namespace {

// Records what it is given; the "digest" is the byte count and a checksum of the bytes.
class RecordingDevice : public CryptoDevice {
public:
    std::vector<std::string> calls;
    unsigned long total = 0, sum = 0;

    DigestInfo* digest(const unsigned char* p, unsigned long n) override {
        calls.push_back("digest " + std::to_string(n));
        add(p, n);
        return result();
    }
    unsigned char initDigest() override {
        calls.push_back("init");
        return 255;
    }
    unsigned char updateDigest(const unsigned char* p, unsigned long n) override {
        calls.push_back("update " + std::to_string(n));
        add(p, n);
        return 255;
    }
    DigestInfo* finalDigest() override {
        calls.push_back("final");
        return result();
    }
    Signature* sign(const unsigned char* p, unsigned long n) override {
        calls.push_back("sign " + std::to_string(n));
        add(p, n);
        return new Signature(reinterpret_cast<const unsigned char*>("s"), 1);
    }
    unsigned char initSign() override {
        calls.push_back("initSign");
        return 255;
    }
    unsigned char updateSign(const unsigned char* p, unsigned long n) override {
        calls.push_back("updateSign " + std::to_string(n));
        add(p, n);
        return 255;
    }
    Signature* finalSign() override {
        calls.push_back("finalSign");
        return new Signature(reinterpret_cast<const unsigned char*>("s"), 1);
    }

private:
    void add(const unsigned char* p, unsigned long n) {
        total += n;
        for (unsigned long i = 0; i < n; ++i) sum += p[i];
    }
    DigestInfo* result() {
        unsigned char bytes[2] = {static_cast<unsigned char>(total), 0};
        return new DigestInfo("1.3.14.3.2.26", bytes, 2);
    }
};

std::unique_ptr<SecureBuffer> filled(unsigned int n, CryptoDevice* device) {
    auto b = std::make_unique<SecureBuffer>(n, device);
    std::vector<unsigned char> bytes(n);
    for (unsigned int i = 0; i < n; ++i) bytes[i] = static_cast<unsigned char>(i % 251);
    b->writeBytes(bytes.data(), n);
    return b;
}

unsigned long checksum(unsigned int from, unsigned int to) {
    unsigned long sum = 0;
    for (unsigned int i = from; i < to; ++i) sum += i % 251;
    return sum;
}

TEST(SecureBuffer, ShortStretchGoesInOneCall) {
    RecordingDevice device;
    auto b = filled(SecureBuffer::kDigestStep - 1, &device);
    std::unique_ptr<DigestInfo> d(b->digestOutputMessage());
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(device.calls, std::vector<std::string>{"digest 524287"});
    EXPECT_EQ(device.sum, checksum(0, SecureBuffer::kDigestStep - 1));
}

TEST(SecureBuffer, LongStretchGoesInPieces) {
    RecordingDevice device;
    const unsigned int size = 2 * SecureBuffer::kDigestStep + 10;
    auto b = filled(size, &device);
    std::unique_ptr<DigestInfo> d(b->digestOutputMessage(5));
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(device.calls, (std::vector<std::string>{"init", "update 524288", "update 524288",
                                                      "update 5", "final"}));
    EXPECT_EQ(device.total, size - 5);
    EXPECT_EQ(device.sum, checksum(5, size));

    RecordingDevice signer;
    b->setCryptoDevice(&signer);
    std::unique_ptr<Signature> s(b->signMessage());
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(signer.calls.front(), "initSign");
    EXPECT_EQ(signer.calls.back(), "finalSign");
    EXPECT_EQ(signer.total, size);
}

TEST(SecureBuffer, InputFormsEndAtTheReadPosition) {
    RecordingDevice device;
    auto b = filled(1000, &device);
    b->setReadPos(600);
    std::unique_ptr<DigestInfo> d(b->digestInputMessage(100));
    EXPECT_EQ(device.calls, std::vector<std::string>{"digest 500"});
    EXPECT_EQ(device.sum, checksum(100, 600));
    std::unique_ptr<DigestInfo> range(b->digestInputMessage(10, 20));
    EXPECT_EQ(device.calls.back(), "digest 10");
    std::unique_ptr<DigestInfo> stepped(b->digestMessage(0, 1000, 300));
    EXPECT_EQ(device.calls.size(), 2u + 6u);  // init, 4 pieces, final
}

TEST(SecureBuffer, StretchesNeverReachPastTheData) {
    RecordingDevice device;
    auto b = filled(100, &device);
    std::unique_ptr<DigestInfo> past(b->digestInputMessage(50, 5000));
    EXPECT_EQ(device.calls.back(), "digest 50");
    std::unique_ptr<DigestInfo> backwards(b->digestInputMessage(80, 20));
    EXPECT_EQ(device.calls.back(), "digest 0");
    std::unique_ptr<DigestInfo> beyond(b->digestOutputMessage(500));
    EXPECT_EQ(device.calls.back(), "digest 0");
}

TEST(SecureBuffer, WithoutADeviceEverythingFails) {
    auto b = filled(10, nullptr);
    EXPECT_EQ(b->digestOutputMessage(), nullptr);
    EXPECT_EQ(b->signMessage(), nullptr);
    EXPECT_FALSE(b->setDigestAlgorithm(nullptr));
    unsigned long n = 1;
    EXPECT_EQ(b->getCiphered(&n), nullptr);
    EXPECT_EQ(n, 0u);
    EXPECT_FALSE(b->setFromCiphered());
    // A device with no module answers, but refuses: cryptoki is not initialised.
    CryptoDevice bare;
    b->setCryptoDevice(&bare);
    EXPECT_EQ(b->digestOutputMessage(), nullptr);
    EXPECT_EQ(bare.getErrorCodeNumeric(), 0x190u);
    EXPECT_EQ(b->getSignLength(), 132u);
}

}  // namespace
