// The trusted CAs of the loaded list, one line each, for sigilo --list-ca.
#ifndef SIGILO_TOOLS_LIST_CA_H
#define SIGILO_TOOLS_LIST_CA_H

#include <cstdio>

// Prints every certificate of the list; the number printed.
int listTrustedCAs(FILE* out);

#endif
