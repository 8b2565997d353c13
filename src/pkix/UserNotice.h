// UserNotice ::= SEQUENCE {
//     noticeRef     NoticeReference OPTIONAL,
//     explicitText  DisplayText OPTIONAL }
//
// NoticeReference ::= SEQUENCE {
//     organization   DisplayText,
//     noticeNumbers  SEQUENCE OF INTEGER }
#ifndef SIGILO_PKIX_USERNOTICE_H
#define SIGILO_PKIX_USERNOTICE_H

#include <vector>

class Buffer;
class DisplayText;

class NoticeReference {
public:
    NoticeReference();
    ~NoticeReference();

    NoticeReference(const NoticeReference&) = delete;
    NoticeReference& operator=(const NoticeReference&) = delete;

    NoticeReference* clone() const;

    DisplayText* getOrganization() const;
    const DisplayText* _getOrganization() const { return organization; }
    void setOrganization(const DisplayText* text);
    int getNoticeNumberCount() const { return static_cast<int>(noticeNumbers.size()); }
    // 0 out of range.
    int getNoticeNumber(int i) const;
    void addNoticeNumber(int n) { noticeNumbers.push_back(n); }

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int numbersLength(Buffer* b) const;

    DisplayText* organization;
    std::vector<int> noticeNumbers;
};

class UserNotice {
public:
    UserNotice();
    ~UserNotice();

    UserNotice(const UserNotice&) = delete;
    UserNotice& operator=(const UserNotice&) = delete;

    UserNotice* clone() const;

    NoticeReference* getNoticeRef() const;
    const NoticeReference* _getNoticeRef() const { return noticeRef; }
    void setNoticeRef(const NoticeReference* ref);
    DisplayText* getExplicitText() const;
    const DisplayText* _getExplicitText() const { return explicitText; }
    void setExplicitText(const DisplayText* text);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    NoticeReference* noticeRef;
    DisplayText* explicitText;
};

#endif
