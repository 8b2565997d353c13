#include "pkix/UserNotice.h"

#include "asn1/Buffer.h"
#include "pkix/DisplayText.h"
#include "pkix/ReadSteps.h"

// ---- NoticeReference ----

NoticeReference::NoticeReference() : organization(nullptr) {}

NoticeReference::~NoticeReference() {
    delete organization;
}

NoticeReference* NoticeReference::clone() const {
    NoticeReference* copy = new NoticeReference();
    copy->setOrganization(organization);
    copy->noticeNumbers = noticeNumbers;
    return copy;
}

DisplayText* NoticeReference::getOrganization() const {
    return organization != nullptr ? organization->clone() : nullptr;
}

void NoticeReference::setOrganization(const DisplayText* text) {
    delete organization;
    organization = text != nullptr ? text->clone() : nullptr;
}

int NoticeReference::getNoticeNumber(int i) const {
    return i >= 0 && i < getNoticeNumberCount() ? noticeNumbers[static_cast<size_t>(i)] : 0;
}

unsigned int NoticeReference::numbersLength(Buffer* b) const {
    unsigned int sum = 0;
    for (int n : noticeNumbers) sum += b->lenASN1(n);
    return sum;
}

unsigned int NoticeReference::getWrapLength(Buffer* b) {
    unsigned int sum = (organization != nullptr ? organization->getWrapLength(b) : 0) +
                       b->lenASN1Sequence(numbersLength(b));
    return b->lenASN1Sequence(sum);
}

void NoticeReference::wrapASN1(Buffer* b) {
    unsigned int numbers = numbersLength(b);
    b->writeASN1Sequence((organization != nullptr ? organization->getWrapLength(b) : 0) +
                         b->lenASN1Sequence(numbers));
    if (organization != nullptr) organization->wrapASN1(b);
    b->writeASN1Sequence(numbers);
    for (int n : noticeNumbers) b->writeASN1(n);
}

unsigned char NoticeReference::unwrapASN1(Buffer* b) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    delete organization;
    organization = new DisplayText();
    if (!organization->unwrapASN1(b)) return 0;
    if (!b->readASN1Sequence(&len)) return 0;
    unsigned int end = pkix::endOf(b, len);
    noticeNumbers.clear();
    // Each INTEGER consumes its header at least, so the loop ends within the input.
    while (!pkix::atEnd(b, end)) {
        int n;
        if (!b->readASN1(&n)) return 0;
        noticeNumbers.push_back(n);
    }
    return 255;
}

// ---- UserNotice ----

UserNotice::UserNotice() : noticeRef(nullptr), explicitText(nullptr) {}

UserNotice::~UserNotice() {
    delete noticeRef;
    delete explicitText;
}

UserNotice* UserNotice::clone() const {
    UserNotice* copy = new UserNotice();
    copy->setNoticeRef(noticeRef);
    copy->setExplicitText(explicitText);
    return copy;
}

NoticeReference* UserNotice::getNoticeRef() const {
    return noticeRef != nullptr ? noticeRef->clone() : nullptr;
}

void UserNotice::setNoticeRef(const NoticeReference* ref) {
    delete noticeRef;
    noticeRef = ref != nullptr ? ref->clone() : nullptr;
}

DisplayText* UserNotice::getExplicitText() const {
    return explicitText != nullptr ? explicitText->clone() : nullptr;
}

void UserNotice::setExplicitText(const DisplayText* text) {
    delete explicitText;
    explicitText = text != nullptr ? text->clone() : nullptr;
}

unsigned int UserNotice::contentLength(Buffer* b) {
    return (noticeRef != nullptr ? noticeRef->getWrapLength(b) : 0) +
           (explicitText != nullptr ? explicitText->getWrapLength(b) : 0);
}

unsigned int UserNotice::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void UserNotice::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (noticeRef != nullptr) noticeRef->wrapASN1(b);
    if (explicitText != nullptr) explicitText->wrapASN1(b);
}

unsigned char UserNotice::unwrapASN1(Buffer* b) {
    delete noticeRef;
    noticeRef = nullptr;
    delete explicitText;
    explicitText = nullptr;
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    unsigned int end = pkix::endOf(b, len);
    if (pkix::atEnd(b, end)) return 255;
    if (pkix::peekTag(b) == 0x30) {
        noticeRef = new NoticeReference();
        if (!noticeRef->unwrapASN1(b)) return 0;
        if (pkix::atEnd(b, end)) return 255;
    }
    explicitText = new DisplayText();
    return explicitText->unwrapASN1(b) ? 255 : 0;
}
