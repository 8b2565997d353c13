// The sigilo tool on the engine's envelopes, as a user runs it: a trust list made by
// --import-pem from the test root, the root's CRL in a "crlCache" file of its own (so no network
// is asked), and several envelopes in one run, each with its verdict in the one report.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "support/VecFile.h"

namespace {

std::string fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::string engineData(const std::string& name) {
    return testData("engine/" + name);
}

// The report of one file: its signedData element, without line breaks.
std::string elementOf(const std::string& report, const std::string& file) {
    size_t at = report.find("<signedData filename=\"" + engineData(file) + "\"");
    if (at == std::string::npos) return "";
    // Nested elements are not used here: the first closing tag ends it.
    size_t end = report.find("</signedData>", at);
    std::string out;
    for (char c : report.substr(at, end - at)) {
        if (c != '\n' && c != '\r') out += c;
    }
    return out;
}

void writeFileText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

class EngineTool : public ::testing::Test {
protected:
    void SetUp() override {
        dir = ::testing::TempDir() + "/engine_tool_" +
              ::testing::UnitTest::GetInstance()->current_test_info()->name();
        std::string reset = "rm -rf '" + dir + "' && mkdir -p '" + dir + "/ca' '" + dir +
                            "/crl' && cp '" + engineData("crl/crlCache") + "' '" + dir + "/crl/'";
        ASSERT_EQ(system(reset.c_str()), 0);
    }
    int sigilo(const std::string& arguments) {
        std::string command = "cd '" + dir + "' && " + SIGILO_BINARY_DIR + "/sigilo -c ca -r crl " +
                              arguments + " >out.txt 2>err.txt";
        int raw = system(command.c_str());
        return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    }
    std::string dir;
};

TEST_F(EngineTool, ImportedRootAndCachedCRLGiveEachFileItsVerdict) {
    ASSERT_EQ(sigilo("--import-pem '" + engineData("pki/root.pem") + "'"), 0)
        << fileBytes(dir + "/err.txt");
    std::vector<std::string> files = {"cades.p7m", "revoked.p7m", "held.p7m", "cades_keyid.p7m",
                                      "stranger.p7m"};
    std::string list;
    for (const std::string& f : files) list += " '" + engineData(f) + "'";
    // One file is not good: the exit status says so.
    EXPECT_EQ(sigilo(list), 1) << fileBytes(dir + "/err.txt");
    std::string report = fileBytes(dir + "/out.txt");

    std::string good = elementOf(report, "cades.p7m");
    for (const char* part :
         {"filetype=\"PKCS7 file\"", "<signer cadesCompliant=\"true\">", "<serial>10</serial>",
          "<CN>Firmatario Buono</CN>", "<CN>Radice Motore</CN>",
          "<certNotBefore>200101000000Z</certNotBefore>",
          "<certNotAfter>20991231000000Z</certNotAfter>", "-----BEGIN CERTIFICATE-----",
          "<signedAttributes>", "<messageDigest/>",
          "<signingCertificateV2>2.16.840.1.101.3.4.2.1</signingCertificateV2>",
          "<digestAlgorithm>2.16.840.1.101.3.4.2.1</digestAlgorithm>", "<verificationTime>",
          "<status>OK</status>"}) {
        EXPECT_NE(good.find(part), std::string::npos) << part << "\n" << good;
    }

    // The revoked and the suspended signers, from the cached CRL.
    std::string revoked = elementOf(report, "revoked.p7m");
    EXPECT_NE(revoked.find("<crlRevocationDate>210601000000Z</crlRevocationDate>"),
              std::string::npos)
        << revoked;
    EXPECT_NE(revoked.find("<errorMessage>Certificato del Firmatario revocato</errorMessage>"
                           "<status>KO</status>"),
              std::string::npos)
        << revoked;
    std::string held = elementOf(report, "held.p7m");
    EXPECT_NE(held.find("<errorMessage>Certificato del Firmatario sospeso</errorMessage>"
                        "<status>KO</status>"),
              std::string::npos)
        << held;

    std::string cms = elementOf(report, "cades_keyid.p7m");
    EXPECT_NE(cms.find("filetype=\"CMS file\""), std::string::npos) << cms;
    EXPECT_NE(cms.find("<status>OK</status>"), std::string::npos) << cms;

    std::string stranger = elementOf(report, "stranger.p7m");
    EXPECT_NE(stranger.find("<errorMessage>Certificato di CA non trovato</errorMessage>"),
              std::string::npos)
        << stranger;
    EXPECT_EQ(stranger.find("<status>OK</status>"), std::string::npos) << stranger;
}

TEST_F(EngineTool, AnEmptyTrustListTrustsNoSigner) {
    EXPECT_EQ(sigilo("'" + engineData("cades.p7m") + "'"), 1);
    std::string good = elementOf(fileBytes(dir + "/out.txt"), "cades.p7m");
    EXPECT_NE(good.find("<status>KO</status>"), std::string::npos) << good;
    EXPECT_EQ(good.find("<status>OK</status>"), std::string::npos) << good;
}

TEST_F(EngineTool, AllGoodFilesExitZero) {
    ASSERT_EQ(sigilo("--import-pem '" + engineData("pki/root.pem") + "'"), 0);
    EXPECT_EQ(sigilo("'" + engineData("cades.p7m") + "' '" + engineData("two_signers.p7m") + "'"),
              0)
        << fileBytes(dir + "/out.txt") << fileBytes(dir + "/err.txt");
    // A detached signature with its document.
    EXPECT_EQ(
        sigilo("-D '" + engineData("document.txt") + "' '" + engineData("detached.p7s") + "'"), 0)
        << fileBytes(dir + "/out.txt") << fileBytes(dir + "/err.txt");
    EXPECT_NE(fileBytes(dir + "/out.txt").find("detachedDocument="), std::string::npos);
}

// The log as a user reads it: each line's text without its date and process prefix; the
// continuation lines of the two-line notices stand as they are.
std::vector<std::string> logTexts(const std::string& log) {
    std::vector<std::string> out;
    size_t from = 0;
    while (from < log.size()) {
        size_t end = log.find('\n', from);
        if (end == std::string::npos) end = log.size();
        std::string line = log.substr(from, end - from);
        size_t mark = line.find("]: ");
        out.push_back(mark != std::string::npos ? line.substr(mark + 3) : line);
        from = end + 1;
    }
    return out;
}

// Compares the lines from the one that starts with `first`; an expected line ending in "*" is a
// prefix (the dates, whose zone is the machine's).
void expectLogFrom(const std::string& log, const std::string& first,
                   const std::vector<std::string>& expected) {
    std::vector<std::string> lines = logTexts(log);
    size_t at = 0;
    while (at < lines.size() && lines[at].rfind(first, 0) != 0) ++at;
    ASSERT_LT(at, lines.size()) << log;
    ASSERT_EQ(lines.size() - at, expected.size()) << log;
    for (size_t i = 0; i < expected.size(); ++i) {
        const std::string& want = expected[i];
        if (!want.empty() && want.back() == '*') {
            EXPECT_EQ(lines[at + i].rfind(want.substr(0, want.size() - 1), 0), 0u)
                << lines[at + i] << " vs " << want;
        } else {
            EXPECT_EQ(lines[at + i], want);
        }
    }
}

TEST_F(EngineTool, TheLogOfAGoodEnvelopeHasEveryNoticeInItsOwnWords) {
    ASSERT_EQ(sigilo("--import-pem '" + engineData("pki/root.pem") + "'"), 0);
    ASSERT_EQ(sigilo("-d 4 -l log.txt -L 7 '" + engineData("cades.p7m") + "'"), 0);
    expectLogFrom(
        fileBytes(dir + "/log.txt"), "Input File: ",
        {"Input File: " + engineData("cades.p7m"), "Inizio calcolo dei digests sul documento",
         "Fine calcolo dei digests sul documento", "Seriale: 10",
         "Firmatario:", "C=IT,O=Sigilo Motore,CN=Firmatario Buono",
         "Issuer:", "C=IT,O=Sigilo Motore,CN=Radice Motore", "Data firma: *",
         "Inizio controllo CA Path", "Fine controllo CA Path", "Inizio verifica firma",
         "Firma verificata", "Fine verifica firma", "Tutte le Firme sono state verificate"});
}

TEST_F(EngineTool, TheLogOfATimeStampResponseHasEveryNoticeInItsOwnWords) {
    std::string ts = testData("tsengine/");
    ASSERT_EQ(sigilo("--import-pem '" + ts + "pki/root.pem'"), 0);
    ASSERT_EQ(sigilo("-d 4 --no-ts-crl -l log.txt -L 7 -D '" + ts + "document.txt' '" + ts +
                     "openssl.tsr'"),
              0)
        << fileBytes(dir + "/out.txt");
    expectLogFrom(
        fileBytes(dir + "/log.txt"), "Input File: ",
        {"Input File: " + ts + "openssl.tsr", "Documento: " + ts + "document.txt",
         "Inizio verifica marca temporale",
         "Firmatario:", "C=IT,O=Sigilo Marche,CN=Marcatore Marche",
         "Issuer:", "C=IT,O=Sigilo Marche,CN=Radice Marche", "Seriale Marca Temporale: 0102",
         "Data Marca Temporale: *", "Inizio calcolo dei digests sul documento",
         "Fine calcolo dei digests sul documento", "Inizio controllo CA Path",
         "Fine controllo CA Path", "Inizio verifica firma", "Firma verificata",
         "Fine verifica firma", "Fine verifica marca temporale", "Marca Temporale verificata"});
}

// The certificate element holds the PEM text openssl writes for the same certificate, ending
// with the END line: no line feed follows it.
TEST_F(EngineTool, TheCertificateElementIsThePEMTextExactly) {
    ASSERT_EQ(sigilo("--import-pem '" + engineData("pki/root.pem") + "'"), 0);
    ASSERT_EQ(sigilo("-d 4 '" + engineData("cades.p7m") + "'"), 0);
    std::string command = std::string(SIGILO_OPENSSL) + " x509 -in '" + engineData("pki/good.pem") +
                          "' -outform PEM >'" + dir + "/good.pem'";
    ASSERT_EQ(system(command.c_str()), 0);
    std::string pem = fileBytes(dir + "/good.pem");
    ASSERT_EQ(pem.back(), '\n');
    pem.pop_back();
    std::string report = fileBytes(dir + "/out.txt");
    EXPECT_NE(report.find("<certificate>" + pem + "</certificate>"), std::string::npos) << report;
}

// What --add-pem adds is kept for the next run, and --list-ca shows it as python3 cryptography
// reads the same certificate.
TEST_F(EngineTool, AddedCAsAreKeptAndListed) {
    ASSERT_EQ(sigilo("--add-pem '" + engineData("pki/root.pem") + "'"), 0);
    EXPECT_EQ(sigilo("-d 4 '" + engineData("cades.p7m") + "'"), 0) << fileBytes(dir + "/out.txt");
    ASSERT_EQ(sigilo("--add-pem '" + testData("tsengine/pki/root.pem") + "' --list-ca"), 0);
    std::string listed = fileBytes(dir + "/out.txt");
    std::string expected = dir + "/expected.txt";
    std::string python =
        std::string(SIGILO_PYTHON3) +
        " -c \"import sys\n"
        "from cryptography import x509\n"
        "short = {'countryName': 'C', 'organizationName': 'O', 'commonName': 'CN'}\n"
        "for path in sys.argv[1:]:\n"
        "    c = x509.load_pem_x509_certificate(open(path, 'rb').read())\n"
        "    name = ','.join(short[a.oid._name] + '=' + a.value for a in c.subject)\n"
        "    ski = c.extensions.get_extension_for_class(x509.SubjectKeyIdentifier).value.digest\n"
        "    serial = '%X' % c.serial_number\n"
        "    serial = '0' * (len(serial) % 2) + serial\n"
        "    when = lambda t: t.strftime('%Y-%m-%d %H:%M:%S')\n"
        "    print('%s | %s | %s - %s | %s' % (name, serial, when(c.not_valid_before), "
        "when(c.not_valid_after), ski.hex().upper()))\n"
        "\" '" +
        engineData("pki/root.pem") + "' '" + testData("tsengine/pki/root.pem") + "' >'" + expected +
        "'";
    ASSERT_EQ(system(python.c_str()), 0);
    EXPECT_EQ(listed, fileBytes(expected));
}

// The signer certificate of a trust list is trusted only while the list's own signature is
// checked: a refused list leaves no trace of it, and a document under it is not good.
TEST_F(EngineTool, ARefusedTrustListLeavesItsSignerUntrusted) {
    EXPECT_EQ(sigilo("-d 4 --import-tsl '" + testData("trust/tsl_good.xml") + "' --tsl-signer '" +
                     engineData("pki/root.pem") + "' '" + engineData("cades.p7m") + "'"),
              1);
    std::string good = elementOf(fileBytes(dir + "/out.txt"), "cades.p7m");
    EXPECT_NE(good.find("<errorMessage>Certificato di CA non trovato</errorMessage>"),
              std::string::npos)
        << good;
    EXPECT_EQ(good.find("<status>OK</status>"), std::string::npos) << good;
    // A signer already trusted stays so.
    ASSERT_EQ(sigilo("--import-pem '" + engineData("pki/root.pem") + "'"), 0);
    EXPECT_EQ(sigilo("-d 4 --import-tsl '" + testData("trust/tsl_good.xml") + "' --tsl-signer '" +
                     engineData("pki/root.pem") + "' '" + engineData("cades.p7m") + "'"),
              1);
    good = elementOf(fileBytes(dir + "/out.txt"), "cades.p7m");
    EXPECT_NE(good.find("<status>OK</status>"), std::string::npos) << good;
}

// Processes sharing one trust folder: importers rewrite the CA list (alternately a short and a
// longer one) while verifiers read it. No verifier may find the list empty or torn, and the
// file left at the end is exactly one list, with no bytes of a longer earlier write behind it.
TEST_F(EngineTool, ImportersAndVerifiersShareOneTrustFolder) {
    std::string shortList = dir + "/short.pem", longList = dir + "/long.pem";
    std::string bundle = "cat '" + engineData("pki/root.pem") + "' > '" + shortList + "' && cat '" +
                         engineData("pki/root.pem") + "' '" + engineData("pki/other_root.pem") +
                         "' '" + testData("tsengine/pki/root.pem") + "' '" +
                         testData("revocation/root.pem") + "' > '" + longList + "'";
    ASSERT_EQ(system(bundle.c_str()), 0);
    ASSERT_EQ(sigilo("--import-pem '" + longList + "'"), 0);
    std::string tool = std::string(SIGILO_BINARY_DIR) + "/sigilo -c ca -r crl";
    std::string script = "cd '" + dir +
                         "' || exit 2\n"
                         "for i in 1 2 3 4 5 6; do (for k in 1 2 3 4 5 6 7 8; do\n"
                         "  if [ $(( (i + k) % 2 )) = 0 ]; then l='" +
                         shortList + "'; else l='" + longList +
                         "'; fi\n"
                         "  " +
                         tool +
                         " --import-pem \"$l\" >/dev/null 2>&1 || echo import > fail_$i_$k\n"
                         "done) & done\n"
                         "for j in 1 2 3; do (for k in 1 2 3 4 5 6 7 8 9 10; do\n"
                         "  " +
                         tool + " -d 4 '" + engineData("cades.p7m") +
                         "' > verify_${j}_$k.txt 2>&1\n"
                         "done) & done\n"
                         "wait\n";
    writeFileText(dir + "/race.sh", script);
    ASSERT_EQ(system(("timeout 240 bash '" + dir + "/race.sh'").c_str()), 0);
    int good = 0;
    for (int j = 1; j <= 3; ++j) {
        for (int k = 1; k <= 10; ++k) {
            std::string report =
                fileBytes(dir + "/verify_" + std::to_string(j) + "_" + std::to_string(k) + ".txt");
            EXPECT_EQ(report.find("Certificato di CA non trovato"), std::string::npos) << report;
            if (report.find("<status>OK</status>") != std::string::npos) ++good;
        }
    }
    EXPECT_EQ(good, 30);
    EXPECT_NE(system(("ls '" + dir + "'/fail_* >/dev/null 2>&1").c_str()), 0);
    // The list left behind reads strictly, with nothing after it.
    std::string check = std::string(SIGILO_PYTHON3) +
                        " -c \"import sys; from asn1crypto import core; "
                        "d = open(sys.argv[1], 'rb').read(); core.SetOf.load(d, strict=True)\" '" +
                        dir + "/ca/caCertsList'";
    EXPECT_EQ(system(check.c_str()), 0);
}

}  // namespace
