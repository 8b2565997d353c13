// XMLFile: one libxml2 document with a current node. It builds the report (the building
// operations work at the current node) and reads XML input. It keeps the Buffer it was made on
// without owning it, owns its document, and frees the text of getXML with itself.
#ifndef SIGILO_XML_XMLFILE_H
#define SIGILO_XML_XMLFILE_H

#include <libxml/tree.h>

class Buffer;

class XMLFile {
public:
    explicit XMLFile(Buffer* buffer);
    ~XMLFile();

    XMLFile(const XMLFile&) = delete;
    XMLFile& operator=(const XMLFile&) = delete;

    // ---- Building ----
    // Adds a child and descends into it; with no current node the child becomes the root.
    unsigned char openTag(const char* name);
    // Moves to the parent of the current node.
    unsigned char closeTag();
    // Adds a child holding the text and stays; with no current node the child becomes the root
    // and the current node.
    unsigned char insertTag(const char* name, const char* value);
    unsigned char insertTag(const char* name);
    unsigned char insertTag(const char* name, long value);
    unsigned char insertTagHex(const char* name, unsigned int value);
    unsigned char setTagValue(const char* value);
    unsigned char setTagValue(int value);
    unsigned char setTagHexValue(unsigned int value);
    // The value is taken as Latin-1 and stored as UTF-8; true when the attribute was created.
    unsigned char setTagAttribute(const char* name, const char* value);
    unsigned char setTagAttribute(const char* name, unsigned int value);
    // A new copy of the attribute of the current node (free with xmlFree), or null.
    char* getTagAttribute(const char* name);
    unsigned char insertComment(const char* text);
    // A deep copy of the other's root under the current node (or as the root).
    unsigned char insertXMLFile(XMLFile* other);

    // The serialised document, computed once and then returned as stored: flat (no added
    // blanks) or indented.
    const char* getXML(unsigned char flat);
    const char* getXML() { return getXML(0); }
    // The subtree of the current node, in the same two forms; a new string each call, held
    // until the next call or the end of the object.
    const char* getXMLSubTree(unsigned char flat);
    const char* getXMLSubTree() { return getXMLSubTree(0); }

    xmlDocPtr _getDocument() const { return document; }
    xmlNodePtr _getCurrentNode() const { return current; }
    void _setCurrentNode(xmlNodePtr node) { current = node; }
    Buffer* _getBuffer() const { return buffer; }

private:
    xmlNodePtr addChild(xmlNodePtr node);

    Buffer* buffer;
    xmlDocPtr document;
    xmlNodePtr current;
    xmlChar* text;
    xmlChar* subTree;
};

#endif
