// The library as a PKCS#11 module for a real client: OpenSC's pkcs11-tool lists the slots and
// mechanisms, initialises a disk token, logs in, writes and reads objects back, makes a key
// pair and signs with it (the signature checked by openssl), and meets the PIN lock-out.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

struct Outcome {
    int status;
    std::string output;
};

Outcome run(const std::string& command) {
    FILE* p = popen((command + " 2>&1").c_str(), "r");
    Outcome r{-1, ""};
    if (p == nullptr) return r;
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, p)) > 0) r.output.append(buffer, n);
    int status = pclose(p);
    r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
}

class Pkcs11Tool : public ::testing::Test {
protected:
    void SetUp() override {
        // The sanitizer runtime cannot be loaded into a program built without it.
        if (kSanitized) GTEST_SKIP() << "pkcs11-tool cannot load a sanitized module";
        if (run("command -v pkcs11-tool").status != 0) GTEST_SKIP() << "no pkcs11-tool";
        module = std::string(SIGILO_BINARY_DIR) + "/libsigilo.so";
        if (access(module.c_str(), R_OK) != 0) GTEST_SKIP() << "no " << module;
        char dir[] = "/tmp/sigilo_p11toolXXXXXX";
        ASSERT_NE(mkdtemp(dir), nullptr);
        work = dir;
    }
    void TearDown() override {
        if (!work.empty()) run("rm -rf " + work);
    }
    Outcome tool(const std::string& arguments) {
        return run("PKCS11SLOT=" + work + "/tok pkcs11-tool --module " + module + " " + arguments);
    }
    std::string module, work;
};

TEST_F(Pkcs11Tool, ListsSlotsAndMechanisms) {
    Outcome slots = tool("--list-slots");
    ASSERT_EQ(slots.status, 0) << slots.output;
    EXPECT_NE(slots.output.find("Virtual Slot"), std::string::npos) << slots.output;
    EXPECT_NE(slots.output.find("Not Persistent Token"), std::string::npos);
    EXPECT_NE(slots.output.find("Crypto Software Module"), std::string::npos);
    Outcome mechanisms = tool("--slot 0 --list-mechanisms");
    ASSERT_EQ(mechanisms.status, 0) << mechanisms.output;
    for (const char* m : {"SHA1-RSA-PKCS", "SHA256-RSA-PKCS", "RSA-PKCS", "SHA-1", "SHA512"}) {
        EXPECT_NE(mechanisms.output.find(m), std::string::npos) << m;
    }
}

TEST_F(Pkcs11Tool, DiskTokenObjectsKeysAndLockOut) {
    Outcome r = tool("--slot 1 --init-token --so-pin 87654321 --label Prova");
    ASSERT_EQ(r.status, 0) << r.output;
    r = tool("--slot 1 --init-pin --login --login-type so --so-pin 87654321 --pin 1234");
    ASSERT_EQ(r.status, 0) << r.output;
    std::string file = work + "/data.txt";
    std::ofstream(file) << "contenuto riservato\n";
    r = tool("--slot 1 --login --pin 1234 --write-object " + file +
             " --type data --label riservato --private");
    ASSERT_EQ(r.status, 0) << r.output;
    r = tool("--slot 1 --login --pin 1234 --write-object " + file +
             " --type data --label pubblico");
    ASSERT_EQ(r.status, 0) << r.output;

    // Read back in a new process: the private one only after login.
    r = tool("--slot 1 --login --pin 1234 --read-object --type data --label riservato");
    ASSERT_EQ(r.status, 0) << r.output;
    EXPECT_NE(r.output.find("contenuto riservato"), std::string::npos) << r.output;
    r = tool("--slot 1 --list-objects");
    EXPECT_NE(r.output.find("pubblico"), std::string::npos) << r.output;
    EXPECT_EQ(r.output.find("riservato"), std::string::npos) << r.output;

    // A key pair on the token; its signature holds for openssl.
    r = tool("--slot 1 --login --pin 1234 --keypairgen --key-type rsa:1024 --id 01 --label chiave");
    ASSERT_EQ(r.status, 0) << r.output;
    std::ofstream(work + "/msg") << "messaggio da firmare";
    r = tool(
        "--slot 1 --login --pin 1234 --sign --mechanism SHA256-RSA-PKCS --id 01 --input-file " +
        work + "/msg --output-file " + work + "/sig");
    ASSERT_EQ(r.status, 0) << r.output;
    r = tool("--slot 1 --read-object --type pubkey --id 01 --output-file " + work + "/pub.der");
    ASSERT_EQ(r.status, 0) << r.output;
    r = run(std::string(SIGILO_OPENSSL) + " dgst -sha256 -keyform DER -verify " + work +
            "/pub.der -signature " + work + "/sig " + work + "/msg");
    EXPECT_EQ(r.status, 0) << r.output;
    EXPECT_NE(r.output.find("Verified OK"), std::string::npos) << r.output;

    // Three wrong PINs, then the right one is refused too.
    for (int i = 0; i < 3; ++i) {
        r = tool("--slot 1 --login --pin 9999 --list-objects");
        EXPECT_NE(r.output.find("CKR_PIN_INCORRECT"), std::string::npos) << r.output;
    }
    r = tool("--slot 1 --login --pin 1234 --list-objects");
    EXPECT_NE(r.status, 0);
    EXPECT_NE(r.output.find("CKR_PIN_LOCKED"), std::string::npos) << r.output;
}

}  // namespace
