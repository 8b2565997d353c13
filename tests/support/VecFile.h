// Test vectors as data: a .vec file holds blocks that start with "[kind]" and go on with
// "key = value" lines; "#" starts a comment line. Each block is one case with its expected
// result in the data.
#ifndef SIGILO_TESTS_VECFILE_H
#define SIGILO_TESTS_VECFILE_H

#include <map>
#include <string>
#include <vector>

struct VecCase {
    std::string kind;
    int line = 0;
    std::map<std::string, std::string> fields;

    bool has(const std::string& key) const { return fields.count(key) != 0; }
    // The value, or "" when absent; "-" in the file stands for an empty value.
    std::string get(const std::string& key) const;
    std::vector<unsigned char> hex(const std::string& key) const;
    // "kind at line N", for failure messages.
    std::string where() const;
};

std::vector<VecCase> readVecFile(const std::string& path);
std::vector<VecCase> casesOfKind(const std::vector<VecCase>& all, const std::string& kind);
std::vector<unsigned char> fromHex(const std::string& hex);
std::string toHex(const unsigned char* p, size_t n);

// A path under tests/data.
std::string testData(const std::string& relative);

#endif
