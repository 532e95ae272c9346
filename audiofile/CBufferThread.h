#pragma once
// The disk side of a streaming file: moves the ring's stretches to or from the wave
// file, in ring order. Its thread sleeps until the block side wakes it through the
// ring's semaphore, then moves whatever waits (a recording's partial buffer too, so that
// a crash loses at most a flush span). finish() lets the thread move everything left,
// cancel() ends it after the stretch in hand. A node without a thread of its own calls
// moveWaiting() on its own thread instead.

#include <atomic>
#include <functional>
#include <thread>

class CAudioBuffer;
class CWaveFile;

class CBufferThread {
public:
    enum tMode { modeWrite = 0, modeRead = 1 };

    explicit CBufferThread(CAudioBuffer* ring);
    ~CBufferThread();
    CBufferThread(const CBufferThread&) = delete;
    CBufferThread& operator=(const CBufferThread&) = delete;

    // Starts the thread with the caller's priority; nothing when it runs already.
    void start(int mode, CWaveFile* wave);
    // Lets the thread move every stretch left, then waits for it to end.
    void finish();
    // Ends the thread after the stretch in hand and waits for it.
    void cancel();
    bool running() const { return mThread.joinable(); }

    // Moves every stretch the ring offers now, on the calling thread; a recording's
    // partial buffer too with `partial`. Not while the thread runs.
    void moveWaiting(int mode, CWaveFile* wave, bool partial);

    // Test seam: runs on the disk side before each stretch it moves, so that a test can
    // make the disk slow or hold it. Set while the thread is not running.
    void setDiskHook(std::function<void()> hook) { mHook = std::move(hook); }

private:
    enum tStop { stopNone, stopFinish, stopCancel };

    void run();
    void end(tStop how);

    CAudioBuffer* mRing;
    std::thread mThread;
    int mMode = modeWrite;
    CWaveFile* mWave = nullptr;
    std::atomic<int> mStop{stopNone};
    std::function<void()> mHook;
};
