// Messages: the result codes of the verification engine and their Italian texts, and the
// notices that go to the log alone.
//
// Result codes run from 5120 (0x1400) to 5229; a code's row in the table is its low byte, so the
// table has 110 rows. Every part of the engine (the front end, DocVerifier and the trust store)
// reads this one table, so a text changes in one place only. Notices run from 4614 to 4726; they
// are printed in the log with their code and never reach the report or the stored result code.
#ifndef SIGILO_FRONTEND_MESSAGES_H
#define SIGILO_FRONTEND_MESSAGES_H

// The stored result code that means "no error". Compared as a 32-bit value, though the codes
// are kept in 64-bit members.
constexpr unsigned long NoError = 0xFFFFFFFFul;

// The result codes the front end and the file drivers use by name. The others are looked up by
// number by the parts of the engine that raise them.
enum ResultCode : unsigned int {
    kFirstResultCode = 5120,
    kErrInternal = 5120,           // "Errore interno"
    kErrMissingArgument = 5121,    // "Manca l'argomento, prova sigilo -h"
    kErrUnreadableFile = 5122,     // "Non e' possibile leggere il file"
    kErrNotPKCS7 = 5123,           // "Il file non contiene una busta PKCS#7"
    kErrNotSignedData = 5124,      // "La busta PKCS#7 non contiene un SignedData"
    kErrOutputFile = 5139,         // "Non e' possibile aprire il file di output"
    kErrCRLCacheUpdate = 5151,     // "Impossibile aggiornare la cache delle CRL"
    kErrM7MDetached = 5152,        // "Detached verify non permessa su file m7m"
    kErrCRLCacheSave = 5155,       // "Impossibile salvare la cache delle CRL"
    kErrNoTimeStampToken = 5169,   // "Il file non contiene un TimeStamp Token"
    kErrServerUnreachable = 5174,  // "sigiloServer non e' raggiungibile"
    kErrUnknownFormat = 5184,      // "File di input con formato non conosciuto"
    kErrNotX509 = 5185,            // "Certificato del Firmatario non conforme allo standard X.509"
    kErrAddCACert = 5195,          // "Impossibile aggiungere alla lista dei certificati"
    kErrSignatureNotVerified = 5200,  // "Firma non verificata"
    kErrTimeStampNotVerified = 5201,  // "Marca Temporale non verificata"
    kErrNotAllSignaturesOk = 5203,    // "Non tutte le Firme sono corrette"
    kErrVerificationTime = 5226,      // "Data di verifica non valida: %s"
    kLastResultCode = 5229,
};

// Notices: log lines only. Their texts are given at the log call; noticeText finds them.
enum NoticeCode : unsigned int {
    kFirstNotice = 4614,
    kNoteInputFile = 4616,        // "Input File: %s"
    kNoteAllSignaturesOk = 4622,  // "Tutte le Firme sono state verificate"
    kNoteExtractedFile = 4624,    // "Estratto file: %s"
    kNoteDocument = 4657,         // "Documento: %s"
    kLastNotice = 4726,
};

class Messages {
public:
    static constexpr unsigned int kRows = kLastResultCode - kFirstResultCode + 1;

    // The table's text for a result code. A code outside 5120..5229 (NoError among them) has no
    // row; rather than read outside the table, it gets the text of 5120, "Errore interno", so a
    // stray code can never reach the report as anything but an error.
    static const char* getText(unsigned long code);
    // True for a code that has a row in the table.
    static bool isResultCode(unsigned long code);
    // The text of a notice (a format string for some), or null for a number that is no notice.
    static const char* getNotice(unsigned int code);
};

#endif
