// SafeParse: parsing of outside XML without entities.
#include "xml/SafeParse.h"

#include <libxml/entities.h>
#include <libxml/hash.h>

#include <climits>

namespace {

bool declaresEntities(xmlDtdPtr dtd) {
    if (dtd == nullptr) return false;
    if (dtd->entities != nullptr && xmlHashSize(static_cast<xmlHashTablePtr>(dtd->entities)) > 0) {
        return true;
    }
    if (dtd->pentities != nullptr &&
        xmlHashSize(static_cast<xmlHashTablePtr>(dtd->pentities)) > 0) {
        return true;
    }
    // Entity declarations are also children of the DTD node.
    for (xmlNodePtr n = dtd->children; n != nullptr; n = n->next) {
        if (n->type == XML_ENTITY_DECL) return true;
    }
    return false;
}

}  // namespace

namespace SafeParse {

bool acceptable(xmlDocPtr doc) {
    if (doc == nullptr) return false;
    if (doc->extSubset != nullptr) return false;
    if (declaresEntities(doc->intSubset)) return false;
    // A DOCTYPE naming an external subset that wasn't loaded still says what it wanted.
    if (doc->intSubset != nullptr &&
        (doc->intSubset->SystemID != nullptr || doc->intSubset->ExternalID != nullptr)) {
        return false;
    }
    return true;
}

xmlDocPtr memory(const char* bytes, size_t size) {
    if (bytes == nullptr || size == 0 || size > INT_MAX) return nullptr;
    xmlDocPtr doc = xmlReadMemory(bytes, static_cast<int>(size), "input", nullptr, kOptions);
    if (doc != nullptr && !acceptable(doc)) {
        xmlFreeDoc(doc);
        return nullptr;
    }
    return doc;
}

}  // namespace SafeParse
