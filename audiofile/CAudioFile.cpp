#include "audiofile/CAudioFile.h"

#include "core/primitives/ipps.h"

#include <QMutexLocker>

#include <algorithm>
#include <cmath>
#include <new>
#include <thread>
#include <vector>

namespace {

enum tObjectParameter { paramFilename = 0, paramStartSample = 1, objectParamCount };
enum tChannelParameter { paramStart = 0, paramStop = 1, paramPause = 2, paramPosition = 3, channelParamCount };

const vkParameterName objectNames[objectParamCount] = {"filename", "startsample"};
const int objectSizes[objectParamCount] = {33, 1};
const int objectTypes[objectParamCount] = {vkTypeString, vkTypeInt};

const vkParameterName channelNames[channelParamCount] = {"start", "stop", "pause", "position"};
const int channelSizes[channelParamCount] = {1, 1, 1, 1};
const int channelTypes[channelParamCount] = {vkTypeBool, vkTypeBool, vkTypeBool, vkTypeInt};

constexpr float recordingScale = 8388608.0f; // 2^23: full scale of 24-bit samples

} // namespace

CAudioFile::CAudioFile(QObject* parent)
    : QObject(parent)
    , mBuffer(new CAudioBuffer)
    , mWave(new CWaveFile)
    , mThread(new CBufferThread(mBuffer))
{
    mVersion = 10100;
    setObjectParameterTable(objectNames, objectSizes, objectTypes, objectParamCount);
    setChannelParameterTable(channelNames, channelSizes, channelTypes, channelParamCount);
    mHandOver.setInterval(handOverIntervalMs);
    connect(&mHandOver, &QTimer::timeout, this, &CAudioFile::checkQueue);
    stopFile();
}

CAudioFile::~CAudioFile()
{
    stopFile();
    delete mThread;
    delete mWave;
    delete mBuffer;
    ippsFree(mSpareChannel);
    delete[] mChannelTable;
}

// ---- the object contract ----

int CAudioFile::setFormat(const vkAudioInterface& in, const vkAudioInterface& out)
{
    if (mStarted || mTransport != transportStopped)
        return vkErrStarted;
    const bool both = in.channels() > 0 && out.channels() > 0;
    const int frames = in.channels() > 0 ? in.frameLength() : out.channels() > 0 ? out.frameLength() : 0;
    float* spare = frames > 0 ? ippsMalloc_32f(frames) : nullptr;
    const int mode = mMode.load(std::memory_order_relaxed);
    setMode(modeNoFile);
    vkAudioClass::setFormat(in, out);
    std::swap(spare, mSpareChannel);
    mMode.store(mode, std::memory_order_seq_cst);
    ippsFree(spare);
    if (both && in.frameLength() != out.frameLength())
        return vkErrFormat;
    if (frames == 0)
        return vkOk;
    if (!mSpareChannel)
        return vkErrOutOfMemory;
    return mBuffer->setFrames(frames);
}

int CAudioFile::process(float** in, float** out, int frames)
{
    if (!mConfigured)
        return vkErrNotConfigured;
    mInBlock.store(true, std::memory_order_seq_cst);
    const int mode = mMode.load(std::memory_order_seq_cst);
    int result = vkOk;
    // The ring holds whole blocks: only the configured length keeps buffers aligned.
    if (mode != modeNoFile && frames != mBuffer->frames())
        result = vkErrFormat;
    else if (mode == modeRecording)
        mBuffer->writeBlock(in); // a recording node produces no output
    else if (mode == modePlaying)
        playBlock(out);
    mInBlock.store(false, std::memory_order_release);
    return result;
}

void CAudioFile::playBlock(float** out)
{
    const int outputs = mOutFormat.channels();
    const int frames = mBuffer->frames();
    if (position() > mNumSamples) {
        for (int channel = 0; channel < outputs; ++channel)
            ippsZero_32f(out[channel], frames);
        return;
    }
    if (mChannels <= outputs) {
        mBuffer->readBlock(out);
        for (int channel = mChannels; channel < outputs; ++channel)
            ippsZero_32f(out[channel], frames);
        return;
    }
    // File channels without an output go to the spare sink.
    for (int channel = 0; channel < mChannels; ++channel)
        mChannelTable[channel] = channel < outputs ? out[channel] : mSpareChannel;
    mBuffer->readBlock(mChannelTable);
}

int CAudioFile::setObjectParameter(int, int id, const void* data, int count, int type)
{
    if (mStarted)
        return vkErrStarted;
    if (id == paramFilename) {
        // Room for the characters and a terminator of either width.
        std::vector<char> copy(std::size_t(2 * std::max(count, 0) + 2), '\0');
        if (copyParameter(data, paramFilename, copy.data(), count, type, false) != vkOk)
            return vkErrFileName;
        const QString name = type == vkTypeWString
                                 ? QString::fromUtf16(reinterpret_cast<const char16_t*>(copy.data()))
                                 : QString::fromLocal8Bit(copy.data());
        const int inputs = mInFormat.channels();
        const int outputs = mOutFormat.channels();
        if (inputs > 0 && outputs == 0)
            return openFile(name, modeRecording);
        if (outputs > 0 && inputs == 0)
            return openFile(name, modePlaying);
        return fileErrDirection;
    }
    if (id == paramStartSample) {
        std::int32_t frame = 0;
        const int result = copyParameter(data, paramStartSample, &frame, count, type, false);
        if (result == vkOk)
            setStartSample(frame);
        return result;
    }
    return vkErrFileParameterId;
}

int CAudioFile::getObjectParameter(int, int id, void* data, int count, int type)
{
    if (id == paramFilename) {
        const QByteArray name = mWave->fileName().toLocal8Bit().left(std::max(count, 0));
        return copyParameter(name.constData(), paramFilename, data, int(name.size()), type, false);
    }
    if (id == paramStartSample)
        return copyParameter(&mStartSample, paramStartSample, data, count, type, false);
    return vkErrParameterId;
}

int CAudioFile::setChannelParameter(int, int id, const void* data, int count, int type)
{
    if (id < 0 || id >= channelParamCount)
        return vkErrParameterId;
    std::int32_t frame = 0;
    bool flag = false;
    void* value = id == paramPosition ? static_cast<void*>(&frame) : static_cast<void*>(&flag);
    const int result = copyParameter(data, id, value, count, type, true);
    if (result != vkOk)
        return result;
    switch (id) {
    case paramStart:
        return startFile(flag);
    case paramStop:
        return stopFile();
    case paramPause:
        return pauseFile();
    default:
        return seekFile(frame);
    }
}

int CAudioFile::getChannelParameter(int, int id, void* data, int count, int type)
{
    if (id < 0 || id >= channelParamCount)
        return vkErrParameterId;
    if (id == paramPosition) {
        const std::int32_t frame = position();
        return copyParameter(&frame, id, data, count, type, true);
    }
    const int state[] = {transportRunning, transportStopped, transportPaused};
    const bool flag = mTransport == state[id];
    return copyParameter(&flag, id, data, count, type, true);
}

// ---- opening ----

int CAudioFile::openFile(const QString& name, int mode)
{
    if (mode == modeRecording) {
        if (mInFormat.channels() < 1)
            return fileErrNoChannels;
        return openForRecording(name, mInFormat.channels(), int(mInFormat.sampleRate()), mPeakBlockSize);
    }
    if (mode == modePlaying) {
        if (mOutFormat.channels() < 1)
            return fileErrNoChannels;
        return openForPlaying(name);
    }
    return fileErrOpen;
}

// The block side reads the mode first thing; once this returns, no block that saw the
// old mode is still inside.
void CAudioFile::setMode(int mode)
{
    mMode.store(mode, std::memory_order_seq_cst);
    waitForBlockSide();
}

void CAudioFile::stopBlockSide()
{
    mBuffer->setStopped(true);
    waitForBlockSide();
}

// The wait is one block at most, and on the control side only.
void CAudioFile::waitForBlockSide() const
{
    while (mInBlock.load(std::memory_order_seq_cst))
        std::this_thread::yield();
}

int CAudioFile::openForRecording(const QString& name, int channels, int rate, int levlBlockSize)
{
    stopFile(); // a take still running is finished, never dropped
    QMutexLocker lock(&mLock);
    setMode(modeNoFile);
    mSampleType = CAudioBuffer::sampleInteger;
    mBytesPerSample = 3;
    mSampleRate = rate;
    mChannels = channels;
    mLevlBlockSize = levlBlockSize;
    mBuffer->setScale(recordingScale);
    mBuffer->setPeakBlockSize(levlBlockSize);
    const int result = mBuffer->setFileFormat(mSampleType, mBytesPerSample, rate, channels);
    if (result != vkOk)
        return result;
    const int created = mWave->create(name, channels, rate, waveTagPcm, mBytesPerSample, levlBlockSize, true);
    if (created != waveOk)
        return created == waveErrExists ? fileErrExists : fileErrCreate;
    setMode(modeRecording);
    return vkOk;
}

int CAudioFile::openForPlaying(const QString& name)
{
    stopFile();
    QMutexLocker lock(&mLock);
    setMode(modeNoFile);
    int channels = 0, rate = 0, tag = 0, bytes = 0, levl = 0;
    if (mWave->openExisting(name, channels, rate, tag, bytes, levl) != waveOk)
        return fileErrOpen;
    mChannels = channels;
    mSampleRate = rate;
    return configurePlaying(tag, bytes, levl);
}

int CAudioFile::configurePlaying(int formatTag, int bytesPerSample, int levlBlockSize)
{
    int result = vkOk;
    float scale = 1.0f;
    if (formatTag == waveTagFloat) {
        mSampleType = CAudioBuffer::sampleFloat;
        mBytesPerSample = 4;
    } else {
        // Anything but PCM is refused, but stays open and is read as integers.
        if (formatTag != waveTagPcm)
            result = fileErrFormatTag;
        mSampleType = CAudioBuffer::sampleInteger;
        mBytesPerSample = bytesPerSample;
        scale = bytesPerSample > 0 ? std::ldexp(1.0f, 8 * bytesPerSample - 1) : 0.0f;
    }
    mLevlBlockSize = levlBlockSize;
    mBuffer->setScale(scale);
    mBuffer->setPeakBlockSize(0); // the envelope is made by recordings only
    const int ring = mBuffer->setFileFormat(mSampleType, mBytesPerSample, mSampleRate, mChannels);
    delete[] mChannelTable;
    mChannelTable = new (std::nothrow) float*[std::size_t(std::max(mChannels, 1))];
    if (ring != vkOk || !mChannelTable)
        return vkErrOutOfMemory;
    mNumSamples = std::int32_t(mWave->numFrames());
    mStartSample = 0;
    rewindTo(0);
    setMode(modePlaying);
    return result;
}

// ---- transport ----

int CAudioFile::startFile(bool useThread)
{
    QMutexLocker lock(&mLock);
    if (mode() == modeNoFile || !mWave->isOpen())
        return vkOk; // nothing to run
    mUseBufferThread = useThread;
    const bool recording = mode() == modeRecording;
    if (mTransport == transportStopped) {
        if (recording)
            mWave->stampLevl(); // the take's time stamp says when it began
        else
            mBuffer->primeAll();
    }
    runDiskSide(recording ? CBufferThread::modeWrite : CBufferThread::modeRead);
    mBuffer->setStopped(false);
    mTransport = transportRunning;
    return vkOk;
}

// The disk thread, or the main thread on the timer; what the thread leaves behind at a
// switch goes first. Playing's first fill happens here, before the block side starts.
// A take is durable with the thread: the live case, where a crash must not cost the
// take. Without it the host (an offline render) writes under a temporary name, and
// syncing would only slow it down. The file changes hands only while no thread runs.
void CAudioFile::runDiskSide(int diskMode)
{
    const bool recording = diskMode == CBufferThread::modeWrite;
    if (mUseBufferThread) {
        mHandOver.stop();
        if (recording && !mThread->running())
            mWave->setDurable(true);
        mThread->start(diskMode, mWave);
        return;
    }
    mThread->finish();
    if (recording)
        mWave->setDurable(false);
    mThread->moveWaiting(diskMode, mWave, false);
    mHandOver.start();
}

int CAudioFile::pauseFile()
{
    QMutexLocker lock(&mLock);
    if (mTransport == transportRunning) {
        // Waits for a block in flight, so that the position no longer moves on return.
        stopBlockSide();
        mTransport = transportPaused;
    }
    return vkOk;
}

int CAudioFile::stopFile()
{
    QMutexLocker lock(&mLock);
    stopBlockSide();
    mHandOver.stop();
    if (mode() == modeRecording && mWave->isOpen()) {
        // Everything the ring holds goes to the file in ring order, the partial buffer last.
        mThread->finish();
        mThread->moveWaiting(CBufferThread::modeWrite, mWave, true);
        finishRecording();
    } else {
        mThread->cancel();
        if (mode() == modePlaying && mWave->isOpen())
            rewindTo(mStartSample);
    }
    mTransport = transportStopped;
    return vkOk;
}

void CAudioFile::finishRecording()
{
    if (mLevlBlockSize != 0)
        mWave->setPeakData(mBuffer->peakBytes());
    mWave->close();
    mBuffer->resetCursor();
}

int CAudioFile::seekFile(int frame)
{
    QMutexLocker lock(&mLock);
    if (mode() != modePlaying || !mWave->isOpen())
        return vkOk;
    const bool running = mTransport == transportRunning;
    stopBlockSide();
    mThread->cancel();
    rewindTo(std::clamp(frame, 0, mNumSamples));
    // Running or paused, the ring is filled from the new place, so a resume plays it.
    if (mTransport != transportStopped) {
        mBuffer->primeAll();
        runDiskSide(CBufferThread::modeRead);
    }
    if (running)
        mBuffer->setStopped(false);
    return vkOk;
}

int CAudioFile::setStartSample(int frame)
{
    if (frame < 0 || frame > mWave->numFrames())
        return vkErrRange;
    mStartSample = frame;
    seekFile(frame);
    return vkOk;
}

int CAudioFile::setPeakBlockSize(int frames)
{
    if (mTransport != transportStopped)
        return vkErrStarted;
    if (frames < 0)
        return vkErrRange;
    mPeakBlockSize = frames;
    return vkOk;
}

void CAudioFile::rewindTo(int frame)
{
    mBuffer->resetCursor();
    mWave->seekFrames(frame);
    mPositionOffset.store(frame, std::memory_order_relaxed);
}

std::int32_t CAudioFile::position() const
{
    const std::int64_t frames = std::int64_t(mBuffer->blockCount()) * mBuffer->frames();
    return std::int32_t(frames + mPositionOffset.load(std::memory_order_relaxed));
}

// ---- the disk side without a thread ----

void CAudioFile::checkQueue()
{
    QMutexLocker lock(&mLock);
    if (mUseBufferThread || mode() == modeNoFile || !mWave->isOpen())
        return;
    mThread->moveWaiting(mode() == modePlaying ? CBufferThread::modeRead : CBufferThread::modeWrite, mWave, false);
}
