#include "pkix/Accuracy.h"

#include "asn1/Buffer.h"
#include "pkix/ReadSteps.h"

namespace {

constexpr unsigned char kIntegerTag = 0x02;
constexpr unsigned char kMillisTag = 0x80;
constexpr unsigned char kMicrosTag = 0x81;
// The draft's EXPLICIT forms of the same two tags.
constexpr unsigned char kMillisDraftTag = 0xA0;
constexpr unsigned char kMicrosDraftTag = 0xA1;

bool inFractionRange(int v) {
    return v >= 1 && v <= 999;
}

}  // namespace

Accuracy::Accuracy() : Accuracy(static_cast<unsigned char>(0)) {}

Accuracy::Accuracy(unsigned char draftForm)
    : draft09(draftForm), seconds(kAbsent), millis(kAbsent), micros(kAbsent) {}

Accuracy::Accuracy(int s, int ms, int us) : Accuracy() {
    seconds = s;
    millis = ms;
    micros = us;
}

void Accuracy::copyTo(Accuracy* target) const {
    target->draft09 = draft09;
    target->seconds = seconds;
    target->millis = millis;
    target->micros = micros;
}

Accuracy* Accuracy::clone() const {
    Accuracy* copy = new Accuracy(draft09);
    copyTo(copy);
    return copy;
}

long Accuracy::getTotalMicros() const {
    long total = 0;
    if (seconds > 0) total += static_cast<long>(seconds) * 1000000L;
    if (millis > 0) total += static_cast<long>(millis) * 1000L;
    if (micros > 0) total += micros;
    return total;
}

unsigned int Accuracy::fractionLength(Buffer* b, int value) {
    if (value == kAbsent) return 0;
    if (!draft09) return b->lenASN1(value, kMillisTag);
    unsigned int inner = b->lenASN1(value);
    return b->lenASN1Header(kMillisDraftTag, inner) + inner;
}

unsigned int Accuracy::contentLength(Buffer* b) {
    unsigned int sum = seconds != kAbsent ? b->lenASN1(seconds) : 0;
    return sum + fractionLength(b, millis) + fractionLength(b, micros);
}

unsigned int Accuracy::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

// tag is the final form's tag (0x80 or 0x81); the draft form turns it constructed.
void Accuracy::writeFraction(Buffer* b, unsigned char tag, int value) {
    if (value == kAbsent) return;
    if (!draft09) {
        b->writeASN1(value, tag);
        return;
    }
    b->writeASN1Header(static_cast<unsigned char>(tag | 0x20), b->lenASN1(value));
    b->writeASN1(value);
}

void Accuracy::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (seconds != kAbsent) b->writeASN1(seconds);
    writeFraction(b, kMillisTag, millis);
    writeFraction(b, kMicrosTag, micros);
}

unsigned char Accuracy::readFraction(Buffer* b, unsigned char tag, int* value) {
    if (!draft09) {
        if (!b->readASN1(value, tag)) return 0;
    } else {
        unsigned char t;
        unsigned int len;
        if (!b->readASN1Header(&t, &len) || t != (tag | 0x20)) return 0;
        unsigned int end = pkix::endOf(b, len);
        if (!b->readASN1(value) || b->getReadPos() != end) return 0;
    }
    return inFractionRange(*value) ? 255 : 0;
}

unsigned char Accuracy::unwrapASN1(Buffer* b) {
    seconds = millis = micros = kAbsent;
    unsigned int len;
    if (!b->readASN1Sequence(&len) || len > b->remaining()) return 0;
    unsigned int end = b->getReadPos() + len;
    const unsigned char millisTag = draft09 ? kMillisDraftTag : kMillisTag;
    const unsigned char microsTag = draft09 ? kMicrosDraftTag : kMicrosTag;
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == kIntegerTag) {
        if (!b->readASN1(&seconds) || seconds < 0) return 0;
    }
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == millisTag) {
        if (!readFraction(b, kMillisTag, &millis)) return 0;
    }
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == microsTag) {
        if (!readFraction(b, kMicrosTag, &micros)) return 0;
    }
    // Anything else inside, or a member running past the end, is a form this class does not
    // know.
    return b->getReadPos() == end ? 255 : 0;
}

AccuracyDraft09::AccuracyDraft09() : Accuracy(static_cast<unsigned char>(255)) {}

AccuracyDraft09::AccuracyDraft09(int s, int ms, int us) : AccuracyDraft09() {
    setSeconds(s);
    setMillis(ms);
    setMicros(us);
}

AccuracyDraft09* AccuracyDraft09::clone() const {
    AccuracyDraft09* copy = new AccuracyDraft09();
    copyTo(copy);
    return copy;
}
