// Name: the text forms and the report elements.
#include <cstring>
#include <memory>
#include <string>

#include "asn1/OID.h"
#include "asn1/UTF8.h"
#include "pkix/Name.h"
#include "pkix/ReadSteps.h"
#include "xml/XMLFile.h"

namespace {

enum class Form { kDotted, kLabelled, kShort, kXML };

struct Labels {
    const char* const* oids;
    const char* const* labels;
    int count;

    // The label of the first row with this OID, or null.
    const char* find(const char* dotted) const {
        if (oids == nullptr || labels == nullptr || dotted == nullptr) return nullptr;
        for (int i = 0; i < count; ++i) {
            if (oids[i] != nullptr && strcmp(oids[i], dotted) == 0) return labels[i];
        }
        return nullptr;
    }
};

// The value's text: UTF-8, or the locale's encoding. A value the locale cannot show at all
// (a BIT STRING, a raw element, an unknown type) prints in its "#" hexadecimal form, so that
// the text never silently drops an attribute.
std::string valueText(const AttributeTypeAndValue* a, bool utf8) {
    std::unique_ptr<char[]> v(utf8 ? a->getUTF8String() : a->getPrintable());
    if (!v && !utf8) v.reset(a->getUTF8String());
    return v ? std::string(v.get()) : std::string();
}

// Whether the bytes are well-formed UTF-8: no stray continuation bytes, no overlong forms, no
// surrogates, nothing beyond U+10FFFF.
bool isUTF8(const std::string& s) {
    size_t n = s.size();
    for (size_t i = 0; i < n;) {
        unsigned char c = static_cast<unsigned char>(s[i]);
        size_t extra;
        if (c < 0x80) {
            extra = 0;
        } else if (c >= 0xC2 && c <= 0xDF) {
            extra = 1;
        } else if (c >= 0xE0 && c <= 0xEF) {
            extra = 2;
        } else if (c >= 0xF0 && c <= 0xF4) {
            extra = 3;
        } else {
            return false;
        }
        if (extra > n - i - 1) return false;
        for (size_t k = 1; k <= extra; ++k) {
            if ((static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80) return false;
        }
        unsigned char next = extra > 0 ? static_cast<unsigned char>(s[i + 1]) : 0;
        if ((c == 0xE0 && next < 0xA0) || (c == 0xED && next > 0x9F) ||
            (c == 0xF0 && next < 0x90) || (c == 0xF4 && next > 0x8F)) {
            return false;
        }
        i += extra + 1;
    }
    return true;
}

// The report is UTF-8: a narrow value that does not decode as UTF-8 (a PrintableString or
// T61String holding bytes of a Latin alphabet) is read as Latin-1, as the normalisation does.
std::string reportText(const AttributeTypeAndValue* a) {
    std::string value = valueText(a, true);
    if (isUTF8(value)) return value;
    std::unique_ptr<char[]> converted(UTF8::encode(value.c_str()));
    return converted ? std::string(converted.get()) : std::string();
}

std::string escapeXML(const std::string& s) {
    std::string out;
    for (char c : s) {
        if (c == '&') {
            out += "&amp;";
        } else if (c == '<') {
            out += "&lt;";
        } else if (c == '>') {
            out += "&gt;";
        } else {
            out += c;
        }
    }
    return out;
}

// Calls visit(attribute, dotted OID) for every attribute in RDN order and attribute order.
template <class Visit>
void eachAttribute(const RelativeDistinguishedNameList* rdns, Visit visit) {
    if (rdns == nullptr) return;
    for (int i = 0; i < rdns->getCount(); ++i) {
        const RelativeDistinguishedName* rdn = rdns->_getElement(i);
        if (rdn == nullptr) continue;
        for (int j = 0; j < rdn->getCount(); ++j) {
            const AttributeTypeAndValue* a = rdn->_getElement(j);
            if (a == nullptr) continue;
            std::unique_ptr<char[]> dotted(a->getType());
            visit(a, dotted ? std::string(dotted.get()) : std::string());
        }
    }
}

char* render(const RelativeDistinguishedNameList* rdns, Form form, bool utf8, const Labels& table) {
    std::string out;
    eachAttribute(rdns, [&](const AttributeTypeAndValue* a, const std::string& dotted) {
        std::string value = form == Form::kXML ? reportText(a) : valueText(a, utf8);
        const char* label = table.find(dotted.c_str());
        switch (form) {
            case Form::kDotted:
                out += "    " + dotted + ": " + value + "\n";
                break;
            case Form::kLabelled:
                out +=
                    "\t" + (label != nullptr ? std::string(label) : dotted) + ": " + value + "\n";
                break;
            case Form::kShort:
                out +=
                    (label != nullptr ? std::string(label) : std::string("??")) + "=" + value + ",";
                break;
            case Form::kXML:
                if (label != nullptr) {
                    out += "<" + std::string(label) + ">\n\t" + escapeXML(value) + "\n</" + label +
                           ">\n";
                } else {
                    out += "<oid value = \"" + dotted + "\">\n\t" + escapeXML(value) + "\n</oid>\n";
                }
                break;
        }
    });
    if (form == Form::kShort && !out.empty()) out.pop_back();
    return pkix::newText(out);
}

}  // namespace

char* Name::getPrintableString() const {
    return render(rdns, Form::kDotted, false, Labels{nullptr, nullptr, 0});
}

char* Name::getPrintableString(const char* const* oids, const char* const* labels,
                               int count) const {
    return render(rdns, Form::kLabelled, false, Labels{oids, labels, count});
}

char* Name::getPrintableShortString(const char* const* oids, const char* const* labels,
                                    int count) const {
    return render(rdns, Form::kShort, false, Labels{oids, labels, count});
}

char* Name::getUTF8String() const {
    return render(rdns, Form::kDotted, true, Labels{nullptr, nullptr, 0});
}

char* Name::getUTF8String(const char* const* oids, const char* const* labels, int count) const {
    return render(rdns, Form::kLabelled, true, Labels{oids, labels, count});
}

char* Name::getShortUTF8String(const char* const* oids, const char* const* labels,
                               int count) const {
    return render(rdns, Form::kShort, true, Labels{oids, labels, count});
}

char* Name::getXMLRepresentation(const char* const* oids, const char* const* labels,
                                 int count) const {
    return render(rdns, Form::kXML, true, Labels{oids, labels, count});
}

unsigned char Name::getXMLRepresentation(const char* const* oids, const char* const* labels,
                                         int count, XMLFile* xml) const {
    if (xml == nullptr) return 0;
    Labels table{oids, labels, count};
    eachAttribute(rdns, [&](const AttributeTypeAndValue* a, const std::string& dotted) {
        std::string value = reportText(a);
        const char* label = table.find(dotted.c_str());
        if (label != nullptr) {
            xml->insertTag(label, value.c_str());
        } else {
            xml->openTag("oid");
            xml->setTagAttribute("value", dotted.c_str());
            xml->setTagValue(value.c_str());
            xml->closeTag();
        }
    });
    return 255;
}
