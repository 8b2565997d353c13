// Logger: log lines to a file or to syslog, with the console and the operator's mail for the
// worst levels.
#include "net/Logger.h"

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "asn1/X500Time.h"
#include "net/Mailer.h"
#include "net/SystemClock.h"

char Logger::ident[Logger::kIdentSize] = "";
char Logger::fileName[Logger::kFileNameSize] = "";
char Logger::mailServ[Logger::kMailServerSize] = "";
int Logger::globalTask = 0;

namespace {

// 27 = LOG_PID | LOG_CONS | LOG_NDELAY | LOG_NOWAIT.
constexpr int kSyslogOptions = LOG_PID | LOG_CONS | LOG_NDELAY | LOG_NOWAIT;
static_assert(kSyslogOptions == 27, "syslog options");

char consolePath[Logger::kFileNameSize] = "/dev/console";
Logger::SyslogSink syslogSink = nullptr;
unsigned short mailPort = 25;

void copyText(char* to, size_t size, const char* from) {
    if (from == nullptr) from = "";
    size_t n = strnlen(from, size - 1);
    memcpy(to, from, n);
    to[n] = 0;
}

// The text of a printf format, however long: the first attempt fits most lines, a longer one is
// formatted again at its full size, so nothing is cut and nothing overruns.
std::string formatText(const char* format, va_list args) {
    char first[Logger::kLineSize];
    va_list again;
    va_copy(again, args);
    int n = vsnprintf(first, sizeof first, format, args);
    std::string text;
    if (n < 0) {
        text = "";
    } else if (static_cast<unsigned int>(n) < sizeof first) {
        text.assign(first, static_cast<size_t>(n));
    } else {
        text.resize(static_cast<size_t>(n) + 1);
        vsnprintf(&text[0], text.size(), format, again);
        text.resize(static_cast<size_t>(n));
    }
    va_end(again);
    return text;
}

void writeAll(int fd, const std::string& line) {
    size_t done = 0;
    while (done < line.size()) {
        ssize_t n = write(fd, line.data() + done, line.size() - done);
        if (n <= 0) return;  // a log failure drops the line
        done += static_cast<size_t>(n);
    }
}

void appendTo(const char* path, int flags, const std::string& line) {
    int fd = open(path, flags, 0644);
    if (fd < 0) return;
    writeAll(fd, line);
    close(fd);
}

}  // namespace

Logger::Logger() : Logger(static_cast<unsigned char>(kDefaultLevel)) {}

Logger::Logger(unsigned char initialLevel)
    : level(initialLevel), enabled(true), subject(), operatorEmail(), task(pthread_self()) {}

void Logger::init(const char* newIdent, int facility, const char* mailServer) {
    copyText(ident, sizeof ident, newIdent);
    copyText(mailServ, sizeof mailServ, mailServer);
    closelog();
    // openlog keeps the pointer: ident is static storage for the life of the process.
    openlog(ident, kSyslogOptions, facility);
    globalTask = 0;
}

void Logger::init(const char* newIdent, int facility, const char* newFileName,
                  const char* mailServer) {
    copyText(fileName, sizeof fileName, newFileName);
    init(newIdent, facility, mailServer);
}

void Logger::rotate() {
    if (fileName[0] == 0) return;
    std::unique_ptr<X500Time> now(SystemClock::getGeneralizedTime());
    std::unique_ptr<char[]> stamp(now->getValue());
    std::string aside = std::string(fileName) + "." + stamp.get();
    rename(fileName, aside.c_str());
}

void Logger::enableLog(char newLevel) {
    level = static_cast<unsigned char>(newLevel);
    enabled = true;
}

void Logger::setSubject(const char* text) {
    copyText(subject, sizeof subject, text);
}

void Logger::setOperatorEmail(const char* address) {
    copyText(operatorEmail, sizeof operatorEmail, address);
}

const char* Logger::levelWord(int lineLevel) {
    if (lineLevel <= 2) return "Cri";
    switch (lineLevel) {
        case 3:
            return "Maj";
        case 4:
            return "War";
        case 5:
            return "Nor";
        default:
            return "Min";
    }
}

void Logger::print(int lineLevel, const char* format, ...) {
    if (!enabled || lineLevel > level) return;
    va_list args;
    va_start(args, format);
    std::string text = formatText(format, args);
    va_end(args);
    emit(lineLevel, 0, false, text.c_str());
    // Only the form without a code reaches the operator, and only at level 2 exactly.
    if (lineLevel == 2 && mailServ[0] != 0) {
        Mailer mailer(mailServ, mailPort);
        mailer.sendMail(operatorEmail, subject, text.c_str());
    }
}

void Logger::print(int lineLevel, unsigned int code, const char* format, ...) {
    if (!enabled || lineLevel > level) return;
    va_list args;
    va_start(args, format);
    std::string text = formatText(format, args);
    va_end(args);
    emit(lineLevel, code, true, text.c_str());
}

void Logger::emit(int lineLevel, unsigned int code, bool withCode, const char* text) {
    if (fileName[0] != 0) {
        char when[X500Time::kPrintSize];
        std::unique_ptr<X500Time> now(SystemClock::getUTCTime());
        now->printLocalDateTime(when);
        // The letter after each number is printed as it stands: readers of these files expect
        // "[pid l.thread l]".
        char head[Logger::kLineSize];
        snprintf(head, sizeof head, "%s %s[%ul.%ul]: ", when, ident,
                 static_cast<unsigned int>(getpid()), static_cast<unsigned int>(task));
        std::string line = std::string(head) + text + "\n";
        // The file is opened and closed for each line, so that rotate and outside tools can
        // move it at any time.
        appendTo(fileName, O_RDWR | O_CREAT | O_APPEND, line);
        if (lineLevel < 3) appendTo(consolePath, O_WRONLY | O_APPEND | O_NOCTTY, line);
        return;
    }
    if (withCode) {
        sendSyslog(lineLevel, code, text);
        return;
    }
    if (syslogSink != nullptr) {
        syslogSink(lineLevel, text);
    } else {
        syslog(lineLevel, "%s", text);
        closelog();
    }
}

void Logger::sendSyslog(int lineLevel, unsigned int code, const char* text) {
    const char* word = levelWord(lineLevel);
    if (syslogSink != nullptr) {
        char head[32];
        snprintf(head, sizeof head, "%s %.8lX ", word, static_cast<unsigned long>(code));
        syslogSink(lineLevel, (std::string(head) + (text != nullptr ? text : "")).c_str());
        return;
    }
    syslog(lineLevel, "%s %.8lX %s", word, static_cast<unsigned long>(code),
           text != nullptr ? text : "");
}

void Logger::_setConsolePath(const char* path) {
    copyText(consolePath, sizeof consolePath, path != nullptr ? path : "/dev/console");
}

void Logger::_setSyslogSink(SyslogSink sink) {
    syslogSink = sink;
}

void Logger::_setMailPort(unsigned short port) {
    mailPort = port;
}
