// CertStatus ::= CHOICE {                                 -- RFC 2560
//     good        [0]     IMPLICIT NULL,                  -- 0x80
//     revoked     [1]     IMPLICIT RevokedInfo,           -- 0xA1
//     unknown     [2]     IMPLICIT UnknownInfo }          -- 0x82, UnknownInfo ::= NULL
//
// The raw tag is what the checker decides by. An alternative of another tag is kept by its
// tag alone (its content skipped), so that a reader of a later version of the structure still
// reads the rest, and the checker can refuse it.
#ifndef SIGILO_PKIX_OCSPCERTSTATUS_H
#define SIGILO_PKIX_OCSPCERTSTATUS_H

class Buffer;
class RevokedInfo;

class OCSPCertStatus {
public:
    static constexpr unsigned char kGood = 0x80;
    static constexpr unsigned char kRevoked = 0xA1;
    static constexpr unsigned char kUnknown = 0x82;

    OCSPCertStatus();
    ~OCSPCertStatus();

    OCSPCertStatus(const OCSPCertStatus&) = delete;
    OCSPCertStatus& operator=(const OCSPCertStatus&) = delete;

    OCSPCertStatus* clone() const;

    // The tag of the alternative; 0 before anything is read or set.
    unsigned char getTag() const { return tag; }
    void setGood();
    void setUnknown();
    void setRevoked(const RevokedInfo* info);
    // The details of a revoked status; null for the others.
    RevokedInfo* getRevokedInfo() const;
    const RevokedInfo* _getRevokedInfo() const { return revoked; }

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    void clear();

    unsigned char tag;
    RevokedInfo* revoked;
};

#endif
