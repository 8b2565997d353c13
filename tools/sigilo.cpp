// sigilo: the command-line tool over libsigilo. Until the verification front end is in place it
// only answers -V/--version and -h/--help.
#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "-V") == 0 || strcmp(argv[i], "--version") == 0) {
            printf("sigilo 0.1.0\n");
            return 0;
        }
    }
    fprintf(stderr, "usage: sigilo [options] FILE [FILE...]\n");
    return 2;
}
