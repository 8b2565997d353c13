// sigilo --html: the report as a page, checked against the XML report of the same run, and
// rendered by headless Chromium.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "support/ToolRun.h"
#include "support/VecFile.h"

namespace {

int checkPage(const ToolRun& run, bool chromium) {
    std::string command = std::string(SIGILO_PYTHON3) + " " + SIGILO_SOURCE_DIR +
                          "/tests/tools/html_check.py " + shellQuoted(run.path("out.txt")) + " " +
                          shellQuoted(run.path("page.html"));
    if (chromium) command += " --chromium " + shellQuoted(run.path("shot.png"));
    command += " >" + shellQuoted(run.path("check.txt")) + " 2>&1";
    int raw = system(command.c_str());
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
}

TEST(HTMLReport, ThePageShowsEveryVerdictOfTheReportAndRendersInChromium) {
    ToolRun run;
    EXPECT_EQ(run.sigilo("--time 261123120000Z --html page.html" + ToolRun::batch()), 1)
        << run.read("err.txt");
    std::string page = run.read("page.html");
    ASSERT_EQ(page.rfind("<!DOCTYPE html", 0), 0u) << page.substr(0, 200);
    // The signer's name, a message, a readable date and the folded certificate.
    for (const char* part :
         {"Firmatario Buono", "Certificato del Firmatario revocato", "23/11/2026 12:00:00 UTC",
          "<details>", "-----BEGIN CERTIFICATE-----", "Marca temporale", "Controfirmatario"}) {
        EXPECT_NE(page.find(part), std::string::npos) << part;
    }
    // Self-contained: nothing is loaded from anywhere.
    for (const char* part : {"<script", "<link", "src=", "http://", "https://"}) {
        EXPECT_EQ(page.find(part), std::string::npos) << part;
    }
    EXPECT_EQ(checkPage(run, true), 0) << run.read("check.txt");
}

TEST(HTMLReport, TextFromTheFilesIsShownAsTextNeverAsMarkup) {
    ToolRun run;
    // A file name is outside input that reaches the page through the report.
    std::string hostile = "<b>x</b><script>alert(1)</script>&amp;.p7m";
    EXPECT_EQ(run.sigilo("--html page.html " + shellQuoted(hostile)), 1);
    std::string page = run.read("page.html");
    EXPECT_EQ(page.find("<b>x</b>"), std::string::npos);
    EXPECT_EQ(page.find("<script>"), std::string::npos);
    EXPECT_NE(page.find("&lt;b&gt;x&lt;/b&gt;&lt;script&gt;alert(1)&lt;/script&gt;&amp;amp;.p7m"),
              std::string::npos)
        << page;
    EXPECT_EQ(checkPage(run, false), 0) << run.read("check.txt");
}

TEST(HTMLReport, APageThatCannotBeWrittenIsAFailureAndTheReportStillComes) {
    ToolRun run;
    std::string good = shellQuoted(testData("engine/cades.p7m"));
    EXPECT_EQ(run.sigilo("--html no/such/folder/page.html " + good), 1);
    EXPECT_NE(run.read("err.txt").find("rapporto HTML no/such/folder/page.html non scritto"),
              std::string::npos)
        << run.read("err.txt");
    EXPECT_NE(run.read("out.txt").find("<status>OK</status>"), std::string::npos);
    // With --indent the page is made from the indented report alike.
    EXPECT_EQ(run.sigilo("--indent --html page.html " + good), 0) << run.read("err.txt");
    EXPECT_EQ(checkPage(run, false), 0) << run.read("check.txt");
}

}  // namespace
