// The installed library as an outside program meets it: "cmake --install" into a scratch
// prefix, then a small C++ program built against the installed files only, once through
// pkg-config and once through find_package(Sigilo), run on a demo document with the demo CA.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

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

const char kProgram[] = R"(#include <sigilo/Sigilo.h>
#include <cstdio>

// Imports the CA list, verifies one file into the report and prints it.
int main(int argc, char** argv) {
    if (argc != 4) return 2;
    if (!init(argv[1], nullptr, nullptr, 4)) return 3;
    if (!importCACertsListPEM(argv[2])) return 4;
    verifyDocuments(argv[3], nullptr, false);
    printf("code %lX\n", getErrorCode());
    return printResults() ? 0 : 5;
}
)";

const char kCMakeLists[] = R"(cmake_minimum_required(VERSION 3.18)
project(outside CXX)
find_package(Sigilo 0.1 REQUIRED)
add_executable(outside main.cpp)
target_link_libraries(outside PRIVATE Sigilo::sigilo)
)";

class Install : public ::testing::Test {
protected:
    void SetUp() override {
#if defined(__SANITIZE_ADDRESS__)
        GTEST_SKIP() << "an outside program is built without the sanitizer runtime";
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
        GTEST_SKIP() << "an outside program is built without the sanitizer runtime";
#endif
#endif
        dir = ::testing::TempDir() + "sigilo_install_" +
              ::testing::UnitTest::GetInstance()->current_test_info()->name();
        prefix = dir + "/prefix";
        ASSERT_EQ(run("rm -rf '" + dir + "' && mkdir -p '" + dir + "/ca' '" + dir + "/cm'"), 0);
        ASSERT_EQ(run("cmake --install '" + std::string(SIGILO_BINARY_DIR) + "' --prefix '" +
                      prefix + "' >'" + dir + "/install.txt' 2>&1"),
                  0)
            << fileBytes(dir + "/install.txt");
        std::ofstream(dir + "/main.cpp") << kProgram;
        std::ofstream(dir + "/cm/main.cpp") << kProgram;
        std::ofstream(dir + "/cm/CMakeLists.txt") << kCMakeLists;
    }

    // Runs a built program on the demo CAdES envelope; its output.
    std::string verifyDemo(const std::string& program) {
        std::string examples = std::string(SIGILO_SOURCE_DIR) + "/examples/";
        EXPECT_EQ(run("rm -rf '" + dir + "/ca' && mkdir '" + dir + "/ca' && '" + program + "' '" +
                      dir + "/ca' '" + examples + "demo_ca.pem' '" + examples +
                      "documento_cades.txt.p7m' >'" + dir + "/out.txt' 2>&1"),
                  0)
            << fileBytes(dir + "/out.txt");
        return fileBytes(dir + "/out.txt");
    }

    std::string dir, prefix;
};

TEST_F(Install, TheInstalledFilesAreWhereOutsideProgramsLookForThem) {
    for (const char* file :
         {"/include/sigilo/Sigilo.h", "/lib/libsigilo.so", "/lib/libsigilo.so.0", "/bin/sigilo",
          "/bin/sigilo-server", "/lib/pkgconfig/sigilo.pc", "/lib/cmake/Sigilo/SigiloConfig.cmake",
          "/lib/cmake/Sigilo/SigiloTargets.cmake", "/share/man/man1/sigilo.1",
          "/share/sigilo/report.xsl", "/share/man/man1/sigilo-server.1"}) {
        EXPECT_EQ(run("test -e '" + prefix + file + "'"), 0) << file;
    }
    // The library carries its SONAME, and the installed tool finds the installed library.
    EXPECT_EQ(
        run("readelf -d '" + prefix + "/lib/libsigilo.so' | grep -q 'SONAME.*libsigilo.so.0'"), 0);
    EXPECT_EQ(run("'" + prefix + "/bin/sigilo' --version >/dev/null"), 0);
    EXPECT_EQ(run("'" + prefix + "/bin/sigilo-server' --version >/dev/null"), 0);
    EXPECT_EQ(fileBytes(prefix + "/share/man/man1/sigilo.1").rfind(".TH SIGILO 1", 0), 0u);
    // The newcomer's page: the installed tool writes the demo's report as HTML, stylesheet
    // built in, with the demo CA's good CAdES envelope shown OK.
    std::string examples = std::string(SIGILO_SOURCE_DIR) + "/examples/";
    std::string tool = "'" + prefix + "/bin/sigilo' -c '" + dir + "/ca' ";
    EXPECT_EQ(run(tool + "--import-pem '" + examples + "demo_ca.pem'"), 0);
    EXPECT_EQ(run(tool + "--html '" + dir + "/demo.html' '" + examples +
                  "documento_cades.txt.p7m' >/dev/null"),
              0);
    std::string page = fileBytes(dir + "/demo.html");
    EXPECT_NE(page.find("<span class=\"verdict ok\">OK</span>"), std::string::npos) << page;
}

TEST_F(Install, AProgramBuiltWithPkgConfigVerifiesADemoDocument) {
    std::string pc = "PKG_CONFIG_PATH='" + prefix + "/lib/pkgconfig' pkg-config";
    ASSERT_EQ(run(pc + " --cflags --libs sigilo >'" + dir + "/flags.txt'"), 0);
    std::string flags = fileBytes(dir + "/flags.txt");
    EXPECT_NE(flags.find("/prefix/lib/pkgconfig/../../include"), std::string::npos) << flags;
    EXPECT_NE(flags.find("-lsigilo"), std::string::npos) << flags;
    ASSERT_EQ(
        run("c++ -std=c++17 -o '" + dir + "/outside' '" + dir + "/main.cpp' $(" + pc +
            " --cflags --libs sigilo) -Wl,-rpath,'" + prefix + "/lib' 2>'" + dir + "/cc.txt'"),
        0)
        << fileBytes(dir + "/cc.txt");
    std::string out = verifyDemo(dir + "/outside");
    EXPECT_NE(out.find("<status>OK</status>"), std::string::npos) << out;
    EXPECT_NE(out.find("code FFFFFFFF"), std::string::npos) << out;
}

TEST_F(Install, AProgramBuiltWithFindPackageVerifiesADemoDocument) {
    ASSERT_EQ(
        run("cmake -S '" + dir + "/cm' -B '" + dir + "/cm/build' -DCMAKE_PREFIX_PATH='" + prefix +
            "' -DCMAKE_BUILD_RPATH='" + prefix + "/lib' >'" + dir +
            "/cm.txt' 2>&1 && cmake --build '" + dir + "/cm/build' >>'" + dir + "/cm.txt' 2>&1"),
        0)
        << fileBytes(dir + "/cm.txt");
    std::string out = verifyDemo(dir + "/cm/build/outside");
    EXPECT_NE(out.find("<status>OK</status>"), std::string::npos) << out;
}

}  // namespace
