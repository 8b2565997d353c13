#include "support/ToolRun.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>

#include "support/VecFile.h"

std::string shellQuoted(const std::string& path) {
    return "'" + path + "'";
}

int countOf(const std::string& text, const std::string& part) {
    int n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
    return n;
}

ToolRun::ToolRun() {
    dir = ::testing::TempDir() + "/tools_" +
          ::testing::UnitTest::GetInstance()->current_test_info()->name();
    std::string reset = "rm -rf " + shellQuoted(dir) + " && mkdir -p " + shellQuoted(dir + "/ca") +
                        " " + shellQuoted(dir + "/crl") + " && cp " +
                        shellQuoted(testData("engine/crl/crlCache")) + " " +
                        shellQuoted(dir + "/crl/");
    EXPECT_EQ(system(reset.c_str()), 0);
    EXPECT_EQ(sigilo("--import-pem " + shellQuoted(testData("engine/pki/root.pem"))), 0);
}

int ToolRun::sigilo(const std::string& arguments) const {
    std::string command = "cd " + shellQuoted(dir) + " && " + SIGILO_BINARY_DIR +
                          "/sigilo -c ca -r crl " + arguments + " >out.txt 2>err.txt";
    int raw = system(command.c_str());
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
}

std::string ToolRun::read(const std::string& name) const {
    std::ifstream in(path(name), std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::string ToolRun::batch() {
    std::string list;
    // Good, revoked, suspended, untrusted, counter-signed, nested, CMS and damaged envelopes of
    // the engine tests, and the demo's time stamps, TSD, M7M, PDF and XML.
    for (const char* f : {"cades.p7m", "revoked.p7m", "held.p7m", "stranger.p7m",
                          "countersigned.p7m", "two_signers.p7m", "nested.p7m", "cades_keyid.p7m",
                          "tampered_content.p7m", "expired.p7m", "token.p7m", "sha1.p7m"}) {
        list += " " + shellQuoted(testData(std::string("engine/") + f));
    }
    for (const char* f : {"documento.txt.p7m.tsr", "documento.txt.p7m.tst", "documento.txt.p7m.tsd",
                          "documento.m7m", "documento.pdf", "documento_firmato.xml"}) {
        list += " " + shellQuoted(std::string(SIGILO_SOURCE_DIR) + "/examples/" + f);
    }
    return list + " non_esiste.p7m";
}
