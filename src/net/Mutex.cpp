#include "net/Mutex.h"

Mutex::Mutex() { pthread_mutex_init(&mutex, nullptr); }

Mutex::Mutex(pthread_mutexattr_t* attributes) { pthread_mutex_init(&mutex, attributes); }

Mutex::~Mutex() { pthread_mutex_destroy(&mutex); }

int Mutex::lock() { return pthread_mutex_lock(&mutex); }

int Mutex::unlock() { return pthread_mutex_unlock(&mutex); }

int Mutex::trylock() { return pthread_mutex_trylock(&mutex); }
