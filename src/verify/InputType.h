// InputType: what guessInputType makes of a file or of bytes in memory, as one byte.
#ifndef SIGILO_VERIFY_INPUTTYPE_H
#define SIGILO_VERIFY_INPUTTYPE_H

enum InputType : signed char {
    InputUnknown = -1,    // anything else
    InputUnreadable = 0,  // cannot be opened, or shorter than 128 bytes
    InputTSR = 1,         // RFC 3161 TimeStampResp
    InputPKCS7 = 2,       // SignedData of version 1
    InputTST = 3,         // SignedData of version 3 or 4 around another content: a token
    InputM7M = 4,         // MIME file holding an envelope and a time stamp
    InputXML = 5,         // XML
    InputPDF = 6,         // PDF
    InputTSD = 7,         // RFC 5544 TimeStampedData
    InputCMS = 8,         // SignedData of version 3 or 4 around data or signedData
};

// A short English name of the type, for log lines and tests.
const char* inputTypeName(InputType type);

#endif
