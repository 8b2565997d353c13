// The process-wide state of the exported functions.
//
// The names are those every caller and maintainer knows; they live in a namespace of their own
// because a global called "log" would collide with the C library's log(). One caller thread at a
// time: nothing here is guarded.
#ifndef SIGILO_FRONTEND_GLOBALS_H
#define SIGILO_FRONTEND_GLOBALS_H

class Buffer;
class CryptoDevice;
class CryptoKi;
class DocVerifier;
class Logger;
class TrustStore;
class XMLFile;

namespace sigilo {

constexpr unsigned int kPathSize = 4096;
constexpr unsigned int kReportBufferSize = 4096;

extern CryptoKi* cryptoKi;        // PKCS#11 table over the built-in token; kept over init
extern CryptoDevice* cryptoD;     // crypto facade; made once and kept over init
extern TrustStore* cache;         // CA list and CRL cache
extern DocVerifier* docVerifier;  // the engine
extern Buffer* buf;               // the buffer every XMLFile of the report is made on
extern XMLFile* out;              // the report being collected; null between reports
extern Logger* log;               // present only while logging is on
extern unsigned char logLevel;    // last level set, 0 to 7

extern char caCertsListName[kPathSize];
extern char crlCacheName[kPathSize];
extern char reportFilename[kPathSize];  // empty: standard output
extern unsigned char outputFormat;      // kept for callers; there is one format

extern unsigned char loadedCACertList;
extern unsigned char loadedCRLCache;
extern unsigned char downloadCRL;  // 1 to 4, see the report's downloadCRL attribute
extern unsigned char flat;
extern unsigned char standAlone;
extern unsigned char checkCRLPKCS7;
extern unsigned char checkCRLTS;
extern unsigned char checkCACRL;
extern unsigned char skipCertificateCheck;
extern unsigned char skipSigningCertificateCheck;
extern unsigned char skipAugust2010Check;
extern unsigned char errorOnExpiredCRL;
extern unsigned char checkJuly2011Constraint;
extern unsigned char checkEncapsulatedSigs;

// Opens the report (root, attributes, notices) if none is open; false when it could not be
// opened (a server out of reach, whose report has then been printed).
bool openReport();

// Logs, when logging is on, that a function's engine is not part of this build.
void logUnavailable(const char* what);

}  // namespace sigilo

#endif
