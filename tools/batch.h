// A batch of files into the one report, in the order of the arguments: in this process, or
// shared among worker processes (sigilo -j N) with the same report, byte for byte.
#ifndef SIGILO_TOOLS_BATCH_H
#define SIGILO_TOOLS_BATCH_H

#include <vector>

class Progress;

// Verifies every file into the report (verifyDocuments each, with `path` and `extract`). With
// `jobs` above 1 and more than one file, the files are shared among that many worker processes
// and their report elements are put in the report in the order of `files`; a file whose
// elements a worker could not hand back exactly (or whose worker died) is verified again here.
void verifyBatch(const std::vector<const char*>& files, const char* path, bool extract,
                 unsigned jobs, Progress* progress);

#endif
