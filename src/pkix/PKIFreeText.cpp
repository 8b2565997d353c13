#include "pkix/PKIFreeText.h"

#include "asn1/Buffer.h"
#include "pkix/ReadSteps.h"

namespace {
constexpr unsigned char kUTF8StringTag = 0x0C;
}

PKIFreeText::~PKIFreeText() {
    clear();
}

void PKIFreeText::clear() {
    for (int i = 0; i < getCount(); ++i) delete[] static_cast<char*>(elementAt(i));
    while (getCount() > 0) removeElementAt(getCount() - 1);
}

PKIFreeText* PKIFreeText::clone() const {
    PKIFreeText* copy = new PKIFreeText();
    for (int i = 0; i < getCount(); ++i) copy->addText(_getText(i));
    return copy;
}

void PKIFreeText::addText(const char* text) {
    if (text != nullptr) addElement(pkix::copyText(text));
}

char* PKIFreeText::getText(int i) const {
    return pkix::copyText(_getText(i));
}

unsigned int PKIFreeText::contentLength(Buffer* b) {
    unsigned int sum = 0;
    for (int i = 0; i < getCount(); ++i) sum += b->lenASN1(_getText(i), kUTF8StringTag);
    return sum;
}

unsigned int PKIFreeText::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void PKIFreeText::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    for (int i = 0; i < getCount(); ++i) b->writeASN1(_getText(i), kUTF8StringTag);
}

unsigned char PKIFreeText::unwrapASN1(Buffer* b) {
    clear();
    unsigned int len;
    if (!b->readASN1Sequence(&len) || len > b->remaining()) return 0;
    unsigned int end = b->getReadPos() + len;
    while (b->getReadPos() < end) {
        if (getCount() >= kMaxTexts) return 0;
        char* text = nullptr;
        // A NULL in place of a string reads as no text and is refused.
        if (!pkix::readText(b, kUTF8StringTag, &text) || text == nullptr) return 0;
        addElement(text);
    }
    return b->getReadPos() == end ? 255 : 0;
}
