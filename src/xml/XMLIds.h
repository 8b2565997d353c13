// XMLIds: resolution of a bare "#name" fragment, guarded against signature wrapping. A value that
// two elements carry as an identifier (whatever the spelling of the attribute: Id, ID, id,
// xml:id, or an attribute the DTD types as ID) is ambiguous, and then nothing is selected: the
// verifier would otherwise digest one element while a reader of the document uses the other.
#ifndef SIGILO_XML_XMLIDS_H
#define SIGILO_XML_XMLIDS_H

#include <libxml/tree.h>

namespace XMLIds {

// The number of elements of the document that carry `value` as an identifier of any spelling.
int holders(xmlDocPtr doc, const char* value);

// The one element whose attribute "Id" (that spelling, no namespace) is `value`, provided no
// other element carries the value as an identifier; else null.
xmlNodePtr unique(xmlDocPtr doc, const char* value);

}  // namespace XMLIds

#endif
