#include "audiofile/CBufferThread.h"

#include "audiofile/CAudioBuffer.h"
#include "audiofile/CWaveFile.h"


CBufferThread::CBufferThread(CAudioBuffer* ring)
    : mRing(ring)
{
}

CBufferThread::~CBufferThread()
{
    finish();
}

void CBufferThread::post(int mode, CWaveFile* wave, QByteArray* buffer)
{
    bool startRun = false;
    {
        std::unique_lock lock(mLock);
        mStop = false;
        mMode = mode;
        mWave = wave;
        mJobs.append(buffer);
        startRun = !mActive;
        mActive = true;
        if (!startRun)
            mWake.notify_one();
    }
    if (startRun) {
        wait(); // a run that has decided to leave is gone before the next begins
        start(QThread::InheritPriority);
    }
}

void CBufferThread::finish()
{
    {
        std::unique_lock lock(mLock);
        mStop = true;
        mWake.notify_one();
    }
    wait();
}

void CBufferThread::cancel()
{
    {
        std::unique_lock lock(mLock);
        mJobs.clear();
    }
    finish();
}

bool CBufferThread::takeJob(QByteArray*& buffer)
{
    std::unique_lock lock(mLock);
    while (mJobs.isEmpty()) {
        if (mStop) {
            mActive = false;
            return false;
        }
        mWake.wait(lock);
    }
    buffer = mJobs.takeFirst();
    return true;
}

void CBufferThread::run()
{
    int mode;
    CWaveFile* wave;
    {
        std::unique_lock lock(mLock);
        mode = mMode;
        wave = mWave;
    }
    QByteArray* buffer = nullptr;
    while (takeJob(buffer)) {
        if (mode == modeRead)
            wave->readSamples(*buffer);
        else
            wave->writeSamples(*buffer);
        mRing->finishJob();
    }
}
