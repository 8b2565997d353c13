// sigilo -j N: the report of a batch verified by worker processes is the sequential run's, byte
// for byte, and the workers really did the work.
#include <gtest/gtest.h>

#include <string>

#include "support/ToolRun.h"
#include "support/VecFile.h"

namespace {

// A fixed verification time: without it each file is judged at its own "now".
const char kAt[] = " --time 261123120000Z";

TEST(Batch, WorkersWriteTheSequentialReportByteForByte) {
    ToolRun run;
    for (const char* layout : {"", " --indent"}) {
        for (const char* nested : {"", " --nested 2"}) {
            std::string common = std::string(kAt) + layout + nested + " -x x" + ToolRun::batch();
            ASSERT_EQ(system(("mkdir -p " + shellQuoted(run.path("x"))).c_str()), 0);
            int sequential = run.sigilo(common);
            std::string expected = run.read("out.txt");
            ASSERT_NE(expected.find("<status>OK</status>"), std::string::npos) << expected;
            ASSERT_NE(expected.find("<status>KO</status>"), std::string::npos);
            for (const char* jobs : {" -j 2", " -j 4", " --jobs 64"}) {
                EXPECT_EQ(run.sigilo(jobs + common), sequential) << jobs << layout << nested;
                EXPECT_EQ(run.read("out.txt"), expected) << jobs << layout << nested;
                // Standard error is not a terminal here: no progress line.
                EXPECT_EQ(run.read("err.txt"), "") << jobs;
            }
        }
    }
}

TEST(Batch, EachFileIsVerifiedOnceByOneWorker) {
    ToolRun run;
    // The level-7 log names each file's type once per verification: a file that a worker could
    // not hand back would be verified again by the parent and named twice.
    ASSERT_EQ(run.sigilo(std::string("-j 3 -l log.txt -L 7") + kAt + ToolRun::batch()), 1);
    std::string log = run.read("log.txt");
    std::string examples = std::string(SIGILO_SOURCE_DIR) + "/examples/";
    for (const std::string& f :
         {testData("engine/cades.p7m"), testData("engine/revoked.p7m"),
          testData("engine/nested.p7m"), examples + "documento.m7m",
          examples + "documento.txt.p7m.tsd", std::string("non_esiste.p7m")}) {
        EXPECT_EQ(countOf(log, "Tipo del file " + f + ": "), 1) << f << "\n" << log;
    }
}

TEST(Batch, AFileThatSetsTheRootsAttributesIsVerifiedAgainInItsPlace) {
    ToolRun run;
    // A TSD of a detached document writes its names on the report's root, which a worker cannot
    // hand back as elements: the tool verifies it again itself, in order.
    std::string tsd = shellQuoted(testData("tsengine/detached.tsd"));
    std::string good = shellQuoted(testData("engine/cades.p7m"));
    std::string files = std::string(kAt) + " -D " + shellQuoted(testData("tsengine/document.txt")) +
                        " " + good + " " + tsd + " " + good + " " + tsd;
    int sequential = run.sigilo(files);
    std::string expected = run.read("out.txt");
    ASSERT_NE(expected.find("filetype=\"TSD file\" detachedDocument="), std::string::npos)
        << expected;
    EXPECT_EQ(run.sigilo("-j 2" + files), sequential);
    EXPECT_EQ(run.read("out.txt"), expected);
}

TEST(Batch, AReportToAFileAndTheExitStatusFollowTheVerdicts) {
    ToolRun run;
    std::string good = shellQuoted(testData("engine/cades.p7m"));
    ASSERT_EQ(run.sigilo(std::string("-j 2 -o report.xml") + kAt + " " + good + " " + good), 0)
        << run.read("err.txt");
    EXPECT_EQ(run.read("out.txt"), "");
    std::string report = run.read("report.xml");
    EXPECT_EQ(countOf(report, "<status>OK</status>"), 2) << report;
    EXPECT_EQ(countOf(report, "<signedData "), 2);
    // A worker count of 0 or a word is a mistake on the command line.
    EXPECT_EQ(run.sigilo("-j 0 " + good), 2);
    EXPECT_EQ(run.sigilo("-j due " + good), 2);
}

}  // namespace
