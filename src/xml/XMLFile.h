// XMLFile: one libxml2 document with a current node. It builds the report (the building
// operations work at the current node) and reads XML input. It keeps the Buffer it was made on
// without owning it, owns its document, and frees the text of getXML with itself.
#ifndef SIGILO_XML_XMLFILE_H
#define SIGILO_XML_XMLFILE_H

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xpath.h>

#include <memory>
#include <string>
#include <vector>

class Buffer;
class Logger;
class TransformChain;
class Transport;

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

    // ---- The wire form of the verification server: four bytes of length, high byte first,
    // then the text of the document (XMLFileNetwork.cpp) ----
    static constexpr unsigned int kMaxNetworkText = 1u << 20;
    // Sends the document serialised by getXML(0).
    unsigned char toNetwork(Transport* transport);
    // Reads one message and parses it; false, with a line at level 7 when there is a log, when
    // nothing came, the length passes maxLength, the text is cut short or does not parse.
    unsigned char fromNetwork(Transport* transport);
    unsigned char fromNetwork(Transport* transport, Logger* log);
    unsigned char fromNetwork(Transport* transport, Logger* log, unsigned int maxLength);

    // ---- Reading ----
    // Parses a file or the bytes of a buffer; on success the root becomes the current node.
    // Input is outside data: no network access, no external entities, bounded depth.
    unsigned char fromFile(const char* path);
    unsigned char fromBuffer(Buffer* b);
    // Push parsing for text that arrives in pieces; `last` ends the document.
    unsigned char parse(const char* bytes, int length, unsigned char last);
    // The last error of the push parser (or of the last load), or null / 0.
    const char* getErrorMessage() const;
    int getErrorCode() const;
    int getErrorLineNum() const;

    // Searches by local element name (prefixes play no part). findTag: the current node and its
    // following siblings, each followed by its subtree, depth first. findSubTag: the same walk
    // from the first child. findSiblingTag: from the next sibling. findLevelSubTag: the
    // children only. A hit becomes current; a miss returns 0 and moves nothing.
    unsigned char findTag(const char* name);
    unsigned char findSubTag(const char* name);
    unsigned char findSiblingTag(const char* name);
    unsigned char findLevelSubTag(const char* name);
    // Text of the current node, or of the first element found by the findSubTag walk (the
    // current node stays). New strings to free with freeTagValue; null on a miss.
    char* getTagValue();
    char* getTagValue(const char* name);
    char* getSubTagAttribute(const char* name, const char* attribute);
    static void freeTagValue(char* value);
    // The root becomes current.
    void rewind();

    void setBookmark();
    // Pops the newest bookmark into the current node; 0 when there is none.
    unsigned char goBookmark();
    // Pops back to the newest bookmark on an element of that name, which becomes current; the
    // stack is left alone when there is none.
    unsigned char goBookmark(const char* name);

    // ---- Canonical forms of the current subtree (SignedInfo, SignatureValue) ----
    // Canonical XML 1.0, exclusive 1.0 and 1.1 of the current node and its descendants, over the
    // whole document so that inherited namespaces count. The text is held until the next call;
    // empty when canonicalisation fails.
    const char* canonizeC14n(unsigned char comments);
    const char* canonizeC14nx(unsigned char comments);
    const char* canonizeC14n11(unsigned char comments);
    unsigned int getCanonicalLength() const { return static_cast<unsigned int>(canonical.size()); }

    // ---- Transform chain of one reference ----
    // From a non-empty URI (false when it is no same-document reference or selects nothing),
    // or over the whole document without comments.
    unsigned char startTransforms(const char* uri);
    unsigned char startTransforms();
    unsigned char applyC14n(unsigned char comments);
    unsigned char applyC14nx(unsigned char comments);
    unsigned char applyC14n11(unsigned char comments);
    unsigned char applyXPath(const char* expression);
    unsigned char applyBase64();
    unsigned char startXFilter2();
    unsigned char addXFilter2(const char* filter, const char* expression);
    unsigned char applyXFilter2();
    // Enveloped signature: leaves out the Signature element around the current node.
    unsigned char applyEnvSig();
    // Runs the "stylesheet" element below the current node (the Transform).
    unsigned char applyXSLT();
    // The octets of the chain, held by this object until the chain changes or restarts.
    const unsigned char* getTransformsResult();
    unsigned int getTransformsResultLen();
    TransformChain* _getTransformChain() { return chain.get(); }

    // True when the text is a valid xs:dateTime.
    static unsigned char checkDateTime(const char* text);

    xmlDocPtr _getDocument() const { return document; }
    xmlNodePtr _getCurrentNode() const { return current; }
    void _setCurrentNode(xmlNodePtr node) { current = node; }
    Buffer* _getBuffer() const { return buffer; }

private:
    xmlNodePtr addChild(xmlNodePtr node);
    // Takes a freshly parsed document in place of the present one.
    unsigned char adopt(xmlDocPtr parsed);
    const char* canonize(int mode, unsigned char comments);
    xmlNodeSetPtr namespaceNodes() const;
    void dropNamespaces();

    Buffer* buffer;
    xmlDocPtr document;
    xmlNodePtr current;
    xmlChar* text;
    xmlChar* subTree;
    // Every namespace node of the document, for the transforms' XPath contexts.
    xmlXPathObjectPtr namespaces;
    std::vector<xmlNodePtr> bookmarks;
    xmlParserCtxtPtr pushContext;
    xmlError lastError;
    std::string canonical;
    std::unique_ptr<TransformChain> chain;
};

#endif
