#include "pkix/QCStatement.h"

#include <memory>

#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "pkix/GeneralName.h"
#include "pkix/MonetaryValue.h"
#include "pkix/ReadSteps.h"

// ---- SemanticsInformation ----

SemanticsInformation::SemanticsInformation()
    : semanticsIdentifier(nullptr), nameRegistrationAuthorities(nullptr) {}

SemanticsInformation::~SemanticsInformation() {
    delete semanticsIdentifier;
    delete nameRegistrationAuthorities;
}

SemanticsInformation* SemanticsInformation::clone() const {
    SemanticsInformation* copy = new SemanticsInformation();
    copy->semanticsIdentifier =
        semanticsIdentifier != nullptr ? semanticsIdentifier->clone() : nullptr;
    copy->setNameRegistrationAuthorities(nameRegistrationAuthorities);
    return copy;
}

char* SemanticsInformation::getSemanticsIdentifier() const {
    return semanticsIdentifier != nullptr ? semanticsIdentifier->getValue() : nullptr;
}

void SemanticsInformation::setSemanticsIdentifier(const char* dotted) {
    delete semanticsIdentifier;
    semanticsIdentifier = dotted != nullptr ? new OID(dotted) : nullptr;
}

GeneralNameList* SemanticsInformation::getNameRegistrationAuthorities() const {
    return nameRegistrationAuthorities != nullptr ? nameRegistrationAuthorities->clone() : nullptr;
}

void SemanticsInformation::setNameRegistrationAuthorities(const GeneralNameList* names) {
    delete nameRegistrationAuthorities;
    nameRegistrationAuthorities = names != nullptr ? names->clone() : nullptr;
}

unsigned int SemanticsInformation::contentLength(Buffer* b) {
    return (semanticsIdentifier != nullptr ? b->lenASN1(semanticsIdentifier) : 0) +
           (nameRegistrationAuthorities != nullptr ? nameRegistrationAuthorities->getWrapLength(b)
                                                   : 0);
}

unsigned int SemanticsInformation::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void SemanticsInformation::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (semanticsIdentifier != nullptr) b->writeASN1(semanticsIdentifier);
    if (nameRegistrationAuthorities != nullptr) nameRegistrationAuthorities->wrapASN1(b);
}

unsigned char SemanticsInformation::unwrapASN1(Buffer* b) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    unsigned int end = pkix::endOf(b, len);
    if (pkix::atEnd(b, end)) return 255;
    if (pkix::peekTag(b) == 0x06) {
        delete semanticsIdentifier;
        semanticsIdentifier = new OID();
        if (!b->readASN1(semanticsIdentifier)) return 0;
        if (pkix::atEnd(b, end)) return 255;
    }
    delete nameRegistrationAuthorities;
    nameRegistrationAuthorities = new GeneralNameList();
    return nameRegistrationAuthorities->unwrapASN1(b);
}

// ---- QCStatement ----

QCStatement::QCStatement() : statementId(nullptr), info(nullptr), infoLen(0) {}

QCStatement::QCStatement(const char* dotted) : QCStatement() {
    setStatementId(dotted);
}

QCStatement::~QCStatement() {
    delete statementId;
    delete[] info;
}

QCStatement* QCStatement::clone() const {
    QCStatement* copy = new QCStatement();
    copy->statementId = statementId != nullptr ? statementId->clone() : nullptr;
    copy->setStatementInfo(info, infoLen);
    return copy;
}

char* QCStatement::getStatementId() const {
    return statementId != nullptr ? statementId->getValue() : nullptr;
}

void QCStatement::setStatementId(const char* dotted) {
    delete statementId;
    statementId = dotted != nullptr ? new OID(dotted) : nullptr;
}

unsigned char QCStatement::isEqual(const char* dotted) const {
    return statementId != nullptr ? statementId->isEqual(dotted) : 0;
}

void QCStatement::setStatementInfo(const unsigned char* element, unsigned int length) {
    delete[] info;
    info = pkix::copyBytes(element, length);
    infoLen = element != nullptr ? length : 0;
}

namespace {

// The info element in a buffer of its own, for a reader of its syntax.
std::unique_ptr<Buffer> infoBuffer(const unsigned char* info, unsigned int n) {
    auto b = std::make_unique<Buffer>();
    b->fromByteArray(info, n);
    return b;
}

template <class T>
void encodeInto(T* value, QCStatement* statement) {
    if (value == nullptr) {
        statement->setStatementInfo(nullptr, 0);
        return;
    }
    Buffer b;
    b.enlarge(value->getWrapLength(&b));
    value->wrapASN1(&b);
    statement->setStatementInfo(b._getData(), b.getWritePos());
}

}  // namespace

MonetaryValue* QCStatement::getMonetaryValue() const {
    if (info == nullptr || !isEqual(kLimitValue)) return nullptr;
    auto b = infoBuffer(info, infoLen);
    auto value = std::make_unique<MonetaryValue>();
    return value->unwrapASN1(b.get()) ? value.release() : nullptr;
}

unsigned char QCStatement::getRetentionPeriod(long* years) const {
    if (info == nullptr || years == nullptr || !isEqual(kRetentionPeriod)) return 0;
    auto b = infoBuffer(info, infoLen);
    return b->readLong(years) ? 255 : 0;
}

SemanticsInformation* QCStatement::getSemanticsInformation() const {
    if (info == nullptr || !(isEqual(kPKIXSyntaxV1) || isEqual(kPKIXSyntaxV2))) return nullptr;
    auto b = infoBuffer(info, infoLen);
    auto semantics = std::make_unique<SemanticsInformation>();
    return semantics->unwrapASN1(b.get()) ? semantics.release() : nullptr;
}

void QCStatement::setMonetaryValue(MonetaryValue* value) {
    encodeInto(value, this);
}

void QCStatement::setSemanticsInformation(SemanticsInformation* semantics) {
    encodeInto(semantics, this);
}

unsigned int QCStatement::contentLength(Buffer* b) {
    return (statementId != nullptr ? b->lenASN1(statementId) : 0) + (info != nullptr ? infoLen : 0);
}

unsigned int QCStatement::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void QCStatement::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (statementId != nullptr) b->writeASN1(statementId);
    if (info != nullptr) b->writeBytes(info, infoLen);
}

unsigned char QCStatement::unwrapASN1(Buffer* b) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    unsigned int end = pkix::endOf(b, len);
    delete statementId;
    statementId = new OID();
    if (!b->readASN1(statementId)) return 0;
    delete[] info;
    info = nullptr;
    infoLen = 0;
    if (pkix::atEnd(b, end)) return 255;
    return pkix::readRawElement(b, &info, &infoLen) ? 255 : 0;
}
