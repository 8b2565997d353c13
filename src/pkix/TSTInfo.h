// TSTInfo ::= SEQUENCE {                                 -- RFC 3161
//     version         INTEGER { v1(1) },
//     policy          TSAPolicyId,                        -- OBJECT IDENTIFIER
//     messageImprint  MessageImprint,
//     serialNumber    INTEGER,
//     genTime         GeneralizedTime,
//     accuracy        Accuracy                  OPTIONAL,
//     ordering        BOOLEAN                   DEFAULT FALSE,
//     nonce           INTEGER                   OPTIONAL,
//     tsa             [0] GeneralName           OPTIONAL, -- EXPLICIT (a CHOICE): 0xA0
//     extensions      [1] IMPLICIT Extensions   OPTIONAL } -- 0xA1
//
// TSTInfoDraft09 is the same structure as the draft of RFC 3161
// (draft-ietf-pkix-time-stamp-09) lays it down, which time-stamp authorities of that time
// still write. The one difference this class knows is the accuracy, whose millis and micros
// carry EXPLICIT tags in the draft (see AccuracyDraft09); everything else reads alike.
//
// The verifier reads a token's content first as TSTInfoDraft09 and, when that fails, again from
// the start as TSTInfo. So both readers are strict: version 1 only, genTime a GeneralizedTime,
// the optional members in their order and with their own tags, nothing unknown, and the
// SEQUENCE filled exactly. Where the two forms differ, the draft reader therefore fails and the
// final one reads the token; where they do not differ, both read the same values. A final-form
// TSTInfo is never taken by the draft reader with a field silently lost or misread.
#ifndef SIGILO_PKIX_TSTINFO_H
#define SIGILO_PKIX_TSTINFO_H

#include "crypto/BigInteger.h"

class Accuracy;
class Buffer;
class ExtensionList;
class GeneralName;
class MessageImprint;
class OID;
class X500Time;

class TSTInfo {
public:
    // id-ct-TSTInfo, the eContentType of a time-stamp token.
    static constexpr const char* kContentType = "1.2.840.113549.1.9.16.1.4";

    TSTInfo();
    ~TSTInfo();

    TSTInfo(const TSTInfo&) = delete;
    TSTInfo& operator=(const TSTInfo&) = delete;

    TSTInfo* clone() const;

    // The content of a token read in either form: the draft form first, then the final form
    // from the same start. A new object (a TSTInfoDraft09 when the draft form read) or null.
    static TSTInfo* readAnyForm(const unsigned char* der, unsigned int length);

    // 255 when this object reads and writes the draft form.
    unsigned char isDraft09() const { return draft09; }

    int getVersion() const { return version; }
    void setVersion(int v) { version = v; }
    // New dotted text, or null.
    char* getPolicy() const;
    const OID* _getPolicy() const { return policy; }
    void setPolicy(const char* dotted);
    MessageImprint* getMessageImprint() const;
    const MessageImprint* _getMessageImprint() const { return messageImprint; }
    void setMessageImprint(const MessageImprint* imprint);
    BigInteger getSerialNumber() const { return serialNumber; }
    void setSerialNumber(const BigInteger& serial) { serialNumber = serial; }
    // The serial as the report prints every serial (BigInteger::printSerial); a new string.
    char* printSerialNumber(int base) const { return serialNumber.printSerial(base); }
    X500Time* getGenTime() const;
    const X500Time* _getGenTime() const { return genTime; }
    void setGenTime(const X500Time* time);
    // A copy of the form of this object (an AccuracyDraft09 in a draft TSTInfo), or null.
    Accuracy* getAccuracy() const;
    const Accuracy* _getAccuracy() const { return accuracy; }
    // Stored in this object's form, whatever the argument's.
    void setAccuracy(const Accuracy* value);
    unsigned char getOrdering() const { return ordering; }
    void setOrdering(unsigned char value) { ordering = value ? 255 : 0; }
    unsigned char hasNonce() const { return noncePresent; }
    BigInteger getNonce() const { return nonce; }
    void setNonce(const BigInteger& value);
    void clearNonce();
    GeneralName* getTsa() const;
    const GeneralName* _getTsa() const { return tsa; }
    void setTsa(const GeneralName* name);
    ExtensionList* getExtensions() const;
    const ExtensionList* _getExtensions() const { return extensions; }
    void setExtensions(const ExtensionList* list);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

protected:
    explicit TSTInfo(unsigned char draftForm);
    void copyTo(TSTInfo* target) const;

private:
    unsigned int contentLength(Buffer* b);
    void clear();
    Accuracy* newAccuracy() const;

    unsigned char draft09;
    int version;
    OID* policy;
    MessageImprint* messageImprint;
    BigInteger serialNumber;
    X500Time* genTime;
    Accuracy* accuracy;
    unsigned char ordering;
    unsigned char noncePresent;
    BigInteger nonce;
    GeneralName* tsa;
    ExtensionList* extensions;
};

class TSTInfoDraft09 : public TSTInfo {
public:
    TSTInfoDraft09();

    TSTInfoDraft09* clone() const;
};

#endif
