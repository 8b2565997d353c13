// RevokedInfo ::= SEQUENCE {                              -- RFC 2560
//     revocationTime              GeneralizedTime,
//     revocationReason    [0]     EXPLICIT CRLReason OPTIONAL }
//
// CRLReason ::= ENUMERATED { unspecified (0), keyCompromise (1), cACompromise (2),
//     affiliationChanged (3), superseded (4), cessationOfOperation (5), certificateHold (6),
//     removeFromCRL (8), privilegeWithdrawn (9), aACompromise (10) }
//
// Inside a CertStatus it stands under the IMPLICIT tag [1] (0xA1), which the tagged reader and
// writer take.
#ifndef SIGILO_PKIX_REVOKEDINFO_H
#define SIGILO_PKIX_REVOKEDINFO_H

class Buffer;
class X500Time;

class RevokedInfo {
public:
    static constexpr unsigned char kCertificateHold = 6;

    RevokedInfo();
    ~RevokedInfo();

    RevokedInfo(const RevokedInfo&) = delete;
    RevokedInfo& operator=(const RevokedInfo&) = delete;

    RevokedInfo* clone() const;

    X500Time* getRevocationTime() const;
    const X500Time* _getRevocationTime() const { return revocationTime; }
    void setRevocationTime(const X500Time* time);
    unsigned char hasReason() const { return reasonPresent; }
    // 0 (unspecified) when there is none.
    unsigned char getReason() const { return reason; }
    void setReason(unsigned char value);
    void clearReason();

    unsigned int getWrapLength(Buffer* b);
    unsigned int getWrapLength(unsigned char tag, Buffer* b);
    void wrapASN1(Buffer* b);
    void wrapASN1(unsigned char tag, Buffer* b);
    unsigned char unwrapASN1(Buffer* b);
    unsigned char unwrapASN1(unsigned char tag, Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    X500Time* revocationTime;
    unsigned char reason;
    unsigned char reasonPresent;
};

#endif
