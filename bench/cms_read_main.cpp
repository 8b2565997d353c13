// Reads one envelope file as a ContentInfo, by the no-copy reader (default) or the copying one
// (--copy), and prints what it found. bench/cms_nocopy.sh runs it under /usr/bin/time to show
// that the no-copy reader holds an attached envelope in about one file's worth of memory.
#include <cstdio>
#include <cstring>

#include "asn1/Buffer.h"
#include "pkix/ContentInfo.h"
#include "pkix/EncapsulatedContentInfo.h"
#include "pkix/PlainData.h"
#include "pkix/SignedData.h"

namespace {

// The embedded content of either signed-data family, or null.
const unsigned char* contentOf(ContentInfo& info, unsigned int* length) {
    if (auto* cms = dynamic_cast<CMSSignedData*>(info._getContent())) {
        *length = cms->_getEncapContentInfo()->getEContentLen();
        return cms->_getEncapContentInfo()->_getEContent();
    }
    if (auto* pkcs7 = dynamic_cast<PKCS7SignedData*>(info._getContent())) {
        if (auto* plain = dynamic_cast<PlainData*>(pkcs7->_getContentInfo()->_getContent())) {
            *length = plain->getLength();
            return plain->_getData();
        }
    }
    *length = 0;
    return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
    bool copy = argc == 3 && strcmp(argv[1], "--copy") == 0;
    if (argc != 2 && !copy) {
        fprintf(stderr, "usage: cms_read [--copy] envelope.p7m\n");
        return 2;
    }
    Buffer file;
    if (!file.fromFile(argv[argc - 1])) {
        fprintf(stderr, "cannot read %s\n", argv[argc - 1]);
        return 2;
    }
    ContentInfo info;
    unsigned char result = copy ? info.unwrapASN1(&file) : info._unwrapASN1(&file);
    unsigned int length;
    const unsigned char* content = contentOf(info, &length);
    const unsigned char* begin = file._getData();
    bool inside = content != nullptr && content >= begin && content < begin + file.getWritePos();
    printf("result %d, content %u bytes, %s the file's buffer\n", result, length,
           inside ? "inside" : "outside");
    return result == 1 ? 0 : 1;
}
