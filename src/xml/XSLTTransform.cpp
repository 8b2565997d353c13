// XSLTTransform: libxslt under forbidding security preferences.
#include "xml/XSLTTransform.h"

#include <libxml/xpath.h>
#include <libxslt/security.h>
#include <libxslt/transform.h>
#include <libxslt/xsltInternals.h>
#include <libxslt/xsltutils.h>

#include <cstring>
#include <memory>
#include <mutex>

#include "xml/SafeParse.h"
#include "xml/XPathEval.h"

namespace {

// Deep enough for honest recursive templates, shallow enough to end quickly.
constexpr int kMaxTemplateDepth = 200;
constexpr int kMaxTemplateVars = 2000;

xsltSecurityPrefsPtr forbidAll() {
    xsltSecurityPrefsPtr prefs = xsltNewSecurityPrefs();
    if (prefs == nullptr) return nullptr;
    const xsltSecurityOption options[] = {XSLT_SECPREF_READ_FILE, XSLT_SECPREF_WRITE_FILE,
                                          XSLT_SECPREF_CREATE_DIRECTORY, XSLT_SECPREF_READ_NETWORK,
                                          XSLT_SECPREF_WRITE_NETWORK};
    for (xsltSecurityOption o : options) xsltSetSecurityPrefs(prefs, o, xsltSecurityForbid);
    return prefs;
}

// The preferences shared by every transform. They are also made the process default, because
// libxslt consults only the default while it loads xsl:import and xsl:include, before any
// transform context exists.
xsltSecurityPrefsPtr sharedPrefs() {
    static std::once_flag once;
    static xsltSecurityPrefsPtr prefs = nullptr;
    std::call_once(once, [] {
        prefs = forbidAll();
        if (prefs != nullptr) xsltSetDefaultSecurityPrefs(prefs);
    });
    return prefs;
}

struct DocFree {
    void operator()(xmlDocPtr d) const { xmlFreeDoc(d); }
};
struct StyleFree {
    void operator()(xsltStylesheetPtr s) const { xsltFreeStylesheet(s); }
};
struct ContextFree {
    void operator()(xsltTransformContextPtr c) const { xsltFreeTransformContext(c); }
};

void quiet(void*, const char*, ...) {}

// Applies a parsed stylesheet to the document `input` parses to, under the shared preferences;
// `bounded` adds the template-depth and XPath budgets that outside stylesheets get.
bool run(xsltStylesheetPtr style, xsltSecurityPrefsPtr prefs, const std::string& input,
         bool bounded, std::string* output) {
    std::unique_ptr<xmlDoc, DocFree> in(SafeParse::memory(input.data(), input.size()));
    if (!in) return false;
    std::unique_ptr<xsltTransformContext, ContextFree> context(
        xsltNewTransformContext(style, in.get()));
    if (!context || xsltSetCtxtSecurityPrefs(prefs, context.get()) != 0) return false;
    if (bounded) {
        context->maxTemplateDepth = kMaxTemplateDepth;
        context->maxTemplateVars = kMaxTemplateVars;
    }
    if (bounded && context->xpathCtxt != nullptr) {
        // One budget for the whole transform: the count is never reset between expressions.
        context->xpathCtxt->opLimit = XPathEval::kOpLimit;
        context->xpathCtxt->opCount = 0;
    }
    std::unique_ptr<xmlDoc, DocFree> result(
        xsltApplyStylesheetUser(style, in.get(), nullptr, nullptr, nullptr, context.get()));
    if (!result || context->state != XSLT_STATE_OK) return false;
    xmlChar* bytes = nullptr;
    int size = 0;
    if (xsltSaveResultToString(&bytes, &size, result.get(), style) != 0) {
        xmlFree(bytes);
        return false;
    }
    if (bytes != nullptr && size > 0) output->assign(reinterpret_cast<const char*>(bytes), size);
    xmlFree(bytes);
    return true;
}

}  // namespace

namespace XSLTTransform {

bool apply(xmlNodePtr stylesheet, const std::string& input, std::string* output) {
    output->clear();
    xsltSecurityPrefsPtr prefs = sharedPrefs();
    if (stylesheet == nullptr || prefs == nullptr) return false;
    xsltSetGenericErrorFunc(nullptr, quiet);

    // The stylesheet element as it is written, parsed on its own: declarations inherited from
    // the signature around it (its default namespace above all) don't reach into the stylesheet,
    // which is how other verifiers read it too.
    xmlBufferPtr text = xmlBufferCreate();
    if (text == nullptr) return false;
    xmlNodeDump(text, stylesheet->doc, stylesheet, 0, 0);
    std::unique_ptr<xmlDoc, DocFree> sheetDoc(SafeParse::memory(
        reinterpret_cast<const char*>(xmlBufferContent(text)), xmlBufferLength(text)));
    xmlBufferFree(text);
    if (!sheetDoc) return false;
    std::unique_ptr<xsltStylesheet, StyleFree> style(xsltParseStylesheetDoc(sheetDoc.get()));
    if (!style) return false;
    sheetDoc.release();  // the stylesheet owns it now

    return run(style.get(), prefs, input, true, output);
}

bool applyOwn(const char* stylesheet, const std::string& input, std::string* output) {
    output->clear();
    xsltSecurityPrefsPtr prefs = sharedPrefs();
    if (stylesheet == nullptr || prefs == nullptr) return false;
    xsltSetGenericErrorFunc(nullptr, quiet);
    std::unique_ptr<xmlDoc, DocFree> sheetDoc(SafeParse::memory(stylesheet, strlen(stylesheet)));
    if (!sheetDoc) return false;
    std::unique_ptr<xsltStylesheet, StyleFree> style(xsltParseStylesheetDoc(sheetDoc.get()));
    if (!style) return false;
    sheetDoc.release();  // the stylesheet owns it now
    return run(style.get(), prefs, input, false, output);
}

}  // namespace XSLTTransform
