// Name ::= CHOICE { rdnSequence RDNSequence }
//
// The distinguished name of certificates, CRLs and signer identifiers. Two facts shape its use:
// equality is order-sensitive and type-sensitive (a PrintableString never equals a UTF8String
// of the same text), and it becomes equality of content only after toUTF8 has normalised both
// sides, which is what the verification engine does before it compares.
//
// The label operations take the label table as three arguments, oids, labels and count (see
// NameLabels.h). The text forms are built to their full length: a long name is never cut, so
// that two different names never print alike.
#ifndef SIGILO_PKIX_NAME_H
#define SIGILO_PKIX_NAME_H

#include "pkix/RelativeDistinguishedName.h"

class Buffer;
class XMLFile;

class Name {
public:
    Name();
    // Parses the text as setValue does; the name stays empty when nothing results.
    Name(const char* text, unsigned char type, const char* const* oids, const char* const* labels,
         int count);
    ~Name();

    Name(const Name&) = delete;
    Name& operator=(const Name&) = delete;

    Name* clone() const;

    // Text of the form "CN=Mario Rossi,O=Foo,C=IT" into a name of one attribute per RDN, in
    // the text's order. The parts are split at "," (there is no escape for a comma in a value)
    // and their leading blanks, tabs and line feeds skipped; the label before "=" is looked up
    // in labels without regard to case, and a part with an unknown label is dropped. Each value
    // gets the requested type, except that country, serial number and qualifier are forced to
    // PrintableString, and domain component and e-mail to IA5String. A part without "=", or a
    // type that cannot hold text, makes the whole call fail with 0 and leaves the name as it
    // was; so does a text from which no attribute results. Otherwise all ones.
    unsigned char setValue(const char* text, unsigned char type, const char* const* oids,
                           const char* const* labels, int count);

    void setRDNSequence(const RelativeDistinguishedNameList* list);
    RelativeDistinguishedNameList* getRDNSequence() const;
    RelativeDistinguishedNameList* _getRDNSequence() const { return rdns; }

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

    // Same RDNs in the same order, each equal attribute by attribute. Two empty names are equal.
    unsigned char isEqual(const Name* other) const;
    // As isEqual, with '%' in this name's text values standing for any one character.
    unsigned char isEqualWithWildcard(const Name* other) const;

    // A clone of the first attribute of that type in RDN order, or null.
    AttributeTypeAndValue* getAttributeValue(const char* oid) const;
    // New text of the first attribute of that type, or null.
    char* getPrintableValue(const char* oid) const;
    char* getUTF8Value(const char* oid) const;

    // A new name with the RDNs in reverse order.
    Name* reverse() const;
    // Normalises every attribute in place (AttributeTypeAndValue::toUTF8).
    void toUTF8();

    // The text with each attribute label upper-cased by the locale's toupper and the values
    // left alone: "cn=Mario,o=Foo" gives "CN=Mario,O=Foo". A new string; empty parts are
    // dropped, as splitting with strtok_r does.
    static char* toCanonicalForm(const char* text);

    // ---- Text forms, each a new string, in RDN order and attribute order. A value with no
    // form in the locale (getPrintable gives nothing) is printed in its "#" hexadecimal form.
    // "    %s: %s\n" with the dotted OID and the value.
    char* getPrintableString() const;
    // "\t%s: %s\n" with the label, or the dotted OID when the table has none.
    char* getPrintableString(const char* const* oids, const char* const* labels, int count) const;
    // "label=value" joined by ","; "??=value" for an OID the table lacks.
    char* getPrintableShortString(const char* const* oids, const char* const* labels,
                                  int count) const;
    // The same three with UTF-8 values.
    char* getUTF8String() const;
    char* getUTF8String(const char* const* oids, const char* const* labels, int count) const;
    char* getShortUTF8String(const char* const* oids, const char* const* labels, int count) const;
    // "<label>\n\tvalue\n</label>\n" for each attribute, or
    // "<oid value = \"dotted\">\n\tvalue\n</oid>\n"; UTF-8 values with &, < and > escaped.
    char* getXMLRepresentation(const char* const* oids, const char* const* labels, int count) const;
    // One element for each attribute under the current node of the report: the label holding
    // the UTF-8 value, or "oid" with the attribute "value" holding the dotted OID.
    unsigned char getXMLRepresentation(const char* const* oids, const char* const* labels,
                                       int count, XMLFile* xml) const;

private:
    RelativeDistinguishedNameList* rdns;
};

#endif
