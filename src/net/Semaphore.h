// Semaphore: a POSIX semaphore; the system uses Semaphore(0, 1), a binary semaphore private to
// the process.
#ifndef SIGILO_NET_SEMAPHORE_H
#define SIGILO_NET_SEMAPHORE_H

#include <semaphore.h>

class Semaphore {
public:
    Semaphore();
    Semaphore(int shared, int value);
    ~Semaphore();

    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    int wait();
    int post();
    // 0 when taken, -1 (errno EAGAIN) when the count is zero.
    int trywait();

private:
    sem_t semaphore;
};

#endif
