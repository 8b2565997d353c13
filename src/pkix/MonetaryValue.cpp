#include "pkix/MonetaryValue.h"

#include "asn1/Buffer.h"
#include "pkix/ReadSteps.h"

// ---- ISO4217CurrencyCode ----

ISO4217CurrencyCode::ISO4217CurrencyCode() : alphabetic(nullptr), numeric(0) {}

ISO4217CurrencyCode::ISO4217CurrencyCode(const char* code) : ISO4217CurrencyCode() {
    setAlphabetic(code);
}

ISO4217CurrencyCode::ISO4217CurrencyCode(int code) : ISO4217CurrencyCode() {
    setNumeric(code);
}

ISO4217CurrencyCode::~ISO4217CurrencyCode() {
    delete[] alphabetic;
}

ISO4217CurrencyCode* ISO4217CurrencyCode::clone() const {
    ISO4217CurrencyCode* copy = new ISO4217CurrencyCode();
    copy->alphabetic = pkix::copyText(alphabetic);
    copy->numeric = numeric;
    return copy;
}

char* ISO4217CurrencyCode::getAlphabetic() const {
    return pkix::copyText(alphabetic);
}

void ISO4217CurrencyCode::setAlphabetic(const char* code) {
    delete[] alphabetic;
    alphabetic = pkix::copyText(code);
    numeric = 0;
}

void ISO4217CurrencyCode::setNumeric(int code) {
    delete[] alphabetic;
    alphabetic = nullptr;
    numeric = code;
}

unsigned int ISO4217CurrencyCode::getWrapLength(Buffer* b) {
    return alphabetic != nullptr ? b->lenASN1(alphabetic, static_cast<unsigned char>(19))
                                 : b->lenASN1(numeric);
}

void ISO4217CurrencyCode::wrapASN1(Buffer* b) {
    if (alphabetic != nullptr) {
        b->writeASN1(alphabetic, static_cast<unsigned char>(19));
    } else {
        b->writeASN1(numeric);
    }
}

unsigned char ISO4217CurrencyCode::unwrapASN1(Buffer* b) {
    delete[] alphabetic;
    alphabetic = nullptr;
    numeric = 0;
    unsigned char tag = pkix::peekTag(b);
    if (tag == 19) return pkix::readText(b, 19, &alphabetic) && alphabetic != nullptr ? 1 : 0;
    if (tag == 2) return b->readASN1(&numeric) ? 1 : 0;
    return 0;
}

// ---- MonetaryValue ----

MonetaryValue::MonetaryValue() : currency(nullptr), amount(0), exponent(0) {}

MonetaryValue::MonetaryValue(const ISO4217CurrencyCode* code, int a, int e)
    : currency(nullptr), amount(a), exponent(e) {
    setCurrency(code);
}

MonetaryValue::~MonetaryValue() {
    delete currency;
}

MonetaryValue* MonetaryValue::clone() const {
    return new MonetaryValue(currency, amount, exponent);
}

ISO4217CurrencyCode* MonetaryValue::getCurrency() const {
    return currency != nullptr ? currency->clone() : nullptr;
}

void MonetaryValue::setCurrency(const ISO4217CurrencyCode* code) {
    delete currency;
    currency = code != nullptr ? code->clone() : nullptr;
}

unsigned int MonetaryValue::contentLength(Buffer* b) {
    return (currency != nullptr ? currency->getWrapLength(b) : 0) + b->lenASN1(amount) +
           b->lenASN1(exponent);
}

unsigned int MonetaryValue::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void MonetaryValue::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (currency != nullptr) currency->wrapASN1(b);
    b->writeASN1(amount);
    b->writeASN1(exponent);
}

unsigned char MonetaryValue::unwrapASN1(Buffer* b) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    delete currency;
    currency = new ISO4217CurrencyCode();
    if (!currency->unwrapASN1(b)) return 0;
    if (!b->readASN1(&amount)) return 0;
    return b->readASN1(&exponent) ? 255 : 0;
}
