// DocVerifier: what a qualified certificate says of its holder, written into the open element
// of the report: the subject directory attributes, the certificate policies and the
// qualified-certificate statements. Each block is opened at its first known entry, so an
// extension with none writes nothing.
#include <cstdio>
#include <memory>

#include "asn1/Buffer.h"
#include "asn1/DirectoryString.h"
#include "asn1/OID.h"
#include "asn1/X500Time.h"
#include "pkix/Attribute.h"
#include "pkix/AttributeValue.h"
#include "pkix/DisplayText.h"
#include "pkix/MonetaryValue.h"
#include "pkix/PolicyInformation.h"
#include "pkix/QCStatement.h"
#include "pkix/ReadSteps.h"
#include "pkix/UserNotice.h"
#include "verify/DocVerifier.h"
#include "xml/XMLFile.h"

namespace {

struct Labelled {
    const char* oid;
    const char* element;
};

const Labelled kDirectoryAttributes[] = {{"1.3.6.1.5.5.7.9.3", "gender"},
                                         {"1.3.6.1.5.5.7.9.2", "placeOfBirth"},
                                         {"1.3.6.1.5.5.7.9.1", "dateOfBirth"},
                                         {"1.3.6.1.5.5.7.9.4", "countryOfCitizenship"},
                                         {"1.3.6.1.5.5.7.9.5", "countryOfResidence"}};

using pkix::ownedText;

// Opens the block element the first time something goes into it.
class LazyBlock {
public:
    LazyBlock(XMLFile* xml, const char* name) : xml(xml), name(name) {}
    ~LazyBlock() {
        if (open) xml->closeTag();
    }
    XMLFile* operator->() {
        if (!open) {
            xml->openTag(name);
            open = true;
        }
        return xml;
    }

private:
    XMLFile* xml;
    const char* name;
    bool open = false;
};

}  // namespace

void DocVerifier::getDirectoryAttributes(const AttributeList* attributes) {
    if (xmlOut == nullptr || attributes == nullptr) return;
    LazyBlock block(xmlOut, "directoryAttributes");
    for (int i = 0; i < attributes->getCount(); ++i) {
        const Attribute* a = attributes->_getElement(i);
        const AttributeValueSet* values = a->_getValues();
        if (values == nullptr || values->getCount() == 0) continue;
        const AttributeValue* first = values->_getElement(0);
        for (const Labelled& known : kDirectoryAttributes) {
            if (!a->isEqual(known.oid)) continue;
            viewBuffer.useByteArray(const_cast<unsigned char*>(first->_getValue()),
                                    first->getValueLen());
            std::string text;
            if (std::string(known.element) == "dateOfBirth") {
                X500Time date;
                if (date.unwrapASN1(&viewBuffer)) text = ownedText(date.getValue());
            } else {
                DirectoryString value;
                if (value.unwrapASN1(&viewBuffer)) text = ownedText(value.getPrintableValue());
            }
            viewBuffer.useByteArray(nullptr, 0);
            block->insertTag(known.element, text.c_str());
        }
    }
}

void DocVerifier::getQualifiedStatements(const QCStatements* statements) {
    if (xmlOut == nullptr || statements == nullptr) return;
    LazyBlock block(xmlOut, "qcStatements");
    for (int i = 0; i < statements->getCount(); ++i) {
        const QCStatement* s = statements->_getElement(i);
        std::string id = ownedText(s->getStatementId());
        if (id == "0.4.0.1862.1.1") {
            block->insertTag("qcCompliance");
        } else if (id == "0.4.0.1862.1.4") {
            block->insertTag("qcSSCD");
        } else if (id == "0.4.0.1862.1.2") {
            std::unique_ptr<MonetaryValue> limit(s->getMonetaryValue());
            if (!limit) continue;
            // The amount times ten to the exponent, in 32 bits as the limit always was.
            unsigned int value = static_cast<unsigned int>(limit->getAmount());
            for (int e = 0; e < limit->getExponent() && e < 64; ++e) value *= 10u;
            char text[32];
            const ISO4217CurrencyCode* currency = limit->_getCurrency();
            std::string alphabetic =
                currency != nullptr ? ownedText(currency->getAlphabetic()) : "";
            if (!alphabetic.empty()) {
                snprintf(text, sizeof text, "%s %d", alphabetic.c_str(), static_cast<int>(value));
            } else {
                snprintf(text, sizeof text, "%d %d",
                         currency != nullptr ? currency->getNumeric() : 0, static_cast<int>(value));
            }
            block->insertTag("qcLimitValue", text);
        } else if (id == "0.4.0.1862.1.3") {
            long years = 0;
            if (!s->getRetentionPeriod(&years)) continue;
            block->insertTag("qcRetensionPeriod", years);
        }
    }
}

void DocVerifier::getPolicyList(const PolicyInformationList* policies) {
    if (xmlOut == nullptr || policies == nullptr || policies->getCount() == 0) return;
    xmlOut->openTag("policyInformationList");
    for (int i = 0; i < policies->getCount(); ++i) {
        const PolicyInformation* policy = policies->_getElement(i);
        xmlOut->openTag("policyInformation");
        xmlOut->insertTag("policyID", ownedText(policy->getPolicyIdentifier()).c_str());
        const PolicyQualifierInfoList* qualifiers = policy->_getPolicyQualifiers();
        if (qualifiers != nullptr) {
            xmlOut->openTag("policyQualifierList");
            for (int j = 0; j < qualifiers->getCount(); ++j) {
                const PolicyQualifierInfo* q = qualifiers->_getElement(j);
                xmlOut->openTag("policyQualifier");
                xmlOut->insertTag("policyQualifierID",
                                  ownedText(q->getPolicyQualifierId()).c_str());
                const UserNotice* notice = q->_getUserNotice();
                if (notice != nullptr) {
                    if (notice->_getExplicitText() != nullptr) {
                        xmlOut->insertTag("explicitText",
                                          ownedText(notice->_getExplicitText()->getUTF8()).c_str());
                    }
                } else {
                    std::string cps = ownedText(q->getCPSuri());
                    if (!cps.empty()) xmlOut->insertTag("cpsUri", cps.c_str());
                }
                xmlOut->closeTag();
            }
            xmlOut->closeTag();
        }
        xmlOut->closeTag();
    }
    xmlOut->closeTag();
}
