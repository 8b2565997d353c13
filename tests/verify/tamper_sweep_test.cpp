// The tamper sweep: signed files of every kind the engine verifies (CAdES and CMS envelopes, two
// signers, CAdES-T, TSR, TST, TSD, M7M, signed PDFs, XML signatures), each good as it stands, are copied with one
// byte changed at a spread of offsets over what their signatures cover (tamper_sweep.py finds those
// ranges with asn1crypto), and all the copies of a kind are verified by the sigilo tool in one
// run. No copy may come out "OK".
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::string fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

int run(const std::string& command) {
    int raw = system(command.c_str());
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
}

std::string data(const std::string& name) {
    return std::string(SIGILO_TEST_DATA) + "/" + name;
}

struct Copy {
    std::string path, original, region, offset;
};

// The statuses of each file of a report, by the file's name. The report holds the files in
// the order of the command line, so a file's part runs from its first mention to the next
// file's.
std::map<std::string, std::vector<std::string>> statusesByFile(
    const std::string& report, const std::vector<std::string>& files) {
    std::map<std::string, std::vector<std::string>> out;
    std::vector<size_t> starts;
    for (const std::string& f : files) starts.push_back(report.find("filename=\"" + f + "\""));
    for (size_t i = 0; i < files.size(); ++i) {
        if (starts[i] == std::string::npos) continue;
        size_t end = i + 1 < files.size() && starts[i + 1] != std::string::npos ? starts[i + 1]
                                                                                : report.size();
        std::vector<std::string>& statuses = out[files[i]];
        for (size_t at = report.find("<status>", starts[i]); at < end;
             at = report.find("<status>", at + 1)) {
            size_t close = report.find("</status>", at);
            statuses.push_back(report.substr(at + 8, close - at - 8));
        }
    }
    return out;
}

bool allOK(const std::vector<std::string>& statuses) {
    if (statuses.empty()) return false;
    for (const std::string& s : statuses) {
        if (s != "OK") return false;
    }
    return true;
}

class TamperSweep : public ::testing::Test {
protected:
    void SetUp() override {
        dir = ::testing::TempDir() + "tamper_sweep_" +
              ::testing::UnitTest::GetInstance()->current_test_info()->name();
        ASSERT_EQ(run("rm -rf '" + dir + "' && mkdir -p '" + dir + "/ca' '" + dir + "/copies'"), 0);
        ASSERT_EQ(run("cat '" + data("engine/pki/root.pem") + "' '" +
                      data("tsengine/pki/root.pem") + "' >'" + dir + "/roots.pem' && " + tool() +
                      " --import-pem '" + dir + "/roots.pem' >/dev/null"),
                  0);
    }
    std::string tool() const {
        return std::string(SIGILO_BINARY_DIR) + "/sigilo -c '" + dir + "/ca'";
    }
    // The report of one run of the tool over the files.
    std::string verify(const std::string& options, const std::vector<std::string>& files) {
        std::string command = tool() + " " + options;
        for (const std::string& f : files) command += " '" + f + "'";
        run(command + " >'" + dir + "/report.xml' 2>/dev/null");
        return fileBytes(dir + "/report.xml");
    }

    void sweep(const std::string& options, const std::vector<std::string>& originals,
               int perRegion = 3) {
        // Each original is good as it stands, or the sweep would prove nothing.
        std::string report = verify(options, originals);
        auto before = statusesByFile(report, originals);
        for (const std::string& f : originals) {
            ASSERT_TRUE(allOK(before[f])) << f << "\n" << report;
        }
        std::string command = std::string(SIGILO_PYTHON3) + " '" + SIGILO_SOURCE_DIR +
                              "/tests/verify/tamper_sweep.py' '" + dir + "/copies' " +
                              std::to_string(perRegion);
        for (const std::string& f : originals) command += " '" + f + "'";
        ASSERT_EQ(run(command), 0);
        std::vector<Copy> copies;
        std::istringstream manifest(fileBytes(dir + "/copies/manifest.txt"));
        for (std::string line; std::getline(manifest, line);) {
            Copy c;
            std::istringstream fields(line);
            std::getline(fields, c.path, '\t');
            std::getline(fields, c.original, '\t');
            std::getline(fields, c.region, '\t');
            std::getline(fields, c.offset, '\t');
            copies.push_back(c);
        }
        ASSERT_GE(copies.size(), originals.size() * 10);
        std::vector<std::string> paths;
        for (const Copy& c : copies) paths.push_back(c.path);
        report = verify(options, paths);
        auto after = statusesByFile(report, paths);
        for (const Copy& c : copies) {
            EXPECT_FALSE(allOK(after[c.path])) << c.original << ": a byte changed at " << c.offset
                                               << " (" << c.region << ") still verifies";
        }
    }

    std::string dir;
};

TEST_F(TamperSweep, NoEnvelopeTokenOrMessageWithAChangedSignedByteIsOK) {
    sweep("-d 4 --no-crl --no-ts-crl --no-ca-crl",
          {data("engine/cades.p7m"), data("engine/cades_keyid.p7m"), data("engine/two_signers.p7m"),
           data("tsengine/t_good_2023.p7m"), data("tsengine/openssl.tst"),
           data("tsengine/signed.tsd"), data("tsengine/good_binary.m7m")});
}

TEST_F(TamperSweep, NoTimeStampResponseWithAChangedSignedByteIsOK) {
    sweep("-d 4 --no-crl --no-ts-crl --no-ca-crl -D '" + data("tsengine/document.txt") + "'",
          {data("tsengine/openssl.tsr")});
}

// PDF signatures of every route: a change anywhere in the signed ranges or in the signature
// itself must leave no signer of the file "OK".
TEST_F(TamperSweep, NoPDFWithAChangedSignedByteIsOK) {
    sweep("-d 4 --no-crl --no-ts-crl --no-ca-crl --july2011 0",
          {data("pdf/verify/cades.pdf"), data("pdf/verify/cades-cms.pdf"),
           data("pdf/verify/cades-timestamp.pdf"), data("pdf/verify/pkcs7-sha1.pdf"),
           data("pdf/verify/rsa-sha1.pdf"), data("pdf/verify/rsa-sha1-bare.pdf"),
           data("pdf/verify/signpdf.pdf"), data("pdf/verify/signpdf-twice.pdf"),
           data("pdf/verify/cades-twice.pdf")},
          25);
}

}  // namespace
