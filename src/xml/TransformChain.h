// TransformChain: the data of one signature reference on its way through the transforms. It is
// either a node set over a document or octets; a node-set transform given octets parses them
// first (safely), and the octets of a node set are its canonical form.
#ifndef SIGILO_XML_TRANSFORMCHAIN_H
#define SIGILO_XML_TRANSFORMCHAIN_H

#include <libxml/tree.h>
#include <libxml/xpath.h>

#include <string>

#include "xml/NodeSet.h"
#include "xml/XPathFilter2.h"

class TransformChain {
public:
    TransformChain() = default;
    ~TransformChain();
    TransformChain(const TransformChain&) = delete;
    TransformChain& operator=(const TransformChain&) = delete;

    // Starts over `doc` (not owned) from a reference URI: null or "" for the whole document
    // without comments; "#xpointer(...)" for an XPointer; "#name" for the one element with
    // Id="name". False when the URI is no same-document reference or selects nothing (also
    // when the identifier it names is carried by more than one element).
    bool start(xmlDocPtr doc, xmlNodeSetPtr namespaces, const char* uri);

    // Canonicalisation with libxml2's modes (C14N::kInclusive10...).
    bool applyC14n(int mode, bool comments);
    // Keeps the nodes for which the expression is true.
    bool applyXPath(const char* expression);
    bool applyBase64();
    bool startXFilter2();
    bool addXFilter2(const char* filter, const char* expression);
    bool applyXFilter2();
    // Removes the signature that holds `inside` (the Transform element being run).
    bool applyEnvSig(xmlNodePtr inside);
    // Runs the "stylesheet" element found below `transform`.
    bool applyXSLT(xmlNodePtr transform);

    // The octets: canonical XML 1.0 without comments of the node set, unless a transform has
    // given octets already. Valid until the chain changes.
    const unsigned char* result();
    unsigned int resultLength();

    // What the reference started from: the document node for "", the selected element(s) for a
    // fragment; used to tell which elements a signature covers.
    const NodeSet& startSet() const { return started; }
    xmlDocPtr document() const { return doc; }

private:
    // Makes the chain a node set again, parsing the octets into a document it owns.
    bool ensureNodeSet();
    void setOctets(std::string bytes);
    void freeOwned();

    xmlDocPtr doc = nullptr;    // the document the node set is over
    xmlDocPtr owned = nullptr;  // that document, when the chain parsed it
    xmlNodeSetPtr namespaces = nullptr;
    NodeSet nodes;
    NodeSet started;
    bool hasOctets = false;
    std::string octets;
    XPathFilter2 filter;
};

#endif
