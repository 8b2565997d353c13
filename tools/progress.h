// The progress line of a batch: files done, of how many, time elapsed, on standard error.
#ifndef SIGILO_TOOLS_PROGRESS_H
#define SIGILO_TOOLS_PROGRESS_H

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <string>

class Progress {
public:
    // Batches of this many files or fewer show no progress.
    static constexpr size_t kFewFiles = 3;

    // Shown only when `out` is a terminal and the batch is more than a few files; otherwise
    // every call does nothing, so that a redirected standard error stays empty.
    Progress(size_t total, FILE* out);

    void update(size_t done);
    // Leaves the last line standing, with its line feed.
    void finish();

private:
    // The line for `done` files after `seconds`, without the carriage return.
    static std::string line(size_t done, size_t total, long seconds);

    size_t total;
    FILE* out;
    bool isShown;
    bool finished = false;
    size_t lastDone = static_cast<size_t>(-1);
    std::chrono::steady_clock::time_point start;
};

#endif
