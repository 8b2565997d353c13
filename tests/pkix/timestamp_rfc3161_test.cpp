// Requests, responses, tokens and TSTInfos made by `openssl ts` under a test TSA
// (tests/data/timestamp/gen_timestamp_data.py), each fact checked against asn1crypto's reading
// in timestamp.vec; the draft and final TSTInfo forms told apart; hand-made hostile encodings.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "crypto/AlgorithmIdentifier.h"
#include "pkix/ContentInfo.h"
#include "pkix/EncapsulatedContentInfo.h"
#include "pkix/PKIFreeText.h"
#include "pkix/PKIStatusInfo.h"
#include "pkix/SignedData.h"
#include "pkix/TimeStampReq.h"
#include "pkix/TimeStampResp.h"
#include "pkix/TimeStampToken.h"
#include "timestamp_test_support.h"

namespace {

const char* statusName(int status) {
    static const char* const kNames[] = {
        "granted", "granted_with_mods",  "rejection",
        "waiting", "revocation_warning", "revocation_notification"};
    return status >= 0 && status <= 5 ? kNames[status] : "?";
}

std::string failInfoNames(const PKIStatusInfo& s) {
    if (!s.hasFailInfo()) return "-";
    // asn1crypto's names, in its sorted order.
    static const std::pair<unsigned int, const char*> kBits[] = {
        {PKIStatusInfo::kAddInfoNotAvailable, "add_info_not_available"},
        {PKIStatusInfo::kBadAlg, "bad_alg"},
        {PKIStatusInfo::kBadDataFormat, "bad_data_format"},
        {PKIStatusInfo::kBadRequest, "bad_request"},
        {PKIStatusInfo::kSystemFailure, "system_failure"},
        {PKIStatusInfo::kTimeNotAvailable, "time_not_available"},
        {PKIStatusInfo::kUnacceptedExtension, "unaccepted_extensions"},
        {PKIStatusInfo::kUnacceptedPolicy, "unaccepted_policy"}};
    std::string out;
    for (const auto& [bit, label] : kBits) {
        if (s.getFailInfo() & bit) out += (out.empty() ? "" : ",") + std::string(label);
    }
    return out.empty() ? "-" : out;
}

// The token's TSTInfo taken out by hand through the envelope classes, as the verifier does:
// ContentInfo, then the CMS signed data, its encapsulated content, then the draft reader and
// the final one from the same start.
std::unique_ptr<TSTInfo> tstInfoThroughEnvelope(ContentInfo& token, const VecCase& c) {
    auto* signedData = dynamic_cast<CMSSignedData*>(token._getContent());
    EXPECT_NE(signedData, nullptr) << c.where();
    if (signedData == nullptr) return nullptr;
    EXPECT_EQ(signedData->getVersion(), std::stoi(vec(c, "signed_data_version")));
    const EncapsulatedContentInfo* encap = signedData->_getEncapContentInfo();
    EXPECT_EQ(take(encap->_getEContentType()->getValue()), vec(c, "content_type"));
    Buffer b;
    b.fromByteArray(encap->_getEContent(), encap->getEContentLen());
    std::unique_ptr<TSTInfo> info(new TSTInfoDraft09());
    if (info->unwrapASN1(&b)) return info;
    b.setReadPos(0);
    info.reset(new TSTInfo());
    EXPECT_TRUE(info->unwrapASN1(&b)) << c.where();
    return info;
}

TEST(TimeStampRequest, OpensslRequestsReadAndWriteBackUnchanged) {
    auto cases = timestampCases("request");
    ASSERT_EQ(cases.size(), 3u);
    for (const VecCase& c : cases) {
        Bytes der = timestampFile(vec(c, "file"));
        auto b = bufferOf(der);
        TimeStampReq req;
        ASSERT_TRUE(req.unwrapASN1(b.get())) << vec(c, "file");
        EXPECT_EQ(std::to_string(req.getVersion()), vec(c, "version"));
        EXPECT_EQ(take(req._getMessageImprint()->getHashAlgorithmName()), vec(c, "hash_algorithm"));
        EXPECT_EQ(toHex(req._getMessageImprint()->_getHashedMessage(),
                        req._getMessageImprint()->getHashedMessageLen()),
                  vec(c, "imprint"));
        EXPECT_EQ(req._getReqPolicy() ? take(req.getReqPolicy()) : "-", vec(c, "policy"));
        EXPECT_EQ(req.hasNonce() ? hexNumber(take(req.getNonce().printSerial(16))) : "-",
                  vec(c, "nonce"));
        EXPECT_EQ(req.getCertReq() ? "yes" : "no", vec(c, "cert_req"));
        EXPECT_EQ(encode(req), der) << vec(c, "file");
        std::unique_ptr<TimeStampReq> copy(req.clone());
        EXPECT_EQ(encode(*copy), der);
    }
}

TEST(TimeStampResponse, OpensslAndAsn1cryptoResponsesGiveStatusAndToken) {
    auto cases = timestampCases("response");
    ASSERT_EQ(cases.size(), 5u);
    for (const VecCase& c : cases) {
        Bytes der = timestampFile(vec(c, "file"));
        for (bool borrow : {false, true}) {
            auto b = bufferOf(der);
            TimeStampResp resp;
            ASSERT_EQ(borrow ? resp._unwrapASN1(b.get()) : resp.unwrapASN1(b.get()), 1)
                << vec(c, "file");
            const PKIStatusInfo* status = resp._getStatus();
            EXPECT_EQ(statusName(status->getStatus()), vec(c, "status"));
            std::string texts;
            for (int i = 0;
                 status->_getStatusString() && i < status->_getStatusString()->getCount(); ++i) {
                texts += (i ? "|" : "") + std::string(status->_getStatusString()->_getText(i));
            }
            EXPECT_EQ(texts.empty() ? "-" : texts, vec(c, "status_strings"));
            EXPECT_EQ(failInfoNames(*status), vec(c, "fail_info"));
            EXPECT_EQ(resp._getTimeStampToken() ? "yes" : "no", vec(c, "token"));
            if (resp._getTimeStampToken() != nullptr) {
                std::unique_ptr<TSTInfo> info(resp._getTimeStampToken()->getTSTInfo());
                ASSERT_NE(info, nullptr) << vec(c, "file");
                expectTSTInfoFacts(c, *info);
            }
            EXPECT_EQ(encode(resp), der) << vec(c, "file");
        }
    }
}

TEST(TimeStampToken, TokensGiveTheirTSTInfoThroughTheEnvelopeClasses) {
    auto cases = timestampCases("token");
    ASSERT_EQ(cases.size(), 3u);
    for (const VecCase& c : cases) {
        Bytes der = timestampFile(vec(c, "file"));
        auto b = bufferOf(der);
        ContentInfo info;
        ASSERT_EQ(info.unwrapASN1(b.get()), 1) << vec(c, "file");
        std::unique_ptr<TSTInfo> tst = tstInfoThroughEnvelope(info, c);
        ASSERT_NE(tst, nullptr);
        expectTSTInfoFacts(c, *tst);
        // With millis or micros openssl's accuracy (IMPLICIT tags) is no draft form; without
        // them the two forms are the same bytes, and the draft reader takes them.
        const bool fractions = vec(c, "accuracy_millis") != "-" || vec(c, "accuracy_micros") != "-";
        EXPECT_EQ(tst->isDraft09() != 0, !fractions) << vec(c, "file");

        // The same through the token class, and its clone.
        auto again = bufferOf(der);
        TimeStampToken token;
        ASSERT_EQ(token.unwrapASN1(again.get()), 1);
        std::unique_ptr<TimeStampToken> copy(token.clone());
        std::unique_ptr<TSTInfo> viaToken(copy->getTSTInfo());
        ASSERT_NE(viaToken, nullptr);
        expectTSTInfoFacts(c, *viaToken);
        EXPECT_EQ(encode(*copy), der);
    }
}

TEST(TimeStampToken, RefusesWhatIsNoSignedToken) {
    // A ContentInfo of type data, and one with the signed-data OID but no content.
    const Bytes data = {0x30, 0x0F, 0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7,
                        0x0D, 0x01, 0x07, 0x01, 0xA0, 0x02, 0x04, 0x00};
    const Bytes bare = {0x30, 0x0B, 0x06, 0x09, 0x2A, 0x86, 0x48,
                        0x86, 0xF7, 0x0D, 0x01, 0x07, 0x02};
    for (const Bytes& der : {data, bare}) {
        auto b = bufferOf(der);
        ContentInfo plain;
        EXPECT_EQ(plain.unwrapASN1(b.get()), 1);
        b->setReadPos(0);
        TimeStampToken token;
        EXPECT_EQ(token.unwrapASN1(b.get()), 0);
        EXPECT_EQ(token.getTSTInfo(), nullptr);
    }
}

TEST(TSTInfoForms, EachFormIsReadByItsOwnReaderOnly) {
    for (const VecCase& c : timestampCases("tstinfo")) {
        Bytes der = timestampFile(vec(c, "file"));
        const std::string form = vec(c, "form");
        auto b = bufferOf(der);
        TSTInfoDraft09 draft;
        bool draftRead = draft.unwrapASN1(b.get()) != 0;
        b->setReadPos(0);
        TSTInfo final;
        bool finalRead = final.unwrapASN1(b.get()) != 0;
        EXPECT_EQ(draftRead, form != "final") << vec(c, "file");
        EXPECT_EQ(finalRead, form != "draft09") << vec(c, "file");
        if (draftRead) {
            expectTSTInfoFacts(c, draft);
            EXPECT_EQ(encode(draft), der);
            std::unique_ptr<TSTInfo> copy(draft.clone());
            EXPECT_TRUE(copy->isDraft09());
            EXPECT_EQ(encode(*copy), der);
        }
        if (finalRead) {
            expectTSTInfoFacts(c, final);
            EXPECT_EQ(encode(final), der);
        }
        std::unique_ptr<TSTInfo> any(TSTInfo::readAnyForm(der.data(), der.size()));
        ASSERT_NE(any, nullptr);
        expectTSTInfoFacts(c, *any);
        EXPECT_EQ(any->isDraft09() != 0, form != "final");
    }
}

TEST(TSTInfoForms, AccuracyMovesBetweenFormsWithItsValues) {
    Bytes der = timestampFile("tstinfo_final.der");
    auto b = bufferOf(der);
    TSTInfo final;
    ASSERT_TRUE(final.unwrapASN1(b.get()));
    TSTInfoDraft09 draft;
    ASSERT_TRUE(draft.unwrapASN1(bufferOf(timestampFile("tstinfo_draft09.der")).get()));
    // Setting the final accuracy on the draft object keeps the draft's tags.
    draft.setAccuracy(final._getAccuracy());
    EXPECT_EQ(encode(draft), timestampFile("tstinfo_draft09.der"));
    std::unique_ptr<Accuracy> a(draft.getAccuracy());
    EXPECT_TRUE(a->isDraft09());
    EXPECT_EQ(a->getTotalMicros(), 1500100);
}

struct AccuracyCase {
    const char* what;
    Bytes der;
    bool finalReads;
    bool draftReads;
};

TEST(TSTInfoForms, AccuracyReadersAreStrict) {
    const AccuracyCase cases[] = {
        {"seconds only", {0x30, 0x03, 0x02, 0x01, 0x05}, true, true},
        {"empty", {0x30, 0x00}, true, true},
        {"implicit millis", {0x30, 0x03, 0x80, 0x01, 0x07}, true, false},
        {"explicit millis", {0x30, 0x05, 0xA0, 0x03, 0x02, 0x01, 0x07}, false, true},
        {"millis 0", {0x30, 0x03, 0x80, 0x01, 0x00}, false, false},
        {"millis 1000", {0x30, 0x04, 0x80, 0x02, 0x03, 0xE8}, false, false},
        {"negative seconds", {0x30, 0x03, 0x02, 0x01, 0xFF}, false, false},
        {"micros before millis", {0x30, 0x06, 0x81, 0x01, 0x01, 0x80, 0x01, 0x01}, false, false},
        {"unknown member", {0x30, 0x03, 0x82, 0x01, 0x01}, false, false},
        {"explicit with trailer",
         {0x30, 0x08, 0xA0, 0x06, 0x02, 0x01, 0x07, 0x02, 0x01, 0x01},
         false,
         false},
        {"length past the end", {0x30, 0x09, 0x02, 0x01, 0x05}, false, false},
    };
    for (const AccuracyCase& c : cases) {
        Accuracy final;
        AccuracyDraft09 draft;
        EXPECT_EQ(final.unwrapASN1(bufferOf(c.der).get()) != 0, c.finalReads) << c.what;
        EXPECT_EQ(draft.unwrapASN1(bufferOf(c.der).get()) != 0, c.draftReads) << c.what;
        if (c.finalReads) {
            EXPECT_EQ(encode(final), c.der) << c.what;
        }
        if (c.draftReads) {
            EXPECT_EQ(encode(draft), c.der) << c.what;
        }
    }
}

TEST(TSTInfoForms, GenTimeMustBeGeneralizedAndVersionOne) {
    Bytes der = timestampFile("tstinfo_plain.der");
    // The plain TSTInfo has no accuracy; find its GeneralizedTime and version by their bytes.
    Bytes utc = der;
    for (size_t i = 0; i + 1 < utc.size(); ++i) {
        if (utc[i] == 0x18 && utc[i + 1] == 0x0F) {
            utc[i] = 0x17;
            break;
        }
    }
    Bytes v2 = der;
    const Bytes one = {0x02, 0x01, 0x01};
    auto at = std::search(v2.begin(), v2.end(), one.begin(), one.end());
    ASSERT_TRUE(at != v2.end());
    at[2] = 0x02;
    for (const Bytes& bad : {utc, v2}) {
        EXPECT_EQ(TSTInfo::readAnyForm(bad.data(), bad.size()), nullptr);
    }
    std::unique_ptr<TSTInfo> good(TSTInfo::readAnyForm(der.data(), der.size()));
    EXPECT_NE(good, nullptr);
}

TEST(TimeStampResponse, EveryTruncationFailsCleanly) {
    for (const char* name : {"resp_full.tsr", "resp_rejected.tsr", "req_sha256.tsq"}) {
        Bytes der = timestampFile(name);
        for (size_t n = 0; n < der.size(); ++n) {
            Bytes cut(der.begin(), der.begin() + n);
            auto b = bufferOf(cut);
            TimeStampResp resp;
            TimeStampReq req;
            EXPECT_EQ(resp.unwrapASN1(b.get()), 0) << name << " cut at " << n;
            b->setReadPos(0);
            EXPECT_EQ(req.unwrapASN1(b.get()), 0) << name << " cut at " << n;
        }
    }
}

TEST(PKIStatusInfo, FailureBitsWriteBackAsNamedBits) {
    PKIStatusInfo s(PKIStatusInfo::kRejection);
    s.setFailInfo(PKIStatusInfo::kBadAlg | PKIStatusInfo::kSystemFailure);
    PKIFreeText text;
    text.addText("rifiutata");
    s.setStatusString(&text);
    Bytes der = encode(s);
    // 03 05 06 80 00 00 40: bit 0 and bit 25, six unused bits in the last byte.
    const Bytes bits = {0x03, 0x05, 0x06, 0x80, 0x00, 0x00, 0x40};
    EXPECT_TRUE(std::search(der.begin(), der.end(), bits.begin(), bits.end()) != der.end());
    PKIStatusInfo back;
    ASSERT_TRUE(back.unwrapASN1(bufferOf(der).get()));
    EXPECT_EQ(back.getFailInfo(), s.getFailInfo());
    EXPECT_EQ(take(back._getStatusString()->getText(0)), "rifiutata");

    // A text hiding a zero byte is refused.
    const Bytes nul = {0x30, 0x09, 0x02, 0x01, 0x02, 0x30, 0x04, 0x0C, 0x02, 0x61, 0x00};
    PKIStatusInfo hidden;
    EXPECT_EQ(hidden.unwrapASN1(bufferOf(nul).get()), 0);
}

TEST(MessageImprint, ComparesAlgorithmAndDigest) {
    AlgorithmIdentifier sha256("2.16.840.1.101.3.4.2.1");
    AlgorithmIdentifier sha1("1.3.14.3.2.26");
    const unsigned char d1[] = {1, 2, 3};
    const unsigned char d2[] = {1, 2, 4};
    MessageImprint a(&sha256, d1, 3), b(&sha256, d1, 3), c(&sha256, d2, 3), d(&sha1, d1, 3);
    EXPECT_TRUE(a.isEqual(&b));
    EXPECT_FALSE(a.isEqual(&c));
    EXPECT_FALSE(a.isEqual(&d));
    EXPECT_FALSE(a.isEqual(nullptr));
    // A NULL in place of the digest is no imprint.
    const Bytes nullDigest = {0x30, 0x0F, 0x30, 0x0B, 0x06, 0x09, 0x60, 0x86, 0x48,
                              0x01, 0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00};
    MessageImprint e;
    EXPECT_EQ(e.unwrapASN1(bufferOf(nullDigest).get()), 0);
}

}  // namespace
