// The progress line of a batch: on a terminal only, for more than a few files, and never in the
// report.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "support/ToolRun.h"
#include "support/VecFile.h"

namespace {

// Runs sigilo with standard error on a pseudo-terminal (standard output to out.txt) and writes
// what the terminal received to tty.txt.
int onTerminal(const ToolRun& run, const std::string& arguments) {
    std::string tool = std::string(SIGILO_BINARY_DIR) + "/sigilo -c ca -r crl " + arguments;
    std::string command = "cd " + shellQuoted(run.dir) + " && " + SIGILO_PYTHON3 + " " +
                          SIGILO_SOURCE_DIR + "/tests/tools/on_tty.py tty.txt " +
                          shellQuoted(tool + " >out.txt");
    int raw = system(command.c_str());
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
}

TEST(Progress, ABatchOnATerminalShowsFilesDoneOfHowManyAndTheTime) {
    ToolRun run;
    for (const char* jobs : {"", "-j 3 "}) {
        EXPECT_EQ(onTerminal(run, std::string(jobs) + "--time 261123120000Z" + ToolRun::batch()),
                  1);
        std::string tty = run.read("tty.txt");
        // The terminal turns the line feed into a carriage return and a line feed.
        EXPECT_NE(tty.find("\rsigilo: 19/19 file verificati, 00:"), std::string::npos) << tty;
        ASSERT_GE(tty.size(), 2u);
        EXPECT_EQ(tty.substr(tty.size() - 2), "\r\n") << tty;
        EXPECT_NE(tty.find("\rsigilo: 0/19 file verificati, 00:00\033[K"), std::string::npos);
        // The report is untouched by it.
        std::string report = run.read("out.txt");
        EXPECT_EQ(report.find("file verificati"), std::string::npos);
        EXPECT_EQ(report.rfind("<?xml", 0), 0u) << report.substr(0, 100);
    }
}

TEST(Progress, AFewFilesOrAStandardErrorThatIsNoTerminalShowNothing) {
    ToolRun run;
    std::string three;
    for (int i = 0; i < 3; ++i) three += " " + shellQuoted(testData("engine/cades.p7m"));
    EXPECT_EQ(onTerminal(run, "--time 261123120000Z" + three), 0);
    EXPECT_EQ(run.read("tty.txt"), "");
    EXPECT_EQ(run.sigilo("--time 261123120000Z" + ToolRun::batch()), 1);
    EXPECT_EQ(run.read("err.txt"), "");
}

}  // namespace
