#include "net/Semaphore.h"

#include <cerrno>

Semaphore::Semaphore() : Semaphore(0, 1) {}

Semaphore::Semaphore(int shared, int value) {
    sem_init(&semaphore, shared, static_cast<unsigned int>(value < 0 ? 0 : value));
}

Semaphore::~Semaphore() { sem_destroy(&semaphore); }

int Semaphore::wait() {
    int result;
    // A signal does not release the caller without the semaphore.
    while ((result = sem_wait(&semaphore)) != 0 && errno == EINTR) {
    }
    return result;
}

int Semaphore::post() { return sem_post(&semaphore); }

int Semaphore::trywait() { return sem_trywait(&semaphore); }
