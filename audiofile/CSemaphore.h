#pragma once
// A counting semaphore over POSIX sem_t: post() never blocks and takes no lock (an atomic
// increment, and a futex wake only when a waiter sleeps), so the audio thread may call it.

#include <semaphore.h>

class CSemaphore {
public:
    CSemaphore() { sem_init(&mSemaphore, 0, 0); }
    ~CSemaphore() { sem_destroy(&mSemaphore); }
    CSemaphore(const CSemaphore&) = delete;
    CSemaphore& operator=(const CSemaphore&) = delete;

    void post() { sem_post(&mSemaphore); }
    // Sleeps until a post arrives (or the process takes a signal).
    void wait()
    {
        while (sem_wait(&mSemaphore) != 0) {
        }
    }

private:
    sem_t mSemaphore;
};
