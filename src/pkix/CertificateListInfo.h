// TBSCertList ::= SEQUENCE {
//     version              Version OPTIONAL,          -- if present, MUST be v2
//     signature            AlgorithmIdentifier,
//     issuer               Name,
//     thisUpdate           Time,
//     nextUpdate           Time OPTIONAL,             -- UTCTime (23) or GeneralizedTime (24)
//     revokedCertificates  SEQUENCE OF SEQUENCE {...} OPTIONAL,   -- 0x30
//     crlExtensions        [0] EXPLICIT Extensions OPTIONAL }      -- 0xA0
//
// The optional fields are recognised by peeking at the tag that follows, and every peek must
// succeed: the reader looks one element beyond the last field. Inside a CertificateList the
// signature algorithm always follows, and in the CRL cache file further fields follow the
// record, so the peek never fails there. version is -1 when absent.
//
// A SEQUENCE after the dates is the list of entries, unless an OID opens it: then it is the
// signature algorithm of a CRL that has neither entries nor extensions, and the signed part
// ends before it.
#ifndef SIGILO_PKIX_CERTIFICATELISTINFO_H
#define SIGILO_PKIX_CERTIFICATELISTINFO_H

class AlgorithmIdentifier;
class Buffer;
class ExtensionList;
class Name;
class RevokedCertificateList;
class X500Time;

class CertificateListInfo {
public:
    CertificateListInfo();
    ~CertificateListInfo();

    CertificateListInfo(const CertificateListInfo&) = delete;
    CertificateListInfo& operator=(const CertificateListInfo&) = delete;

    CertificateListInfo* clone() const;

    int getVersion() const { return version; }
    void setVersion(int v) { version = v; }

    // Getters return copies the caller deletes, or null for an absent field.
    AlgorithmIdentifier* getSignature() const;
    void setSignature(const AlgorithmIdentifier* algorithm);
    Name* getIssuer() const;
    const Name* _getIssuer() const { return issuer; }
    void setIssuer(const Name* name);
    X500Time* getThisUpdate() const;
    const X500Time* _getThisUpdate() const { return thisUpdate; }
    void setThisUpdate(const X500Time* t);
    X500Time* getNextUpdate() const;
    const X500Time* _getNextUpdate() const { return nextUpdate; }
    void setNextUpdate(const X500Time* t);
    RevokedCertificateList* getRevokedCertificates() const;
    const RevokedCertificateList* _getRevokedCertificates() const { return revokedCertificates; }
    void setRevokedCertificates(const RevokedCertificateList* list);
    ExtensionList* getCrlExtensions() const;
    const ExtensionList* _getCrlExtensions() const { return crlExtensions; }
    void setCrlExtensions(const ExtensionList* list);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);
    void clear();

    int version;
    AlgorithmIdentifier* signature;
    Name* issuer;
    X500Time* thisUpdate;
    X500Time* nextUpdate;
    RevokedCertificateList* revokedCertificates;
    ExtensionList* crlExtensions;
};

#endif
