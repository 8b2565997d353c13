// Constructed values whose declared definite length disagrees with the children inside them,
// in files made by openssl with one length byte changed (tests/data/engine/gen_mismatched.py):
// openssl refuses each of them, and so do the certificate and envelope readers.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "asn1/Buffer.h"
#include "asn1/SecureBuffer.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "pkix/Certificate.h"
#include "pkix/ContentInfo.h"
#include "pkix_test_support.h"

namespace {

std::string engineFile(const std::string& name) {
    return testData("engine/" + name);
}

// Whether the openssl command line accepts the file under the given command.
bool opensslAccepts(const std::string& arguments) {
    std::string command = std::string(SIGILO_OPENSSL) + " " + arguments + " >/dev/null 2>&1";
    return system(command.c_str()) == 0;
}

unsigned char readCertificate(const std::string& path, bool secure) {
    CryptoKi ki;
    CryptoDevice device(&ki);
    if (device.openToken(0, nullptr, 0) == 0) return 0;
    SecureBuffer sb(&device);
    Buffer plain;
    Buffer& b = secure ? static_cast<Buffer&>(sb) : plain;
    if (!b.fromFile(path.c_str())) return 0;
    Certificate c;
    return secure ? c.unwrapASN1(&sb) : c.unwrapASN1(&b);
}

TEST(DefiniteLengths, CertificatesWhoseLengthsDisagreeAreRefused) {
    const std::string good = engineFile("lengths_cert.der");
    ASSERT_TRUE(opensslAccepts("x509 -inform DER -noout -in " + good));
    EXPECT_NE(readCertificate(good, false), 0);
    EXPECT_NE(readCertificate(good, true), 0);
    for (const char* name : {"lengths_cert_tbs_long.der", "lengths_cert_tbs_short.der",
                             "lengths_cert_validity_long.der"}) {
        SCOPED_TRACE(name);
        const std::string path = engineFile(name);
        EXPECT_FALSE(opensslAccepts("asn1parse -inform DER -in " + path));
        EXPECT_FALSE(opensslAccepts("x509 -inform DER -noout -in " + path));
        EXPECT_EQ(readCertificate(path, false), 0);
        EXPECT_EQ(readCertificate(path, true), 0);
    }
}

TEST(DefiniteLengths, EnvelopesWhoseLengthsDisagreeAreRefused) {
    struct Case {
        const char* name;
        unsigned char result;
    };
    // The signer certificate's fault shows as a failed certificate set (2), the others as a
    // failed envelope (0).
    for (const Case& c :
         {Case{"cades.p7m", 1}, Case{"lengths_attrs_short.p7m", 0},
          Case{"lengths_attrs_long.p7m", 0}, Case{"lengths_cert_tbs_long.p7m", 2}}) {
        SCOPED_TRACE(c.name);
        const std::string path = engineFile(c.name);
        const std::string verify = "cms -verify -noverify -inform DER -out /dev/null -in " + path;
        EXPECT_EQ(opensslAccepts("asn1parse -inform DER -in " + path), c.result == 1);
        EXPECT_EQ(opensslAccepts(verify), c.result == 1);
        Buffer file;
        ASSERT_TRUE(file.fromFile(path.c_str()));
        Bytes der(file._getData(), file._getData() + file.getWritePos());
        ContentInfo borrowed;
        EXPECT_EQ(borrowed._unwrapASN1(&file), c.result);
        ContentInfo copied;
        EXPECT_EQ(copied.unwrapASN1(bufferOf(der).get()), c.result);
    }
}

}  // namespace
