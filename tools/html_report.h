// The report as a self-contained HTML page, for sigilo --html.
#ifndef SIGILO_TOOLS_HTML_REPORT_H
#define SIGILO_TOOLS_HTML_REPORT_H

#include <string>

// The stylesheet built into the tool (tools/report.xsl).
extern const char* const kReportStylesheet;

// Turns the XML report's text into the HTML page. False, with `error` saying why, when the
// report or the stylesheet does not parse or the transform fails.
bool reportToHTML(const std::string& reportXML, std::string* html, std::string* error);

// Writes the page to `path`; false with `error` set when it could not be written whole.
bool writeHTMLReport(const std::string& reportXML, const char* path, std::string* error);

#endif
