// Accuracy ::= SEQUENCE {                                -- RFC 3161
//     seconds      INTEGER              OPTIONAL,
//     millis   [0] INTEGER  (1..999)    OPTIONAL,        -- IMPLICIT: 0x80
//     micros   [1] INTEGER  (1..999)    OPTIONAL }       -- IMPLICIT: 0x81
//
// AccuracyDraft09: the same type as the draft of RFC 3161 (draft-ietf-pkix-time-stamp-09) lays
// it down, whose tags on millis and micros are EXPLICIT: 0xA0 and 0xA1 around an INTEGER. Both
// classes share their fields and body; the form is fixed at construction and read from a flag,
// so that an AccuracyDraft09 held through an Accuracy pointer still reads and writes its own
// form.
//
// An absent field is -1. The readers are strict: the elements must come in order, carry the
// tags of their own form, lie in range (seconds not negative, millis and micros from 1 to 999)
// and fill the SEQUENCE exactly. A time stamp is first read in the draft form and then in the
// final one, so a reader that let the other form's tags through could quietly drop a field
// instead of failing over to the right form.
#ifndef SIGILO_PKIX_ACCURACY_H
#define SIGILO_PKIX_ACCURACY_H

class Buffer;

class Accuracy {
public:
    static constexpr int kAbsent = -1;

    Accuracy();
    Accuracy(int seconds, int millis, int micros);
    ~Accuracy() = default;

    Accuracy(const Accuracy&) = delete;
    Accuracy& operator=(const Accuracy&) = delete;

    Accuracy* clone() const;

    int getSeconds() const { return seconds; }
    int getMillis() const { return millis; }
    int getMicros() const { return micros; }
    void setSeconds(int v) { seconds = v; }
    void setMillis(int v) { millis = v; }
    void setMicros(int v) { micros = v; }
    // The whole in microseconds, absent fields counting 0.
    long getTotalMicros() const;
    // 255 for the draft form (EXPLICIT tags).
    unsigned char isDraft09() const { return draft09; }

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

protected:
    explicit Accuracy(unsigned char draftForm);
    void copyTo(Accuracy* target) const;

private:
    unsigned int contentLength(Buffer* b);
    unsigned int fractionLength(Buffer* b, int value);
    void writeFraction(Buffer* b, unsigned char tag, int value);
    unsigned char readFraction(Buffer* b, unsigned char tag, int* value);

    unsigned char draft09;
    int seconds;
    int millis;
    int micros;
};

class AccuracyDraft09 : public Accuracy {
public:
    AccuracyDraft09();
    AccuracyDraft09(int seconds, int millis, int micros);

    AccuracyDraft09* clone() const;
};

#endif
