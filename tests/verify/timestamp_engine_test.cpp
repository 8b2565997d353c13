// The time-stamp engine end to end (tests/data/tsengine/gen_tsengine_data.py): tokens made by
// openssl ts and tokens built with asn1crypto at chosen genTimes, as TSR and TST files, inside
// CAdES signers, in M7M messages, beside a PKCS#7 and in TSD files. Each case of tsengine.vec
// names the file, the switches and what the report must hold; the driver is chosen from the
// file's type, as the command-line tool chooses it.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "asn1/Buffer.h"
#include "asn1/X500Time.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "support/EngineFixture.h"
#include "support/ReportText.h"
#include "support/VecFile.h"
#include "trust/CACache.h"
#include "trust/LocalTrustStore.h"
#include "verify/DocVerifier.h"
#include "xml/XMLFile.h"

namespace {

std::string tsData(const std::string& name) {
    return testData("tsengine/" + name);
}

class TimeStampEngine : public EngineFixture {
protected:
    void SetUp() override {
        startStore(trustedRoot(), "http://127.0.0.1/tsengine.crl", tsData("pki/root.crl"));
    }
    virtual std::string trustedRoot() const { return tsData("pki/root.pem"); }

    void configure(DocVerifier* verifier, const VecCase& c) {
        if (c.has("july2011")) verifier->setCheckJuly2011Constraint(std::stoi(c.get("july2011")));
        if (c.has("august2010"))
            verifier->setCheckAugust2010Constraint(std::stoi(c.get("august2010")) ? 255 : 0);
        if (c.has("sigcert"))
            verifier->setCheckSigningCertificateAttr(std::stoi(c.get("sigcert")) ? 255 : 0);
        if (c.has("time")) {
            X500Time when = utcTimeOf(c.get("time"));
            EXPECT_EQ(verifier->setVerificationTime(&when), 255);
        }
    }

    // One file through the driver of its type, as the tool does it.
    static unsigned char verifyFile(DocVerifier* verifier, const std::string& file,
                                    const std::string& detached, const std::string& tsr) {
        switch (verifier->guessInputType(file.c_str())) {
            case InputType::InputTSR:
                return verifier->verifyTSRFile(file.c_str(), detached.c_str());
            case InputType::InputTST:
                return verifier->verifyTSTFile(file.c_str(), detached.c_str());
            case InputType::InputM7M:
                return verifier->verifyMIMEFile(file.c_str(), nullptr, nullptr);
            case InputType::InputTSD:
                return verifier->verifyTSDFile(file.c_str(), detached.c_str(), nullptr, nullptr);
            case InputType::InputCMS:
                return verifier->verifyCMSFile(file.c_str(), detached.c_str(), nullptr);
            case InputType::InputPKCS7:
                if (!tsr.empty())
                    return verifier->verifyDetachedTimeStamp(file.c_str(), tsr.c_str(), nullptr);
                return verifier->verifyPKCS7File(file.c_str(), detached.c_str(), nullptr);
            default:
                ADD_FAILURE() << "not a time-stamp test file: " << file;
                return 0;
        }
    }
};

TEST_F(TimeStampEngine, EveryCaseGivesItsVerdicts) {
    auto cases = casesOfKind(readVecFile(tsData("tsengine.vec")), "case");
    ASSERT_GE(cases.size(), 30u);
    for (const VecCase& c : cases) {
        SCOPED_TRACE(c.get("name"));
        DocVerifier verifier(device, store.get());
        Buffer text(4096);
        XMLFile report(&text);
        report.openTag("sigilo");
        verifier.setXMLOutput(&report);
        configure(&verifier, c);
        verifyFile(&verifier, tsData(c.get("file")),
                   c.has("detached") ? tsData(c.get("detached")) : "",
                   c.has("tsr") ? tsData(c.get("tsr")) : "");
        std::string xml = flatReport(report.getXML(1));
        EXPECT_EQ(joined(valuesOf(xml, "status")), c.get("statuses")) << xml;
        EXPECT_EQ(joined(valuesOf(xml, "errorMessage")), c.get("messages")) << xml;
        for (const std::string& part : fragments(c.has("contains") ? c.get("contains") : "-"))
            EXPECT_NE(xml.find(part), std::string::npos) << "missing " << part << "\n" << xml;
        for (const std::string& part : fragments(c.has("lacks") ? c.get("lacks") : "-"))
            EXPECT_EQ(xml.find(part), std::string::npos) << "unwanted " << part << "\n" << xml;
        if (c.has("errcode")) {
            unsigned long code = verifier.getErrCode();
            EXPECT_EQ(code == 0xFFFFFFFFul ? "FFFFFFFF" : std::to_string(code), c.get("errcode"));
        }
    }
}

}  // namespace

// The time of an envelope's token, on the demo inputs of tests/data/verify (an envelope, its
// TSR by openssl ts, and the M7M of both).
class EnvelopeTimes : public TimeStampEngine {
protected:
    std::string trustedRoot() const override { return testData("verify/ca_cert.pem"); }
    static std::string timeText(const X500Time* t) {
        return t != nullptr ? std::string(std::unique_ptr<char[]>(t->getValue()).get()) : "";
    }
};

TEST_F(EnvelopeTimes, WithoutACallersTimeTheTokensTimeCarriesOver) {
    DocVerifier verifier(device, store.get());
    Buffer text(4096);
    XMLFile report(&text);
    report.openTag("sigilo");
    verifier.setXMLOutput(&report);
    // The demo envelope is not CAdES: with the 2011 rule on it would stop before its verdict.
    verifier.setCheckJuly2011Constraint(0);
    verifier.verifyMIMEFile(testData("verify/doc.m7m").c_str(), nullptr, nullptr);
    std::string xml = flatReport(report.getXML(1));
    auto stamped = valuesOf(xml, "timeStampDate");
    ASSERT_EQ(stamped.size(), 1u) << xml;
    // The envelope's signer is judged at the token's time...
    EXPECT_EQ(valuesOf(xml, "verificationTime"), stamped) << xml;
    EXPECT_NE(xml.find("</signedData><timeStamp>"), std::string::npos) << xml;
    // ...which stays the verification time for the files after this one.
    std::unique_ptr<X500Time> now(verifier.getVerificationTime());
    EXPECT_EQ(timeText(now.get()), stamped[0]);
}

TEST_F(EnvelopeTimes, ACallersTimeComesBackAfterTheEnvelope) {
    DocVerifier verifier(device, store.get());
    Buffer text(4096);
    XMLFile report(&text);
    report.openTag("sigilo");
    verifier.setXMLOutput(&report);
    verifier.setCheckJuly2011Constraint(0);
    X500Time chosen = utcTimeOf("250101120000Z");
    ASSERT_EQ(verifier.setVerificationTime(&chosen), 255);
    verifier.verifyDetachedTimeStamp(testData("verify/doc_der.p7m").c_str(),
                                     testData("verify/doc.tsr").c_str(), nullptr);
    std::string xml = flatReport(report.getXML(1));
    EXPECT_EQ(valuesOf(xml, "verificationTime"), valuesOf(xml, "timeStampDate")) << xml;
    // No filetype on a PKCS#7 with a separate token.
    EXPECT_NE(xml.find("<signedData filename=\"" + testData("verify/doc_der.p7m") + "\"><signer"),
              std::string::npos)
        << xml;
    std::unique_ptr<X500Time> after(verifier.getVerificationTime());
    EXPECT_EQ(timeText(after.get()), "250101120000Z");
}

TEST_F(EnvelopeTimes, AFailedTokenDatesNothing) {
    // The TSR stamps another envelope: its time must not become the time of this one's signers.
    DocVerifier verifier(device, store.get());
    Buffer text(4096);
    XMLFile report(&text);
    report.openTag("sigilo");
    verifier.setXMLOutput(&report);
    EXPECT_FALSE(verifier.verifyDetachedTimeStamp(testData("verify/doc_pem.p7m").c_str(),
                                                  testData("verify/doc.tsr").c_str(), nullptr));
    std::unique_ptr<X500Time> after(verifier.getVerificationTime());
    EXPECT_EQ(after, nullptr);
    std::string xml = flatReport(report.getXML(1));
    EXPECT_NE(xml.find("</signedData><timeStamp>"), std::string::npos) << xml;
    EXPECT_NE(xml.find("<errorMessage>Marca Temporale non valida</errorMessage><status>KO</status>"
                       "</timeStamp>"),
              std::string::npos)
        << xml;
}
