// Small BER steps shared by the LDAP message classes (RFC 4511), on the project's Buffer: every
// element read must have a definite length that lies inside what the buffer holds, and every
// string is capped, so a message cannot send a reader past the bytes that arrived.
#ifndef SIGILO_NET_LDAPSTEPS_H
#define SIGILO_NET_LDAPSTEPS_H

#include <string>

class Buffer;

namespace ldap {

constexpr unsigned char kOctetString = 0x04;
constexpr unsigned char kInteger = 0x02;
constexpr unsigned char kEnumerated = 0x0A;
constexpr unsigned char kBoolean = 0x01;
constexpr unsigned char kSequence = 0x30;
constexpr unsigned char kSet = 0x31;
// The longest string value taken from a message (a CRL travels as one).
constexpr unsigned int kMaxString = 64u * 1024 * 1024;

// The next element's tag and length: 0 unless it is definite and lies inside the buffer.
unsigned char readHeader(Buffer* b, unsigned char* tag, unsigned int* len);
// The next element, which must carry the tag, as bytes.
unsigned char readString(Buffer* b, unsigned char tag, std::string* value);
// An INTEGER or ENUMERATED of up to four bytes under the tag.
unsigned char readNumber(Buffer* b, unsigned char tag, int* value);
// Skips the next element whole.
unsigned char skipElement(Buffer* b);

// Bytes of a string element with the tag, header included; and its writing.
unsigned int stringLength(Buffer* b, unsigned char tag, const std::string& value);
void writeString(Buffer* b, unsigned char tag, const std::string& value);
// Bytes of a constructed element of the given content length, header included.
unsigned int wrappedLength(Buffer* b, unsigned char tag, unsigned int content);

}  // namespace ldap

#endif
