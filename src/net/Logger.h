// Logger: the log sink of every object that logs.
//
// A line goes to the log file when the process named one, otherwise to syslog. Lines at the
// worst levels (below 3) also reach the console when a file is in use, and a line at level 2
// written without a code is mailed to the operator when a mail server was named. Levels are
// those of syslog: 0 is the most urgent, 7 the most verbose.
//
// The process-wide settings (ident, file, mail server) are statics set once at start-up by
// init. A Logger object only carries its level, the mail subject and address, and the id of the
// thread that made it. There is no lock: each line is a single write or syslog call.
#ifndef SIGILO_NET_LOGGER_H
#define SIGILO_NET_LOGGER_H

#include <pthread.h>

#include <cstdarg>

class Logger {
public:
    static constexpr int kDefaultLevel = 6;
    // Bytes a line is built in at first; a longer line is built on the heap rather than cut.
    static constexpr unsigned int kLineSize = 1024;
    // Sizes of the stored settings.
    static constexpr unsigned int kIdentSize = 64;
    static constexpr unsigned int kFileNameSize = 4096;
    static constexpr unsigned int kMailServerSize = 256;
    static constexpr unsigned int kTextSize = 256;

    Logger();
    explicit Logger(unsigned char level);
    ~Logger() = default;

    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    // Replace the process-wide texts (null or "" for none), then reopen syslog with the ident and
    // the facility. With no file name the lines go to syslog.
    static void init(const char* ident, int facility, const char* mailServer);
    static void init(const char* ident, int facility, const char* fileName, const char* mailServer);
    // Moves the log file aside under its name plus "." and the current time as GeneralizedTime
    // text; the next line creates a new file. Without a file, nothing happens.
    static void rotate();

    int getLevel() const { return level; }
    void setLevel(unsigned char newLevel) { level = newLevel; }
    // A disabled logger writes nothing at any level; enabling brings back the level it had, or
    // the one given.
    void enableLog() { enabled = true; }
    void enableLog(char newLevel);
    void disableLog() { enabled = false; }
    unsigned char isEnabled() const { return enabled ? 255 : 0; }
    void setSubject(const char* text);
    void setOperatorEmail(const char* address);

    // The line is written when `lineLevel` is not above the object's level.
    void print(int lineLevel, const char* format, ...) __attribute__((format(printf, 3, 4)));
    void print(int lineLevel, unsigned int code, const char* format, ...)
        __attribute__((format(printf, 4, 5)));
    // syslog(level, "%s %.8lX %s") with the word of the level.
    void sendSyslog(int lineLevel, unsigned int code, const char* text);

    // The word syslog lines carry for a level: "Cri", "Maj", "War", "Nor" or "Min".
    static const char* levelWord(int lineLevel);

    // ---- Seams for tests: the console device, the syslog call and the mail port. ----
    static void _setConsolePath(const char* path);
    using SyslogSink = void (*)(int priority, const char* line);
    // Null restores the real syslog.
    static void _setSyslogSink(SyslogSink sink);
    static void _setMailPort(unsigned short port);

private:
    // Writes one formatted text: to the file (and the console), or to syslog.
    void emit(int lineLevel, unsigned int code, bool withCode, const char* text);

    static char ident[kIdentSize];
    static char fileName[kFileNameSize];
    static char mailServ[kMailServerSize];
    static int globalTask;

    int level;
    bool enabled;
    char subject[kTextSize];
    char operatorEmail[kTextSize];
    pthread_t task;
};

#endif
