// The records an envelope is unpacked into: certificates of both families from envelopes made
// by openssl (tests/data/verify/gen_inputs.py), their lookups, copies that outlive the table,
// the digest table against openssl's digests of the same content, and the bounds of both
// tables.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

#include "asn1/Buffer.h"
#include "asn1/OIDList.h"
#include "crypto/AlgorithmIdentifier.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "crypto/DigestInfo.h"
#include "pkix/Certificate.h"
#include "pkix/CertificateChoices.h"
#include "pkix/ContentInfo.h"
#include "pkix/EncapsulatedContentInfo.h"
#include "pkix/Name.h"
#include "pkix/SignedData.h"
#include "support/VecFile.h"
#include "verify/DocVerifier.h"
#include "verify/TrustStore.h"

namespace {

// The first line an openssl command prints.
std::string opensslLine(const std::string& arguments) {
    std::string command = std::string(SIGILO_OPENSSL) + " " + arguments + " 2>/dev/null";
    FILE* p = popen(command.c_str(), "r");
    char line[512] = {0};
    if (p != nullptr) {
        if (fgets(line, sizeof line, p) == nullptr) line[0] = 0;
        pclose(p);
    }
    std::string s(line);
    while (!s.empty() && (s.back() == '\n' || s.back() == '\r')) s.pop_back();
    return s;
}

std::string signerCert() {
    return testData("verify/signer_cert.pem");
}

class Records : public ::testing::Test {
protected:
    void SetUp() override {
        device = std::make_unique<CryptoDevice>(&ki);
        ASSERT_NE(device->openToken(0, nullptr, 0), 0u);
        verifier = std::make_unique<DocVerifier>(device.get(), &store);
    }

    // Reads an envelope of the test data into info (the file stays in file).
    void read(const std::string& name) {
        ASSERT_TRUE(file.fromFile(testData("verify/" + name).c_str()));
        ASSERT_EQ(info._unwrapASN1(&file), 1);
    }

    CryptoKi ki;
    std::unique_ptr<CryptoDevice> device;
    UnavailableTrustStore store;
    std::unique_ptr<DocVerifier> verifier;
    Buffer file;
    ContentInfo info;
};

TEST_F(Records, CertificatesOfBothFamiliesAndTheirLookups) {
    std::string serial = opensslLine("x509 -noout -serial -in " + signerCert()).substr(7);
    // "5F:D8:..." on the line after the header.
    std::string keyIdText = opensslLine("x509 -noout -ext subjectKeyIdentifier -in " +
                                        signerCert() + " | sed -n 2p | tr -d ' :'");
    ASSERT_FALSE(keyIdText.empty());
    std::vector<unsigned char> keyId = fromHex(keyIdText);

    read("doc_der.p7m");
    auto* pkcs7 = dynamic_cast<PKCS7SignedData*>(info._getContent());
    ASSERT_NE(pkcs7, nullptr);
    verifier->getCertificates(pkcs7);
    const infoEntry* table = verifier->_getPKCS7Infos();
    ASSERT_NE(table[0].serial, nullptr);
    EXPECT_STREQ(table[0].serial, std::string(serial.size() % 2 ? "0" + serial : serial).c_str());
    EXPECT_EQ(table[1].serial, nullptr);
    ASSERT_NE(table[0].subjectKeyId, nullptr);
    EXPECT_EQ(std::vector<unsigned char>(table[0].subjectKeyId,
                                         table[0].subjectKeyId + table[0].subjectKeyIdLen),
              keyId);
    ASSERT_NE(table[0].keyUsage, nullptr);
    // digitalSignature and nonRepudiation: the two top bits.
    EXPECT_EQ(table[0].keyUsage[0] & 0xC0, 0xC0);
    EXPECT_NE(table[0].validity, nullptr);
    EXPECT_NE(table[0].certificate, nullptr);
    EXPECT_EQ(records::searchInfo(table, table[0].serial, table[0].issuer), 0);
    EXPECT_EQ(records::searchInfo(table, "7FFF", table[0].issuer), -1);
    EXPECT_EQ(records::searchInfo(table, table[0].serial, table[0].subject), -1);
    EXPECT_EQ(records::searchInfo(table, keyId.data(), static_cast<unsigned int>(keyId.size())), 0);
    EXPECT_EQ(records::searchInfo(table, keyId.data(), static_cast<unsigned int>(keyId.size() - 1)),
              -1);

    // The same signer in a CMS envelope of version 3, found by its key identifier.
    ContentInfo cmsInfo;
    Buffer cmsFile;
    ASSERT_TRUE(cmsFile.fromFile(testData("verify/doc_cms.p7m").c_str()));
    ASSERT_EQ(cmsInfo._unwrapASN1(&cmsFile), 1);
    auto* cms = dynamic_cast<CMSSignedData*>(cmsInfo._getContent());
    ASSERT_NE(cms, nullptr);
    verifier->getCertificates(cms);
    EXPECT_EQ(records::searchInfo(verifier->_getCMSInfos(), keyId.data(),
                                  static_cast<unsigned int>(keyId.size())),
              0);
    // Refilling one table leaves the other alone.
    EXPECT_NE(verifier->_getPKCS7Infos()[0].serial, nullptr);
}

TEST_F(Records, ACloneOutlivesTheRefilledTable) {
    read("doc_der.p7m");
    auto* pkcs7 = dynamic_cast<PKCS7SignedData*>(info._getContent());
    verifier->getCertificates(pkcs7);
    infoEntry copy{};
    records::cloneInfo(&copy, verifier->_getPKCS7Infos()[0]);
    verifier->getCertificates(static_cast<PKCS7SignedData*>(nullptr));
    EXPECT_EQ(verifier->_getPKCS7Infos()[0].serial, nullptr);
    ASSERT_NE(copy.serial, nullptr);
    ASSERT_NE(copy.certificate, nullptr);
    ASSERT_NE(copy.keyUsage, nullptr);
    EXPECT_NE(copy.issuer, nullptr);
    EXPECT_EQ(records::searchInfo(&copy, copy.serial, copy.issuer), 0);
    records::cleanInfo(&copy);
    EXPECT_EQ(copy.serial, nullptr);
}

TEST_F(Records, DigestsAgreeWithOpensslAndSHA256IsAlwaysThere) {
    read("doc_der.p7m");
    auto* pkcs7 = dynamic_cast<PKCS7SignedData*>(info._getContent());
    std::string text = testData("verify/doc.txt");
    Buffer content;
    ASSERT_TRUE(content.fromFile(text.c_str()));
    ASSERT_TRUE(verifier->calculateDigests(pkcs7, content._getData(), content.getWritePos()));
    std::string expected = opensslLine("dgst -sha256 -r " + text).substr(0, 64);
    AlgorithmIdentifier sha256("2.16.840.1.101.3.4.2.1");
    int at = verifier->getDataDigest(&sha256);
    ASSERT_GE(at, 0);
    const DigestInfo* digest = verifier->_getDigestTable()[at].digest;
    EXPECT_EQ(toHex(digest->_getDigest(), digest->getLength()), expected);
    AlgorithmIdentifier sha512("2.16.840.1.101.3.4.2.3");
    EXPECT_EQ(verifier->getDataDigest(&sha512), -2);

    // An envelope that declares SHA-1 only still gets a SHA-256 entry, after the SHA-1 one.
    AlgorithmIdentifierSet onlySHA1;
    AlgorithmIdentifier sha1("1.3.14.3.2.26");
    onlySHA1.addElementCopy(&sha1);
    PKCS7SignedData declared;
    declared.setDigestAlgorithms(&onlySHA1);
    ASSERT_TRUE(verifier->calculateDigests(&declared, content._getData(), content.getWritePos()));
    const digestTableEntry* table = verifier->_getDigestTable();
    EXPECT_STREQ(table[0].algorithmOid, "1.3.14.3.2.26");
    EXPECT_STREQ(table[1].algorithmOid, "2.16.840.1.101.3.4.2.1");
    EXPECT_EQ(table[2].algorithmOid, nullptr);
    EXPECT_EQ(toHex(table[0].digest->_getDigest(), table[0].digest->getLength()),
              opensslLine("dgst -sha1 -r " + text).substr(0, 40));
    // No content: refused.
    EXPECT_FALSE(verifier->calculateDigests(&declared, nullptr, 0));
}

// An algorithm the device lacks is listed with no digest; an envelope that declares more
// algorithms than the table holds keeps SHA-256 and stays within the table.
TEST_F(Records, UnknownAlgorithmsAndTheTableBound) {
    const unsigned char data[] = "abc";
    AlgorithmIdentifierSet many;
    for (int i = 0; i < 60; ++i) {
        AlgorithmIdentifier unknown(("1.2.3.4." + std::to_string(i)).c_str());
        many.addElementCopy(&unknown);
    }
    PKCS7SignedData declared;
    declared.setDigestAlgorithms(&many);
    ASSERT_TRUE(verifier->calculateDigests(&declared, data, 3));
    const digestTableEntry* table = verifier->_getDigestTable();
    int count = 0;
    while (table[count].algorithmOid != nullptr) ++count;
    EXPECT_EQ(count, records::kMaxDigests);
    EXPECT_STREQ(table[count - 1].algorithmOid, records::kSHA256);
    AlgorithmIdentifier first("1.2.3.4.0");
    EXPECT_EQ(verifier->getDataDigest(&first), -1);
    AlgorithmIdentifier sha256(records::kSHA256);
    EXPECT_EQ(verifier->getDataDigest(&sha256), count - 1);
}

TEST_F(Records, MoreCertificatesThanTheTableHolds) {
    read("doc_der.p7m");
    auto* pkcs7 = dynamic_cast<PKCS7SignedData*>(info._getContent());
    const ExtCertificatesAndCertificates* original = pkcs7->_getCertificates();
    ASSERT_NE(original, nullptr);
    std::unique_ptr<ExtCertificateOrCertificate> one(original->getElement(0));
    ExtCertificatesAndCertificates crowd;
    for (int i = 0; i < records::kMaxInfos + 20; ++i) crowd.addElementCopy(one.get());
    pkcs7->setCertificates(&crowd);
    verifier->getCertificates(pkcs7);
    const infoEntry* table = verifier->_getPKCS7Infos();
    EXPECT_NE(table[records::kMaxInfos - 1].serial, nullptr);
    EXPECT_EQ(table[records::kMaxInfos].serial, nullptr);
    EXPECT_FALSE(verifier->addCertRecord(one->_getCertificate(), records::kMaxInfos));
}

}  // namespace

namespace {

// The extended key usage is decoded for the CMS table only, as the two families' readers
// always differed; signer one of tests/data/envelopes has emailProtection.
TEST_F(Records, ExtendedKeyUsageOnlyInTheCMSTable) {
    Buffer pkcs7File, cmsFile;
    ASSERT_TRUE(pkcs7File.fromFile(testData("envelopes/attached.p7m").c_str()));
    ASSERT_TRUE(cmsFile.fromFile(testData("envelopes/keyid.p7m").c_str()));
    ContentInfo pkcs7, cms;
    ASSERT_EQ(pkcs7._unwrapASN1(&pkcs7File), 1);
    ASSERT_EQ(cms._unwrapASN1(&cmsFile), 1);
    verifier->getCertificates(dynamic_cast<PKCS7SignedData*>(pkcs7._getContent()));
    verifier->getCertificates(dynamic_cast<CMSSignedData*>(cms._getContent()));
    const infoEntry& fromPKCS7 = verifier->_getPKCS7Infos()[0];
    const infoEntry& fromCMS = verifier->_getCMSInfos()[0];
    ASSERT_NE(fromPKCS7.serial, nullptr);
    ASSERT_NE(fromCMS.serial, nullptr);
    EXPECT_STREQ(fromPKCS7.serial, fromCMS.serial);
    EXPECT_EQ(fromPKCS7.extKeyUsage, nullptr);
    ASSERT_NE(fromCMS.extKeyUsage, nullptr);
    EXPECT_EQ(fromCMS.extKeyUsage->getCount(), 1);
    EXPECT_NE(fromCMS.authorityKeyId, nullptr);
}

}  // namespace
