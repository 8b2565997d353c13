#include "support/ReportText.h"

std::string flatReport(const std::string& xml) {
    std::string out;
    for (char ch : xml) {
        if (ch != '\n') out += ch;
    }
    return out;
}

std::vector<std::string> valuesOf(const std::string& xml, const std::string& element) {
    std::vector<std::string> out;
    std::string open = "<" + element + ">", close = "</" + element + ">";
    for (size_t at = xml.find(open); at != std::string::npos; at = xml.find(open, at + 1)) {
        size_t from = at + open.size();
        out.push_back(xml.substr(from, xml.find(close, from) - from));
    }
    return out;
}

std::string joined(const std::vector<std::string>& parts) {
    std::string out;
    for (const std::string& p : parts) out += (out.empty() ? "" : "|") + p;
    return out;
}

std::vector<std::string> fragments(const std::string& list) {
    std::vector<std::string> out;
    size_t from = 0;
    while (!list.empty() && list != "-" && from <= list.size()) {
        size_t bar = list.find('|', from);
        out.push_back(list.substr(from, bar == std::string::npos ? bar : bar - from));
        if (bar == std::string::npos) break;
        from = bar + 1;
    }
    return out;
}
