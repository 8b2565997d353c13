// DocVerifier: what an input is, and loading it.
//
// Classification looks at the first bytes only: text markers first (MIME, XML, PDF), then the
// outer layers of the ASN.1 structure. For a DER file only its first 128 bytes are parsed, so
// every reader below must cope with a structure that is cut short; they are all bounded by the
// Buffer, which refuses to read past what it holds.
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "asn1/OID.h"
#include "asn1/SecureBuffer.h"
#include "crypto/AlgorithmIdentifier.h"
#include "verify/DocVerifier.h"

namespace {

const char kSignedData[] = "1.2.840.113549.1.7.2";
const char kData[] = "1.2.840.113549.1.7.1";
const char kTimeStampedData[] = "1.2.840.113549.1.9.16.1.31";

// Case-insensitive search that ends at the first NUL, like the string functions it stands for.
bool containsNoCase(const char* text, const char* word) {
    size_t n = strlen(word);
    for (const char* p = text; *p != 0; ++p) {
        if (strncasecmp(p, word, n) == 0) return true;
    }
    return false;
}

// The version INTEGER at the start of the SignedData at the read position; the position does
// not move.
bool peekVersion(Buffer* buffer, int* version) {
    unsigned int start = buffer->getReadPos();
    unsigned int length;
    bool ok = buffer->readASN1Sequence(&length) && buffer->readASN1(version);
    buffer->setReadPos(start);
    return ok;
}

}  // namespace

const char* inputTypeName(InputType type) {
    switch (type) {
        case InputUnreadable:
            return "unreadable";
        case InputTSR:
            return "TSR";
        case InputPKCS7:
            return "PKCS7";
        case InputTST:
            return "TST";
        case InputM7M:
            return "M7M";
        case InputXML:
            return "XML";
        case InputPDF:
            return "PDF";
        case InputTSD:
            return "TSD";
        case InputCMS:
            return "CMS";
        default:
            return "unknown";
    }
}

int DocVerifier::openRegularFile(const char* path) {
    if (path == nullptr || *path == 0) return -1;
    int fd = open(path, O_RDONLY);
    if (fd < 0) return -1;
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        close(fd);
        return -1;
    }
    return fd;
}

InputType DocVerifier::guessInputType(const char* path) {
    int fd = openRegularFile(path);
    if (fd < 0) return InputUnreadable;
    // One byte more than is read, so that the head is always a terminated string.
    unsigned char head[kFileHeadSize + 1] = {};
    unsigned int got = 0;
    while (got < kFileHeadSize) {
        ssize_t n = read(fd, head + got, kFileHeadSize - got);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        got += static_cast<unsigned int>(n);
    }
    close(fd);
    if (got < kFileHeadSize) return InputUnreadable;

    const char* text = reinterpret_cast<const char*>(head);
    if (head[0] != '0') {
        if (containsNoCase(text, "Mime-Version:")) return InputM7M;
        if (strstr(text, "<?xml version") != nullptr) return InputXML;
    }
    if (memcmp(head, "%PDF-", 5) == 0) return InputPDF;
    if (head[0] == '<') return InputXML;
    if (head[0] != '0') {
        // Text that is none of the above may be PEM: the whole file is decoded.
        workBuffer->fromPEMFile(path, nullptr);
        if (workBuffer->getWritePos() == 0) return InputUnknown;
    } else {
        workBuffer->fromByteArray(head, kFileHeadSize);
    }
    workBuffer->setReadPos(0);
    return classifyEnvelope(workBuffer.get());
}

InputType DocVerifier::guessInputType(Buffer* buffer) {
    if (buffer == nullptr) return InputUnknown;
    const unsigned int start = buffer->getReadPos();
    unsigned char head[kBufferHeadSize + 1] = {};
    unsigned int end =
        buffer->getWritePos() < buffer->getMaxSize() ? buffer->getWritePos() : buffer->getMaxSize();
    unsigned int available = end > start ? end - start : 0;
    if (available > kBufferHeadSize) available = kBufferHeadSize;
    if (available > 0) memcpy(head, buffer->_getData() + start, available);

    const char* text = reinterpret_cast<const char*>(head);
    if (head[0] != '0' && strstr(text, "<?xml version") != nullptr) return InputXML;
    if (memcmp(head, "%PDF-", 5) == 0) return InputPDF;
    if (head[0] == '<') return InputXML;
    InputType type = classifyEnvelope(buffer);
    buffer->setReadPos(start);
    return type;
}

// ContentInfo ::= SEQUENCE { contentType OID, content [0] EXPLICIT ANY }
// TimeStampResp ::= SEQUENCE { status PKIStatusInfo (a SEQUENCE), timeStampToken ... }
InputType DocVerifier::classifyEnvelope(Buffer* buffer) {
    const unsigned int start = buffer->getReadPos();
    unsigned int length;
    unsigned char tag;
    if (!buffer->readASN1Sequence(&length)) return InputUnknown;
    if (!buffer->peekASN1Header(&tag, &length)) return InputUnknown;
    // A TimeStampResp opens with a SEQUENCE, a ContentInfo with an OID.
    if (tag == 0x30) return InputTSR;
    OID type;
    if (!buffer->readASN1(&type)) return InputUnknown;
    if (type.isEqual(kTimeStampedData)) return InputTSD;
    if (!type.isEqual(kSignedData)) return InputUnknown;
    if (!buffer->readASN1Header(&tag, &length) || tag != 0xA0) return InputUnknown;
    int version = 0;
    if (!peekVersion(buffer, &version)) return InputUnknown;
    if (version == 1) return InputPKCS7;
    if (version != 3 && version != 4) return InputUnknown;

    buffer->setReadPos(start);
    OID contentType;
    // A SignedData cut short before its content type has no type to compare: like any type but
    // data and signedData it makes a token, and the token driver then finds what is wrong.
    if (readEContentType(buffer, &contentType) &&
        (contentType.isEqual(kSignedData) || contentType.isEqual(kData))) {
        return InputCMS;
    }
    return InputTST;
}

// SignedData ::= SEQUENCE { version INTEGER, digestAlgorithms SET OF AlgorithmIdentifier,
//                           encapContentInfo SEQUENCE { eContentType OID, ... }, ... }
// Only the fields up to eContentType are read: a DER file is classified from a prefix.
unsigned char DocVerifier::readEContentType(Buffer* buffer, OID* type) {
    unsigned int length;
    unsigned char tag;
    OID outer;
    int version;
    AlgorithmIdentifierSet algorithms;
    if (!buffer->readASN1Sequence(&length) || !buffer->readASN1(&outer)) return 0;
    if (!buffer->readASN1Header(&tag, &length) || tag != 0xA0) return 0;
    if (!buffer->readASN1Sequence(&length) || !buffer->readASN1(&version)) return 0;
    if (!algorithms.unwrapASN1(buffer)) return 0;
    if (!buffer->readASN1Sequence(&length)) return 0;
    return buffer->readASN1(type) ? 255 : 0;
}

unsigned char DocVerifier::loadDoc(const char* path) {
    documentBuffer->rewind();
    int fd = openRegularFile(path);
    if (fd < 0) return 0;
    unsigned char first = 0;
    ssize_t n = read(fd, &first, 1);
    lseek(fd, 0, SEEK_SET);
    unsigned char ok = 0;
    if (n == 1 && first == '0') {
        ok = documentBuffer->fromFile(fd);
    } else if (n == 1) {
        ok = documentBuffer->fromPEMFile(fd, nullptr);
    }
    close(fd);
    if (!ok) documentBuffer->rewind();
    documentBuffer->setReadPos(0);
    return ok;
}

unsigned char DocVerifier::loadDetached(const char* path) {
    detachedBuffer->rewind();
    int fd = openRegularFile(path);
    if (fd < 0) return 0;
    unsigned char ok = detachedBuffer->fromFile(fd);
    close(fd);
    if (!ok || detachedBuffer->getWritePos() == 0) {
        detachedBuffer->rewind();
        return 0;
    }
    detachedBuffer->setReadPos(0);
    return detachedBuffer->_getData()[0] != '0' ? 255 : 0;
}
