// Evidence ::= CHOICE {                                  -- RFC 5544, IMPLICIT tags
//     tstEvidence    [0] TimeStampTokenEvidence,   -- 0xA0, SEQUENCE OF TimeStampAndCRL
//     ersEvidence    [1] EvidenceRecord,           -- 0xA1, RFC 4998
//     otherEvidence  [2] OtherEvidence }           -- 0xA2
//
// One pointer per alternative, at most one set; a setter clears the other two. The reader
// dispatches on the tag and fails on any other.
#ifndef SIGILO_PKIX_EVIDENCE_H
#define SIGILO_PKIX_EVIDENCE_H

class Buffer;
class EvidenceRecord;
class OtherEvidence;
class TimeStampAndCRLList;

class Evidence {
public:
    static constexpr unsigned char kTstEvidence = 0xA0;
    static constexpr unsigned char kErsEvidence = 0xA1;
    static constexpr unsigned char kOtherEvidence = 0xA2;

    Evidence();
    ~Evidence();

    Evidence(const Evidence&) = delete;
    Evidence& operator=(const Evidence&) = delete;

    Evidence* clone() const;

    // The tag of the alternative held, or 0 when none is.
    unsigned char getChoice() const;

    TimeStampAndCRLList* getTstEvidence() const;
    const TimeStampAndCRLList* _getTstEvidence() const { return tstEvidence; }
    void setTstEvidence(const TimeStampAndCRLList* list);
    EvidenceRecord* getErsEvidence() const;
    const EvidenceRecord* _getErsEvidence() const { return ersEvidence; }
    void setErsEvidence(const EvidenceRecord* record);
    OtherEvidence* getOtherEvidence() const;
    const OtherEvidence* _getOtherEvidence() const { return otherEvidence; }
    void setOtherEvidence(const OtherEvidence* other);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    void clear();

    TimeStampAndCRLList* tstEvidence;
    EvidenceRecord* ersEvidence;
    OtherEvidence* otherEvidence;
};

#endif
