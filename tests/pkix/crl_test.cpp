// CRLs made by `openssl ca -gencrl`, python cryptography and asn1crypto (crl.vec, made by
// tests/data/crl/gen_crl_data.py): the fields against asn1crypto's reading, the DER round trip,
// the digest-while-reading signature check through the token, and the two CMS carriers.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "asn1/OID.h"
#include "asn1/SecureBuffer.h"
#include "asn1/X500Time.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "pkix/Certificate.h"
#include "pkix/CertificateInfo.h"
#include "pkix/CertificateList.h"
#include "pkix/CertificateListInfo.h"
#include "pkix/Extension.h"
#include "pkix/KeyInfo.h"
#include "pkix/OtherRevocationInfoFormat.h"
#include "pkix/RevocationInfoChoice.h"
#include "pkix/RevokedCertificate.h"
#include "pkix_test_support.h"

namespace {

std::vector<VecCase> crlCases(const std::string& kind) {
    return casesOfKind(readVecFile(testData("crl/crl.vec")), kind);
}

std::string timeText(const X500Time* t) {
    return t != nullptr ? take(t->getValue()) : std::string();
}

class CRLSignatures : public ::testing::Test {
protected:
    void SetUp() override {
        device = std::make_unique<CryptoDevice>(&ki);
        ASSERT_NE(device->openToken(0, nullptr, 0), 0u);
        Bytes der = crlCases("ca").at(0).hex("der");
        auto in = bufferOf(der);
        ASSERT_TRUE(ca.unwrapASN1(in.get()));
        key = const_cast<KeyInfo*>(ca._getCertInfo()->_getSubjectPubKey());
    }

    std::unique_ptr<CertificateList> readSecure(const Bytes& der) {
        SecureBuffer in(device.get());
        in.fromByteArray(der.data(), static_cast<unsigned int>(der.size()));
        auto crl = std::make_unique<CertificateList>();
        EXPECT_TRUE(crl->unwrapASN1(&in));
        return crl;
    }

    CryptoKi ki;
    std::unique_ptr<CryptoDevice> device;
    Certificate ca;
    KeyInfo* key = nullptr;
};

}  // namespace

// Every field the reader finds agrees with asn1crypto, and the CRL re-encodes to its own bytes.
TEST(CertificateList, FieldsAgreeWithAsn1cryptoAndReencodeExactly) {
    auto cases = crlCases("crl");
    ASSERT_GE(cases.size(), 8u);
    for (const VecCase& c : cases) {
        SCOPED_TRACE(c.get("name"));
        Bytes der = c.hex("der");
        auto in = bufferOf(der);
        CertificateList crl;
        ASSERT_TRUE(crl.unwrapASN1(in.get()));
        EXPECT_EQ(in->getReadPos(), der.size());
        const CertificateListInfo* info = crl._getCertListInfo();
        ASSERT_NE(info, nullptr);
        EXPECT_EQ(info->getVersion(), std::stoi(c.get("version")));
        EXPECT_EQ(timeText(info->_getThisUpdate()), c.get("this_update"));
        EXPECT_EQ(timeText(info->_getNextUpdate()), c.get("next_update"));
        EXPECT_EQ(info->_getNextUpdate() == nullptr, c.get("next_update").empty());

        const RevokedCertificateList* revoked = info->_getRevokedCertificates();
        EXPECT_EQ(revoked != nullptr, c.get("revoked_list") == "present");
        std::vector<std::string> serials = split(c.get("revoked"), ',');
        std::vector<std::string> entryExtensions = split(c.get("entry_extensions"), ',');
        ASSERT_EQ(revoked != nullptr ? revoked->getCount() : 0, static_cast<int>(serials.size()));
        for (size_t i = 0; i < serials.size(); ++i) {
            RevokedCertificate* r = revoked->_getRevokedCertificatePointer(static_cast<int>(i));
            EXPECT_EQ(take(r->printUserCertificate(16)), serials[i]);
            EXPECT_NE(r->_getRevocationDate(), nullptr);
            const ExtensionList* ext = r->_getCrlEntryExtensions();
            EXPECT_EQ(ext != nullptr ? ext->getCount() : 0, std::stoi(entryExtensions[i]));
        }
        const ExtensionList* crlExt = info->_getCrlExtensions();
        EXPECT_EQ(crlExt != nullptr ? crlExt->getCount() : 0, std::stoi(c.get("crl_extensions")));

        EXPECT_EQ(encode(crl), der);
        std::unique_ptr<CertificateList> copy(crl.clone());
        EXPECT_EQ(encode(*copy), der);
    }
}

// The serial texts of entries and certificates come from one rule: the text a certificate
// prints is the text its CRL entry prints.
TEST(CertificateList, EntrySerialTextMatchesCertificateSerialText) {
    for (const VecCase& c : crlCases("crl")) {
        auto in = bufferOf(c.hex("der"));
        CertificateList crl;
        ASSERT_TRUE(crl.unwrapASN1(in.get()));
        const RevokedCertificateList* revoked = crl._getCertListInfo()->_getRevokedCertificates();
        for (int i = 0; revoked != nullptr && i < revoked->getCount(); ++i) {
            RevokedCertificate* r = revoked->_getRevokedCertificatePointer(i);
            CertificateInfo info;
            info.setSerial(r->getUserCertificate());
            EXPECT_EQ(take(info.printSerial(16)), take(r->printUserCertificate(16)));
            EXPECT_EQ(take(info.printSerial(10)), take(r->printUserCertificate(10)));
        }
    }
}

TEST_F(CRLSignatures, VerifyOverTheBytesAsTheyCame) {
    for (const VecCase& c : crlCases("crl")) {
        SCOPED_TRACE(c.get("name"));
        Bytes der = c.hex("der");
        auto crl = readSecure(der);
        EXPECT_EQ(crl->checkSignature(device.get(), key), 255);
        std::unique_ptr<CertificateListInfo> info(crl->getCertListInfo());
        EXPECT_EQ(crl->checkSignature1(device.get(), info.get(), key), 255);

        // Read through a plain Buffer there is no digest to verify over.
        auto plain = bufferOf(der);
        CertificateList undigested;
        ASSERT_TRUE(undigested.unwrapASN1(plain.get()));
        EXPECT_EQ(undigested.checkSignature(device.get(), key), 0);

        // The signed part handed over leaves the list without one.
        std::unique_ptr<CertificateListInfo> detached(crl->_detachCertListInfo());
        ASSERT_NE(detached, nullptr);
        EXPECT_EQ(crl->_getCertListInfo(), nullptr);
        EXPECT_EQ(crl->checkSignature1(device.get(), detached.get(), key), 255);
    }
}

TEST_F(CRLSignatures, TamperedOrMissingPartsFail) {
    const VecCase c = crlCases("crl").at(0);
    Bytes der = c.hex("der");
    // One digit of thisUpdate changed: the CRL still reads, its signature no longer holds.
    std::string when = c.get("this_update");
    auto at = std::search(der.begin(), der.end(), when.begin(), when.end());
    ASSERT_NE(at, der.end());
    Bytes tampered = der;
    tampered[at - der.begin() + 1] ^= 0x01;
    auto crl = readSecure(tampered);
    EXPECT_EQ(crl->checkSignature(device.get(), key), 0);
    EXPECT_EQ(readSecure(der)->checkSignature(nullptr, key), 0);
    CertificateList empty;
    EXPECT_EQ(empty.checkSignature(device.get(), key), 0);
    EXPECT_EQ(empty.checkSignature1(device.get(), nullptr, key), 0);
}

// Every truncation of a CRL fails cleanly; none reads past its bytes.
TEST(CertificateList, TruncationsFail) {
    Bytes der = crlCases("crl").at(0).hex("der");
    for (size_t n = 0; n < der.size(); ++n) {
        Bytes cut(der.begin(), der.begin() + n);
        auto in = bufferOf(cut);
        CertificateList crl;
        EXPECT_EQ(crl.unwrapASN1(in.get()), 0) << "length " << n;
    }
}

TEST(RevocationInfoChoice, TagA1SelectsOtherAndTheRestAreCRLs) {
    const VecCase c = crlCases("choices").at(0);
    Bytes der = c.hex("der");
    auto in = bufferOf(der);
    RevocationInfoChoiceSet set;
    ASSERT_TRUE(set.unwrapASN1(in.get()));
    std::vector<std::string> kinds = split(c.get("kinds"), ',');
    ASSERT_EQ(set.getCount(), static_cast<int>(kinds.size()));
    for (int i = 0; i < set.getCount(); ++i) {
        const RevocationInfoChoice* choice = set._getElement(i);
        if (kinds[i] == "other") {
            ASSERT_NE(choice->_getOther(), nullptr);
            EXPECT_EQ(choice->_getCrl(), nullptr);
            std::unique_ptr<OID> oid(choice->_getOther()->getOtherRevInfoFormat());
            EXPECT_EQ(take(oid->getValue()), c.get("other_oid"));
            EXPECT_GT(choice->_getOther()->getOtherRevInfoLength(), 0u);
        } else {
            ASSERT_NE(choice->_getCrl(), nullptr);
            EXPECT_EQ(choice->_getOther(), nullptr);
        }
    }
    std::unique_ptr<RevocationInfoChoiceSet> copy(set.clone());
    EXPECT_EQ(copy->getCount(), set.getCount());

    // The same SET under the implicit [1] of a SignedData.
    Bytes tagged = der;
    tagged[0] = 0xA1;
    auto again = bufferOf(tagged);
    RevocationInfoChoiceSet implicitSet;
    EXPECT_TRUE(implicitSet.unwrapASN1(0xA1, again.get()));
    EXPECT_EQ(implicitSet.getCount(), set.getCount());
}

TEST(CertificateRevocationLists, ReadsTheSetOfCRLs) {
    const VecCase c = crlCases("crl_set").at(0);
    auto in = bufferOf(c.hex("der"));
    CertificateRevocationLists lists;
    ASSERT_TRUE(lists.unwrapASN1(in.get()));
    EXPECT_EQ(lists.getCount(), std::stoi(c.get("count")));
    EXPECT_EQ(encode(lists), c.hex("der"));
}
