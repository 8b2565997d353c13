// Runs a fuzz target once over every file of the given corpus folders or files, so that the
// corpus is replayed by the ordinary test run (and under the sanitizers in the sanitizer build).
#include <dirent.h>
#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

int replayFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        return 1;
    }
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                               std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    return 0;
}

int replay(const std::string& path, int* count) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) {
        std::fprintf(stderr, "no such corpus: %s\n", path.c_str());
        return 1;
    }
    if (!S_ISDIR(st.st_mode)) {
        ++*count;
        return replayFile(path);
    }
    DIR* dir = opendir(path.c_str());
    if (!dir) return 1;
    int failures = 0;
    while (dirent* entry = readdir(dir)) {
        std::string name = entry->d_name;
        if (name == "." || name == "..") continue;
        failures += replay(path + "/" + name, count);
    }
    closedir(dir);
    return failures;
}

}  // namespace

int main(int argc, char** argv) {
    int failures = 0, count = 0;
    for (int i = 1; i < argc; ++i) failures += replay(argv[i], &count);
    std::printf("replayed %d inputs\n", count);
    return failures == 0 ? 0 : 1;
}
