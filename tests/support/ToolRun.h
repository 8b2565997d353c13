// Runs the sigilo tool in a scratch folder of the test's own, as a user would.
#ifndef SIGILO_TESTS_SUPPORT_TOOLRUN_H
#define SIGILO_TESTS_SUPPORT_TOOLRUN_H

#include <string>
#include <vector>

// A scratch folder named after the running test, with "ca" (the engine test root imported)
// and "crl" (the root's cached CRL, so that no network is asked).
class ToolRun {
public:
    ToolRun();
    // Runs sigilo -c ca -r crl ARGS in the folder, standard output to out.txt and error to
    // err.txt; the exit status, or -1 if it did not exit.
    int sigilo(const std::string& arguments) const;
    std::string read(const std::string& name) const;
    std::string path(const std::string& name) const { return dir + "/" + name; }
    // A batch of files of every kind at hand, each quoted for the shell.
    static std::string batch();

    std::string dir;
};

std::string shellQuoted(const std::string& path);
int countOf(const std::string& text, const std::string& part);

#endif
