#pragma once
// The processing node through which a wave file enters or leaves the audio graph. A node
// with only an output format plays a file; one with only an input format records into a
// new file (24-bit PCM at the graph's rate). The audio thread only converts between its
// blocks and a ring of four buffers of about five seconds each; a disk thread moves
// whole buffers, handed over by the main thread on a short timer. A host that runs
// blocks without an event loop (an offline render) calls checkQueue() between blocks.
//
// process(): audio thread: no allocation, no I/O; the only locks are the ring's state
// and queue locks. Every other operation belongs to the main thread.

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
    int transport() const { return mTransport; }
    int mode() const { return mMode; }
    const CAudioBuffer& ring() const { return *mBuffer; }

public slots:
    // Hands every buffer that waits for the disk side over to it.
    void checkQueue();

private:
    int openForRecording(const QString& name, int channels, int rate, int levlBlockSize);
    int openForPlaying(const QString& name);
    int configurePlaying(int formatTag, int bytesPerSample, int levlBlockSize);
    void prefill();
    void transfer(int index);
    void handOverWaiting();
    void finishRecording();
    void rewindTo(int frame);
    void setModeLocked(int mode);
    void playBlock(float** out);

    int mTransport = transportStopped;
    int mMode = modeNoFile; // changed under the ring's state lock, read by process
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
