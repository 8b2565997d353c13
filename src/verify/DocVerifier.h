// DocVerifier: the verification engine. It classifies an input, loads it, walks its envelopes
// and writes the verdicts into the report that the front end hands it.
//
// It holds its own copy of every switch, with the same defaults as the front end's globals: the
// globals only state the switches in the report root, the copies here are what the checks read.
// It keeps the last result code in errCode (NoError when the last thing judged was clean), and
// owns its buffers, its logger and its times. The report tree is the caller's.
#ifndef SIGILO_VERIFY_DOCVERIFIER_H
#define SIGILO_VERIFY_DOCVERIFIER_H

#include <memory>
#include <string>

#include "asn1/Buffer.h"
#include "verify/InputType.h"
#include "verify/SignerRecords.h"

class AlgorithmIdentifier;
class Attribute;
class AttributeList;
class AttributeSet;
class CertVerifier;
class CMSSignedData;
class Content;
class ContentInfo;
class DigestInfo;
class ESSCertID;
class ESSCertIDV2;
class IssuerAndSerialNumber;
class MessageImprint;
class Name;
class PKCS7SignerInfo;
class PolicyInformationList;
class QCStatements;
class SignerInfo;
class Certificate;
class CryptoDevice;
class Logger;
class OID;
class PDFFile;
class PKCS7SignedData;
class Signature;
class SignedData;
class SecureBuffer;
class ServerInterface;
class TrustStore;
class X500Time;
class XMLFile;
struct _xmlNode;

class DocVerifier {
public:
    static constexpr unsigned int kWorkBufferSize = 16384;
    static constexpr unsigned int kDocumentBufferSize = 4096;
    // Bytes of a file that classification looks at, and of a buffer.
    static constexpr unsigned int kFileHeadSize = 128;
    static constexpr unsigned int kBufferHeadSize = 16;
    // Longest name an inner envelope is written to.
    static constexpr unsigned int kMaxPathSize = 4096;

    // Neither object is owned; both must outlive the verifier.
    DocVerifier(CryptoDevice* device, TrustStore* cache);
    ~DocVerifier();

    DocVerifier(const DocVerifier&) = delete;
    DocVerifier& operator=(const DocVerifier&) = delete;

    // Process-wide set-up, once before the first verifier is used.
    static void init();

    // ---- Switches ----
    void setCheckCRLPKCS7(unsigned char on) { checkCRLPKCS7 = on; }
    void setCheckCRLTS(unsigned char on) { checkCRLTS = on; }
    void setCheckCACRL(unsigned char on) { checkCACRL = on; }
    void setUseOCSP(unsigned char on) { useOCSP = on; }
    void forceBase64(unsigned char on) { base64Output = on; }
    void setCheckCertificateValidity(unsigned char on) { checkCertificateValidity = on; }
    void setCheckSigningCertificateAttr(unsigned char on) { checkSigningCertificateAttr = on; }
    void setCheckAugust2010Constraint(unsigned char on) { checkAugust2010 = on; }
    void setErrorOnExpiredCRL(unsigned char on) { errorOnExpiredCRL = on; }
    // 0 off, 1 weak, 2 strong.
    void setCheckJuly2011Constraint(unsigned char mode) { july2011Mode = mode; }
    // 0 off, 1 flattened, 2 nested.
    void setCheckEncapSigs(unsigned char mode) { checkEncapSigs = mode; }

    unsigned char getCheckCRLPKCS7() const { return checkCRLPKCS7; }
    unsigned char getCheckCRLTS() const { return checkCRLTS; }
    unsigned char getCheckCACRL() const { return checkCACRL; }
    unsigned char getUseOCSP() const { return useOCSP; }
    unsigned char getForceBase64() const { return base64Output; }
    unsigned char getCheckCertificateValidity() const { return checkCertificateValidity; }
    unsigned char getCheckSigningCertificateAttr() const { return checkSigningCertificateAttr; }
    unsigned char getCheckAugust2010Constraint() const { return checkAugust2010; }
    unsigned char getErrorOnExpiredCRL() const { return errorOnExpiredCRL; }
    unsigned char getCheckJuly2011Constraint() const { return july2011Mode; }
    unsigned char getCheckEncapSigs() const { return checkEncapSigs; }

    // ---- Server mode ----
    // A name switches to server mode, null back to stand-alone.
    void setServerName(const char* name);
    // 0 keeps the server's own port.
    void setServerPort(unsigned short port);
    unsigned char isServerMode() const { return serverMode; }
    const char* getServerName() const { return serverName.c_str(); }
    unsigned short getServerPort() const { return serverPort; }
    // Whether the verification server answers; the report's root gets the server's release and
    // CRL mode. Once per report.
    unsigned char checkServerStatus();
    // The certificate (DER in base64) judged by the server, with the report and the switches of
    // this engine, checkCRL as given; timeStamp 255 for a time-stamp authority's certificate.
    unsigned char askServer(const char* certificate, unsigned char checkCRL,
                            unsigned char timeStamp);

    // ---- Time, log, report, result ----
    // Discards the earlier time; keeps a copy of the new one only if it lies before now.
    // Otherwise logs 5226 and returns 0. Null clears the time and returns 255.
    unsigned char setVerificationTime(X500Time* time);
    // A copy the caller deletes, or null.
    X500Time* getVerificationTime() const;
    void enableLog(unsigned char level);
    void disableLog();
    void setXMLOutput(XMLFile* report) { xmlOut = report; }
    XMLFile* getXMLOutput() const { return xmlOut; }
    unsigned long getErrCode() const { return errCode; }

    // ---- Classification and loading ----
    // Classifies a file by its first 128 bytes (and the whole file for PEM text).
    InputType guessInputType(const char* path);
    // Classifies bytes from the read position, which is left where it was.
    InputType guessInputType(Buffer* buffer);
    // The file into documentBuffer: DER as it is, anything else decoded from PEM.
    unsigned char loadDoc(const char* path);
    // The file into detachedBuffer as it is; true when it does not begin with "0", that is
    // when it is not DER. An unreadable file leaves the buffer empty and gives 0.
    unsigned char loadDetached(const char* path);

    // ---- File drivers. Each adds its element for the file to the report. ----
    unsigned char verifyPKCS7File(const char* input, const char* detached, const char* content);
    unsigned char verifyCMSFile(const char* input, const char* detached, const char* content);
    unsigned char verifyMIMEFile(const char* input, const char* extractStem, const char* content);
    unsigned char verifyTSRFile(const char* input, const char* detached);
    unsigned char verifyTSTFile(const char* input, const char* detached);
    unsigned char verifyTSDFile(const char* input, const char* detached, const char* extractStem,
                                const char* content);
    // A PDF: every signature it holds, oldest first. With output named, the revision the last
    // signature verified closes is written to "<output>-EXTRACTED.pdf". The result is 0 only
    // when the file could not be read as a PDF; the verdicts are in the report.
    unsigned char verifyPDFFile(const char* input, const char* output);
    unsigned char verifyPDFFile(const char* input);
    // A PDF held in memory (the content of a time-stamped file): no element of its own and no
    // file written.
    unsigned char verifyPDFFile(Buffer* buffer);
    unsigned char verifyXMLFile(const char* input);
    // An XML document carried inside an envelope whose element the caller has open. It has
    // no folder of its own, so its references may not name files.
    unsigned char verifyXMLFile(Buffer* document);
    // A PKCS#7 envelope with its time stamp in a separate file.
    unsigned char verifyDetachedTimeStamp(const char* input, const char* tsr, const char* content);
    // The envelope in detachedBuffer, the time stamp in documentBuffer; the element of the
    // envelope is open and is closed here.
    unsigned char verifyDetachedTimeStamp(const char* content, unsigned char pem);

    // ---- Extracted files ----
    // The content of an envelope. The file is not truncated: a longer file of that name keeps
    // its tail.
    unsigned char savePlainData(const char* name, const unsigned char* data, unsigned int length);
    // An inner envelope, to "<name>.sig<index>".
    unsigned char saveSignedData(const char* name, int index, const unsigned char* data,
                                 unsigned int length);

    // ---- Records of the envelope at hand ----
    // The content digested once for each algorithm the envelope declares, and with SHA-256.
    // False, with 5193 recorded, when there is no content.
    unsigned char calculateDigests(SignedData* signedData, const unsigned char* data,
                                   unsigned int length);
    // The index of the algorithm's digest; -1 when the device lacks it, -2 when the envelope
    // did not declare it.
    int getDataDigest(const AlgorithmIdentifier* algorithm) const;
    // The certificates of the envelope into pkcs7Infos or cmsInfos, in their order; a
    // certificate that is not proper BER is logged (5222) and kept.
    void getCertificates(PKCS7SignedData* signedData);
    void getCertificates(CMSSignedData* signedData);
    // Fills the record at index of pkcs7Infos; false when the index lies outside the table.
    unsigned char addCertRecord(const Certificate* certificate, int index);
    const infoEntry* _getPKCS7Infos() const { return pkcs7Infos; }
    const infoEntry* _getCMSInfos() const { return cmsInfos; }
    const digestTableEntry* _getDigestTable() const { return digestTable; }

    // ---- The engine ----
    // The envelope in documentBuffer (and a detached document in detachedBuffer), verified
    // layer by layer; content, when set, names the file the innermost data is written to.
    unsigned char verifyPKCS7File(const char* content);
    unsigned char verifyCMSFile(const char* content);
    // Every signer of one SignedData; true when every signer's signature held.
    unsigned char verifyPKCS7(PKCS7SignedData* signedData);
    unsigned char verifyCMS(CMSSignedData* signedData);
    // The rules tied to dates: 0 when the rule holds, else 5223/5224 or 5228.
    unsigned long checkJuly2011(const X500Time* notBefore) const;
    unsigned long checkConformance2011(const X500Time* notBefore) const;
    // The times that a signature time stamp and a time stamp of the whole envelope leave for
    // the dated rules, set directly (copies; null clears). For tests of the rules.
    void _setTimeStampTimes(const X500Time* lastTimeStamp, const X500Time* envelopeTimeStamp);
    // The certificate description blocks of a signer.
    void getDirectoryAttributes(const AttributeList* attributes);
    void getPolicyList(const PolicyInformationList* policies);
    void getQualifiedStatements(const QCStatements* statements);
    // The certificate of a record checked by the certificate verifier; false (with
    // errorMessage and status KO in the report) when it is refused.
    // In server mode the server judges it instead (a time-stamp authority's certificate when
    // extKeyUsageOid is given). Either way the outcome is read back with the three below.
    unsigned char checkCert(const infoEntry& info, unsigned char checkCRL, unsigned char usageBits,
                            const char* extKeyUsageOid);
    // The code of the last certificate check (NoError for a clean certificate), and copies of its
    // revocation date and expired-certificates date (null when none), from the verifier or the
    // server.
    unsigned long getCertCode() const;
    X500Time* getCertRevocationDate() const;
    X500Time* getCertExpiredCertsOnCRL() const;

    // ---- PDF signatures (DocVerifierPDF*.cpp) ----
    // The signatures of the file read last, oldest first, each by the route of its /SubFilter.
    // False, with 5208 recorded, when it holds none.
    unsigned char verifyPDFSignatures();
    // adbe.x509.rsa_sha1: a bare RSA signature by the certificate of /Cert.
    unsigned char verifyPDFSigner(Certificate* certificate);
    // adbe.pkcs7.detached and adbe.pkcs7.sha1: a PKCS#7 SignedData over the signed ranges.
    unsigned char verifyPDFSigner(ContentInfo* contentInfo);
    // ETSI.CAdES.detached: version 1 as PKCS#7, later versions as CMS.
    unsigned char verifyPADESSigner(ContentInfo* contentInfo);
    // The digest table over the signed ranges of the current signature. For adbe.pkcs7.sha1 the
    // SHA-1 of the ranges is the document the signer signed, and *cadesFlag is cleared.
    unsigned char calculatePDFDigests(SignedData* signedData, unsigned char* cadesFlag);
    unsigned char calculatePDFDigests(SignedData* signedData);
    // A bare PKCS#1 signature: over the DigestInfo, then over the digest alone. False with 5200
    // recorded when neither holds.
    unsigned char checkPDFSignature(DigestInfo* digest, Signature* signature,
                                    Certificate* certificate);
    // The revision the current signature closes, to "<name>-EXTRACTED.pdf".
    unsigned char savePDFData(const char* name);
    // Reads a PDF into the reader without verifying it (the operations above then work on it);
    // false when it is not a PDF the reader can walk.
    unsigned char loadPDF(const char* name);
    // The reader of the file at hand, or null.
    PDFFile* _getPDFFile() const { return pdfFile.get(); }

    // ---- Time stamps ----
    // One time-stamp token, content being the SignedData of the token. With a signer, the token
    // must imprint that signer's signature value; otherwise, a non-empty detachedBuffer is what
    // it must imprint. With text, the text's bytes must match the imprint too. checkAge is 255
    // for a token that stands by itself (the conservation age rules apply) and 0 for one that
    // supports something else. True when the token and its certificate hold at its own time;
    // its genTime is left in lastTimeStampTime as soon as it has been read.
    unsigned char verifyCMS(Content* content, PKCS7SignerInfo* signer, const char* text,
                            unsigned char checkAge);
    unsigned char verifyCMS(Content* content, SignerInfo* signer, const char* text,
                            unsigned char checkAge);
    unsigned char verifyCMS(Content* content, PKCS7SignerInfo* signer, unsigned char checkAge);
    unsigned char verifyCMS(Content* content, unsigned char checkAge);
    // A TimeStampResp, or a ContentInfo holding a token, in documentBuffer; the document it
    // stamps, if any, in detachedBuffer.
    unsigned char verifyTSRFile(unsigned char checkAge);
    unsigned char verifyTSTFile(unsigned char checkAge);
    // The content of a TSD in documentBuffer: a PDF, a signed envelope, or plain data, saved to
    // content when named. *isSigned tells whether it held signatures, *saved whether the
    // content file was written.
    unsigned char verifyTSDContent(const char* extractStem, const char* content,
                                   unsigned char* isSigned, unsigned char* saved);
    // The genTime of the last token read, a copy the caller deletes, or null.
    X500Time* getLastTimeStampTime() const;

    // ---- XML signatures (DocVerifierXML*.cpp) ----
    // Every Signature element of the loaded document, each with its verdict in the report; the
    // document is freed. False only when there is no signature at all.
    unsigned char verifyXMLSignatures();
    // The SigningCertificate property at the current node of the document: the first Cert whose
    // serial and issuer name the signer must carry the digest of the signer's DER. A SHA-1
    // digest clears *compliant.
    unsigned char checkXMLSigningCertificate(const Name* issuer, const char* serial,
                                             const Certificate* signer, unsigned char* compliant);
    // The SignatureValue text against the digest of SignedInfo, under the signer's key, with the
    // algorithm already chosen on the device. Reports its failure (5200).
    unsigned char checkXMLSignature(const DigestInfo* digest, const char* base64Signature,
                                    const Certificate* signer);

    // A fresh work buffer after each file, so that one large input does not stay allocated.
    void resetBuffer();

    SecureBuffer* _getDocumentBuffer() const { return documentBuffer.get(); }
    SecureBuffer* _getDetachedBuffer() const { return detachedBuffer.get(); }
    SecureBuffer* _getWorkBuffer() const { return workBuffer.get(); }

    // The parts of one signer that the checks read, from either family (SignerParts.h).
    struct SignerParts;

private:
    // The signature value of the signer a counter-signature signs.
    struct ParentSignature {
        const unsigned char* value;
        unsigned int length;
    };
    // Midnight of 4 December 2009 in Italy: CRLs before it did not keep the certificates that
    // expired, so an expiry before it cannot be told from a revocation.
    static constexpr long kCRLAmnestyDate = 1259881200;
    // Deepest nesting of counter-signatures followed.
    static constexpr int kMaxCounterDepth = 16;

    // One Signature element, the current node of the document, as a signer or (with the Id of
    // the SignatureValue it must cover) as a counter-signer.
    unsigned char verifyXMLSigner(unsigned char counter, const std::string& parentValueId,
                                  int depth);
    // The Signature elements of the CounterSignature properties below properties; true when
    // every one held.
    unsigned char verifyXMLCounterSignatures(_xmlNode* unsignedProperties,
                                             const std::string& valueId, int depth);
    // The tokens of the SignatureTimeStamp properties below unsignedProperties, each over
    // the canonical SignatureValue element. True when every one held; only a token that held
    // leaves its time in lastTimeStampTime.
    unsigned char verifyXMLSignatureTimeStamps(_xmlNode* unsignedProperties,
                                               _xmlNode* signatureValue,
                                               const std::string& c14nMethod);
    unsigned char verifyCMSFileOrPKCS7(const char* content, bool cms);
    // The signers of a SignedData whose digest table is already filled; the tables are cleaned
    // after them.
    unsigned char verifyPKCS7Signers(PKCS7SignedData* signedData, unsigned char cadesFlag);
    unsigned char verifyCMSSigners(CMSSignedData* signedData);
    // The status of a signer whose signature held, against the reference time: the time of its
    // time stamp, else the verification time, else now (these two are written as
    // verificationTime). Records certCode as the result.
    void signerVerdict(const X500Time* notBefore, const X500Time* notAfter, unsigned long certCode,
                       const X500Time* revocationDate, const X500Time* expiredCertsOnCRL);
    // The PDF of pdfFile verified under the element already open.
    unsigned char verifyPDFRead(const char* output);
    // One signature of pdfFile, the current one, by the route of its /SubFilter; *known is
    // cleared for a /SubFilter that has no route.
    unsigned char verifyPDFSignature(unsigned char* known);
    // Signature fields of the file, in force, whose value names no signature that was read.
    int unreadSignatureFields() const;
    unsigned char walkEnvelopes(ContentInfo* outer, const char* content, bool cms);
    // The record of the signer's certificate in table, or -1, in which case the report gets the
    // serial and issuer the signer names.
    int findSignerRecord(const SignerParts& signer, const infoEntry* table);
    // With signed attributes, the digest of what was signed is that of their DER, once the
    // message digest they carry matches the content's digest in *digest, which it replaces: 1
    // when done (or when there are none), 0 on a mismatch or a missing message digest, -1 when
    // the device cannot digest.
    int digestSignedAttributes(const SignerParts& signer, const unsigned char* attrDigest,
                               unsigned int attrDigestLength, std::unique_ptr<DigestInfo>* digest);
    // One token; signer, when not null, is the signer whose signature value it stamps, and
    // imprinted the buffer whose bytes it stamps otherwise.
    unsigned char verifyToken(Content* content, const SignerParts* signer, const char* text,
                              unsigned char checkAge, SecureBuffer* imprinted);
    // Steps of a token, in TimeStampVerdict.cpp and TimeStampChecks.cpp.
    unsigned char checkImprint(const MessageImprint* imprint, const SignerParts* signer,
                               const char* text, SecureBuffer* imprinted);
    unsigned char tokenVerdict(const infoEntry& info, const X500Time* genTime,
                               unsigned char checkAge, unsigned long certCode,
                               const X500Time* revocationDate, const X500Time* expiredCertsOnCRL);
    // The TSR or TST (tst true) of a file form, with the element of the file open.
    unsigned char verifyTimeStampFile(const char* input, const char* detached, bool tst);
    // The time of the token of an envelope, carried to the envelope's signers: verificationTime
    // and envelopeTimeStampTime become the token's time when it verified, and are cleared
    // otherwise. The earlier verificationTime is handed back (null when there was none).
    std::unique_ptr<X500Time> takeEnvelopeTime(unsigned char tokenOk);
    void restoreEnvelopeTime(std::unique_ptr<X500Time> kept);
    unsigned char verifySigner(const SignerParts& signer, const ParentSignature* parent,
                               unsigned char cadesFlag, unsigned char conformanceCheck, int depth);
    unsigned char checkCounterSignatures(const SignerParts& signer, int depth);
    unsigned char checkSignature(const DigestInfo* digest, const SignerParts& signer,
                                 const Certificate* certificate);
    void describeSigner(const infoEntry& info, bool withSerial = true);
    unsigned char readSignedAttributes(const SignerParts& signer, unsigned char** digest,
                                       unsigned int* digestLength, ESSCertID** essV1,
                                       ESSCertIDV2** essV2, bool forToken = false);
    unsigned char printSigningTime(const Attribute* attribute);
    unsigned char checkESSCertID(const ESSCertID* id, const infoEntry& info);
    unsigned char checkESSCertIDV2(const ESSCertIDV2* id, const infoEntry& info,
                                   unsigned char* cadesFlag);
    unsigned long datedRule(const X500Time* notBefore, unsigned long lateCode,
                            unsigned long unprovenCode) const;
    void addVerificationTime();
    // Stores the code, logs its text at level 3, and adds errorMessage and status "KO" to the
    // open element of the report.
    void fail(unsigned long code);
    // Logs the input name (notice 4616) and loads it; a named detached document is recorded in
    // the report and loaded too, otherwise detachedBuffer is emptied.
    void loadInputs(const char* input, const char* detached);
    void setAttribute(const char* name, const char* value);
    // Steps 6 to 9 of classification, from the read position; the caller restores it.
    InputType classifyEnvelope(Buffer* buffer);
    // The content type inside a SignedData of a ContentInfo that starts at the read position.
    unsigned char readEContentType(Buffer* buffer, OID* type);
    // Opens a regular file for reading, or -1: a device or a pipe has no end to read to.
    static int openRegularFile(const char* path);

    unsigned long errCode;
    unsigned char serverMode;
    unsigned char allSignaturesOk;
    unsigned char checkCRLPKCS7;
    unsigned char checkCRLTS;
    unsigned char checkCACRL;
    unsigned char useOCSP;
    unsigned char base64Output;
    unsigned char checkCertificateValidity;
    unsigned char checkSigningCertificateAttr;
    unsigned char checkAugust2010;
    unsigned char errorOnExpiredCRL;
    unsigned char july2011Mode;
    unsigned char checkEncapSigs;

    std::unique_ptr<SecureBuffer> workBuffer;
    Buffer viewBuffer;
    std::unique_ptr<SecureBuffer> documentBuffer;
    std::unique_ptr<SecureBuffer> detachedBuffer;
    std::unique_ptr<Logger> log;
    XMLFile* xmlOut;
    CryptoDevice* cryptoDevice;
    TrustStore* cache;

    std::string serverName;
    unsigned short serverPort;

    // One entry more than the capacity, always empty: the end mark.
    digestTableEntry digestTable[records::kMaxDigests + 1];
    infoEntry pkcs7Infos[records::kMaxInfos + 1];
    infoEntry cmsInfos[records::kMaxInfos + 1];

    std::unique_ptr<CertVerifier> certVerifier;
    std::unique_ptr<PDFFile> pdfFile;
    std::unique_ptr<ServerInterface> serverInterface;

    std::unique_ptr<X500Time> verificationTime;
    std::unique_ptr<X500Time> lastTimeStampTime;
    std::unique_ptr<X500Time> envelopeTimeStampTime;

    // The XML document under verification, and the folder its file references may read (none
    // when xmlFilesAllowed is 0).
    std::unique_ptr<XMLFile> xmlDocument;
    std::string xmlDirectory;
    unsigned char xmlFilesAllowed = 0;
};

#endif
