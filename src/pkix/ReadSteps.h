// Small steps shared by the PKIX classes: bounded ends of SEQUENCEs, whole elements kept as
// their bytes, texts that must not hide a zero byte, and copies.
#ifndef SIGILO_PKIX_READSTEPS_H
#define SIGILO_PKIX_READSTEPS_H

#include <string>

class Buffer;

namespace pkix {

// The end of a definite value of len bytes that starts at the read position, never past the
// readable data: an element that claims more than there is cannot move a reader beyond it.
unsigned int endOf(Buffer* b, unsigned int len);
// True when the read position has reached end.
bool atEnd(Buffer* b, unsigned int end);
// The tag of the next element (zero bytes in front of it skipped), or 0 when no header can be
// read there. The read position does not move.
unsigned char peekTag(Buffer* b);

// The next element whole, header included, as a new array the caller deletes: a definite value
// by its length, an indefinite one by walking its nested headers down to the matching
// end-of-contents. Zero bytes in front of the tag are skipped. 0 (and nothing allocated) when
// the element does not lie wholly inside the buffer.
unsigned char readRawElement(Buffer* b, unsigned char** bytes, unsigned int* n);

// A string under the given tag as new NUL-terminated text. A zero byte inside the content is
// refused: the text would end there, and a name or address compared or printed by its text
// would silently lose what follows (the classic trick of hiding a suffix behind a NUL).
unsigned char readText(Buffer* b, unsigned char tag, char** text);

// "%.2x" of each byte.
std::string hexOf(const unsigned char* p, unsigned int n);

// New copies; null for null. A byte copy of length 0 is still a one-byte array, so that "empty"
// and "absent" stay apart.
char* copyText(const char* s);
unsigned char* copyBytes(const unsigned char* p, unsigned int n);
// A new NUL-terminated copy of a std::string.
char* newText(const std::string& s);
// The text of a new[] string, which is freed; "" for null.
std::string ownedText(char* text);

}  // namespace pkix

#endif
