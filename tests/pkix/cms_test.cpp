// Envelopes made by openssl (tests/data/verify/gen_inputs.py) read into the right classes, with
// the fields openssl's own printer shows; the version table; the three answers of the reader
// (read, broken envelope, bad certificate); the no-copy reader's content left in the file's
// bytes; and the ESS identifiers' defaults.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>

#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "crypto/AlgorithmIdentifier.h"
#include "pkix/Attribute.h"
#include "pkix/AttributeValue.h"
#include "pkix/CertificateChoices.h"
#include "pkix/ContentInfo.h"
#include "pkix/ESSCertID.h"
#include "pkix/EncapsulatedContentInfo.h"
#include "pkix/IssuerAndSerialNumber.h"
#include "pkix/PKCS7SignerInfo.h"
#include "pkix/PlainData.h"
#include "pkix/SignedData.h"
#include "pkix/SignerIdentifier.h"
#include "pkix/SignerInfo.h"
#include "pkix_test_support.h"

namespace {

Bytes fileBytes(const std::string& path) {
    Buffer b;
    EXPECT_TRUE(b.fromFile(path.c_str())) << path;
    return Bytes(b._getData(), b._getData() + b.getWritePos());
}

// The DER of a PEM certificate, converted by openssl.
Bytes opensslDER(const std::string& pem) {
    std::string out = ::testing::TempDir() + "/cert.der";
    std::string command = std::string(SIGILO_OPENSSL) + " x509 -in " + pem + " -outform DER -out " +
                          out + " 2>/dev/null";
    EXPECT_EQ(system(command.c_str()), 0);
    return fileBytes(out);
}

unsigned char readEnvelope(const Bytes& der, ContentInfo* info) {
    auto in = bufferOf(der);
    return info->unwrapASN1(in.get());
}

std::vector<std::string> attributeOIDs(const AttributeSet* set) {
    std::vector<std::string> out;
    for (int i = 0; set != nullptr && i < set->getCount(); ++i) {
        out.push_back(take(set->_getElement(i)->_getType()->getValue()));
    }
    return out;
}

const std::vector<std::string> kOpensslSignedAttrs = {
    "1.2.840.113549.1.9.3", "1.2.840.113549.1.9.5", "1.2.840.113549.1.9.4",
    "1.2.840.113549.1.9.15"};

}  // namespace

TEST(CMSEnvelopes, PKCS7FamilyFromOpensslSmime) {
    ContentInfo info;
    Bytes der = fileBytes(testData("verify/doc_der.p7m"));
    ASSERT_EQ(readEnvelope(der, &info), 1);
    EXPECT_TRUE(info.isEqual(ContentInfo::kSignedData));
    auto* sd = dynamic_cast<PKCS7SignedData*>(info._getContent());
    ASSERT_NE(sd, nullptr);
    EXPECT_EQ(sd->getVersion(), 1);
    ASSERT_EQ(sd->_getDigestAlgorithms()->getCount(), 1);
    EXPECT_TRUE(sd->_getDigestAlgorithms()->_getElement(0)->isEqual("2.16.840.1.101.3.4.2.1"));
    auto* plain = dynamic_cast<PlainData*>(sd->_getContentInfo()->_getContent());
    ASSERT_NE(plain, nullptr);
    Bytes text = fileBytes(testData("verify/doc.txt"));
    EXPECT_EQ(Bytes(plain->_getData(), plain->_getData() + plain->getLength()), text);
    ASSERT_NE(sd->_getCertificates(), nullptr);
    ASSERT_EQ(sd->_getCertificates()->getCount(), 1);
    ASSERT_EQ(sd->_getSignerInfos()->getCount(), 1);
    const PKCS7SignerInfo* signer = sd->_getSignerInfos()->_getElement(0);
    EXPECT_EQ(signer->getVersion(), 1);
    EXPECT_EQ(take(signer->_getIssuerAndSerialNumber()->printSerialNumber(16)), "02");
    EXPECT_EQ(attributeOIDs(signer->_getAuthenticatedAttrs()), kOpensslSignedAttrs);
    EXPECT_EQ(signer->_getUnauthenticatedAttrs(), nullptr);
    EXPECT_EQ(signer->getEncryptedDigestLen(), 256u);  // RSA-2048

    // Read, written, read again: the same bytes.
    EXPECT_EQ(encode(info), der);
    std::unique_ptr<ContentInfo> copy(info.clone());
    EXPECT_EQ(encode(*copy), der);
}

TEST(CMSEnvelopes, CMSFamilyFromOpensslCmsKeyid) {
    ContentInfo info;
    Bytes der = fileBytes(testData("verify/doc_cms.p7m"));
    ASSERT_EQ(readEnvelope(der, &info), 1);
    auto* sd = dynamic_cast<CMSSignedData*>(info._getContent());
    ASSERT_NE(sd, nullptr);
    EXPECT_EQ(sd->getVersion(), 3);
    EXPECT_TRUE(sd->_getEncapContentInfo()->isEqual(ContentInfo::kData));
    EXPECT_EQ(sd->_getEncapContentInfo()->getEContentLen(),
              fileBytes(testData("verify/doc.txt")).size());
    const SignerInfo* signer = sd->_getSignerInfos()->_getElement(0);
    EXPECT_EQ(signer->getVersion(), 3);
    const SignerIdentifier* sid = signer->_getSid();
    EXPECT_EQ(sid->_getIssuerAndSerialNumber(), nullptr);
    ASSERT_NE(sid->_getSubjectKeyIdentifier(), nullptr);
    EXPECT_EQ(sid->getSubjectKeyIdentifierLen(), 20u);
    EXPECT_EQ(signer->getSignatureLen(), 256u);
    EXPECT_EQ(encode(info), der);

    // The same envelope with version 4 is still CMS; with version 5 it is refused.
    ContentInfo v4, v5;
    EXPECT_EQ(readEnvelope(fileBytes(testData("verify/doc_v4.p7m")), &v4), 1);
    EXPECT_NE(dynamic_cast<CMSSignedData*>(v4._getContent()), nullptr);
    EXPECT_EQ(readEnvelope(fileBytes(testData("verify/doc_v5.p7m")), &v5), 0);
}

TEST(CMSEnvelopes, VersionTableRefusesTwoAndFive) {
    Bytes der = fileBytes(testData("verify/doc_der.p7m"));
    // The SignedData's version INTEGER: the first 02 01 after the [0] of the ContentInfo.
    const Bytes integer{0x02, 0x01};
    auto at = std::search(der.begin() + 15, der.end(), integer.begin(), integer.end());
    ASSERT_NE(at, der.end());
    size_t version = at - der.begin() + 2;
    for (int v : {0, 2, 5, 6}) {
        Bytes changed = der;
        changed[version] = static_cast<unsigned char>(v);
        ContentInfo info;
        EXPECT_EQ(readEnvelope(changed, &info), 0) << "version " << v;
    }
    Bytes three = der;
    three[version] = 3;
    ContentInfo info;
    // Version 3 selects the CMS reader, which then meets a PKCS#7 content and fails on it.
    EXPECT_NE(readEnvelope(three, &info), 2);
}

TEST(CMSEnvelopes, ABadCertificateIsToldApartFromABrokenEnvelope) {
    Bytes der = fileBytes(testData("verify/doc_der.p7m"));
    Bytes cert = opensslDER(testData("verify/signer_cert.pem"));
    auto at = std::search(der.begin(), der.end(), cert.begin(), cert.end());
    ASSERT_NE(at, der.end());
    size_t tbs = at - der.begin() + 4;
    ASSERT_EQ(der[tbs], 0x30);
    Bytes badCert = der;
    badCert[tbs] = 0x04;  // the to-be-signed part is no longer a SEQUENCE; the framing holds
    ContentInfo info;
    EXPECT_EQ(readEnvelope(badCert, &info), 2);

    // The same in the CMS family, which tries the EXPLICIT form before giving up.
    Bytes cms = fileBytes(testData("verify/doc_cms.p7m"));
    at = std::search(cms.begin(), cms.end(), cert.begin(), cert.end());
    ASSERT_NE(at, cms.end());
    cms[at - cms.begin() + 4] = 0x04;
    ContentInfo cmsInfo;
    EXPECT_EQ(readEnvelope(cms, &cmsInfo), 2);

    // A broken signer set after good certificates is an envelope failure.
    Bytes brokenTail = der;
    brokenTail.resize(der.size() - 10);
    ContentInfo tail;
    EXPECT_EQ(readEnvelope(brokenTail, &tail), 0);
}

TEST(CMSEnvelopes, EveryTruncationFailsWithoutReadingPastTheEnd) {
    Bytes der = fileBytes(testData("verify/doc_cms.p7m"));
    for (size_t n = 0; n < der.size(); n += 7) {
        ContentInfo info;
        EXPECT_NE(readEnvelope(Bytes(der.begin(), der.begin() + n), &info), 1) << n;
    }
}

TEST(CMSEnvelopes, OnlyTheContentTypeInBothLengthForms) {
    // SEQUENCE { OID 1.2.840.113549.1.7.1 }, definite and indefinite.
    Bytes definite = fromHex("300b06092a864886f70d010701");
    Bytes indefinite = fromHex("308006092a864886f70d0107010000");
    for (const Bytes& der : {definite, indefinite}) {
        ContentInfo info;
        EXPECT_EQ(readEnvelope(der, &info), 1);
        EXPECT_EQ(info._getContent(), nullptr);
        EXPECT_TRUE(info.isEqual(ContentInfo::kData));
    }
    // A definite envelope cut right after its content type is cut off, not an envelope with
    // no content.
    Bytes whole = fileBytes(testData("verify/doc_cms.p7m"));
    ContentInfo cut;
    EXPECT_EQ(readEnvelope(Bytes(whole.begin(), whole.begin() + 4 + 11), &cut), 0);
    // An unknown content type fails in both forms once it has content.
    Bytes unknown = fromHex("3080060a2a864886f70d01070109a0800400000000000000");
    ContentInfo info;
    EXPECT_EQ(readEnvelope(unknown, &info), 0);
}

// The no-copy reader leaves the content inside the file's bytes; clones share it, and freeing
// them frees nothing of the buffer (the suite runs under AddressSanitizer).
TEST(CMSEnvelopes, NoCopyReaderLeavesTheContentInTheBuffer) {
    Buffer file;
    ASSERT_TRUE(file.fromFile(testData("verify/doc_cms.p7m").c_str()));
    ContentInfo info;
    ASSERT_EQ(info._unwrapASN1(&file), 1);
    auto* sd = dynamic_cast<CMSSignedData*>(info._getContent());
    ASSERT_NE(sd, nullptr);
    const unsigned char* content = sd->_getEncapContentInfo()->_getEContent();
    EXPECT_GE(content, file._getData());
    EXPECT_LT(content, file._getData() + file.getWritePos());
    EXPECT_TRUE(sd->_getEncapContentInfo()->isBorrowed());
    {
        std::unique_ptr<ContentInfo> copy(info.clone());
        auto* copied = dynamic_cast<CMSSignedData*>(copy->_getContent());
        EXPECT_EQ(copied->_getEncapContentInfo()->_getEContent(), content);
    }
    // The copying reader owns its bytes.
    ContentInfo owned;
    Bytes der(file._getData(), file._getData() + file.getWritePos());
    ASSERT_EQ(readEnvelope(der, &owned), 1);
    EXPECT_FALSE(
        dynamic_cast<CMSSignedData*>(owned._getContent())->_getEncapContentInfo()->isBorrowed());
}

TEST(ESSCertID, V2WithoutAlgorithmMeansSHA256) {
    // ESSCertIDv2 ::= SEQUENCE { certHash OCTET STRING (4 bytes) }: the default algorithm.
    auto in = bufferOf(fromHex("30060404aabbccdd"));
    ESSCertIDV2 id;
    ASSERT_TRUE(id.unwrapASN1(in.get()));
    EXPECT_EQ(take(id.getHashAlgorithmName()), "2.16.840.1.101.3.4.2.1");
    EXPECT_EQ(id.getHashLen(), 4u);
    EXPECT_EQ(id._getIssuerSerial(), nullptr);
    // With SHA-1 named and an issuer-serial tail (both encodings made by asn1crypto).
    auto named = bufferOf(fromHex(
        "3028300906052b0e03021a05000404aabbccdd30153010a40e300c310a300806035504030c0141020107"));
    ESSCertIDV2 withTail;
    ASSERT_TRUE(withTail.unwrapASN1(named.get()));
    EXPECT_EQ(take(withTail.getHashAlgorithmName()), "1.3.14.3.2.26");
    ASSERT_NE(withTail._getIssuerSerial(), nullptr);
    EXPECT_EQ(take(withTail._getIssuerSerial()->printSerialNumber(16)), "07");
}

TEST(Attributes, IndefiniteSetEndsAtTheEndOfContents) {
    // [0] indefinite holding one attribute (contentType = data), then EOC.
    auto in = bufferOf(fromHex("a080301806092a864886f70d010903310b06092a864886f70d0107010000"));
    AttributeSet set;
    ASSERT_TRUE(set.unwrapASN1(0xA0, in.get()));
    ASSERT_EQ(set.getCount(), 1);
    EXPECT_TRUE(set.isEqual(0, "1.2.840.113549.1.9.3"));
    EXPECT_NE(set._find("1.2.840.113549.1.9.3"), nullptr);
    EXPECT_EQ(set._find("1.2.840.113549.1.9.4"), nullptr);
    EXPECT_EQ(in->getReadPos(), in->getWritePos());
}
