// Every variant openssl writes (tests/data/envelopes/gen_envelopes.py: attached and detached,
// DER and PEM, streamed with indefinite lengths, key identifiers, CAdES, SHA-1, two signers,
// extra certificates, a CRL, no certificates, smime, and a certificate set under an EXPLICIT
// [0]) read by both readers, each fact checked against asn1crypto's reading in envelopes.vec.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "crypto/AlgorithmIdentifier.h"
#include "crypto/SHA256.h"
#include "pkix/Attribute.h"
#include "pkix/AttributeValue.h"
#include "pkix/CertificateChoices.h"
#include "pkix/CertificateList.h"
#include "pkix/ContentInfo.h"
#include "pkix/ESSCertID.h"
#include "pkix/EncapsulatedContentInfo.h"
#include "pkix/IssuerAndSerialNumber.h"
#include "pkix/PKCS7SignerInfo.h"
#include "pkix/PlainData.h"
#include "pkix/RevocationInfoChoice.h"
#include "pkix/SignedData.h"
#include "pkix/SignerIdentifier.h"
#include "pkix/SignerInfo.h"
#include "pkix/SigningCertificate.h"
#include "pkix_test_support.h"

namespace {

// What a reader found, in the vocabulary of envelopes.vec.
struct Found {
    std::string family, version, digests, contentSHA256 = "-", certificates, crls;
    std::vector<std::map<std::string, std::string>> signers;
};

std::string joined(const std::vector<std::string>& parts) {
    std::string out;
    for (const std::string& p : parts) out += (out.empty() ? "" : ",") + p;
    return out.empty() ? "-" : out;
}

std::string oidsOf(const AttributeSet* set) {
    std::vector<std::string> out;
    for (int i = 0; set != nullptr && i < set->getCount(); ++i) {
        out.push_back(take(set->_getElement(i)->_getType()->getValue()));
    }
    return joined(out);
}

std::string sha256Of(const unsigned char* p, unsigned int n) {
    SHA256 digest;
    digest.update(p, n);
    unsigned char out[32];
    digest.final(out);
    return toHex(out, 32);
}

std::string essV2Hash(const AttributeSet* set) {
    const Attribute* a = set != nullptr ? set->_find("1.2.840.113549.1.9.16.2.47") : nullptr;
    if (a == nullptr) return "-";
    const AttributeValue* v = a->_getValues()->_getElement(0);
    Buffer b;
    b.fromByteArray(v->_getValue(), v->getValueLen());
    SigningCertificateV2 sc;
    if (!sc.unwrapASN1(&b)) return "unreadable";
    const ESSCertIDV2* id = sc._getCerts()->_getElement(0);
    return toHex(id->_getCertHash(), id->getHashLen());
}

std::string digestsOf(const AlgorithmIdentifierSet* set) {
    std::vector<std::string> out;
    for (int i = 0; set != nullptr && i < set->getCount(); ++i) {
        out.push_back(take(set->_getElement(i)->getAlgorithm()));
    }
    return joined(out);
}

Found describe(ContentInfo& info) {
    Found f;
    if (auto* sd = dynamic_cast<PKCS7SignedData*>(info._getContent())) {
        f.family = "pkcs7";
        f.version = std::to_string(sd->getVersion());
        f.digests = digestsOf(sd->_getDigestAlgorithms());
        if (auto* plain = dynamic_cast<PlainData*>(sd->_getContentInfo()->_getContent())) {
            f.contentSHA256 = sha256Of(plain->_getData(), plain->getLength());
        }
        f.certificates =
            std::to_string(sd->_getCertificates() ? sd->_getCertificates()->getCount() : 0);
        f.crls = std::to_string(sd->_getCrls() ? sd->_getCrls()->getCount() : 0);
        for (int i = 0; i < sd->_getSignerInfos()->getCount(); ++i) {
            const PKCS7SignerInfo* s = sd->_getSignerInfos()->_getElement(i);
            f.signers.push_back(
                {{"serial", take(s->_getIssuerAndSerialNumber()->printSerialNumber(16))},
                 {"key_id", "-"},
                 {"signed_attrs", oidsOf(s->_getAuthenticatedAttrs())},
                 {"unsigned_attrs", oidsOf(s->_getUnauthenticatedAttrs())},
                 {"ess_v2_hash", essV2Hash(s->_getAuthenticatedAttrs())}});
        }
    } else if (auto* sd = dynamic_cast<CMSSignedData*>(info._getContent())) {
        f.family = "cms";
        f.version = std::to_string(sd->getVersion());
        f.digests = digestsOf(sd->_getDigestAlgorithms());
        const EncapsulatedContentInfo* e = sd->_getEncapContentInfo();
        if (e->_getEContent() != nullptr)
            f.contentSHA256 = sha256Of(e->_getEContent(), e->getEContentLen());
        f.certificates =
            std::to_string(sd->_getCertificates() ? sd->_getCertificates()->getCount() : 0);
        f.crls = std::to_string(sd->_getCrls() ? sd->_getCrls()->getCount() : 0);
        for (int i = 0; i < sd->_getSignerInfos()->getCount(); ++i) {
            const SignerInfo* s = sd->_getSignerInfos()->_getElement(i);
            const SignerIdentifier* sid = s->_getSid();
            bool bySerial = sid->_getIssuerAndSerialNumber() != nullptr;
            f.signers.push_back(
                {{"serial",
                  bySerial ? take(sid->_getIssuerAndSerialNumber()->printSerialNumber(16)) : "-"},
                 {"key_id", bySerial ? "-"
                                     : toHex(sid->_getSubjectKeyIdentifier(),
                                             sid->getSubjectKeyIdentifierLen())},
                 {"signed_attrs", oidsOf(s->_getSignedAttrs())},
                 {"unsigned_attrs", oidsOf(s->_getUnsignedAttrs())},
                 {"ess_v2_hash", essV2Hash(s->_getSignedAttrs())}});
        }
    }
    return f;
}

// The serial text of asn1crypto ("%X") has no leading zero; ours has two digits a byte.
std::string evenDigits(const std::string& hex) {
    return hex == "-" || hex.size() % 2 == 0 ? hex : "0" + hex;
}

void expectFacts(const VecCase& c, ContentInfo& info) {
    Found f = describe(info);
    EXPECT_EQ(f.family, c.get("family"));
    EXPECT_EQ(f.version, c.get("version"));
    EXPECT_EQ(f.digests == "-" ? "" : f.digests, c.get("digest_algorithms"));
    EXPECT_EQ(f.contentSHA256 == "-" ? "" : f.contentSHA256, c.get("content_sha256"));
    EXPECT_EQ(f.certificates, c.get("certificates"));
    EXPECT_EQ(f.crls, c.get("crls"));
    ASSERT_EQ(std::to_string(f.signers.size()), c.get("signers"));
    for (size_t i = 0; i < f.signers.size(); ++i) {
        std::string prefix = "signer" + std::to_string(i + 1) + "_";
        for (const char* key :
             {"serial", "key_id", "signed_attrs", "unsigned_attrs", "ess_v2_hash"}) {
            std::string expected = c.get(prefix + key);
            if (expected.empty()) expected = "-";
            if (std::string(key) == "serial") expected = evenDigits(expected);
            EXPECT_EQ(f.signers[i][key], expected) << prefix << key;
        }
    }
}

}  // namespace

TEST(OpensslEnvelopes, EveryVariantReadsByBothReaders) {
    auto cases = casesOfKind(readVecFile(testData("envelopes/envelopes.vec")), "envelope");
    ASSERT_GE(cases.size(), 14u);
    for (const VecCase& c : cases) {
        SCOPED_TRACE(c.get("name"));
        std::string path = testData("envelopes/" + c.get("name"));
        Buffer file;
        if (c.get("pem") == "yes") {
            ASSERT_TRUE(file.fromPEMFile(path.c_str(), nullptr));
        } else {
            ASSERT_TRUE(file.fromFile(path.c_str()));
        }
        if (c.get("indefinite") == "yes") {
            EXPECT_EQ(file._getData()[1], 0x80);
        }
        Bytes der(file._getData() + file.getReadPos(), file._getData() + file.getWritePos());
        {
            ContentInfo info;
            ASSERT_EQ(info._unwrapASN1(&file), 1);
            expectFacts(c, info);
        }
        ContentInfo copied;
        auto in = bufferOf(der);
        ASSERT_EQ(copied.unwrapASN1(in.get()), 1);
        expectFacts(c, copied);
    }
}

TEST(OpensslEnvelopes, TheCRLOfADegenerateEnvelopeIsACertificateList) {
    Buffer file;
    ASSERT_TRUE(file.fromFile(testData("envelopes/certs_crl.p7b").c_str()));
    ContentInfo info;
    ASSERT_EQ(info.unwrapASN1(&file), 1);
    auto* sd = dynamic_cast<PKCS7SignedData*>(info._getContent());
    ASSERT_NE(sd, nullptr);
    ASSERT_EQ(sd->_getCrls()->getCount(), 1);
    EXPECT_NE(sd->_getCrls()->_getElement(0)->_getCertListInfo(), nullptr);
    EXPECT_EQ(sd->_getContentInfo()->_getContent(), nullptr);
}

// A streamed envelope whose closing end-of-contents marks are damaged (the last byte changed,
// or the last two cut off) is not complete, whatever bytes lie beyond the file in the buffer:
// openssl refuses both (tests/data/engine/gen_indefinite.py).
TEST(OpensslEnvelopes, DamagedClosingEndOfContentsFailsBothReaders) {
    for (const char* name :
         {"indefinite.p7m", "indefinite_eoc_changed.p7m", "indefinite_eoc_cut.p7m"}) {
        SCOPED_TRACE(name);
        const unsigned char expected = std::string(name) == "indefinite.p7m" ? 1 : 0;
        Buffer file;
        ASSERT_TRUE(file.fromFile(testData(std::string("engine/") + name).c_str()));
        ASSERT_EQ(file._getData()[1], 0x80);
        Bytes der(file._getData(), file._getData() + file.getWritePos());
        ContentInfo borrowed;
        EXPECT_EQ(borrowed._unwrapASN1(&file), expected);
        ContentInfo copied;
        auto in = bufferOf(der);
        EXPECT_EQ(copied.unwrapASN1(in.get()), expected);
        // In a larger work buffer, with zeros behind the data, the same holds.
        Buffer work(static_cast<unsigned int>(der.size()) + 64);
        work.appendByteArray(der.data(), static_cast<unsigned int>(der.size()));
        ContentInfo inWork;
        EXPECT_EQ(inWork._unwrapASN1(&work), expected);
    }
}
