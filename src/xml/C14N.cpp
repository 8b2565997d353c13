// C14N: libxml2's canonicaliser driven with a node-set callback.
#include "xml/C14N.h"

#include <libxml/c14n.h>

#include <cstring>

#include "xml/NodeSet.h"

namespace C14N {

bool run(xmlDocPtr doc, const NodeSet* set, int mode, bool comments, std::string* out) {
    out->clear();
    if (doc == nullptr) return false;
    xmlOutputBufferPtr buffer = xmlAllocOutputBuffer(nullptr);
    if (buffer == nullptr) return false;
    int written =
        xmlC14NExecute(doc, set != nullptr ? NodeSet::visible : nullptr, const_cast<NodeSet*>(set),
                       mode, nullptr, comments ? 1 : 0, buffer);
    bool ok = written >= 0 && buffer->error == 0;
    if (ok) {
        const xmlChar* content = xmlOutputBufferGetContent(buffer);
        size_t size = xmlOutputBufferGetSize(buffer);
        if (content != nullptr && size > 0)
            out->assign(reinterpret_cast<const char*>(content), size);
    }
    xmlOutputBufferClose(buffer);
    return ok;
}

bool methodOf(const char* uri, int* mode, bool* comments) {
    struct Method {
        const char* uri;
        int mode;
        bool comments;
    };
    static const Method kMethods[] = {
        {"http://www.w3.org/TR/2001/REC-xml-c14n-20010315", kInclusive10, false},
        {"http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments", kInclusive10, true},
        {"http://www.w3.org/2001/10/xml-exc-c14n#", kExclusive10, false},
        {"http://www.w3.org/2001/10/xml-exc-c14n#WithComments", kExclusive10, true},
        {"http://www.w3.org/2006/12/xml-c14n11", kInclusive11, false},
        {"http://www.w3.org/2006/12/xml-c14n11#WithComments", kInclusive11, true},
        {"http://www.w3.org/2006/12/xml-c14n11#", kInclusive11, true},
    };
    if (uri == nullptr) return false;
    for (const Method& m : kMethods) {
        if (strcmp(uri, m.uri) == 0) {
            *mode = m.mode;
            *comments = m.comments;
            return true;
        }
    }
    return false;
}

}  // namespace C14N
