#pragma once
// The disk thread of a streaming file: moves whole ring buffers to or from the wave file,
// in the order they were posted. It hands each buffer back to the ring itself when its
// transfer is done, so that no completion can arrive after a stop or a seek. The job
// list is guarded by standard library primitives, which the thread sanitizer follows
// through a wait.

#include <QByteArray>
#include <QList>
#include <QThread>

#include <condition_variable>
#include <mutex>

class CAudioBuffer;
class CWaveFile;

class CBufferThread : public QThread {
public:
    enum tMode { modeWrite = 0, modeRead = 1 };

    explicit CBufferThread(CAudioBuffer* ring);
    ~CBufferThread() override;

    // Queues one buffer; starts the thread with the caller's priority, or wakes it.
    void post(int mode, CWaveFile* wave, QByteArray* buffer);
    // Lets the thread finish every posted job, then waits for it to end.
    void finish();
    // Drops the jobs not begun yet, then waits for the thread to end.
    void cancel();

protected:
    void run() override;

private:
    bool takeJob(QByteArray*& buffer);

    int mMode = modeWrite;
    CWaveFile* mWave = nullptr;
    CAudioBuffer* mRing;
    QList<QByteArray*> mJobs;
    bool mStop = false;
    bool mActive = false; // between a start and the run's decision to leave
    std::mutex mLock;
    std::condition_variable mWake;
};
