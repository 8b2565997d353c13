// Extension ::= SEQUENCE {
//     extnID     OBJECT IDENTIFIER,
//     critical   BOOLEAN DEFAULT FALSE,
//     extnValue  OCTET STRING }
//
// Extensions ::= SEQUENCE SIZE (1..MAX) OF Extension
//
// The value is kept as raw bytes: a caller that needs an extension finds it by OID, puts the
// bytes in a Buffer and runs the reader of its syntax. The flag `critical` is all ones or 0.
// A BOOLEAN that came on the wire is written back as it came, even an explicit FALSE, so that a
// certificate re-encodes to the bytes that were signed; the setters choose the DER form.
#ifndef SIGILO_PKIX_EXTENSION_H
#define SIGILO_PKIX_EXTENSION_H

#include "asn1/AsnList.h"

class Buffer;
class OID;

class Extension {
public:
    // Size of the block getExtnName returns for a known name.
    static constexpr unsigned int kNameSize = 30;

    Extension();
    Extension(const char* dotted, unsigned char critical, const unsigned char* value,
              unsigned int length);
    ~Extension();

    Extension(const Extension&) = delete;
    Extension& operator=(const Extension&) = delete;

    Extension* clone() const;

    void setExtnId(const OID* oid);
    void setExtnId(const char* dotted);
    // New dotted text, or null.
    char* getExtnId() const;
    const OID* _getExtnId() const { return extnId; }

    unsigned char isEqual(const char* dotted) const;
    unsigned char isEqual(const OID* oid) const;
    unsigned char isEqual(const Extension* other) const;

    void setExtnValue(const unsigned char* value, unsigned int length);
    // A copy the caller deletes, or null.
    unsigned char* getExtnValue() const;
    const unsigned char* _getExtnValue() const { return extnValue; }
    unsigned int getVlen() const { return vlen; }

    void setCritical();
    void setNotCritical();
    unsigned char getCritical() const { return critical; }

    // The extension's common name ("keyUsage", "cRLDistributionPoints", ...) for the OIDs of
    // the PKIX, X.509 and Netscape arcs, else the dotted OID; a new string of at least
    // kNameSize bytes.
    char* getExtnName() const;

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    OID* extnId;
    unsigned char critical;
    // The BOOLEAN as it was read, or -1 when there was none.
    int criticalOnWire;
    unsigned char* extnValue;
    unsigned int vlen;
};

class ExtensionList : public AsnList<Extension, ExtensionList, kSequenceTag> {
public:
    void addExtension(const Extension* e) { addElementCopy(e); }
    Extension* getExtension(int i) const { return getElement(i); }
    // Removes and frees the element; 0 for an index out of range.
    unsigned char delExtension(int i);
    // Replaces the element by a copy of e; 0 for an index out of range.
    unsigned char substituteExtension(int i, const Extension* e);
    unsigned char isEqual(int i, const char* dotted) const;
    unsigned char isEqual(int i, const OID* oid) const;
    unsigned char isEqual(int i, const Extension* e) const;
    // New dotted text of the element's OID, or null.
    char* getExtensionID(int i) const;
    // The index of the first extension with that OID, walking the list; -1 when none.
    int findExtension(const char* dotted) const;
};

#endif
