#include "frontend/Report.h"

#include "frontend/Globals.h"
#include "xml/XMLFile.h"

const char* const Report::kRelease = "3.3.15";
const char* const Report::kReleaseDate = "22/10/2013";
const char* const Report::kVendorNotice =
    " Sigilo: verifica di documenti firmati digitalmente secondo la normativa italiana ";
const char* const Report::kAuthorNotice =
    " Rapporto di verifica: l'esito di ogni firma e' l'ultimo elemento status della firma ";

namespace {

bool named(xmlNodePtr node, const char* name) {
    return node->type == XML_ELEMENT_NODE && xmlStrcmp(node->name, BAD_CAST name) == 0;
}

bool isUnit(xmlNodePtr node) {
    return named(node, "signer") || named(node, "countersigner") || named(node, "timeStamp") ||
           named(node, "signatureTimeStamp");
}

// Walks the subtree; counts the status elements met, and returns false at the first bad
// verdict. The depth is that of the report this library builds, a few levels.
bool verdictsOK(xmlNodePtr element, int* statuses, int depth) {
    if (depth > 64) return false;
    xmlNodePtr last = nullptr;
    for (xmlNodePtr child = element->children; child != nullptr; child = child->next) {
        if (named(child, "status")) {
            last = child;
            ++*statuses;
        } else if (child->type == XML_ELEMENT_NODE && !verdictsOK(child, statuses, depth + 1)) {
            return false;
        }
    }
    if (last == nullptr) return !isUnit(element);
    xmlChar* text = xmlNodeGetContent(last);
    bool ok = text != nullptr && xmlStrcmp(text, BAD_CAST "OK") == 0;
    xmlFree(text);
    return ok;
}

const char* enabled(unsigned char on) {
    return on ? "abilitato" : "disabilitato";
}

// The three-way switches: 0 is off, 1 the first mode, any other value the second.
const char* modeText(unsigned char mode, const char* one, const char* other) {
    return mode == 0 ? "disabilitato" : mode == 1 ? one : other;
}

}  // namespace

const char* Report::downloadCRLText(unsigned int mode) {
    switch (mode) {
        case 1:
            return "scarica una volta per sessione";
        case 2:
            return "scarica quando e' scaduta";
        case 3:
            return "scarica sempre dalla rete";
        case 4:
            return "usa solo quelle locali";
        default:
            return nullptr;
    }
}

void Report::openRoot(XMLFile* report) {
    using namespace sigilo;
    report->openTag("sigilo");
    report->setTagAttribute("release", kRelease);
    report->setTagAttribute("releaseDate", kReleaseDate);
    report->setTagAttribute("controlloCACRL", enabled(checkCACRL));
    report->setTagAttribute("controlloCRLPKCS7", enabled(checkCRLPKCS7));
    report->setTagAttribute("controlloCRLTS", enabled(checkCRLTS));
    // The skip switches read the other way round.
    report->setTagAttribute("controlloValidita", enabled(!skipCertificateCheck));
    report->setTagAttribute("controlloSigningCertificateAttr",
                            enabled(!skipSigningCertificateCheck));
    report->setTagAttribute("controlloSHA1Agosto2010", enabled(!skipAugust2010Check));
    report->setTagAttribute("controlloSHA1Luglio2011",
                            modeText(checkJuly2011Constraint, "debole", "forte"));
    report->setTagAttribute("controlloFirmeAnnidiate",
                            modeText(checkEncapsulatedSigs, "appiattito", "annidato"));
    // The retrieval mode matters only where this library checks CRLs itself.
    if (standAlone && (checkCRLPKCS7 || checkCRLTS || checkCACRL)) {
        const char* mode = downloadCRLText(downloadCRL);
        if (mode != nullptr) report->setTagAttribute("downloadCRL", mode);
    }
}

unsigned char Report::allVerdictsOK(XMLFile* report) {
    if (report == nullptr) return 0;
    xmlNodePtr root = xmlDocGetRootElement(report->_getDocument());
    if (root == nullptr) return 255;
    for (xmlNodePtr child = root->children; child != nullptr; child = child->next) {
        if (named(child, "status")) return 0;
        if (child->type != XML_ELEMENT_NODE) continue;
        int statuses = 0;
        if (!verdictsOK(child, &statuses, 0) || statuses == 0) return 0;
    }
    return 255;
}

void Report::insertNotices(XMLFile* report) {
    report->insertComment(kVendorNotice);
    report->insertComment(kAuthorNotice);
}
