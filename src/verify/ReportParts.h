// Small pieces the engine's report and log share: a distinguished name in the short form the
// log prints, and a report tree built aside (a time stamp's, or a content's that may be
// dropped) to be copied into the main report once complete.
#ifndef SIGILO_VERIFY_REPORTPARTS_H
#define SIGILO_VERIFY_REPORTPARTS_H

#include <string>

#include "asn1/Buffer.h"
#include "xml/XMLFile.h"

class Name;

// The short printable form of a name, empty for none.
std::string shortName(const Name* name);

struct SideReport {
    Buffer text;
    XMLFile xml{&text};
};

#endif
