#include "pkix/Evidence.h"

#include "asn1/Buffer.h"
#include "pkix/CopySteps.h"
#include "pkix/EvidenceRecord.h"
#include "pkix/OtherEvidence.h"
#include "pkix/ReadSteps.h"
#include "pkix/TimeStampAndCRL.h"

Evidence::Evidence() : tstEvidence(nullptr), ersEvidence(nullptr), otherEvidence(nullptr) {}

Evidence::~Evidence() {
    clear();
}

void Evidence::clear() {
    delete tstEvidence;
    delete ersEvidence;
    delete otherEvidence;
    tstEvidence = nullptr;
    ersEvidence = nullptr;
    otherEvidence = nullptr;
}

Evidence* Evidence::clone() const {
    Evidence* copy = new Evidence();
    copy->tstEvidence = pkix::cloneOf(tstEvidence);
    copy->ersEvidence = pkix::cloneOf(ersEvidence);
    copy->otherEvidence = pkix::cloneOf(otherEvidence);
    return copy;
}

unsigned char Evidence::getChoice() const {
    if (tstEvidence != nullptr) return kTstEvidence;
    if (ersEvidence != nullptr) return kErsEvidence;
    if (otherEvidence != nullptr) return kOtherEvidence;
    return 0;
}

TimeStampAndCRLList* Evidence::getTstEvidence() const {
    return pkix::cloneOf(tstEvidence);
}

void Evidence::setTstEvidence(const TimeStampAndCRLList* list) {
    TimeStampAndCRLList* copy = pkix::cloneOf(list);
    clear();
    tstEvidence = copy;
}

EvidenceRecord* Evidence::getErsEvidence() const {
    return pkix::cloneOf(ersEvidence);
}

void Evidence::setErsEvidence(const EvidenceRecord* record) {
    EvidenceRecord* copy = pkix::cloneOf(record);
    clear();
    ersEvidence = copy;
}

OtherEvidence* Evidence::getOtherEvidence() const {
    return pkix::cloneOf(otherEvidence);
}

void Evidence::setOtherEvidence(const OtherEvidence* other) {
    OtherEvidence* copy = pkix::cloneOf(other);
    clear();
    otherEvidence = copy;
}

unsigned int Evidence::getWrapLength(Buffer* b) {
    if (tstEvidence != nullptr) return tstEvidence->getWrapLength(b);
    if (ersEvidence != nullptr) return ersEvidence->getWrapLength(b);
    if (otherEvidence != nullptr) return otherEvidence->getWrapLength(b);
    return 0;
}

void Evidence::wrapASN1(Buffer* b) {
    if (tstEvidence != nullptr) {
        tstEvidence->wrapASN1(b, kTstEvidence);
    } else if (ersEvidence != nullptr) {
        ersEvidence->wrapASN1(b, kErsEvidence);
    } else if (otherEvidence != nullptr) {
        otherEvidence->wrapASN1(b, kOtherEvidence);
    }
}

unsigned char Evidence::unwrapASN1(Buffer* b) {
    clear();
    switch (pkix::peekTag(b)) {
        case kTstEvidence:
            tstEvidence = new TimeStampAndCRLList();
            // SIZE (1..MAX): evidence without a time stamp proves nothing.
            return tstEvidence->unwrapASN1(b, kTstEvidence) && tstEvidence->getCount() > 0 ? 1 : 0;
        case kErsEvidence:
            ersEvidence = new EvidenceRecord();
            return ersEvidence->unwrapASN1(b, kErsEvidence) ? 1 : 0;
        case kOtherEvidence:
            otherEvidence = new OtherEvidence();
            return otherEvidence->unwrapASN1(b, kOtherEvidence) ? 1 : 0;
        default:
            return 0;
    }
}
