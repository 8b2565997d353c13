// The progress line: rewritten in place with a carriage return, cleared to the end of the line
// so that a shorter line leaves nothing of the longer one behind.
#include "tools/progress.h"

#include <unistd.h>

Progress::Progress(size_t total, FILE* out)
    : total(total),
      out(out),
      isShown(out != nullptr && isatty(fileno(out)) && total > kFewFiles),
      start(std::chrono::steady_clock::now()) {}

std::string Progress::line(size_t done, size_t total, long seconds) {
    char text[96];
    snprintf(text, sizeof text, "sigilo: %zu/%zu file verificati, %02ld:%02ld", done, total,
             seconds / 60, seconds % 60);
    return text;
}

void Progress::update(size_t done) {
    if (!isShown || finished || done == lastDone) return;
    lastDone = done;
    long seconds = static_cast<long>(
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start)
            .count());
    fprintf(out, "\r%s\033[K", line(done, total, seconds).c_str());
    fflush(out);
}

void Progress::finish() {
    if (!isShown || finished) return;
    update(total);
    fputc('\n', out);
    fflush(out);
    finished = true;
}
