// The signed trust-list import through the sigilo tool: a list in the ETSI shape signed by
// xmlsec1 is taken with its operator's certificate as the signer and replaces the CA list; it
// is refused with another signer, after one changed byte, and when its providers were moved where
// the signature does not cover them. The two published Italian lists are read by the unsigned
// import.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "support/VecFile.h"

namespace {

std::string fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::string tslData(const std::string& name) {
    return testData("xml/tsl/" + name);
}

int lines(const std::string& text) {
    int n = 0;
    for (char c : text) n += c == '\n';
    return n;
}

class TrustListImport : public ::testing::Test {
protected:
    void SetUp() override {
        dir = ::testing::TempDir() + "/xml_tsl_" +
              ::testing::UnitTest::GetInstance()->current_test_info()->name();
        ASSERT_EQ(system(("rm -rf '" + dir + "' && mkdir -p '" + dir + "'").c_str()), 0);
    }
    int sigilo(const std::string& arguments) {
        std::string command = "cd '" + dir + "' && " + SIGILO_BINARY_DIR + "/sigilo -c . " +
                              arguments + " >out.txt 2>err.txt";
        int raw = system(command.c_str());
        return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    }
    std::string listed() {
        sigilo("--list-ca");
        return fileBytes(dir + "/out.txt");
    }
    int importList(const std::string& list, const std::string& signer) {
        return sigilo("--no-crl --no-ca-crl --import-tsl '" + tslData(list) + "' --tsl-signer '" +
                      tslData(signer) + "'");
    }
    std::string dir;
};

TEST_F(TrustListImport, TheRightSignerLetsTheListReplaceTheCAList) {
    // Something trusted before, which the import replaces.
    ASSERT_EQ(sigilo("--import-pem '" + testData("engine/pki/other_root.pem") + "'"), 0);
    ASSERT_EQ(importList("tsl_signed.xml", "operator.pem"), 0) << fileBytes(dir + "/err.txt");
    std::string cas = listed();
    EXPECT_EQ(lines(cas), 2) << cas;
    EXPECT_NE(cas.find("CN=Radice Motore"), std::string::npos) << cas;
    EXPECT_EQ(cas.find("Radice Estranea"), std::string::npos) << cas;
    // The operator was trusted for the list's own check only.
    EXPECT_EQ(cas.find("Gestore Lista di Prova"), std::string::npos) << cas;
    // And a document under the listed root now verifies.
    ASSERT_EQ(system(("mkdir -p '" + dir + "/crl' && cp '" + testData("engine/crl/crlCache") +
                      "' '" + dir + "/crl/'")
                         .c_str()),
              0);
    EXPECT_EQ(sigilo("-r crl '" + testData("xml/xades/bes.xml") + "'"), 0)
        << fileBytes(dir + "/out.txt");
}

TEST_F(TrustListImport, AListIsRefusedUnlessItsOwnSignatureCoversWhatIsImported) {
    ASSERT_EQ(sigilo("--import-pem '" + testData("engine/pki/other_root.pem") + "'"), 0);
    const std::string before = listed();
    ASSERT_EQ(lines(before), 1);
    struct Case {
        const char* list;
        const char* signer;
        const char* why;
    } cases[] = {
        {"tsl_signed.xml", "other_operator.pem", "signed by someone else"},
        {"tsl_changed.xml", "operator.pem", "one byte changed"},
        {"tsl_wrapped.xml", "operator.pem", "providers moved into the signature"},
        {"tsl_signed.xml", "missing.pem", "signer that cannot be read"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(importList(c.list, c.signer), 1) << c.why;
        // The list in force stays as it was, and the signer was not left trusted.
        EXPECT_EQ(listed(), before) << c.why;
    }
}

// The wrapped list is the reason for the shape check: its signature alone is good, and the
// unsigned import would take the provider hidden in the signature.
TEST_F(TrustListImport, TheWrappedListHasAGoodSignatureOverOtherProviders) {
    ASSERT_EQ(sigilo("--import-pem '" + tslData("operator.pem") + "'"), 0);
    EXPECT_EQ(sigilo("--no-crl --no-ca-crl '" + tslData("tsl_wrapped.xml") + "'"), 0)
        << fileBytes(dir + "/out.txt");
    ASSERT_EQ(sigilo("--add-tsl '" + tslData("tsl_wrapped.xml") + "'"), 0);
    EXPECT_NE(listed().find("CN=Radice Estranea"), std::string::npos);
}

// The published Italian lists, when the shared data is beside the source tree: every service
// gives one CA row by the import rule (one certificate each, repeats kept once).
TEST_F(TrustListImport, ThePublishedItalianListsGiveTheirCARows) {
    const std::string shared = std::string(SIGILO_SOURCE_DIR) + "/../shared/data/tsl/";
    struct stat st;
    if (stat(shared.c_str(), &st) != 0) GTEST_SKIP() << "no " << shared;
    struct {
        const char* file;
        int rows;
    } lists[] = {{"IT-TSL-seq141-2019-09-04.xml", 363}, {"IT-TSL-seq194-2023-09-26.xml", 451}};
    for (const auto& l : lists) {
        ASSERT_EQ(system(("rm -f '" + dir + "/caCertsList'").c_str()), 0);
        ASSERT_EQ(sigilo("--add-tsl '" + shared + l.file + "'"), 0) << l.file;
        EXPECT_EQ(lines(listed()), l.rows) << l.file;
    }
}

}  // namespace
