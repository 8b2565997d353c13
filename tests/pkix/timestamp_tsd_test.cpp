// RFC 5544 TimeStampedData assembled by asn1crypto around openssl tokens
// (tests/data/timestamp/gen_timestamp_data.py), read through ContentInfo as the verifier reads
// a ".tsd" file, each fact checked against timestamp.vec: metadata, embedded or detached
// content, evidence of the three kinds, two chained stamps with a CRL, and a BER form with
// indefinite lengths and a constructed content.
#include <gtest/gtest.h>

#include <memory>

#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "crypto/AlgorithmIdentifier.h"
#include "pkix/CertificateList.h"
#include "pkix/ContentInfo.h"
#include "pkix/Evidence.h"
#include "pkix/EvidenceRecord.h"
#include "pkix/MetaData.h"
#include "pkix/OtherEvidence.h"
#include "pkix/TimeStampAndCRL.h"
#include "pkix/TimeStampToken.h"
#include "pkix/TimeStampedData.h"
#include "timestamp_test_support.h"

namespace {

std::string textOr(const char* s) {
    return s != nullptr ? std::string(s) : "-";
}

const char* evidenceName(unsigned char choice) {
    switch (choice) {
        case Evidence::kTstEvidence:
            return "tst_evidence";
        case Evidence::kErsEvidence:
            return "ers_evidence";
        case Evidence::kOtherEvidence:
            return "other_evidence";
        default:
            return "?";
    }
}

std::string imprintOf(const TimeStampAndCRL* entry) {
    std::unique_ptr<TSTInfo> info(entry->_getTimeStamp()->getTSTInfo());
    if (!info) return "?";
    return toHex(info->_getMessageImprint()->_getHashedMessage(),
                 info->_getMessageImprint()->getHashedMessageLen());
}

// The DER of an object as bytes.
template <class T>
Bytes derOf(T* object) {
    return encode(*object);
}

void checkTsd(const VecCase& c, const TimeStampedData& tsd) {
    const std::string name = vec(c, "file");
    EXPECT_EQ(std::to_string(tsd.getVersion()), vec(c, "version")) << name;
    EXPECT_EQ(textOr(tsd._getDataUri()), vec(c, "data_uri")) << name;
    const MetaData* meta = tsd._getMetaData();
    EXPECT_EQ(meta ? "yes" : "no", vec(c, "meta_data")) << name;
    if (meta != nullptr) {
        EXPECT_EQ(meta->getHashProtected() ? "yes" : "no", vec(c, "hash_protected")) << name;
        EXPECT_EQ(textOr(meta->_getFileName()), vec(c, "file_name")) << name;
        EXPECT_EQ(textOr(meta->_getMediaType()), vec(c, "media_type")) << name;
    }
    EXPECT_EQ(tsd.hasContent() ? sha256Hex(tsd._getContent(), tsd.getContentLength()) : "-",
              vec(c, "content_sha256"))
        << name;
    const Evidence* evidence = tsd._getTemporalEvidence();
    ASSERT_NE(evidence, nullptr) << name;
    EXPECT_EQ(evidenceName(evidence->getChoice()), vec(c, "evidence")) << name;

    if (const TimeStampAndCRLList* list = tsd._getTimeStampAndCRLList()) {
        EXPECT_EQ(std::to_string(list->getCount()), vec(c, "entries")) << name;
        std::string crls;
        for (int i = 0; i < list->getCount(); ++i) {
            crls += (i ? "," : "") + std::string(list->_getElement(i)->_getCrl() ? "yes" : "no");
        }
        EXPECT_EQ(crls, vec(c, "crls")) << name;
        EXPECT_EQ(imprintOf(list->_getElement(0)), vec(c, "first_imprint")) << name;

        // What the first imprint covers, as the verifier assembles it: the metadata's DER and
        // the content when the metadata is hash-protected, else the content alone.
        if (vec(c, "imprint_covers") == "meta+content") {
            Bytes covered = derOf(const_cast<MetaData*>(meta));
            covered.insert(covered.end(), tsd._getContent(),
                           tsd._getContent() + tsd.getContentLength());
            EXPECT_EQ(sha256Hex(covered.data(), covered.size()), vec(c, "first_imprint"));
        } else if (vec(c, "imprint_covers") == "content") {
            EXPECT_EQ(sha256Hex(tsd._getContent(), tsd.getContentLength()),
                      vec(c, "first_imprint"));
        }
        if (vec(c, "second_covers_first") == "yes") {
            // The second stamp covers the DER of the first entry, written back by our writer.
            Bytes first = derOf(list->_getElement(0));
            EXPECT_EQ(sha256Hex(first.data(), first.size()), imprintOf(list->_getElement(1)));
        }
    }
    if (const OtherEvidence* other = evidence->_getOtherEvidence()) {
        EXPECT_EQ(take(other->getOeType()), vec(c, "oe_type"));
        EXPECT_EQ(toHex(other->_getOeValue(), other->getOeValueLen()), vec(c, "oe_value"));
    }
    if (const EvidenceRecord* ers = evidence->_getErsEvidence()) {
        EXPECT_EQ(std::to_string(ers->getVersion()), vec(c, "ers_version"));
        ASSERT_EQ(ers->_getDigestAlgorithms()->getCount(), 1);
        EXPECT_EQ(take(ers->_getDigestAlgorithms()->_getElement(0)->getAlgorithm()),
                  vec(c, "ers_digests"));
        EXPECT_GT(ers->getArchiveTimeStampSequenceLen(), 0u);
    }
}

TEST(TimeStampedDataFiles, ReadThroughContentInfoInBothReaders) {
    auto cases = timestampCases("tsd");
    ASSERT_EQ(cases.size(), 7u);
    for (const VecCase& c : cases) {
        Bytes der = timestampFile(vec(c, "file"));
        const bool indefinite = der[1] == 0x80;
        for (bool borrow : {false, true}) {
            auto b = bufferOf(der);
            ContentInfo info;
            ASSERT_EQ(borrow ? info._unwrapASN1(b.get()) : info.unwrapASN1(b.get()), 1)
                << vec(c, "file");
            EXPECT_EQ(b->getReadPos(), der.size());
            EXPECT_TRUE(info.isEqual(ContentInfo::kTimeStampedData));
            auto* tsd = dynamic_cast<TimeStampedData*>(info._getContent());
            ASSERT_NE(tsd, nullptr);
            checkTsd(c, *tsd);
            // A primitive content is left in the buffer by the no-copy reader; the constructed
            // one of the BER file had to be assembled.
            if (tsd->hasContent()) {
                EXPECT_EQ(tsd->isBorrowed() != 0, borrow && !indefinite) << vec(c, "file");
            }
            std::unique_ptr<TimeStampedData> copy(tsd->clone());
            checkTsd(c, *copy);
            if (!indefinite) {
                EXPECT_EQ(encode(info), der) << vec(c, "file");
            }
        }
    }
}

TEST(TimeStampedDataFiles, HostileVariantsFail) {
    Bytes der = timestampFile("tsd_two_stamps.tsd");
    // Every truncation, of the definite file and of the BER one.
    for (const char* name : {"tsd_two_stamps.tsd", "tsd_indefinite.tsd", "tsd_ers.tsd"}) {
        Bytes whole = timestampFile(name);
        for (size_t n = 0; n < whole.size(); n += (n < 200 ? 1 : 7)) {
            Bytes cut(whole.begin(), whole.begin() + n);
            auto b = bufferOf(cut);
            ContentInfo info;
            // Cut right behind the type, the envelope reads as one without content (the
            // ContentInfo rule for a SEQUENCE that ends there); never is a TimeStampedData read.
            EXPECT_TRUE(info._unwrapASN1(b.get()) != 1 || info._getContent() == nullptr)
                << name << " cut at " << n;
        }
    }
    // The TimeStampedData itself, taken out of its ContentInfo, with a version other than 1.
    auto b = bufferOf(der);
    ContentInfo info;
    ASSERT_EQ(info.unwrapASN1(b.get()), 1);
    Bytes inner = encode(*static_cast<TimeStampedData*>(info._getContent()));
    Bytes v2 = inner;
    size_t at = v2[1] & 0x80 ? 2 + (v2[1] & 0x7F) : 2;
    ASSERT_EQ(v2[at], 0x02);
    v2[at + 2] = 0x02;
    TimeStampedData tsd;
    EXPECT_EQ(tsd.unwrapASN1(bufferOf(v2).get()), 0);
    // Nothing may follow the evidence.
    Bytes trailer = inner;
    trailer.push_back(0x05);
    trailer.push_back(0x00);
    // Lengthen the outer SEQUENCE by the two bytes added (a long-form length).
    size_t lenBytes = trailer[1] & 0x7F;
    unsigned int len = 0;
    for (size_t i = 0; i < lenBytes; ++i) len = (len << 8) | trailer[2 + i];
    len += 2;
    for (size_t i = lenBytes; i > 0; --i) {
        trailer[1 + i] = static_cast<unsigned char>(len);
        len >>= 8;
    }
    EXPECT_EQ(tsd.unwrapASN1(bufferOf(trailer).get()), 0);
    EXPECT_EQ(tsd.unwrapASN1(bufferOf(inner).get()), 1);
}

TEST(TimeStampedDataParts, EvidenceSettersKeepOneAlternative) {
    Evidence e;
    EXPECT_EQ(e.getChoice(), 0);
    OtherEvidence other;
    other.setOeType("1.2.3.4");
    const unsigned char value[] = {0x04, 0x01, 0x2A};
    other.setOeValue(value, 3);
    e.setOtherEvidence(&other);
    EXPECT_EQ(e.getChoice(), Evidence::kOtherEvidence);
    TimeStampAndCRLList list;
    e.setTstEvidence(&list);
    EXPECT_EQ(e._getOtherEvidence(), nullptr);
    EXPECT_EQ(e.getChoice(), Evidence::kTstEvidence);
    // An empty list of stamps is written, but refused when read: it proves nothing.
    Bytes der = encode(e);
    EXPECT_EQ(der, (Bytes{0xA0, 0x00}));
    Evidence back;
    EXPECT_EQ(back.unwrapASN1(bufferOf(der).get()), 0);
    // An unknown alternative.
    EXPECT_EQ(back.unwrapASN1(bufferOf(Bytes{0xA3, 0x00}).get()), 0);
}

TEST(TimeStampedDataParts, MetaDataWritesBackTheBytesItRead) {
    // hashProtected TRUE as 0x01 rather than DER's 0xFF: the stamp covers these very bytes.
    const Bytes ber = {0x30, 0x08, 0x01, 0x01, 0x01, 0x0C, 0x03, 0x61, 0x2E, 0x62};
    MetaData meta;
    ASSERT_TRUE(meta.unwrapASN1(bufferOf(ber).get()));
    EXPECT_TRUE(meta.getHashProtected());
    EXPECT_EQ(take(meta.getFileName()), "a.b");
    EXPECT_EQ(encode(meta), ber);
    std::unique_ptr<MetaData> copy(meta.clone());
    EXPECT_EQ(encode(*copy), ber);
    // Once changed, it is encoded afresh.
    meta.setMediaType("text/plain");
    Bytes fresh = encode(meta);
    EXPECT_EQ(fresh[4], 0xFF);
    MetaData back;
    ASSERT_TRUE(back.unwrapASN1(bufferOf(fresh).get()));
    EXPECT_EQ(take(back.getMediaType()), "text/plain");
}

TEST(TimeStampedDataParts, BorrowedContentIsSharedByClones) {
    Bytes der = timestampFile("tsd_embedded.tsd");
    auto b = bufferOf(der);
    ContentInfo info;
    ASSERT_EQ(info._unwrapASN1(b.get()), 1);
    auto* tsd = static_cast<TimeStampedData*>(info._getContent());
    ASSERT_TRUE(tsd->isBorrowed());
    EXPECT_GE(tsd->_getContent(), b->_getData());
    EXPECT_LT(tsd->_getContent(), b->_getData() + der.size());
    std::unique_ptr<TimeStampedData> copy(tsd->clone());
    EXPECT_EQ(copy->_getContent(), tsd->_getContent());
    // setContent makes it owned.
    const unsigned char other[] = {'x'};
    copy->setContent(other, 1);
    EXPECT_FALSE(copy->isBorrowed());
    EXPECT_NE(copy->_getContent(), tsd->_getContent());
}

}  // namespace

namespace {

Bytes tlv(unsigned char tag, const Bytes& body) {
    Bytes out = {tag};
    size_t n = body.size();
    if (n < 0x80) {
        out.push_back(static_cast<unsigned char>(n));
    } else {
        Bytes size;
        for (; n > 0; n >>= 8) size.insert(size.begin(), static_cast<unsigned char>(n));
        out.push_back(static_cast<unsigned char>(0x80 | size.size()));
        out.insert(out.end(), size.begin(), size.end());
    }
    out.insert(out.end(), body.begin(), body.end());
    return out;
}

Bytes cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

// A TimeStampedData envelope whose stamp is a PKCS#7 signed data that holds the next envelope,
// levels deep, down to an empty data ContentInfo: each level passes through two ContentInfos.
Bytes nestedEnvelope(int levels) {
    const Bytes tsdOid = {0x06, 0x0B, 0x2A, 0x86, 0x48, 0x86, 0xF7,
                          0x0D, 0x01, 0x09, 0x10, 0x01, 0x1F};
    const Bytes signedOid = {0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x07, 0x02};
    const Bytes dataOid = {0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x07, 0x01};
    Bytes inner = tlv(0x30, dataOid);
    for (int i = 0; i < levels; ++i) {
        Bytes signedData =
            tlv(0x30, cat({Bytes{0x02, 0x01, 0x01}, tlv(0x31, {}), inner, tlv(0x31, {})}));
        Bytes token = tlv(0x30, cat({signedOid, tlv(0xA0, signedData)}));
        Bytes tsd = tlv(0x30, cat({Bytes{0x02, 0x01, 0x01}, tlv(0xA0, tlv(0x30, token))}));
        inner = tlv(0x30, cat({tsdOid, tlv(0xA0, tsd)}));
    }
    return inner;
}

TEST(TimeStampedDataFiles, NestingThroughTokensIsCapped) {
    Bytes shallow = nestedEnvelope(3);
    ContentInfo ok;
    EXPECT_EQ(ok.unwrapASN1(bufferOf(shallow).get()), 1);
    // Far past the cap: refused, with no stack exhaustion.
    Bytes deep = nestedEnvelope(200);
    ContentInfo refused;
    EXPECT_EQ(refused.unwrapASN1(bufferOf(deep).get()), 0);
    TimeStampedData direct;
    auto b = bufferOf(deep);
    b->setReadPos(2 + (deep[1] & 0x7F) + 13);  // past the outer header and the type
    unsigned char tag;
    unsigned int len;
    ASSERT_TRUE(b->readASN1Header(&tag, &len));
    EXPECT_EQ(direct.unwrapASN1(b.get()), 0);
}

}  // namespace
