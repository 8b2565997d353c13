// sigilo --html: the XML report through the built-in stylesheet.
//
// The stylesheet is the tool's own and the report is the engine's own, but the report carries
// text taken from the signed files (names, file names), so both are parsed without network or
// entities and the transform runs with libxslt's security preferences forbidding every file
// and network access: the page can only be made from the report.
#include "tools/html_report.h"

#include <libxml/parser.h>
#include <libxslt/security.h>
#include <libxslt/transform.h>
#include <libxslt/xsltInternals.h>
#include <libxslt/xsltutils.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "xml/SafeParse.h"

namespace {

struct DocFree {
    void operator()(xmlDocPtr d) const { xmlFreeDoc(d); }
};
struct StyleFree {
    void operator()(xsltStylesheetPtr s) const { xsltFreeStylesheet(s); }
};
struct ContextFree {
    void operator()(xsltTransformContextPtr c) const { xsltFreeTransformContext(c); }
};
struct PrefsFree {
    void operator()(xsltSecurityPrefsPtr p) const { xsltFreeSecurityPrefs(p); }
};

void quiet(void*, const char*, ...) {}

}  // namespace

bool reportToHTML(const std::string& reportXML, std::string* html, std::string* error) {
    html->clear();
    xsltSetGenericErrorFunc(nullptr, quiet);
    std::unique_ptr<xsltSecurityPrefs, PrefsFree> prefs(xsltNewSecurityPrefs());
    if (!prefs) {
        *error = "memoria insufficiente";
        return false;
    }
    for (xsltSecurityOption o :
         {XSLT_SECPREF_READ_FILE, XSLT_SECPREF_WRITE_FILE, XSLT_SECPREF_CREATE_DIRECTORY,
          XSLT_SECPREF_READ_NETWORK, XSLT_SECPREF_WRITE_NETWORK}) {
        xsltSetSecurityPrefs(prefs.get(), o, xsltSecurityForbid);
    }
    std::unique_ptr<xmlDoc, DocFree> sheetDoc(
        SafeParse::memory(kReportStylesheet, strlen(kReportStylesheet)));
    std::unique_ptr<xsltStylesheet, StyleFree> style;
    if (sheetDoc) style.reset(xsltParseStylesheetDoc(sheetDoc.get()));
    if (!style) {
        *error = "foglio di stile non valido";
        return false;
    }
    sheetDoc.release();  // the stylesheet owns its document now

    std::unique_ptr<xmlDoc, DocFree> report(SafeParse::memory(reportXML.data(), reportXML.size()));
    if (!report) {
        *error = "rapporto XML non leggibile";
        return false;
    }
    std::unique_ptr<xsltTransformContext, ContextFree> context(
        xsltNewTransformContext(style.get(), report.get()));
    if (!context || xsltSetCtxtSecurityPrefs(prefs.get(), context.get()) != 0) {
        *error = "memoria insufficiente";
        return false;
    }
    std::unique_ptr<xmlDoc, DocFree> page(xsltApplyStylesheetUser(
        style.get(), report.get(), nullptr, nullptr, nullptr, context.get()));
    if (!page || context->state != XSLT_STATE_OK) {
        *error = "trasformazione non riuscita";
        return false;
    }
    xmlChar* bytes = nullptr;
    int size = 0;
    if (xsltSaveResultToString(&bytes, &size, page.get(), style.get()) != 0 || bytes == nullptr) {
        xmlFree(bytes);
        *error = "trasformazione non riuscita";
        return false;
    }
    html->assign(reinterpret_cast<const char*>(bytes), static_cast<size_t>(size));
    xmlFree(bytes);
    return true;
}

bool writeHTMLReport(const std::string& reportXML, const char* path, std::string* error) {
    std::string html;
    if (!reportToHTML(reportXML, &html, error)) return false;
    FILE* file = fopen(path, "w");
    if (file == nullptr) {
        *error = strerror(errno);
        return false;
    }
    bool ok = fwrite(html.data(), 1, html.size(), file) == html.size();
    ok = fclose(file) == 0 && ok;
    if (!ok) *error = "scrittura non riuscita";
    return ok;
}
