// The transport on its own: a listening Transport of the test on 127.0.0.1 as the peer, the
// waits bounded by the time-out, the end of the stream, and the no-SOCKS table.
#include "net/Transport.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

#include "asn1/Buffer.h"

namespace {

long secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() -
                                                            start)
        .count();
}

class TransportPair : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(listener.enableListen(static_cast<unsigned short>(0), 4), 0);
        port = listener.getListenPort();
        ASSERT_GT(port, 0);
        client.setTimeout(5);
        ASSERT_EQ(client.Connect("127.0.0.1", port), 0);
        ASSERT_EQ(Transport::Poll(5), &listener);
        ASSERT_EQ(listener.acceptConnection(), 0);
        listener.setTimeout(5);
    }
    Transport listener;
    Transport client;
    unsigned short port = 0;
};

TEST_F(TransportPair, BytesGoBothWaysInWholeBlocks) {
    EXPECT_STREQ(client.getPeer(), "127.0.0.1");
    EXPECT_STREQ(listener.getPeer(), "127.0.0.1");
    // More than one block of 1024 bytes, through a Buffer from its read position.
    std::string data(3000, 0);
    for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<char>(i * 7);
    Buffer out;
    out.fromByteArray(reinterpret_cast<const unsigned char*>(data.data()),
                      static_cast<unsigned int>(data.size()));
    out.setReadPos(1000);
    EXPECT_EQ(client.Send(&out, 2000), 0);
    EXPECT_EQ(out.getReadPos(), 3000u);
    EXPECT_EQ(client.Send(&out, 1), 1);
    Buffer in(2000);
    EXPECT_EQ(listener.Receive(&in, 2000), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(in._getData()), 2000), data.substr(1000));
    // No room for more in the buffer.
    EXPECT_EQ(listener.Receive(&in, 1), 1);
    // A second connect on a connected object changes nothing.
    EXPECT_EQ(client.Connect("127.0.0.1", port), 1);
    EXPECT_EQ(client.Send("ok", 2), 0);
    char two[2];
    EXPECT_EQ(listener.Receive(two, 2), 0);
    EXPECT_EQ(std::string(two, 2), "ok");
}

TEST_F(TransportPair, ASilentPeerTimesOutAndAClosedOneEndsTheStream) {
    client.setTimeout(1);
    char byte;
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(client.Receive(&byte, 1), Transport::kTimedOut);
    EXPECT_LT(secondsSince(start), 3);
    // Part of a block arrives, then the peer goes: the end of the stream is a failure.
    EXPECT_EQ(listener.Send("abc", 3), 0);
    listener.shutdownConnect();
    char four[4];
    EXPECT_EQ(client.Receive(four, 4), 1);
    EXPECT_EQ(client.Receive(&byte, 1), 1);
    client.shutdownConnect();
    EXPECT_FALSE(client.isConnected());
    EXPECT_EQ(client.Receive(&byte, 1), 1);
    EXPECT_EQ(client.Send("x", 1), 1);
}

TEST(Transport, RefusedAndUnknownPeers) {
    Transport t;
    t.setTimeout(5);
    EXPECT_NE(t.Connect("127.0.0.1", 9), 0);
    EXPECT_FALSE(t.isConnected());
    EXPECT_NE(t.Connect(static_cast<const char*>(nullptr), 80), 0);
    EXPECT_NE(t.Connect("/nonexistent/socket"), 0);
}

TEST(Transport, AUnixDomainPeer) {
    std::string path = ::testing::TempDir() + "/transport_test.sock";
    Transport listener;
    ASSERT_EQ(listener.enableListen(path.c_str()), 0);
    Transport client;
    ASSERT_EQ(client.Connect(path.c_str()), 0);
    EXPECT_STREQ(client.getPeer(), "unixSocket");
    ASSERT_EQ(listener.acceptConnection(), 0);
    EXPECT_EQ(client.Send("hi", 2), 0);
    char two[2];
    EXPECT_EQ(listener.Receive(two, 2), 0);
    EXPECT_EQ(std::string(two, 2), "hi");
    listener.closeListenAndConnect();
    unlink(path.c_str());
}

TEST(Transport, AnAttachedDescriptorReadsWhatWasWritten) {
    int fds[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    Transport t;
    ASSERT_EQ(t.attach(fds[0]), 0);
    EXPECT_EQ(t.attach(fds[1]), 1);
    ASSERT_EQ(write(fds[1], "xyz", 3), 3);
    close(fds[1]);
    char three[3];
    EXPECT_EQ(t.Receive(three, 3), 0);
    EXPECT_EQ(t.Receive(three, 1), 1);
}

TEST(NoSOCKS, TheTableHoldsTwentyNetworks) {
    Transport::clearSOCKS();
    EXPECT_EQ(Transport::setNoSOCKS("10.0.0.1", "not a mask"), 0);
    EXPECT_EQ(Transport::setNoSOCKS("host.name", "255.0.0.0"), 0);
    for (int i = 0; i < Transport::kMaxNoSOCKS; ++i) {
        std::string address = "10." + std::to_string(i) + ".0.0";
        EXPECT_EQ(Transport::setNoSOCKS(address.c_str(), "255.255.0.0"), 255) << i;
    }
    EXPECT_EQ(Transport::setNoSOCKS("192.168.0.0", "255.255.0.0"), 0);
    EXPECT_EQ(Transport::getNoSOCKSCount(), Transport::kMaxNoSOCKS);
    Transport::clearSOCKS();
    // A proxy brings the local networks (the loopback among them) into the table.
    Transport::setSOCKSProxy("127.0.0.1", 9, nullptr, nullptr);
    EXPECT_GE(Transport::getNoSOCKSCount(), 1);
    Transport::clearSOCKS();
    EXPECT_EQ(Transport::getNoSOCKSCount(), 0);
}

}  // namespace
