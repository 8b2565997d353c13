// Validity ::= SEQUENCE {
//     notBefore  Time,
//     notAfter   Time }
//
// Time ::= CHOICE { utcTime UTCTime, generalTime GeneralizedTime }
#ifndef SIGILO_PKIX_VALIDITY_H
#define SIGILO_PKIX_VALIDITY_H

class Buffer;
class X500Time;

class Validity {
public:
    Validity();
    Validity(const X500Time* notBefore, const X500Time* notAfter);
    ~Validity();

    Validity(const Validity&) = delete;
    Validity& operator=(const Validity&) = delete;

    Validity* clone() const;

    // Copies the caller deletes; null when absent.
    X500Time* getNotBefore() const;
    X500Time* getNotAfter() const;
    X500Time* _getNotBefore() const { return notBefore; }
    X500Time* _getNotAfter() const { return notAfter; }
    void setNotBefore(const X500Time* t);
    void setNotAfter(const X500Time* t);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    X500Time* notBefore;
    X500Time* notAfter;
};

#endif
