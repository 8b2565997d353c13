// Logger: the line formats of the file and of syslog, levels, the console copy, rotation and
// mail at level 2. Mailer: the SMTP exchange against a server the test starts on 127.0.0.1.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "net/Logger.h"
#include "net/Mailer.h"
#include "support/VecFile.h"

namespace {

std::string fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::string tempPath(const std::string& name) {
    std::string path = ::testing::TempDir() + "/" + name;
    unlink(path.c_str());
    return path;
}

// The SMTP server of tests/data/net/smtp_server.py, for one connection.
class SMTPServer {
public:
    SMTPServer(const std::string& mode, const std::string& transcriptPath)
        : transcript(transcriptPath) {
        std::string command = std::string(SIGILO_PYTHON3) + " " + testData("net/smtp_server.py") +
                              " " + mode + " " + transcript;
        pipe = popen(command.c_str(), "r");
        char line[32] = {};
        if (pipe != nullptr && fgets(line, sizeof line, pipe) != nullptr) port = atoi(line);
    }
    // Waits for the server to end (it ends by itself within its time-outs).
    std::string lines() {
        if (pipe != nullptr) pclose(pipe);
        pipe = nullptr;
        return fileBytes(transcript);
    }
    ~SMTPServer() {
        if (pipe != nullptr) pclose(pipe);
    }
    int port = 0;

private:
    FILE* pipe = nullptr;
    std::string transcript;
};

std::vector<std::pair<int, std::string>> syslogLines;
void captureSyslog(int priority, const char* line) {
    syslogLines.emplace_back(priority, line);
}

class LoggerTest : public ::testing::Test {
protected:
    void TearDown() override {
        Logger::_setConsolePath(nullptr);
        Logger::_setSyslogSink(nullptr);
        Logger::_setMailPort(25);
        Logger::init("Sigilo", 0, "", nullptr);
    }
};

TEST_F(LoggerTest, FileLinesHaveTheirHeadAndPassTheLevel) {
    std::string path = tempPath("sigilo.log");
    Logger::init("Sigilo", 0, path.c_str(), nullptr);
    Logger log(6);
    log.print(6, 4616, "Input File: %s", "a.p7m");
    log.print(7, "troppo dettagliato");
    log.print(3, "errore %d", 5122);
    std::string text = fileBytes(path);
    std::regex line("[^\\n]+ Sigilo\\[([0-9]+)l\\.([0-9]+)l\\]: ([^\\n]*)\\n");
    std::vector<std::string> bodies;
    for (std::sregex_iterator it(text.begin(), text.end(), line), end; it != end; ++it) {
        EXPECT_EQ(std::stoul((*it)[1]), static_cast<unsigned long>(getpid()));
        EXPECT_EQ(std::stoul((*it)[2]), static_cast<unsigned int>(pthread_self()));
        bodies.push_back((*it)[3]);
    }
    EXPECT_EQ(bodies, (std::vector<std::string>{"Input File: a.p7m", "errore 5122"}));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);

    // A disabled logger writes nothing; enabling brings it back at the level given.
    log.disableLog();
    log.print(0, "niente");
    log.enableLog(static_cast<char>(7));
    log.print(7, "ora si'");
    text = fileBytes(path);
    EXPECT_EQ(text.find("niente"), std::string::npos);
    EXPECT_NE(text.find("]: ora si'\n"), std::string::npos);
}

TEST_F(LoggerTest, WorstLevelsAlsoReachTheConsole) {
    std::string path = tempPath("console_case.log"), console = tempPath("console");
    std::ofstream(console).flush();
    Logger::_setConsolePath(console.c_str());
    Logger::init("Sigilo", 0, path.c_str(), nullptr);
    Logger log(2);
    log.print(2, 5120, "critico");
    log.print(3, "sopra il livello: da nessuna parte");
    Logger verbose(7);
    verbose.print(3, "solo nel file");
    std::string fileText = fileBytes(path), consoleText = fileBytes(console);
    EXPECT_NE(consoleText.find("]: critico\n"), std::string::npos);
    EXPECT_EQ(consoleText.find("solo nel file"), std::string::npos);
    EXPECT_EQ(fileText.find("da nessuna parte"), std::string::npos);
    EXPECT_NE(fileText.find("]: solo nel file\n"), std::string::npos);
    EXPECT_EQ(fileText.substr(0, consoleText.size()), consoleText);
}

TEST_F(LoggerTest, LongTextsAreNotCut) {
    std::string path = tempPath("long.log");
    Logger::init("Sigilo", 0, path.c_str(), nullptr);
    Logger log;
    std::string text(3000, 'x');
    log.print(5, "%s", text.c_str());
    EXPECT_NE(fileBytes(path).find("]: " + text + "\n"), std::string::npos);
}

TEST_F(LoggerTest, RotateMovesTheFileAside) {
    std::string path = tempPath("rotate.log");
    Logger::init("Sigilo", 0, path.c_str(), nullptr);
    Logger log;
    log.print(6, "prima");
    Logger::rotate();
    log.print(6, "dopo");
    EXPECT_EQ(fileBytes(path).find("prima"), std::string::npos);
    EXPECT_NE(fileBytes(path).find("dopo"), std::string::npos);
    // The old file is under its name, a dot and the time as GeneralizedTime text.
    std::string listing = "ls " + ::testing::TempDir() + " | grep -E '^rotate\\.log\\.[0-9]{14}Z$'";
    EXPECT_EQ(system((listing + " >/dev/null").c_str()), 0);
    // Without a file there is nothing to move.
    Logger::init("Sigilo", 0, "", nullptr);
    Logger::rotate();
}

TEST_F(LoggerTest, SyslogLinesCarryTheWordOfTheLevelAndTheCode) {
    Logger::init("Sigilo", 0, "", nullptr);
    Logger::_setSyslogSink(captureSyslog);
    syslogLines.clear();
    Logger log(7);
    log.print(3, 5122, "%s", "Non e' possibile leggere il file");
    log.print(4, 5222, "avviso");
    log.print(1, 0x1400, "x");
    log.print(5, 4712, "CRL: %s", "uri");
    log.print(7, 4682, "inizio");
    log.print(6, "senza codice");
    std::vector<std::pair<int, std::string>> expected = {
        {3, "Maj 00001402 Non e' possibile leggere il file"},
        {4, "War 00001466 avviso"},
        {1, "Cri 00001400 x"},
        {5, "Nor 00001268 CRL: uri"},
        {7, "Min 0000124A inizio"},
        {6, "senza codice"},
    };
    EXPECT_EQ(syslogLines, expected);
}

TEST_F(LoggerTest, LevelTwoWithoutCodeIsMailedToTheOperator) {
    SMTPServer server("esmtp", tempPath("logger_mail.txt"));
    ASSERT_GT(server.port, 0);
    Logger::_setMailPort(static_cast<unsigned short>(server.port));
    Logger::_setSyslogSink(captureSyslog);
    Logger::init("Sigilo", 0, "127.0.0.1");
    Logger log(7);
    log.setSubject("Sigilo: allarme");
    log.setOperatorEmail("operatore@example.org");
    log.print(2, "servizio fermo");
    std::string lines = server.lines();
    EXPECT_NE(lines.find("rcpt to: operatore@example.org\n"), std::string::npos);
    EXPECT_NE(lines.find("Subject:Sigilo: allarme\nservizio fermo\n.\n"), std::string::npos);
}

TEST(MailerTest, SpeaksESMTPOrSMTPAsTheGreetingSays) {
    for (const char* mode : {"esmtp", "smtp"}) {
        SMTPServer server(mode, tempPath(std::string("mail_") + mode + ".txt"));
        ASSERT_GT(server.port, 0);
        Mailer mailer("127.0.0.1", static_cast<unsigned short>(server.port));
        mailer.setTimeout(5);
        EXPECT_TRUE(mailer.sendMail("a@example.org", "oggetto", "riga 1\nriga 2"));
        std::string host = mailer.getHostName(), user = mailer.getUserName();
        std::string hello = std::string(mode) == "esmtp" ? "EHLO " : "HELO ";
        EXPECT_EQ(server.lines(), hello + host + "\nmail from: " + user + "@" + host +
                                      "\nrcpt to: a@example.org\ndata\nSubject:oggetto\nriga 1"
                                      "\nriga 2\n.\nquit\n")
            << mode;
    }
}

TEST(MailerTest, StopsAtTheFirstUnwantedReply) {
    for (const char* mode : {"reject", "badrcpt"}) {
        SMTPServer server(mode, tempPath(std::string("mail_") + mode + ".txt"));
        ASSERT_GT(server.port, 0);
        Mailer mailer("127.0.0.1", static_cast<unsigned short>(server.port));
        mailer.setTimeout(5);
        EXPECT_FALSE(mailer.sendMail("a@example.org", "oggetto", "testo")) << mode;
        std::string lines = server.lines();
        EXPECT_EQ(lines.find("data"), std::string::npos) << mode;
    }
}

TEST(MailerTest, ASilentServerCostsOnlyTheTimeOut) {
    SMTPServer server("silent", tempPath("mail_silent.txt"));
    ASSERT_GT(server.port, 0);
    Mailer mailer("127.0.0.1", static_cast<unsigned short>(server.port));
    mailer.setTimeout(1);
    auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(mailer.sendMail("a@example.org", "oggetto", "testo"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    // Nothing listens on port 1, and a name that does not resolve is no server either.
    Mailer closed("127.0.0.1", 1);
    EXPECT_FALSE(closed.sendMail("a@example.org", "x", "y"));
    Mailer nowhere("no-such-host.invalid", 25);
    EXPECT_FALSE(nowhere.sendMail("a@example.org", "x", "y"));
}

}  // namespace
