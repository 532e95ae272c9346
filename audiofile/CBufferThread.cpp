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

void CBufferThread::start(int mode, CWaveFile* wave)
{
    if (running())
        return;
    mMode = mode;
    mWave = wave;
    mThread = std::thread([this] { run(); });
    mRing->wakeDiskSide(); // whatever waits already
}

void CBufferThread::finish()
{
    end(stopFinish);
}

void CBufferThread::cancel()
{
    end(stopCancel);
}

void CBufferThread::end(tStop how)
{
    if (!running())
        return;
    mStop.store(how, std::memory_order_release);
    mRing->wakeDiskSide();
    mThread.join();
    mStop.store(stopNone, std::memory_order_relaxed);
    // Wakes the thread did not take stay counted in the ring's semaphore; the next run
    // takes them, and a wake that finds nothing moves nothing.
}

void CBufferThread::run()
{
    for (;;) {
        mRing->waitForWork();
        const int stop = mStop.load(std::memory_order_acquire);
        if (stop == stopCancel)
            return;
        moveWaiting(mMode, mWave, true);
        if (stop == stopFinish)
            return;
    }
}

void CBufferThread::moveWaiting(int mode, CWaveFile* wave, bool partial)
{
    for (CAudioBuffer::Span span = mRing->diskSpan(partial); span.size > 0; span = mRing->diskSpan(partial)) {
        if (mStop.load(std::memory_order_relaxed) == stopCancel)
            return;
        if (mHook)
            mHook();
        if (mode == modeRead)
            wave->readSamples(span.data, span.size);
        else
            wave->writeSamples(QByteArray::fromRawData(span.data, span.size));
        mRing->diskDone(span.size);
    }
}
