// The request of the verification server as the server reads it, and the wire form under it:
// requests written by python's own XML library are read; anything else is refused; and the
// length in front of a message is never believed past the reader's cap.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "asn1/Buffer.h"
#include "net/Transport.h"
#include "support/VecFile.h"
#include "trust/ServerRequest.h"
#include "xml/XMLFile.h"

namespace {

bool readRequest(const std::string& text, ServerRequest* request) {
    Buffer buffer;
    XMLFile xml(&buffer);
    if (!xml.parse(text.c_str(), static_cast<int>(text.size()), 1)) return false;
    return request->read(&xml) != 0;
}

// Requests written by python's xml.etree: the opCode, the switches given, the certificate.
std::string pythonRequest(const std::string& opCode, const std::string& skips,
                          const std::string& cert) {
    std::string dir = ::testing::TempDir();
    std::string script = dir + "/make_request.py";
    std::ofstream(script) << "import sys, xml.etree.ElementTree as E\n"
                             "root = E.Element('sigiloRequest')\n"
                             "E.SubElement(root, 'opCode').text = sys.argv[1]\n"
                             "for s in sys.argv[2].split():\n"
                             "    E.SubElement(root, s)\n"
                             "if sys.argv[3]:\n"
                             "    E.SubElement(root, 'cert').text = sys.argv[3]\n"
                             "sys.stdout.write(E.tostring(root, encoding='unicode'))\n";
    std::string out = dir + "/request.xml";
    std::string command = std::string(SIGILO_PYTHON3) + " '" + script + "' '" + opCode + "' '" +
                          skips + "' '" + cert + "' > '" + out + "'";
    EXPECT_EQ(system(command.c_str()), 0);
    std::ifstream in(out, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

TEST(ServerRequestReading, RequestsOfAnotherWriterAreRead) {
    ServerRequest request;
    ASSERT_TRUE(readRequest(pythonRequest("101", "", "TUlJQg=="), &request));
    EXPECT_EQ(request.getOpCode(), 101);
    EXPECT_EQ(request.getCertificate(), "TUlJQg==");
    EXPECT_EQ(request.getCheckCRL(), 255);
    EXPECT_EQ(request.getCheckCACRL(), 255);
    EXPECT_EQ(request.getUseOCSP(), 255);
    EXPECT_EQ(request.getCheckCertificateValidity(), 255);

    ASSERT_TRUE(readRequest(pythonRequest("102", "skipCheckCRL skipOCSP", "QQ=="), &request));
    EXPECT_EQ(request.getOpCode(), 102);
    EXPECT_EQ(request.getCheckCRL(), 0);
    EXPECT_EQ(request.getCheckCACRL(), 255);
    EXPECT_EQ(request.getUseOCSP(), 0);
    EXPECT_EQ(request.getCheckCertificateValidity(), 255);

    ASSERT_TRUE(
        readRequest(pythonRequest("100", "skipCheckCACRL skipCertValidityCheck", ""), &request));
    EXPECT_EQ(request.getOpCode(), 100);
    EXPECT_EQ(request.getCheckCACRL(), 0);
    EXPECT_EQ(request.getCheckCertificateValidity(), 0);
}

TEST(ServerRequestReading, WhatIsNoRequestIsRefused) {
    ServerRequest request;
    for (const char* text : {
             "<other><opCode>100</opCode></other>",
             "<sigiloRequest/>",
             "<sigiloRequest><opCode>103</opCode></sigiloRequest>",
             "<sigiloRequest><opCode>-100</opCode></sigiloRequest>",
             "<sigiloRequest><opCode>101x</opCode><cert>QQ==</cert></sigiloRequest>",
             "<sigiloRequest><opCode>10100</opCode><cert>QQ==</cert></sigiloRequest>",
             // A certificate request without a certificate.
             "<sigiloRequest><opCode>101</opCode></sigiloRequest>",
             "<sigiloRequest><opCode>102</opCode><cert></cert></sigiloRequest>",
             // Only the root's own children count.
             "<sigiloRequest><x><opCode>100</opCode></x></sigiloRequest>",
         }) {
        EXPECT_FALSE(readRequest(text, &request)) << text;
    }
    std::string big = "<sigiloRequest><opCode>101</opCode><cert>" +
                      std::string(ServerRequest::kMaxCertText + 1, 'A') + "</cert></sigiloRequest>";
    EXPECT_FALSE(readRequest(big, &request));
}

TEST(ServerRequestReading, ABuiltRequestReadsBack) {
    ServerRequest sent;
    sent.setOpCode(102);
    sent.setCheckCACRL(0);
    sent.setUseOCSP(0);
    sent.setCertificate("QUJD");
    Buffer buffer;
    XMLFile xml(&buffer);
    ASSERT_EQ(sent.build(&xml), 255);
    std::string text;
    for (const char* p = xml.getXML(1); *p; ++p) {
        if (*p != '\n') text += *p;
    }
    EXPECT_NE(text.find("<sigiloRequest><opCode>102</opCode><skipCheckCACRL/><skipOCSP/>"
                        "<cert>QUJD</cert></sigiloRequest>"),
              std::string::npos)
        << text;
    ServerRequest read;
    ASSERT_TRUE(readRequest(text, &read));
    EXPECT_EQ(read.getOpCode(), 102);
    EXPECT_EQ(read.getCheckCRL(), 255);
    EXPECT_EQ(read.getCheckCACRL(), 0);
    EXPECT_EQ(read.getUseOCSP(), 0);
    EXPECT_EQ(read.getCertificate(), "QUJD");
}

// One message read from bytes a peer sent and then closed.
class WireForm : public ::testing::Test {
protected:
    unsigned char receive(const std::string& bytes, unsigned int cap) {
        int fds[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
        EXPECT_EQ(write(fds[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        close(fds[1]);
        Transport transport;
        transport.setTimeout(2);
        EXPECT_EQ(transport.attach(fds[0]), 0);
        return xml.fromNetwork(&transport, nullptr, cap);
    }
    static std::string framed(const std::string& text) {
        unsigned int n = static_cast<unsigned int>(text.size());
        return std::string({static_cast<char>(n >> 24), static_cast<char>(n >> 16),
                            static_cast<char>(n >> 8), static_cast<char>(n)}) +
               text;
    }
    Buffer buffer;
    XMLFile xml{&buffer};
};

TEST_F(WireForm, AWholeMessageParses) {
    ASSERT_EQ(receive(framed("<a><b>1</b></a>"), 100), 255);
    char* value = xml.getTagValue("b");
    ASSERT_NE(value, nullptr);
    EXPECT_STREQ(value, "1");
    XMLFile::freeTagValue(value);
}

TEST_F(WireForm, BadLengthsAndShortTextsAreRefused) {
    EXPECT_EQ(receive(std::string("\x00\x00", 2), 100), 0);
    EXPECT_EQ(receive(std::string("\x00\x00\x00\x00", 4), 100), 0);
    EXPECT_EQ(receive(std::string("\xFF\xFF\xFF\xFF<a/>", 8), 100), 0);
    // One byte over the cap, and a text cut short.
    EXPECT_EQ(receive(framed(std::string(101, ' ')), 100), 0);
    EXPECT_EQ(receive(framed("<a>long enough</a>").substr(0, 10), 100), 0);
    EXPECT_EQ(receive(framed("<a>unclosed"), 100), 0);
}

TEST_F(WireForm, WhatIsSentIsWhatIsRead) {
    int fds[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    Transport sender;
    ASSERT_EQ(sender.attach(fds[1]), 0);
    Buffer outBuffer;
    XMLFile out(&outBuffer);
    out.openTag("sigiloResponse");
    out.insertTag("errorCode", "1408");
    out.closeTag();
    ASSERT_EQ(out.toNetwork(&sender), 255);
    sender.shutdownConnect();
    Transport receiver;
    receiver.setTimeout(2);
    ASSERT_EQ(receiver.attach(fds[0]), 0);
    ASSERT_EQ(xml.fromNetwork(&receiver), 255);
    char* value = xml.getTagValue("errorCode");
    ASSERT_NE(value, nullptr);
    EXPECT_STREQ(value, "1408");
    XMLFile::freeTagValue(value);
}

}  // namespace
