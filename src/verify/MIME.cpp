// MIME: headers, boundaries and attachment bodies of an M7M file.
#include "verify/MIME.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "asn1/Buffer.h"

namespace {

bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

const char* skipBlanks(const char* p) {
    while (isBlank(*p)) ++p;
    return p;
}

// strcasestr without relying on the GNU extension.
const char* findNoCase(const char* text, const char* word) {
    size_t n = strlen(word);
    for (const char* p = text; *p != 0; ++p) {
        if (strncasecmp(p, word, n) == 0) return p;
    }
    return nullptr;
}

}  // namespace

MIME::MIME()
    : lines(),
      mimeVersion(),
      boundary(),
      boundaryLength(0),
      fd(-1),
      readPEM(0),
      cache(),
      cacheFill(0),
      cachePos(0),
      fileSize(0),
      partStart(0) {}

MIME::~MIME() {
    closeFile();
}

void MIME::closeFile() {
    if (fd >= 0) close(fd);
    fd = -1;
}

void MIME::clearState() {
    memset(lines, 0, sizeof lines);
    mimeVersion[0] = 0;
    boundary[0] = 0;
    boundaryLength = 0;
    readPEM = 0;
    cacheFill = cachePos = 0;
    fileSize = 0;
}

int MIME::nextByte() {
    if (fd < 0) return -1;
    if (cachePos == cacheFill) {
        ssize_t n;
        do {
            n = read(fd, cache, sizeof cache);
        } while (n < 0 && errno == EINTR);
        if (n <= 0) return -1;
        cacheFill = static_cast<unsigned int>(n);
        cachePos = 0;
    }
    return cache[cachePos++];
}

const char* MIME::getSlot(int slot) const {
    if (slot < 0 || slot >= kSlots) return nullptr;
    return lines[slot];
}

unsigned char MIME::setFile(const char* path) {
    closeFile();
    clearState();
    if (path == nullptr) return 0;
    fd = open(path, O_RDONLY);
    if (fd < 0) return 0;
    struct stat st;
    // Only a regular file has an end: a device or a pipe could feed the reader for ever.
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        closeFile();
        return 0;
    }
    fileSize = static_cast<unsigned long long>(st.st_size);
    readHeaders();
    takeMessageHeaders();
    return 255;
}

unsigned char MIME::readMIMELine(int slot) {
    if (slot < 0 || slot >= kSlots) return 0;
    char* line = lines[slot];
    unsigned int n = 0;
    bool any = false;
    // A line longer than the slot goes on in the next call, as a line of its own.
    while (n < kSlotSize - 1) {
        int c = nextByte();
        if (c < 0) break;
        any = true;
        if (c == '\n') break;
        line[n++] = static_cast<char>(c);
    }
    if (n > 0 && line[n - 1] == '\r') --n;
    line[n] = 0;
    return any ? 255 : 0;
}

void MIME::readHeaders() {
    memset(lines, 0, sizeof lines);
    for (int slot = 0; slot < kSlots; ++slot) {
        if (!readMIMELine(slot) || lines[slot][0] == 0) break;
    }
}

// The message headers: "Mime-Version:" gives the version text, "Content-Type:" the boundary,
// taken on the same line or on the folded line after it.
void MIME::takeMessageHeaders() {
    static const char kVersion[] = "Mime-Version:";
    static const char kContentType[] = "Content-Type:";
    static const char kBoundary[] = "boundary=";
    for (int slot = 0; slot < kSlots && lines[slot][0] != 0; ++slot) {
        const char* line = lines[slot];
        if (strncasecmp(line, kVersion, sizeof kVersion - 1) == 0) {
            const char* value = skipBlanks(line + sizeof kVersion - 1);
            strncpy(mimeVersion, value, kVersionSize - 1);
            mimeVersion[kVersionSize - 1] = 0;
        } else if (strncasecmp(line, kContentType, sizeof kContentType - 1) == 0) {
            const char* at = findNoCase(line, kBoundary);
            if (at == nullptr && slot + 1 < kSlots) {
                at = findNoCase(skipBlanks(lines[slot + 1]), kBoundary);
            }
            if (at != nullptr) setBoundary(at + sizeof kBoundary - 1);
        }
    }
}

void MIME::setBoundary(const char* value) {
    const char* end;
    if (*value == '"') {
        ++value;
        end = strchr(value, '"');
        if (end == nullptr) end = value + strlen(value);
    } else {
        end = value + strlen(value);
    }
    // "--" and the value, cut to what the field holds.
    size_t n = static_cast<size_t>(end - value);
    if (n > kBoundarySize - 3) n = kBoundarySize - 3;
    boundary[0] = boundary[1] = '-';
    memcpy(boundary + 2, value, n);
    boundary[2 + n] = 0;
    boundaryLength = static_cast<unsigned int>(2 + n);
}

unsigned char MIME::seekAttachment() {
    // Without a boundary every line would match; there is then no part to find.
    if (boundaryLength == 0 || lines[0][0] == 0) return 0;
    while (lines[0][0] != 0) {
        if (strncmp(lines[0], boundary, boundaryLength) == 0) {
            readHeaders();
            return 255;
        }
        readMIMELine(0);
    }
    return 0;
}

const char* MIME::getHeader(const char* name) const {
    if (name == nullptr) return nullptr;
    size_t n = strlen(name);
    for (int slot = 0; slot < kSlots && lines[slot][0] != 0; ++slot) {
        if (strlen(lines[slot]) >= n && strncasecmp(lines[slot], name, n) == 0) {
            return lines[slot];
        }
    }
    return nullptr;
}

unsigned char MIME::isPEMEncoded() const {
    static const char kEncoding[] = "Content-Transfer-Encoding";
    const char* header = getHeader(kEncoding);
    if (header == nullptr) return 0;
    return findNoCase(header + sizeof kEncoding - 1, "base64") != nullptr ? 255 : 0;
}

unsigned char MIME::readAttachment(Buffer* buffer) {
    if (fd < 0 || buffer == nullptr) return 0;
    // The body cannot be longer than the file: one allocation up front.
    if (fileSize < 0xFFFF0000ull && buffer->getMaxSize() < fileSize) {
        buffer->enlarge(static_cast<unsigned int>(fileSize));
    }
    readPEM = isPEMEncoded();
    const unsigned int start = buffer->getWritePos();
    partStart = start;
    for (;;) {
        int c = nextByte();
        if (c < 0) break;  // the end of the file ends the part as it stands
        unsigned int pos = buffer->getWritePos();
        if (c == '-' && pos > start && buffer->_getData()[pos - 1] == '\n') {
            if (readBoundary(buffer)) break;
            continue;
        }
        buffer->writeByte(static_cast<unsigned char>(c));
    }
    if (!readPEM && buffer->getWritePos() > start && buffer->_getData()[start] == 'M') {
        readPEM = 255;
    }
    return 255;
}

unsigned char MIME::readBoundary(Buffer* buffer) {
    // The "-" that brought us here is the first character of the boundary. What is read is
    // kept, so that a mismatch can hand it back to the body as data.
    std::string seen = "-";
    auto giveBack = [&]() -> unsigned char {
        buffer->writeBytes(reinterpret_cast<const unsigned char*>(seen.data()),
                           static_cast<unsigned int>(seen.size()));
        return 0;
    };
    // Byte by byte, stopping at the first that differs: a line feed among the bytes read then
    // still starts a line for the caller, and the boundary after it is found.
    while (seen.size() < boundaryLength) {
        int c = nextByte();
        if (c < 0) return giveBack();
        seen += static_cast<char>(c);
        if (c != static_cast<unsigned char>(boundary[seen.size() - 1])) return giveBack();
    }
    // Blanks and tabs, then "--" (the last boundary), a carriage return with a line feed, or a
    // line feed. The end of the file right after the boundary is taken as a line end.
    int c = nextByte();
    while (c == ' ' || c == '\t') {
        seen += static_cast<char>(c);
        c = nextByte();
    }
    bool last = false;
    if (c == '-') {
        seen += '-';
        int d = nextByte();
        if (d != '-') {
            if (d >= 0) seen += static_cast<char>(d);
            return giveBack();
        }
        last = true;
        do {
            c = nextByte();
        } while (c >= 0 && c != '\n');
    } else if (c == '\r') {
        int d = nextByte();
        if (d != '\n') {
            seen += '\r';
            if (d >= 0) seen += static_cast<char>(d);
            return giveBack();
        }
    } else if (c >= 0 && c != '\n') {
        // "--boundaryX": a longer boundary is another one, and this line is data.
        seen += static_cast<char>(c);
        return giveBack();
    }
    // The line end before the boundary belongs to the boundary, not to the part.
    unsigned int pos = buffer->getWritePos();
    const unsigned char* data = buffer->_getData();
    if (pos > partStart && data[pos - 1] == '\n') --pos;
    if (pos > partStart && data[pos - 1] == '\r') --pos;
    buffer->setWritePos(pos);
    // The boundary line is the last line read: the next seekAttachment starts from it. After
    // the last boundary there is no further part to find.
    if (last) {
        lines[0][0] = 0;
    } else {
        memcpy(lines[0], boundary, boundaryLength + 1);
    }
    return 255;
}
