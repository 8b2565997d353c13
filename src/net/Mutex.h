// Mutex: a pthread mutex.
#ifndef SIGILO_NET_MUTEX_H
#define SIGILO_NET_MUTEX_H

#include <pthread.h>

class Mutex {
public:
    Mutex();
    explicit Mutex(pthread_mutexattr_t* attributes);
    ~Mutex();

    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    int lock();
    int unlock();
    // 0 when the mutex was taken, EBUSY when another thread holds it.
    int trylock();

private:
    pthread_mutex_t mutex;
};

// Holds a Mutex for the life of a scope.
class MutexLock {
public:
    explicit MutexLock(Mutex& m) : mutex(m) { mutex.lock(); }
    ~MutexLock() { mutex.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& mutex;
};

#endif
