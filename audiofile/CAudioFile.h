#pragma once
// The processing node through which a wave file enters or leaves the audio graph. A node
// with only an output format plays a file; one with only an input format records into a
// new file (24-bit PCM at the graph's rate), created exclusively: a take never replaces
// a file. The audio thread only converts between its blocks and a ring of four buffers
// of about five seconds each; the ring wakes a disk thread, which moves the buffers, and
// a recording's partial buffer every half second. A take recorded with the disk thread
// is durable (see CWaveFile): a crash loses at most the last half second. Without the
// thread the main thread moves whole buffers on a short timer, and a host that runs
// blocks without an event loop (an offline render) calls checkQueue() between blocks.
//
// process(): audio thread: no allocation, no lock, no waiting, no I/O. It marks itself
// inside with an atomic; a control operation that changes what process() reads first
// takes the block side out (mode "no file", or stopped) and waits until no block is
// inside, so only the control side ever waits. Every other operation belongs to the
// main thread.

#include "audiofile/CAudioBuffer.h"
#include "audiofile/CBufferThread.h"
#include "audiofile/CWaveFile.h"
#include "core/contract/vkAudioClass.h"

#include <QMutex>
#include <QObject>
#include <QString>
#include <QTimer>

#include <atomic>
#include <cstdint>
#include <functional>

class CAudioFile : public QObject, public vkAudioClass {
    Q_OBJECT

public:
    enum tTransport { transportStopped = 0, transportRunning = 1, transportPaused = 2 };
    enum tMode { modeRecording = 0, modePlaying = 1, modeNoFile = 2 };
    enum tFileResult {
        fileErrOpen = 101,
        fileErrDirection = 102,
        fileErrCreate = 103,
        fileErrFormatTag = 106,
        fileErrNoChannels = 109,
        fileErrExists = 110, // a new take's name is taken already
    };
    // How often the main thread hands full buffers to the disk side.
    static constexpr int handOverIntervalMs = 20;

    explicit CAudioFile(QObject* parent = nullptr);
    ~CAudioFile() override;

    using vkAudioClass::process;
    int setFormat(const vkAudioInterface& in, const vkAudioInterface& out) override;
    int process(float** in, float** out, int frames) override;
    int setObjectParameter(int channel, int id, const void* data, int count, int type) override;
    int getObjectParameter(int channel, int id, void* data, int count, int type) override;
    int setChannelParameter(int channel, int id, const void* data, int count, int type) override;
    int getChannelParameter(int channel, int id, void* data, int count, int type) override;

    // 0 records into a new file, 1 plays an existing one.
    int openFile(const QString& name, int mode);
    int startFile(bool useThread);
    int stopFile();
    int pauseFile();
    int seekFile(int frame);
    int setStartSample(int frame);
    // Frames per value of a `levl` peak envelope for the next recording; 0, the
    // default, writes none. 5 while the transport runs.
    int setPeakBlockSize(int frames);

    // Frames passed: blocks since the cursor's reset plus where that reset stood.
    std::int32_t position() const;
    std::int64_t fileFrames() const { return mWave->numFrames(); }
    int fileSampleRate() const { return mWave->sampleRate(); }
    int fileChannels() const { return mWave->channels(); }
    // Why the present or last recording stopped growing on the disk (a full disk, say);
    // empty while its writes succeed. What was written before stays a valid file.
    QString writeError() const { return mWave->writeError(); }
    // Why the last openFile failed, in the system's words.
    QString openError() const { return mWave->openError(); }
    // The disk side fell a whole ring behind the present recording: the take was cut
    // at position() and drops its blocks until it stops. Any thread.
    bool overrun() const { return mBuffer->overrun(); }
    int transport() const { return mTransport; }
    int mode() const { return mMode.load(std::memory_order_relaxed); }
    const CAudioBuffer& ring() const { return *mBuffer; }
    // Test seam: runs on the disk side before each stretch it moves (a slow disk).
    // Set while the transport is stopped.
    void setDiskHook(std::function<void()> hook) { mThread->setDiskHook(std::move(hook)); }

public slots:
    // Without a disk thread: moves every whole buffer that waits for the disk side.
    void checkQueue();

private:
    int openForRecording(const QString& name, int channels, int rate, int levlBlockSize);
    int openForPlaying(const QString& name);
    int configurePlaying(int formatTag, int bytesPerSample, int levlBlockSize);
    void runDiskSide(int diskMode);
    void finishRecording();
    void rewindTo(int frame);
    void setMode(int mode);
    void stopBlockSide();
    void waitForBlockSide() const;
    void playBlock(float** out);

    int mTransport = transportStopped;
    std::atomic<int> mMode{modeNoFile};
    std::atomic<bool> mInBlock{false};
    CAudioBuffer* mBuffer;
    CWaveFile* mWave;
    CBufferThread* mThread;
    int mSampleType = CAudioBuffer::sampleInteger;
    int mBytesPerSample = 3;
    int mSampleRate = 48000;
    int mChannels = 0;
    int mLevlBlockSize = 0;
    float* mSpareChannel = nullptr;
    float** mChannelTable = nullptr;
    QMutex mLock;
    std::int32_t mStartSample = 0;
    std::int32_t mNumSamples = 0;
    std::atomic<std::int32_t> mPositionOffset{0};
    bool mUseBufferThread = true;
    int mPeakBlockSize = 0;
    QTimer mHandOver;
};
