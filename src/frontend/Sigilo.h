// The exported functions of libsigilo: a caller initialises once, sets switches, verifies one
// or more files into one report, and prints the report.
//
//     init(caDir, nullptr, logFile, 2);
//     setCheckCRL(false);
//     verifyDocuments("a.p7m", nullptr, false);
//     verifyDocuments("b.pdf", nullptr, false);
//     printResults();   // one root "sigilo" with one child per file
//
// The result of a verification says only that the file was handled. The verdict on each signer
// is the last "status" of its element in the report; getErrorCode gives the last result code.
// Truth values are one byte: 0 false, non-zero true. The settings must follow init, since they
// reach through the engine it makes. One caller thread at a time.
#ifndef SIGILO_FRONTEND_SIGILO_H
#define SIGILO_FRONTEND_SIGILO_H

class XMLFile;

// ---- Set-up ----
// Full set-up. Null directories mean the current one; without crlCacheDir the CRL cache lives
// beside the CA list. downloadCRL: 1 once per session, 2 when expired, 3 always, 4 local only.
// 0 only when a path would not fit.
unsigned char init(const char* caCertsDir, const char* crlCacheDir, const char* logFile,
                   unsigned char downloadCRL);
unsigned char init(const char* caCertsDir, const char* logFile, unsigned char downloadCRL);
// The three-argument form with crlMode, then the CRL switches (mode 4 turns a check off) and the
// log level. caCertMode is ignored.
unsigned char init(const char* caCertsDir, const char* logFile, unsigned char logLevel,
                   unsigned char caCertMode, unsigned char crlMode, unsigned char crlTSTMode);

// ---- Output ----
// Non-zero: the report without indentation (the default).
void setFlatOutput(unsigned char flat);
// The report file; null for standard output. The other three are the same function.
void setOutput(const char* file);
void setTDCOutput(const char* file);
void setHTMLOutput(const char* file);
void setXMLOutput(const char* file);
// 0 to 7 (higher is capped to 7) turns logging on at that level; 255 turns it off.
void setLogLevel(unsigned char level);

// ---- Switches of the checks ----
void setCheckCACertMode(unsigned char mode);  // does nothing
void setCheckCRL(bool on);
void setCheckCRLMode(unsigned char mode);  // setCheckCRL(mode != 4)
void setCheckCRLTS(bool on);
void setCheckCRLTSTMode(unsigned char mode);  // setCheckCRLTS(mode != 4)
void setCheckCACRL(bool on);
void setUseOCSP(bool on);
// Extracted envelopes are written as base64 text.
void forceBase64(bool on);
void skipCertificateValidityCheck(bool skip);
// Governs the signing-certificate attribute of time-stamp tokens.
void skipSigningCertificateAttrCheck(bool skip);
void skipAugust2010ConstraintCheck(bool skip);
void setErrorOnExpiredCRL(bool on);
// 0 off, 1 weak, 2 strong.
void setCheckJuly2011Constraint(unsigned char mode);
// true switches the rule off; false leaves it as it stands.
void skipJuly2011ConstraintCheck(bool skip);
// 0 off, 1 flattened, 2 nested.
void setCheckEncapsulatedSigs(unsigned char mode);

// ---- Network ----
// Each returns 255 when the engine took the setting; a refusal is logged.
unsigned char setHTTPProxy(const char* host, int port, const char* user, const char* password);
// The port is cut to 16 bits.
unsigned char setSOCKSProxy(const char* host, int port, const char* user, const char* password);
// A list of "address/mask" items ended by a null pointer. Each item is edited in place: it is
// cut into its two parts.
unsigned char setNoSOCKS(char** list);
unsigned char setTCPTimeout(int seconds);
unsigned char setOCSPTimeout(int seconds);
unsigned char setTimeStampCheck(bool on);
// A name switches to server mode (port 0 keeps the server's port); null returns to stand-alone.
void setServer(const char* name, int port);
// UTCTime text, "YYMMDDhhmmssZ". Null clears the time. A time that does not parse or is not in
// the past is refused (0), and the earlier time is gone either way.
unsigned char setVerificationTime(const char* time);

// ---- Trust list and CRL cache ----
unsigned char trustedCA(const unsigned char* cert, unsigned long length);
// Replace the CA list with the certificates of a PEM file, and save it.
unsigned char importCACertsListPEM(const char* file);
unsigned char importCACertsList(const char* file);
unsigned char importCACertsCache(const char* file);
// Replace the CA list with a trust list, accepted only if its own signature verifies under the
// given certificate.
unsigned char importCACertsListTSL(const char* tslFile, const char* signerCert);
// Add to the CA list (not saved). In server mode they succeed at once.
unsigned char addCACertsPEM(const char* file);
unsigned char addCACertsTSL(const char* file);
unsigned char addCACert(const char* file);
unsigned char updateCRLCache();

// ---- Verification and the report ----
// Adds the outcome for one input to the report. path: a directory where extracted content goes,
// or the detached document; extract: also write the envelope parts of M7M and TSD files.
unsigned char verifyDocuments(const char* input, const char* path, bool extract);
// verifyDocuments, then printResults; the first one's result.
unsigned char verifyDocument(const char* input, const char* path, bool extract);
// Prints and frees the report: 0 when there is none, or when it could not be written.
unsigned char printResults();
// Frees the report without printing it.
void deleteResults();
// Writes one report to the report file or standard output; format is ignored.
unsigned char printOut(XMLFile* report, unsigned char format);
// The last result code; 0xFFFFFFFF means no error.
unsigned long getErrorCode();
// The file name for content extracted from input into dir; a new string the caller deletes.
char* getContentFile(const char* dir, const char* input);
const char* getVersion();
void printVersion();

#endif
