// MonetaryValue ::= SEQUENCE {
//     currency  Iso4217CurrencyCode,
//     amount    INTEGER,
//     exponent  INTEGER }                 -- value = amount * 10^exponent
//
// Iso4217CurrencyCode ::= CHOICE {
//     alphabetic  PrintableString (SIZE (3)),   -- e.g. "EUR"
//     numeric     INTEGER (1..999) }            -- e.g. 978
//
// The limit value of a qualified certificate (ETSI EN 319 412-5). Amount and exponent are 32
// bits, as the report computes the limit in 32 bits.
#ifndef SIGILO_PKIX_MONETARYVALUE_H
#define SIGILO_PKIX_MONETARYVALUE_H

class Buffer;

class ISO4217CurrencyCode {
public:
    ISO4217CurrencyCode();
    explicit ISO4217CurrencyCode(const char* alphabetic);
    explicit ISO4217CurrencyCode(int numeric);
    ~ISO4217CurrencyCode();

    ISO4217CurrencyCode(const ISO4217CurrencyCode&) = delete;
    ISO4217CurrencyCode& operator=(const ISO4217CurrencyCode&) = delete;

    ISO4217CurrencyCode* clone() const;

    bool isAlphabetic() const { return alphabetic != nullptr; }
    // A new copy of the letters, or null for a numeric code.
    char* getAlphabetic() const;
    int getNumeric() const { return numeric; }
    void setAlphabetic(const char* code);
    void setNumeric(int code);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    // A PrintableString or an INTEGER; anything else fails.
    unsigned char unwrapASN1(Buffer* b);

private:
    char* alphabetic;
    int numeric;
};

class MonetaryValue {
public:
    MonetaryValue();
    MonetaryValue(const ISO4217CurrencyCode* currency, int amount, int exponent);
    ~MonetaryValue();

    MonetaryValue(const MonetaryValue&) = delete;
    MonetaryValue& operator=(const MonetaryValue&) = delete;

    MonetaryValue* clone() const;

    ISO4217CurrencyCode* getCurrency() const;
    const ISO4217CurrencyCode* _getCurrency() const { return currency; }
    void setCurrency(const ISO4217CurrencyCode* code);
    int getAmount() const { return amount; }
    int getExponent() const { return exponent; }
    void setAmount(int v) { amount = v; }
    void setExponent(int v) { exponent = v; }

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    ISO4217CurrencyCode* currency;
    int amount;
    int exponent;
};

#endif
