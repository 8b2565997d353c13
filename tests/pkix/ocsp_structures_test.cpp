// The OCSP structures against what openssl and python's cryptography wrote (tests/data/ocsp,
// gen_ocsp_data.sh and make_responses.py): the request this system sends is byte for byte the
// one openssl sends for the same question, the responses read with the values the tools put in
// and write back to the same bytes, signatures verify over the bytes as they came, and no cut or
// changed response reads past its end.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "asn1/SecureBuffer.h"
#include "asn1/X500Time.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "pkix/BasicOCSPResponse.h"
#include "pkix/Certificate.h"
#include "pkix/CertificateInfo.h"
#include "pkix/KeyInfo.h"
#include "pkix/OCSPCertID.h"
#include "pkix/OCSPCertStatus.h"
#include "pkix/OCSPRequest.h"
#include "pkix/OCSPResponse.h"
#include "pkix/Request.h"
#include "pkix/ResponderID.h"
#include "pkix/ResponseBytes.h"
#include "pkix/ResponseData.h"
#include "pkix/RevokedInfo.h"
#include "pkix/SingleResponse.h"
#include "pkix/TBSRequest.h"
#include "pkix_test_support.h"

namespace {

Bytes ocspFile(const std::string& name) {
    std::ifstream in(testData("ocsp/" + name), std::ios::binary);
    return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::unique_ptr<Certificate> ocspCertificate(const std::string& name) {
    SecureBuffer in(nullptr);
    EXPECT_TRUE(in.fromPEMFile(testData("ocsp/" + name + ".pem").c_str(), nullptr)) << name;
    auto certificate = std::make_unique<Certificate>();
    EXPECT_TRUE(certificate->unwrapASN1(&in)) << name;
    return certificate;
}

std::string timeText(X500Time* owned) {
    std::unique_ptr<X500Time> t(owned);
    return t != nullptr ? take(t->getValue()) : "(null)";
}

// The basic response inside a response file, or null.
std::unique_ptr<BasicOCSPResponse> basicOf(const Bytes& der) {
    OCSPResponse response;
    auto b = bufferOf(der);
    if (!response.unwrapASN1(b.get()) || response._getResponseBytes() == nullptr) return nullptr;
    return std::unique_ptr<BasicOCSPResponse>(response._getResponseBytes()->getBasicResponse());
}

class OCSPStructures : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        ki = new CryptoKi();
        device = new CryptoDevice(ki);
        ASSERT_NE(device->openToken(0, nullptr, 0), 0u);
    }
    static void TearDownTestSuite() {
        delete device;
        delete ki;
        device = nullptr;
        ki = nullptr;
    }
    static std::unique_ptr<KeyInfo> keyOf(const std::string& name) {
        return std::unique_ptr<KeyInfo>(ocspCertificate(name)->_getCertInfo()->getSubjectPubKey());
    }

    static CryptoKi* ki;
    static CryptoDevice* device;
};

CryptoKi* OCSPStructures::ki = nullptr;
CryptoDevice* OCSPStructures::device = nullptr;

const char* const kResponses[] = {
    "resp_noeku.der",       "resp_unrelated.der", "resp_unrelated_cert.der",
    "resp_otherserial.der", "resp_stale.der",     "resp_delegated.der",
    "resp_trylater.der",    "resp_othertype.der", "resp_twoentries.der"};

TEST_F(OCSPStructures, TheRequestIsTheOneOpensslSendsForTheSameQuestion) {
    auto ca = ocspCertificate("ca");
    std::unique_ptr<OCSPCertID> id(OCSPCertID::forIssuer(device, ca.get(), BigInteger(0x1001)));
    ASSERT_NE(id, nullptr);
    EXPECT_EQ(id->getIssuerNameHashLength(), 20u);
    EXPECT_EQ(id->getIssuerKeyHashLength(), 20u);
    Request request(id.get());
    RequestList list;
    list.addRequest(&request);
    TBSRequest tbs;
    tbs.setRequestList(&list);
    OCSPRequest message;
    message.setTBSRequest(&tbs);
    Bytes openssl = ocspFile("req_good.der");
    EXPECT_EQ(encode(message), openssl);

    // And openssl's request reads back to the same question.
    OCSPRequest read;
    auto b = bufferOf(openssl);
    ASSERT_TRUE(read.unwrapASN1(b.get()));
    EXPECT_FALSE(read.hasSignature());
    const RequestList* requests = read._getTBSRequest()->_getRequestList();
    ASSERT_EQ(requests->getCount(), 1);
    EXPECT_TRUE(id->isEqual(requests->_getElement(0)->_getReqCert()));
    // Another serial or another issuer is another question.
    std::unique_ptr<OCSPCertID> other(OCSPCertID::forIssuer(device, ca.get(), BigInteger(0x1002)));
    EXPECT_FALSE(id->isEqual(other.get()));
    std::unique_ptr<OCSPCertID> foreign(
        OCSPCertID::forIssuer(device, ocspCertificate("other").get(), BigInteger(0x1001)));
    EXPECT_FALSE(id->isEqual(foreign.get()));
}

TEST_F(OCSPStructures, ResponsesReadWithTheToolsValuesAndWriteBackTheSameBytes) {
    for (const char* name : kResponses) {
        SCOPED_TRACE(name);
        Bytes der = ocspFile(name);
        OCSPResponse response;
        auto b = bufferOf(der);
        ASSERT_TRUE(response.unwrapASN1(b.get()));
        EXPECT_EQ(b->getReadPos(), der.size());
        EXPECT_EQ(encode(response), der);
        std::unique_ptr<OCSPResponse> copy(response.clone());
        EXPECT_EQ(encode(*copy), der);
        if (response._getResponseBytes() == nullptr) continue;
        const ResponseBytes* bytes = response._getResponseBytes();
        std::unique_ptr<BasicOCSPResponse> basic(bytes->getBasicResponse());
        if (basic == nullptr) continue;
        Bytes inner(bytes->_getResponse(), bytes->_getResponse() + bytes->getResponseLength());
        EXPECT_EQ(encode(*basic), inner);
    }
}

TEST_F(OCSPStructures, TheFieldsAreThoseTheToolsWrote) {
    // Unsuccessful: a status and nothing else.
    OCSPResponse later;
    auto b = bufferOf(ocspFile("resp_trylater.der"));
    ASSERT_TRUE(later.unwrapASN1(b.get()));
    EXPECT_EQ(later.getResponseStatus(), 3);
    EXPECT_EQ(later._getResponseBytes(), nullptr);

    // Another response type is no basic response.
    OCSPResponse otherType;
    b = bufferOf(ocspFile("resp_othertype.der"));
    ASSERT_TRUE(otherType.unwrapASN1(b.get()));
    EXPECT_EQ(take(otherType._getResponseBytes()->getResponseType()), "1.3.6.1.5.5.7.48.1.99");
    EXPECT_EQ(otherType._getResponseBytes()->getBasicResponse(), nullptr);

    // By key, with the certificate of the signer.
    auto noeku = basicOf(ocspFile("resp_noeku.der"));
    ASSERT_NE(noeku, nullptr);
    const ResponderID* byKey = noeku->_getTbsResponseData()->_getResponderID();
    EXPECT_EQ(byKey->getType(), ResponderID::kByKey);
    EXPECT_EQ(byKey->getKeyHashLength(), 20u);
    ASSERT_NE(noeku->_getCerts(), nullptr);
    EXPECT_EQ(noeku->_getCerts()->getCount(), 1);

    // Two answers, the second revoked for key compromise; by name, no certificates.
    auto two = basicOf(ocspFile("resp_twoentries.der"));
    ASSERT_NE(two, nullptr);
    EXPECT_EQ(two->_getTbsResponseData()->_getResponderID()->getType(), ResponderID::kByName);
    EXPECT_EQ(two->_getCerts(), nullptr);
    const SingleResponseList* answers = two->_getTbsResponseData()->_getResponses();
    ASSERT_EQ(answers->getCount(), 2);
    const SingleResponse* first = answers->_getElement(0);
    const SingleResponse* second = answers->_getElement(1);
    EXPECT_EQ(first->_getCertStatus()->getTag(), OCSPCertStatus::kGood);
    EXPECT_EQ(take(first->_getCertID()->getSerialNumber().printSerial(16)), "1001");
    EXPECT_EQ(timeText(first->getThisUpdate()), "20240101000000Z");
    EXPECT_EQ(timeText(first->getNextUpdate()), "20990101000000Z");
    ASSERT_EQ(second->_getCertStatus()->getTag(), OCSPCertStatus::kRevoked);
    const RevokedInfo* info = second->_getCertStatus()->_getRevokedInfo();
    EXPECT_EQ(timeText(info->getRevocationTime()), "20230401000000Z");
    EXPECT_TRUE(info->hasReason());
    EXPECT_EQ(info->getReason(), 1);

    // No next update.
    auto delegated = basicOf(ocspFile("resp_delegated.der"));
    ASSERT_NE(delegated, nullptr);
    EXPECT_EQ(delegated->_getTbsResponseData()->_getResponses()->_getElement(0)->_getNextUpdate(),
              nullptr);
}

TEST_F(OCSPStructures, TheSignatureHoldsOverTheSignedBytesAndForTheSignersKeyOnly) {
    auto byCA = basicOf(ocspFile("resp_otherserial.der"));
    ASSERT_NE(byCA, nullptr);
    EXPECT_EQ(byCA->checkSignature(device, keyOf("ca").get()), 255);
    EXPECT_EQ(byCA->checkSignature(device, keyOf("other").get()), 0);
    EXPECT_EQ(byCA->checkSignature(device, nullptr), 0);
    auto delegated = basicOf(ocspFile("resp_delegated.der"));
    ASSERT_NE(delegated, nullptr);
    EXPECT_EQ(delegated->checkSignature(device, keyOf("responder").get()), 255);
    EXPECT_EQ(delegated->checkSignature(device, keyOf("ca").get()), 0);
    // A copy checks alike; one changed byte of the signed part (the last digit of producedAt,
    // so the response still reads) breaks it.
    std::unique_ptr<BasicOCSPResponse> copy(byCA->clone());
    EXPECT_EQ(copy->checkSignature(device, keyOf("ca").get()), 255);
    Bytes der = ocspFile("resp_otherserial.der");
    const std::string produced = "Z";
    auto at = std::search(der.begin(), der.end(), produced.begin(), produced.end());
    ASSERT_NE(at, der.end());
    *(at - 1) = *(at - 1) == '0' ? '1' : '0';
    auto changed = basicOf(der);
    ASSERT_NE(changed, nullptr);
    EXPECT_EQ(changed->checkSignature(device, keyOf("ca").get()), 0);
}

TEST_F(OCSPStructures, NoCutOrChangedResponseReadsPastItsEnd) {
    for (const char* name : kResponses) {
        SCOPED_TRACE(name);
        Bytes der = ocspFile(name);
        // Every proper prefix fails: the structure must be whole.
        for (size_t n = 0; n < der.size(); ++n) {
            Bytes cut(der.begin(), der.begin() + n);
            OCSPResponse response;
            auto b = bufferOf(cut);
            EXPECT_FALSE(response.unwrapASN1(b.get())) << "prefix " << n;
        }
        // Every single byte changed in turn: any result, but within the bytes given.
        for (size_t i = 0; i < der.size(); ++i) {
            Bytes changed = der;
            changed[i] ^= 0xA5;
            OCSPResponse response;
            auto b = bufferOf(changed);
            if (response.unwrapASN1(b.get())) {
                EXPECT_LE(b->getReadPos(), changed.size());
                if (response._getResponseBytes() != nullptr) {
                    delete response._getResponseBytes()->getBasicResponse();
                }
            }
        }
    }
}

}  // namespace
