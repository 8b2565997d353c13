// Arbitrary bytes as a signed XML document: loaded, then every Reference run through its
// transforms the way a verifier does, and SignedInfo canonicalised. Input is capped so that
// each run stays short; the transforms bound their own XPath work.
#include <cstdint>
#include <string>

#include "asn1/Buffer.h"
#include "xml/XMLFile.h"

namespace {

constexpr size_t kMaxInput = 64 * 1024;

std::string attribute(XMLFile& x, const char* name) {
    char* v = x.getTagAttribute(name);
    std::string s = v != nullptr ? v : "";
    XMLFile::freeTagValue(v);
    return s;
}

void runTransforms(XMLFile& x) {
    x.setBookmark();
    if (!x.findSubTag("Transforms") || !x.findSubTag("Transform")) {
        x.goBookmark();
        return;
    }
    for (int i = 0; i < 16; ++i) {
        std::string a = attribute(x, "Algorithm");
        if (a == "enveloped") x.applyEnvSig();
        if (a == "c14n") x.applyC14n(1);
        if (a == "exc") x.applyC14nx(0);
        if (a == "c14n11") x.applyC14n11(1);
        if (a == "base64") x.applyBase64();
        if (a == "xslt") x.applyXSLT();
        if (a == "xpath") {
            char* e = x.getTagValue("XPath");
            if (e != nullptr) x.applyXPath(e);
            XMLFile::freeTagValue(e);
        }
        if (a == "filter2") {
            x.setBookmark();
            if (x.findSubTag("XPath") && x.startXFilter2()) {
                for (int j = 0; j < 40; ++j) {
                    char* e = x.getTagValue();
                    std::string f = attribute(x, "Filter");
                    x.addXFilter2(f.c_str(), e != nullptr ? e : "");
                    XMLFile::freeTagValue(e);
                    if (!x.findSiblingTag("XPath")) break;
                }
                x.applyXFilter2();
            }
            x.goBookmark("Transform");
        }
        if (!x.findSiblingTag("Transform")) break;
    }
    x.goBookmark();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > kMaxInput) return 0;
    Buffer in;
    in.fromByteArray(data, static_cast<unsigned int>(size));
    Buffer work(64);
    XMLFile x(&work);
    if (!x.fromBuffer(&in)) return 0;
    if (x.findTag("SignedInfo")) {
        x.canonizeC14n(0);
        x.canonizeC14nx(1);
        x.canonizeC14n11(0);
    }
    x.rewind();
    if (!x.findTag("Reference")) return 0;
    for (int i = 0; i < 16; ++i) {
        std::string uri = attribute(x, "URI");
        bool started = uri.empty() ? x.startTransforms() : x.startTransforms(uri.c_str());
        if (started) {
            runTransforms(x);
            x.getTransformsResult();
            x.getTransformsResultLen();
        }
        if (!x.findSiblingTag("Reference")) break;
    }
    return 0;
}
