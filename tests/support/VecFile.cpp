#include "support/VecFile.h"

#include <fstream>
#include <stdexcept>

namespace {

std::string trim(const std::string& s) {
    size_t b = s.find_first_not_of(" \t\r");
    if (b == std::string::npos) return "";
    size_t e = s.find_last_not_of(" \t\r");
    return s.substr(b, e - b + 1);
}

}  // namespace

std::string VecCase::get(const std::string& key) const {
    auto it = fields.find(key);
    if (it == fields.end() || it->second == "-") return "";
    return it->second;
}

std::vector<unsigned char> VecCase::hex(const std::string& key) const { return fromHex(get(key)); }

std::string VecCase::where() const { return kind + " at line " + std::to_string(line); }

std::vector<VecCase> readVecFile(const std::string& path) {
    std::ifstream in(path);
    if (!in) throw std::runtime_error("cannot open " + path);
    std::vector<VecCase> cases;
    std::string line;
    int number = 0;
    while (std::getline(in, line)) {
        ++number;
        line = trim(line);
        if (line.empty() || line[0] == '#') continue;
        if (line[0] == '[' && line.back() == ']') {
            cases.push_back(VecCase{line.substr(1, line.size() - 2), number, {}});
            continue;
        }
        size_t eq = line.find('=');
        if (eq == std::string::npos || cases.empty()) {
            throw std::runtime_error(path + ":" + std::to_string(number) + ": bad line");
        }
        cases.back().fields[trim(line.substr(0, eq))] = trim(line.substr(eq + 1));
    }
    return cases;
}

std::vector<VecCase> casesOfKind(const std::vector<VecCase>& all, const std::string& kind) {
    std::vector<VecCase> out;
    for (const VecCase& c : all) {
        if (c.kind == kind) out.push_back(c);
    }
    return out;
}

std::vector<unsigned char> fromHex(const std::string& hex) {
    std::vector<unsigned char> out;
    int high = -1;
    for (char c : hex) {
        int v;
        if (c >= '0' && c <= '9') v = c - '0';
        else if (c >= 'a' && c <= 'f') v = c - 'a' + 10;
        else if (c >= 'A' && c <= 'F') v = c - 'A' + 10;
        else continue;
        if (high < 0) {
            high = v;
        } else {
            out.push_back(static_cast<unsigned char>(high * 16 + v));
            high = -1;
        }
    }
    return out;
}

std::string toHex(const unsigned char* p, size_t n) {
    static const char* digits = "0123456789abcdef";
    std::string out;
    for (size_t i = 0; i < n; ++i) {
        out += digits[p[i] >> 4];
        out += digits[p[i] & 15];
    }
    return out;
}

std::string testData(const std::string& relative) {
    return std::string(SIGILO_TEST_DATA) + "/" + relative;
}
