#include "audiofile/CBufferThread.h"

#include "audiofile/CAudioBuffer.h"
#include "audiofile/CWaveFile.h"

#include <QMutexLocker>

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
        QMutexLocker lock(&mLock);
        mStop = false;
        mMode = mode;
        mWave = wave;
        mJobs.append(buffer);
        startRun = !mActive;
        mActive = true;
        if (!startRun)
            mWake.wakeOne();
    }
    if (startRun) {
        wait(); // a run that has decided to leave is gone before the next begins
        start(QThread::InheritPriority);
    }
}

void CBufferThread::finish()
{
    {
        QMutexLocker lock(&mLock);
        mStop = true;
        mWake.wakeOne();
    }
    wait();
}

void CBufferThread::cancel()
{
    {
        QMutexLocker lock(&mLock);
        mJobs.clear();
    }
    finish();
}

bool CBufferThread::takeJob(QByteArray*& buffer)
{
    QMutexLocker lock(&mLock);
    while (mJobs.isEmpty()) {
        if (mStop) {
            mActive = false;
            return false;
        }
        mWake.wait(&mLock);
    }
    buffer = mJobs.takeFirst();
    return true;
}

void CBufferThread::run()
{
    int mode;
    CWaveFile* wave;
    {
        QMutexLocker lock(&mLock);
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
