// The sigilo tool as a user runs it: its report on standard output or in a file, its messages
// on standard error and its exit status.
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

struct Outcome {
    int status;
    std::string out, err;
};

class Tool : public ::testing::Test {
protected:
    void SetUp() override {
        dir = ::testing::TempDir() + "/tool_" +
              ::testing::UnitTest::GetInstance()->current_test_info()->name();
        mkdir(dir.c_str(), 0755);
        std::ofstream(dir + "/short.p7m") << "0 troppo corto";
    }
    // Runs the tool in the test's directory, so that the trust files it looks for are there.
    Outcome sigilo(const std::string& arguments) {
        std::string command = "cd '" + dir + "' && " + SIGILO_BINARY_DIR + "/sigilo " + arguments +
                              " >out.txt 2>err.txt";
        int raw = system(command.c_str());
        return Outcome{WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, fileBytes(dir + "/out.txt"),
                       fileBytes(dir + "/err.txt")};
    }
    std::string dir;
};

const char kRoot[] =
    "<sigilo release=\"3.3.15\" releaseDate=\"22/10/2013\" controlloCACRL=\"abilitato\" "
    "controlloCRLPKCS7=\"abilitato\" controlloCRLTS=\"abilitato\" controlloValidita=\"abilitato\" "
    "controlloSigningCertificateAttr=\"disabilitato\" controlloSHA1Agosto2010=\"abilitato\" "
    "controlloSHA1Luglio2011=\"forte\" controlloFirmeAnnidiate=\"appiattito\" "
    "downloadCRL=\"scarica quando e' scaduta\">\n"
    "<!-- Sigilo: verifica di documenti firmati digitalmente secondo la normativa italiana -->\n"
    "<!-- Rapporto di verifica: l'esito di ogni firma e' l'ultimo elemento status della firma "
    "-->\n";

std::string failed(const std::string& name, const std::string& message) {
    return "<signedData filename=\"" + name + "\">\n<errorMessage>" + message +
           "</errorMessage>\n<status>KO</status>\n</signedData>\n";
}

TEST_F(Tool, UnreadableAndUnknownFilesInOneReport) {
    std::string unknown = testData("verify/random.bin");
    Outcome r = sigilo("missing.p7m short.p7m " + unknown);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out, std::string("<?xml version=\"1.0\"?>\n") + kRoot +
                         failed("missing.p7m", "Non e' possibile leggere il file") +
                         failed("short.p7m", "Non e' possibile leggere il file") +
                         failed(unknown, "File di input con formato non conosciuto") +
                         "</sigilo>\n\n");
}

TEST_F(Tool, ReportInAFileAndIndented) {
    Outcome r = sigilo("-o report.xml --indent missing.p7m");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    std::string report = fileBytes(dir + "/report.xml");
    EXPECT_EQ(report.substr(0, 38), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>");
    EXPECT_NE(report.find("\n  <signedData filename=\"missing.p7m\">\n    <errorMessage>Non e' "
                          "possibile leggere il file</errorMessage>\n    <status>KO</status>\n"
                          "  </signedData>\n</sigilo>\n\n"),
              std::string::npos);
}

TEST_F(Tool, RootAttributesStateTheSwitches) {
    Outcome r = sigilo(
        "--no-crl --no-ts-crl --skip-validity --check-signing-cert-attr "
        "--no-august2010 --july2011 1 --nested 2 -d 4 missing.p7m");
    EXPECT_NE(r.out.find("controlloCACRL=\"abilitato\" controlloCRLPKCS7=\"disabilitato\" "
                         "controlloCRLTS=\"disabilitato\" controlloValidita=\"disabilitato\" "
                         "controlloSigningCertificateAttr=\"abilitato\" "
                         "controlloSHA1Agosto2010=\"disabilitato\" controlloSHA1Luglio2011="
                         "\"debole\" controlloFirmeAnnidiate=\"annidato\" "
                         "downloadCRL=\"usa solo quelle locali\">"),
              std::string::npos)
        << r.out;
    r = sigilo("--no-crl --no-ts-crl --no-ca-crl --july2011 0 --nested 0 missing.p7m");
    EXPECT_NE(r.out.find("controlloCACRL=\"disabilitato\""), std::string::npos);
    EXPECT_NE(r.out.find("controlloSHA1Luglio2011=\"disabilitato\" "
                         "controlloFirmeAnnidiate=\"disabilitato\">"),
              std::string::npos);
}

// The demo envelope's CA is in no trust list of this run: its signer is reported, and KO.
TEST_F(Tool, AnEnvelopeWithAnUntrustedSignerIsKO) {
    std::string p7m = testData("verify/doc_der.p7m");
    Outcome r = sigilo(p7m);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("<signedData filename=\"" + p7m +
                         "\" filetype=\"PKCS7 file\">\n"
                         "<signer cadesCompliant=\"false\">\n<serial>02</serial>"),
              std::string::npos);
    EXPECT_NE(r.out.find("<status>KO</status>"), std::string::npos);
    EXPECT_EQ(r.out.find("<status>OK</status>"), std::string::npos);
}

TEST_F(Tool, CommandLineMistakes) {
    Outcome r = sigilo("");
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err.substr(0, 35), "Manca l'argomento, prova sigilo -h\n");
    EXPECT_EQ(r.out, "");
    r = sigilo("missing.p7m -c");
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err.substr(0, 35), "Manca l'argomento, prova sigilo -h\n");
    EXPECT_EQ(r.out, "");
    r = sigilo("--bogus missing.p7m");
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err.substr(0, 40), "sigilo: opzione sconosciuta: --bogus\nUso");
    for (const char* bad : {"-d 5", "-L x", "--nested 3", "--july2011 -1", "--server host:0",
                            "--http-proxy host", "--import-tsl list.xml"}) {
        r = sigilo(std::string(bad) + " missing.p7m");
        EXPECT_EQ(r.status, 2) << bad;
        EXPECT_NE(r.err.find("Uso: sigilo"), std::string::npos) << bad;
        EXPECT_EQ(r.out, "") << bad;
    }
    // A verification time in the future would leave the files judged at another time.
    r = sigilo("--time 491231235959Z missing.p7m");
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "sigilo: Data di verifica non valida: 491231235959Z\n");
    EXPECT_EQ(r.out, "");
}

TEST_F(Tool, VersionHelpAndCommands) {
    Outcome r = sigilo("-V");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "\n\tsigilo Release 3.3.15\n");
    r = sigilo("--help");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.substr(0, 38), "Uso: sigilo [opzioni] FILE [FILE...]\nV");
    // A missing file fails its import, and says so; an update of an empty CRL cache has
    // nothing to do and succeeds.
    r = sigilo("--import-pem ca.pem --update-crl");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "sigilo: --import-pem ca.pem non riuscito\n");
    // The network time-outs are taken without a warning; the files are still verified.
    r = sigilo("--timeout 5 --ocsp-timeout 5 --time 200101120000Z missing.p7m");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "");
    EXPECT_NE(r.out.find("missing.p7m"), std::string::npos);
}

TEST_F(Tool, AnUnreachableServerFailsTheRun) {
    Outcome r = sigilo("--server localhost:1 missing.p7m");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("<errorMessage>sigiloServer non e' raggiungibile</errorMessage>\n"
                         "<status>KO</status>\n</sigilo>"),
              std::string::npos);
    EXPECT_EQ(r.out.find("downloadCRL"), std::string::npos);
}

}  // namespace
