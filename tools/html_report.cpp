// sigilo --html: the XML report through the built-in stylesheet.
//
// The stylesheet is the tool's own and the report is the engine's own, but the report carries
// text taken from the signed files (names, file names), so the transform is the one signatures
// get: no network, no entities, no file or network access from the stylesheet.
#include "tools/html_report.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "xml/XSLTTransform.h"

bool reportToHTML(const std::string& reportXML, std::string* html, std::string* error) {
    if (!XSLTTransform::applyOwn(kReportStylesheet, reportXML, html)) {
        *error = "trasformazione non riuscita";
        return false;
    }
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
