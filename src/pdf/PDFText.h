// PDFText: the byte-level tests the PDF reader is built on. The reader does not tokenise a PDF;
// it matches keywords in the raw bytes and reads numbers where it expects them. Every helper
// here takes the bound of the bytes it may look at and never reads at or past it.
#ifndef SIGILO_PDF_PDFTEXT_H
#define SIGILO_PDF_PDFTEXT_H

namespace PDFText {

// A keyword counts only when the byte after it is not one of these.
bool isLetter(unsigned char c);
// Space, tab, CR, LF, form feed and NUL: the blanks a value may be preceded by.
bool isBlank(unsigned char c);

// True when the bytes at pos spell word and the byte after it, if any, is not a letter.
bool matchesKey(const unsigned char* p, unsigned int end, unsigned int pos, const char* word);
// True when the bytes at pos spell word, whatever follows.
bool matchesBytes(const unsigned char* p, unsigned int end, unsigned int pos, const char* word);

// Moves pos over blanks; returns the new position (end at most).
unsigned int skipBlanks(const unsigned char* p, unsigned int end, unsigned int pos);

// Reads an unsigned decimal number the way a "%u" conversion does (blanks first, then digits).
// A minus sign, no digit or a value past 32 bits is a failure and leaves *pos unchanged.
bool readUnsigned(const unsigned char* p, unsigned int end, unsigned int* pos, unsigned int* value);
// The same with an optional minus sign, as "%d" does; values past 31 bits fail.
bool readSigned(const unsigned char* p, unsigned int end, unsigned int* pos, long* value);

// The value of one hexadecimal digit, or -1.
int hexDigit(unsigned char c);

}  // namespace PDFText

#endif
