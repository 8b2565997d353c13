// PKIStatusInfo ::= SEQUENCE {                           -- RFC 3161 (from RFC 4210)
//     status        PKIStatus,                            -- INTEGER
//     statusString  PKIFreeText     OPTIONAL,
//     failInfo      PKIFailureInfo  OPTIONAL }            -- named BIT STRING
//
// PKIStatus: granted (0), grantedWithMods (1), rejection (2), waiting (3),
// revocationWarning (4), revocationNotification (5).
// PKIFailureInfo: badAlg (0), badRequest (2), badDataFormat (5), timeNotAvailable (14),
// unacceptedPolicy (15), unacceptedExtension (16), addInfoNotAvailable (17),
// systemFailure (25).
//
// The failure bits are kept as a mask in which named bit n is (1 << n); bits past 31 have no
// name and are dropped.
#ifndef SIGILO_PKIX_PKISTATUSINFO_H
#define SIGILO_PKIX_PKISTATUSINFO_H

class Buffer;
class PKIFreeText;

class PKIStatusInfo {
public:
    static constexpr int kGranted = 0;
    static constexpr int kGrantedWithMods = 1;
    static constexpr int kRejection = 2;
    static constexpr int kWaiting = 3;
    static constexpr int kRevocationWarning = 4;
    static constexpr int kRevocationNotification = 5;

    static constexpr unsigned int kBadAlg = 1u << 0;
    static constexpr unsigned int kBadRequest = 1u << 2;
    static constexpr unsigned int kBadDataFormat = 1u << 5;
    static constexpr unsigned int kTimeNotAvailable = 1u << 14;
    static constexpr unsigned int kUnacceptedPolicy = 1u << 15;
    static constexpr unsigned int kUnacceptedExtension = 1u << 16;
    static constexpr unsigned int kAddInfoNotAvailable = 1u << 17;
    static constexpr unsigned int kSystemFailure = 1u << 25;

    PKIStatusInfo();
    explicit PKIStatusInfo(int status);
    ~PKIStatusInfo();

    PKIStatusInfo(const PKIStatusInfo&) = delete;
    PKIStatusInfo& operator=(const PKIStatusInfo&) = delete;

    PKIStatusInfo* clone() const;

    int getStatus() const { return status; }
    void setStatus(int value) { status = value; }
    PKIFreeText* getStatusString() const;
    const PKIFreeText* _getStatusString() const { return statusString; }
    void setStatusString(const PKIFreeText* text);
    unsigned char hasFailInfo() const { return failInfoPresent; }
    unsigned int getFailInfo() const { return failInfo; }
    void setFailInfo(unsigned int mask);
    void clearFailInfo();

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);
    // The DER named-bit form of the mask: trailing zero bits dropped. Returns the byte count.
    unsigned int failInfoBytes(unsigned char out[4], unsigned char* unused) const;

    int status;
    PKIFreeText* statusString;
    unsigned char failInfoPresent;
    unsigned int failInfo;
};

#endif
