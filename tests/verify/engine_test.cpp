// The PKCS#7 and CMS engine end to end, on envelopes signed by openssl under a PKI made by
// python cryptography (tests/data/engine/gen_engine_data.py): each case of engine.vec gives the
// switches and the verdicts, messages and report fragments that must come out, with the root
// in the trust list and its CRL served by a transport of the test's own (no network).
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

std::string engineData(const std::string& name) {
    return testData("engine/" + name);
}

class Engine : public EngineFixture {
protected:
    void SetUp() override {
        startStore(engineData("pki/root.pem"), "http://127.0.0.1/engine.crl",
                   engineData("pki/root.crl"));
    }

    // Verifies one case and gives the flat report.
    std::string run(const VecCase& c, unsigned long* code) {
        DocVerifier verifier(device, store.get());
        Buffer text(4096);
        XMLFile report(&text);
        report.openTag("sigilo");
        verifier.setXMLOutput(&report);
        if (c.has("july2011")) verifier.setCheckJuly2011Constraint(std::stoi(c.get("july2011")));
        if (c.has("nested")) verifier.setCheckEncapSigs(std::stoi(c.get("nested")));
        if (c.has("time")) {
            X500Time when = utcTimeOf(c.get("time"));
            EXPECT_EQ(verifier.setVerificationTime(&when), 255);
        }
        std::string file = engineData(c.get("file"));
        std::string detached = c.has("detached") ? engineData(c.get("detached")) : "";
        InputType type = verifier.guessInputType(file.c_str());
        if (type == InputType::InputCMS) {
            EXPECT_TRUE(verifier.verifyCMSFile(file.c_str(), detached.c_str(), nullptr));
        } else {
            EXPECT_EQ(type, InputType::InputPKCS7);
            EXPECT_TRUE(verifier.verifyPKCS7File(file.c_str(), detached.c_str(), nullptr));
        }
        *code = verifier.getErrCode();
        return flatReport(report.getXML(1));
    }

    // Runs every case of a .vec file of tests/data/engine.
    void checkCases(const std::string& vec, size_t atLeast);
};

void Engine::checkCases(const std::string& vec, size_t atLeast) {
    auto cases = casesOfKind(readVecFile(engineData(vec)), "case");
    ASSERT_GE(cases.size(), atLeast);
    for (const VecCase& c : cases) {
        SCOPED_TRACE(c.get("name"));
        unsigned long code = 0;
        std::string xml = run(c, &code);
        EXPECT_EQ(joined(valuesOf(xml, "status")), c.get("statuses")) << xml;
        EXPECT_EQ(joined(valuesOf(xml, "errorMessage")), c.get("messages")) << xml;
        for (const std::string& part : fragments(c.get("contains"))) {
            EXPECT_NE(xml.find(part), std::string::npos) << "missing " << part << "\n" << xml;
        }
        if (c.has("lacks")) {
            for (const std::string& part : fragments(c.get("lacks"))) {
                EXPECT_EQ(xml.find(part), std::string::npos) << "unwanted " << part << "\n" << xml;
            }
        }
        EXPECT_EQ(code == 0xFFFFFFFFul ? "FFFFFFFF" : std::to_string(code), c.get("errcode"));
    }
}

TEST_F(Engine, EveryCaseGivesItsVerdicts) {
    checkCases("engine.vec", 20);
}

TEST_F(Engine, TimeStampsNestingAttributesAndDescriptions) {
    checkCases("more.vec", 20);
}

// Verifies one file of tests/data/engine as a PKCS#7 envelope: the flat report, with what the
// driver returned and the error code.
std::string verifyEnvelope(CryptoDevice* device, LocalTrustStore* store, const char* name,
                           bool* returned, unsigned long* code) {
    DocVerifier verifier(device, store);
    Buffer text(4096);
    XMLFile report(&text);
    report.openTag("sigilo");
    verifier.setXMLOutput(&report);
    std::string file = engineData(name);
    EXPECT_EQ(verifier.guessInputType(file.c_str()), InputType::InputPKCS7);
    *returned = verifier.verifyPKCS7File(file.c_str(), "", nullptr) != 0;
    *code = verifier.getErrCode();
    return flatReport(report.getXML(1));
}

// A streamed envelope verifies; the same with its closing end-of-contents marks damaged (the last
// byte changed, the last two cut off) is refused as a badly formed envelope, as openssl refuses
// it, and no signer of it comes out "OK".
TEST_F(Engine, StreamedEnvelopeWithDamagedClosingMarksFails) {
    for (const char* name :
         {"indefinite.p7m", "indefinite_eoc_changed.p7m", "indefinite_eoc_cut.p7m"}) {
        SCOPED_TRACE(name);
        const bool intact = std::string(name) == "indefinite.p7m";
        bool returned;
        unsigned long code;
        std::string xml = verifyEnvelope(device, store.get(), name, &returned, &code);
        EXPECT_EQ(returned, intact);
        if (intact) {
            EXPECT_EQ(joined(valuesOf(xml, "status")), "OK") << xml;
            EXPECT_EQ(code, 0xFFFFFFFFul);
        } else {
            EXPECT_EQ(xml.find("<status>OK"), std::string::npos) << xml;
            EXPECT_EQ(code, 5123ul) << xml;
        }
    }
}

// Signed attributes whose SET is one byte shorter or longer than the attributes in it, and a
// signer certificate whose signed part is one byte longer: the signatures are checked over the
// re-encoded parts, so only the reader can tell; openssl refuses all three.
TEST_F(Engine, EnvelopesWhoseLengthsDisagreeWithTheirContentFail) {
    struct Case {
        const char* name;
        unsigned long code;
    };
    for (const Case& c :
         {Case{"lengths_attrs_short.p7m", 5123}, Case{"lengths_attrs_long.p7m", 5123},
          Case{"lengths_cert_tbs_long.p7m", 5185}}) {
        SCOPED_TRACE(c.name);
        bool returned;
        unsigned long code;
        std::string xml = verifyEnvelope(device, store.get(), c.name, &returned, &code);
        EXPECT_FALSE(returned);
        EXPECT_EQ(xml.find("<status>OK"), std::string::npos) << xml;
        EXPECT_EQ(code, c.code) << xml;
    }
}

}  // namespace
