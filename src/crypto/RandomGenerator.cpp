#include "crypto/RandomGenerator.h"

#include <cstdlib>
#include <cstring>
#include <ctime>

unsigned char SystemRandomGenerator::initialized = 0;

void SystemRandomGenerator::seed() {
    if (initialized) return;
    srand48(static_cast<long>(time(nullptr)));
    initialized = 255;
}

long SystemRandomGenerator::random() {
    seed();
    return mrand48();
}

long SystemRandomGenerator::lrandom() {
    seed();
    return lrand48();
}

unsigned char* SystemRandomGenerator::random8() {
    seed();
    unsigned char* out = new unsigned char[8];
    for (int half = 0; half < 2; ++half) {
        unsigned int v = static_cast<unsigned int>(mrand48());
        for (int i = 0; i < 4; ++i) out[half * 4 + i] = static_cast<unsigned char>(v >> (8 * i));
    }
    return out;
}

void SystemRandomGenerator::random(unsigned char* out, unsigned int n) {
    for (unsigned int done = 0; done < n; done += 8) {
        unsigned char* group = random8();
        memcpy(out + done, group, n - done < 8 ? n - done : 8);
        delete[] group;
    }
}
