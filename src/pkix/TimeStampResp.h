// TimeStampResp ::= SEQUENCE {                           -- RFC 3161
//     status          PKIStatusInfo,
//     timeStampToken  TimeStampToken OPTIONAL }
//
// The answer of a time-stamp authority, the content of a ".tsr" file. The reader answers 1 or
// 0 (see TimeStampToken), and refuses anything after the token inside the SEQUENCE.
#ifndef SIGILO_PKIX_TIMESTAMPRESP_H
#define SIGILO_PKIX_TIMESTAMPRESP_H

class Buffer;
class PKIStatusInfo;
class TimeStampToken;

class TimeStampResp {
public:
    TimeStampResp();
    ~TimeStampResp();

    TimeStampResp(const TimeStampResp&) = delete;
    TimeStampResp& operator=(const TimeStampResp&) = delete;

    TimeStampResp* clone() const;

    PKIStatusInfo* getStatus() const;
    const PKIStatusInfo* _getStatus() const { return status; }
    void setStatus(const PKIStatusInfo* value);
    TimeStampToken* getTimeStampToken() const;
    TimeStampToken* _getTimeStampToken() const { return timeStampToken; }
    void setTimeStampToken(const TimeStampToken* token);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);
    // As unwrapASN1, with the token's content left in the Buffer where it can be.
    unsigned char _unwrapASN1(Buffer* b);

private:
    unsigned char read(Buffer* b, bool borrow);
    unsigned int contentLength(Buffer* b);

    PKIStatusInfo* status;
    TimeStampToken* timeStampToken;
};

#endif
