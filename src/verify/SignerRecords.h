// The tables an envelope is unpacked into before any signer is looked at: one record for each
// certificate the envelope carries (infoEntry, with the extensions the checks read already
// decoded), and one digest of the content for each algorithm the envelope declares
// (digestTableEntry).
//
// Both tables are fixed arrays ended by an entry with a null key (serial, algorithmOid). They
// hold one entry more than their capacity, always left empty, so that the end mark exists even
// when an envelope fills them; what does not fit is left out (the lookup of a signer whose
// certificate did not fit then fails as for a missing certificate).
#ifndef SIGILO_VERIFY_SIGNERRECORDS_H
#define SIGILO_VERIFY_SIGNERRECORDS_H

class AlgorithmIdentifier;
class AlgorithmIdentifierSet;
class AttributeList;
class AuthorityInfoAccessSyntax;
class AuthorityKeyIdentifier;
class Buffer;
class Certificate;
class CryptoDevice;
class DigestInfo;
class DistributionPointList;
class GeneralNameList;
class Name;
class OIDList;
class PolicyInformationList;
class QCStatements;
class Validity;

// One certificate of the envelope. Every pointer is owned by the record.
struct infoEntry {
    char* serial;                 // hexadecimal, by the shared serial rule
    Name* issuer;                 // normalised to UTF-8
    Name* subject;                // normalised to UTF-8
    unsigned char* keyUsage;      // 2.5.29.15: the first byte of the bit string
    unsigned char* subjectKeyId;  // 2.5.29.14
    unsigned int subjectKeyIdLen;
    Validity* validity;
    GeneralNameList* issuerAltName;                  // 2.5.29.18
    AuthorityKeyIdentifier* authorityKeyId;          // 2.5.29.35
    DistributionPointList* distributionPoints;       // 2.5.29.31
    AuthorityInfoAccessSyntax* authorityInfoAccess;  // 1.3.6.1.5.5.7.1.1
    PolicyInformationList* policies;                 // 2.5.29.32
    QCStatements* qcStatementsExt;                   // 1.3.6.1.5.5.7.1.3
    AttributeList* directoryAttrs;                   // 2.5.29.9
    OIDList* extKeyUsage;                            // 2.5.29.37 (CMS table only)
    Certificate* certificate;
};

struct digestTableEntry {
    char* algorithmOid;  // dotted OID, owned
    DigestInfo* digest;  // owned; null when the device lacks the algorithm
};

namespace records {

constexpr int kMaxInfos = 200;
constexpr int kMaxDigests = 40;
constexpr const char* kSHA256 = "2.16.840.1.101.3.4.2.1";

// Frees a record's pointers and zeroes it.
void cleanInfo(infoEntry* entry);
// cleanInfo on each record up to the first empty one.
void cleanInfos(infoEntry* table);
// A deep copy of source into target, which is cleaned first; the certificate is copied too,
// so that the copy outlives a refill of the table it came from.
void cloneInfo(infoEntry* target, const infoEntry& source);
// The index of the first record with that serial text and issuer, or -1.
int searchInfo(const infoEntry* table, const char* serial, const Name* issuer);
// The index of the first record with that subject key identifier, or -1.
int searchInfo(const infoEntry* table, const unsigned char* keyId, unsigned int length);
// Fills a cleaned record from a certificate, reading each extension through view. With
// withExtKeyUsage 0 the extended key usage is not read (the PKCS#7 table never holds it).
// False when the certificate is not proper BER (it is recorded all the same).
bool fillInfo(infoEntry* entry, const Certificate* certificate, bool withExtKeyUsage, Buffer* view);

// A record copy freed on every way out of its scope.
struct InfoCopy {
    infoEntry entry{};
    ~InfoCopy() { cleanInfo(&entry); }
};

void cleanDigests(digestTableEntry* table);
// Digests data once for each algorithm of the set, in order, and once more with SHA-256 when
// the set lacks it; an algorithm the device lacks leaves a null digest.
void calculateDigests(digestTableEntry* table, CryptoDevice* device,
                      const AlgorithmIdentifierSet* algorithms, const unsigned char* data,
                      unsigned long length);
// The same over two pieces taken one after the other, as if they were one block: the signed
// ranges of a PDF, which leave out the signature between them.
void calculateDigests(digestTableEntry* table, CryptoDevice* device,
                      const AlgorithmIdentifierSet* algorithms, const unsigned char* first,
                      unsigned long firstLength, const unsigned char* second,
                      unsigned long secondLength);
// One digest of the two pieces with the device's current algorithm, or null.
DigestInfo* digestPieces(CryptoDevice* device, const unsigned char* first,
                         unsigned long firstLength, const unsigned char* second,
                         unsigned long secondLength);
// The index of the algorithm's entry; -1 when that entry has no digest; -2 when the algorithm
// is not in the table.
int getDataDigest(const digestTableEntry* table, const AlgorithmIdentifier* algorithm);

}  // namespace records

#endif
