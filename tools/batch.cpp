// sigilo -j N: worker processes, one report.
//
// Each worker is a fork of the tool after init, the switches and the commands, so it judges
// with the same settings, CA list and CRL cache. Workers take the next file from a counter in
// shared memory, verify it into a report of their own and hand back the file's elements,
// serialised, in a file of a scratch folder named by the file's position. The parent then
// builds its report in the order of the arguments by parsing each file's elements back.
//
// A report must never differ because it was made in parallel. A worker therefore checks that
// its elements read back to the same text (a value that the XML text cannot carry, or an empty
// element text, would not), and that the file changed nothing but the root's children (a TSD
// of a detached document sets attributes on the root). Such a file, and any file a worker did
// not finish, is verified again by the parent in its place in the order, as a sequential run
// would.
#include "tools/batch.h"

#include <libxml/tree.h>
#include <sys/mman.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "frontend/Globals.h"
#include "frontend/Sigilo.h"
#include "tools/progress.h"
#include "verify/TrustStore.h"
#include "xml/SafeParse.h"
#include "xml/XMLFile.h"

namespace {

// The counters the workers share: the next file to take, and how many are done.
struct Shared {
    std::atomic<size_t> next;
    std::atomic<size_t> done;
};
static_assert(std::atomic<size_t>::is_always_lock_free, "counters shared across processes");

struct DocFree {
    void operator()(xmlDocPtr d) const { xmlFreeDoc(d); }
};

std::string dumpNode(xmlDocPtr doc, xmlNodePtr node) {
    std::string text;
    xmlBufferPtr buffer = xmlBufferCreate();
    if (buffer == nullptr) return text;
    if (xmlNodeDump(buffer, doc, node, 0, 0) >= 0) {
        text.assign(reinterpret_cast<const char*>(xmlBufferContent(buffer)),
                    static_cast<size_t>(xmlBufferLength(buffer)));
    }
    xmlBufferFree(buffer);
    return text;
}

// The root's attributes as one text, to tell whether a file changed them.
std::string rootAttributes(xmlNodePtr root) {
    std::string text;
    for (xmlAttrPtr a = root->properties; a != nullptr; a = a->next) {
        xmlChar* value = xmlNodeGetContent(reinterpret_cast<xmlNodePtr>(a));
        text += reinterpret_cast<const char*>(a->name);
        text += '=';
        if (value != nullptr) text += reinterpret_cast<const char*>(value);
        text += '\n';
        xmlFree(value);
    }
    return text;
}

// Parses a file's serialised elements, wrapped in one element; null if they don't parse.
xmlDocPtr parseElements(const std::string& elements) {
    std::string wrapped = "<f>" + elements + "</f>";
    return SafeParse::memory(wrapped.data(), wrapped.size());
}

// The serialised elements of a parsed wrapper, as dumpNode gives them.
std::string dumpChildren(xmlDocPtr doc) {
    std::string text;
    for (xmlNodePtr n = xmlDocGetRootElement(doc)->children; n != nullptr; n = n->next) {
        text += dumpNode(doc, n);
    }
    return text;
}

bool writeFile(const std::string& path, const std::string& text) {
    std::string temporary = path + ".part";
    FILE* file = fopen(temporary.c_str(), "w");
    if (file == nullptr) return false;
    bool ok = fwrite(text.data(), 1, text.size(), file) == text.size();
    ok = fclose(file) == 0 && ok;
    // Renamed only when whole: a worker that dies half-way leaves no elements behind.
    return ok && rename(temporary.c_str(), path.c_str()) == 0;
}

bool readFile(const std::string& path, std::string* text) {
    FILE* file = fopen(path.c_str(), "r");
    if (file == nullptr) return false;
    text->clear();
    char chunk[65536];
    size_t n;
    while ((n = fread(chunk, 1, sizeof chunk, file)) > 0) text->append(chunk, n);
    bool ok = !ferror(file);
    fclose(file);
    return ok;
}

std::string elementsPath(const std::string& folder, size_t index) {
    return folder + "/" + std::to_string(index) + ".xml";
}

// Verifies file `index` in a worker and hands back its elements; false when the parent must
// verify it itself.
bool verifyInWorker(const char* file, const char* path, bool extract, const std::string& target) {
    if (!sigilo::openReport() || sigilo::out == nullptr) return false;
    XMLFile* report = sigilo::out;
    xmlDocPtr doc = report->_getDocument();
    xmlNodePtr root = xmlDocGetRootElement(doc);
    if (root == nullptr) return false;
    xmlNodePtr last = root->last;
    std::string attributesBefore = rootAttributes(root);

    verifyDocuments(file, path, extract);

    if (sigilo::out != report || xmlDocGetRootElement(doc) != root) return false;
    bool same = rootAttributes(root) == attributesBefore;
    std::string elements;
    xmlNodePtr first = last != nullptr ? last->next : root->children;
    for (xmlNodePtr n = first; n != nullptr;) {
        xmlNodePtr next = n->next;
        elements += dumpNode(doc, n);
        // The worker's report keeps only its header; each file's elements leave with it.
        xmlUnlinkNode(n);
        xmlFreeNode(n);
        n = next;
    }
    if (!same) return false;
    std::unique_ptr<xmlDoc, DocFree> back(parseElements(elements));
    if (!back || dumpChildren(back.get()) != elements) return false;
    return writeFile(target, elements);
}

[[noreturn]] void runWorker(const std::vector<const char*>& files, const char* path, bool extract,
                            const std::string& folder, Shared* shared) {
    for (;;) {
        size_t index = shared->next.fetch_add(1);
        if (index >= files.size()) break;
        verifyInWorker(files[index], path, extract, elementsPath(folder, index));
        shared->done.fetch_add(1);
    }
    // What this worker fetched into the CRL cache is kept for the next run too.
    if (sigilo::standAlone && (sigilo::downloadCRL == 1 || sigilo::downloadCRL == 2) &&
        sigilo::cache != nullptr && sigilo::cache->isCRLCacheModified()) {
        sigilo::cache->saveCRLCache(sigilo::crlCacheName);
    }
    // No exit handlers and no stdio flush: the buffers are the parent's (flushed before the
    // fork), and the report is the parent's to print.
    _exit(0);
}

// Puts a file's elements under the parent's report root; false when they cannot be taken.
bool adoptElements(const std::string& elements) {
    if (!sigilo::openReport() || sigilo::out == nullptr) return false;
    std::unique_ptr<xmlDoc, DocFree> parsed(parseElements(elements));
    if (!parsed) return false;
    xmlDocPtr doc = sigilo::out->_getDocument();
    xmlNodePtr root = xmlDocGetRootElement(doc);
    if (root == nullptr) return false;
    // All copied first, then all added: a file's elements go in whole or not at all.
    std::vector<xmlNodePtr> copies;
    bool copied = true;
    for (xmlNodePtr n = xmlDocGetRootElement(parsed.get())->children; n != nullptr && copied;
         n = n->next) {
        xmlNodePtr copy = xmlDocCopyNode(n, doc, 1);
        copied = copy != nullptr;
        if (copied) copies.push_back(copy);
    }
    if (!copied) {
        for (xmlNodePtr c : copies) xmlFreeNode(c);
        return false;
    }
    for (xmlNodePtr c : copies) xmlAddChild(root, c);
    return true;
}

void removeFolder(const std::string& folder, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        std::string p = elementsPath(folder, i);
        unlink(p.c_str());
        unlink((p + ".part").c_str());
    }
    rmdir(folder.c_str());
}

void verifySequentially(const std::vector<const char*>& files, const char* path, bool extract,
                        Progress* progress) {
    size_t done = 0;
    for (const char* file : files) {
        verifyDocuments(file, path, extract);
        if (progress != nullptr) progress->update(++done);
    }
}

}  // namespace

void verifyBatch(const std::vector<const char*>& files, const char* path, bool extract,
                 unsigned jobs, Progress* progress) {
    if (progress != nullptr) progress->update(0);
    // A server out of reach ends the report before any file: that is the sequential road's.
    if (jobs <= 1 || files.size() < 2 || !sigilo::standAlone) {
        verifySequentially(files, path, extract, progress);
        if (progress != nullptr) progress->finish();
        return;
    }
    size_t workers = std::min<size_t>(jobs, files.size());
    const char* tmp = getenv("TMPDIR");
    std::string pattern = std::string(tmp != nullptr && *tmp ? tmp : "/tmp") + "/sigilo-j.XXXXXX";
    std::vector<char> folderName(pattern.begin(), pattern.end());
    folderName.push_back(0);
    void* memory =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (mkdtemp(folderName.data()) == nullptr || memory == MAP_FAILED) {
        if (memory != MAP_FAILED) munmap(memory, sizeof(Shared));
        verifySequentially(files, path, extract, progress);
        if (progress != nullptr) progress->finish();
        return;
    }
    std::string folder = folderName.data();
    Shared* shared = new (memory) Shared{};

    fflush(stdout);
    fflush(stderr);
    std::vector<pid_t> pids;
    for (size_t i = 0; i < workers; ++i) {
        pid_t pid = fork();
        if (pid == 0) runWorker(files, path, extract, folder, shared);
        if (pid < 0) break;  // fewer workers; the parent picks up whatever is left
        pids.push_back(pid);
    }
    // Waits for the workers, showing how many files are done.
    size_t running = pids.size();
    while (running > 0) {
        int status = 0;
        pid_t pid = waitpid(-1, &status, WNOHANG);
        if (pid > 0) {
            --running;
        } else if (pid < 0 && errno != EINTR) {
            break;
        } else {
            if (progress != nullptr) progress->update(shared->done.load());
            usleep(50 * 1000);
        }
    }

    // The report in the order of the arguments; what no worker handed back is verified here.
    size_t done = 0;
    for (size_t i = 0; i < files.size(); ++i) {
        std::string elements;
        if (!readFile(elementsPath(folder, i), &elements) || !adoptElements(elements)) {
            verifyDocuments(files[i], path, extract);
        }
        if (progress != nullptr) progress->update(std::max(++done, shared->done.load()));
    }
    removeFolder(folder, files.size());
    munmap(memory, sizeof(Shared));
    if (progress != nullptr) progress->finish();
}
