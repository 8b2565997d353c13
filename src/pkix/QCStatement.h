// QCStatements ::= SEQUENCE OF QCStatement
//
// QCStatement ::= SEQUENCE {
//     statementId    OBJECT IDENTIFIER,
//     statementInfo  ANY DEFINED BY statementId OPTIONAL }
//
// SemanticsInformation ::= SEQUENCE {
//     semanticsIdentifier          OBJECT IDENTIFIER OPTIONAL,
//     nameRegistrationAuthorities  NameRegistrationAuthorities OPTIONAL }
// NameRegistrationAuthorities ::= SEQUENCE SIZE (1..MAX) OF GeneralName
//
// The statements of a qualified certificate (RFC 3739, ETSI EN 319 412-5). The statementInfo is
// kept as its whole element, so that any statement re-encodes as it came; the known ones are
// decoded from it on request: the limit value (a MonetaryValue), the retention period (an
// INTEGER) and the semantics information of the PKIX statements.
#ifndef SIGILO_PKIX_QCSTATEMENT_H
#define SIGILO_PKIX_QCSTATEMENT_H

#include "asn1/AsnList.h"

class Buffer;
class GeneralNameList;
class MonetaryValue;
class OID;

class SemanticsInformation {
public:
    SemanticsInformation();
    ~SemanticsInformation();

    SemanticsInformation(const SemanticsInformation&) = delete;
    SemanticsInformation& operator=(const SemanticsInformation&) = delete;

    SemanticsInformation* clone() const;

    // New dotted text, or null.
    char* getSemanticsIdentifier() const;
    void setSemanticsIdentifier(const char* dotted);
    GeneralNameList* getNameRegistrationAuthorities() const;
    void setNameRegistrationAuthorities(const GeneralNameList* names);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    OID* semanticsIdentifier;
    GeneralNameList* nameRegistrationAuthorities;
};

class QCStatement {
public:
    static constexpr const char* kCompliance = "0.4.0.1862.1.1";
    static constexpr const char* kLimitValue = "0.4.0.1862.1.2";
    static constexpr const char* kRetentionPeriod = "0.4.0.1862.1.3";
    static constexpr const char* kSSCD = "0.4.0.1862.1.4";
    static constexpr const char* kPKIXSyntaxV1 = "1.3.6.1.5.5.7.11.1";
    static constexpr const char* kPKIXSyntaxV2 = "1.3.6.1.5.5.7.11.2";

    QCStatement();
    explicit QCStatement(const char* statementId);
    ~QCStatement();

    QCStatement(const QCStatement&) = delete;
    QCStatement& operator=(const QCStatement&) = delete;

    QCStatement* clone() const;

    // New dotted text, or null.
    char* getStatementId() const;
    void setStatementId(const char* dotted);
    unsigned char isEqual(const char* dotted) const;

    // The statementInfo element as it came, or null when absent.
    const unsigned char* _getStatementInfo() const { return info; }
    unsigned int getStatementInfoLen() const { return infoLen; }
    void setStatementInfo(const unsigned char* element, unsigned int length);

    // Decoded on request; null (or 0) when this is another statement or the info does not
    // decode.
    MonetaryValue* getMonetaryValue() const;
    unsigned char getRetentionPeriod(long* years) const;
    SemanticsInformation* getSemanticsInformation() const;
    // The info from an object, encoded.
    void setMonetaryValue(MonetaryValue* value);
    void setSemanticsInformation(SemanticsInformation* semantics);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    OID* statementId;
    unsigned char* info;
    unsigned int infoLen;
};

class QCStatements : public AsnList<QCStatement, QCStatements, kSequenceTag> {
public:
    void addQCStatement(const QCStatement* s) { addElementCopy(s); }
    QCStatement* getQCStatement(int i) const { return getElement(i); }
};

#endif
