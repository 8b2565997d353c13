// DocVerifier: writing extracted content and inner envelopes.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "frontend/Messages.h"
#include "net/Logger.h"
#include "verify/DocVerifier.h"

namespace {

// The file is created if need be and written from its start, without truncation: extracted
// files are written the way existing users of the tool know.
bool writeFile(const char* name, const unsigned char* data, unsigned int length) {
    int fd = open(name, O_WRONLY | O_CREAT, 0644);
    if (fd < 0) return false;
    unsigned int done = 0;
    while (done < length) {
        ssize_t n = write(fd, data + done, length - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            close(fd);
            return false;
        }
        done += static_cast<unsigned int>(n);
    }
    return close(fd) == 0;
}

}  // namespace

unsigned char DocVerifier::savePlainData(const char* name, const unsigned char* data,
                                         unsigned int length) {
    if (data == nullptr) return 0;
    if (name == nullptr || !writeFile(name, data, length)) {
        // Stored and logged, but not reported: the verdict on the signatures stands whether or
        // not the content could be written.
        errCode = kErrOutputFile;
        if (log) log->print(3, kErrOutputFile, "%s", Messages::getText(kErrOutputFile));
        return 0;
    }
    if (log) log->print(6, kNoteExtractedFile, "Estratto file: %s", name);
    setAttribute("content", name);
    return 255;
}

unsigned char DocVerifier::saveSignedData(const char* name, int index, const unsigned char* data,
                                          unsigned int length) {
    if (data == nullptr) return 0;
    char path[kMaxPathSize];
    int n = name != nullptr ? snprintf(path, sizeof path, "%s.sig%d", name, index) : -1;
    // A name that does not fit is refused rather than cut: a cut name is another file.
    if (n < 0 || static_cast<unsigned int>(n) >= sizeof path || !writeFile(path, data, length)) {
        errCode = kErrOutputFile;
        if (log) log->print(3, kErrOutputFile, "%s", Messages::getText(kErrOutputFile));
        return 0;
    }
    if (log) log->print(6, kNoteExtractedFile, "Estratto file: %s", path);
    setAttribute("encapsulated", path);
    return 255;
}
