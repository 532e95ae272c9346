#pragma once
// Reads and writes multi-channel wave files: RIFF/WAVE, RF64 once the RIFF size no longer
// fits 32 bits, with the optional `bext` and `levl` chunks. Knows the on-disk layout and
// moves bytes only; sample values are the caller's business.
//
// A recording has a 104-byte header: RIFF, a `junk` reserve of the `ds64` chunk's length,
// an extensible `fmt ` and the `data` head. `close` patches the sizes in, and turns the
// reserve into `ds64` and "RIFF" into "RF64" when the file has outgrown 32 bits.
//
// A durable recording survives its program: after each write the header's sizes count
// what was written (RIFF and data, or ds64 past 4 GiB) and the kernel commits the
// samples, then the sizes (fdatasync), so that a crash or a power cut leaves a wave
// file that other programs read to its last written byte.
//
// A write that fails (a full disk, a file size limit) ends the take's writing: later
// writes are refused, and close() keeps the whole frames written until then, so that the
// file stays a valid wave file of everything before the failure.
//
// Not thread-safe: one thread at a time, the caller locks. writeError() alone may be read
// from any thread.

#include "audiofile/CWaveChunks.h"

#include <QIODevice>
#include <QString>
#include <QStringList>

#include <atomic>
#include <cstdint>

class QFile;

class CWaveFile {
public:
    static constexpr int recordingHeaderSize = 104;

    CWaveFile();
    ~CWaveFile();
    CWaveFile(const CWaveFile&) = delete;
    CWaveFile& operator=(const CWaveFile&) = delete;

    // With `exclusive` a file that exists already is left alone: waveErrExists.
    int create(const QString& name, int channels, int sampleRate, int formatTag, int bytesPerSample,
               int levlBlockSize, bool exclusive = false);
    int openExisting(const QString& name, int& channels, int& sampleRate, int& formatTag, int& bytesPerSample,
                     int& levlBlockSize);
    // Reads from a device that is already open for reading (a buffer in memory, say);
    // the device is not owned and stays open after close().
    int openDevice(QIODevice* device, int& channels, int& sampleRate, int& formatTag, int& bytesPerSample,
                   int& levlBlockSize);
    // Finishes a recording (patches the header; an empty take is removed from the disk),
    // or closes a file opened for reading. Always 0.
    int close();

    // Finishes a take its program left unfinished (see CUnfinishedTake), as close() would
    // have: the samples cut to `dataBytes` from `dataOffset`, a pad byte, the sizes (the
    // reserve at byte 12 becomes ds64 past 4 GiB). waveOk, or waveErrOpen with openError().
    int finishUnfinished(const QString& name, const CFmtChunk& fmt, std::uint64_t dataOffset,
                         std::uint64_t dataBytes);
    // Why the last create or open failed, in the system's words.
    QString openError() const { return mOpenError; }
    // Durable from here on: the file and its folder entry are committed now, and each
    // write commits its samples and the sizes.
    void setDurable(bool durable);

    // Writes all of `bytes` or marks the take as failed; gives the bytes written, -1
    // once the take has failed.
    qint64 writeSamples(const QByteArray& bytes);
    // Why a write of the present take failed, in the system's words; empty while none has.
    QString writeError() const;
    // Fills `bytes` from the current position up to the end of the data chunk, zeros
    // behind; gives the bytes read.
    qint64 readSamples(QByteArray& bytes);
    qint64 readSamples(char* bytes, qint64 count);
    bool seekFrames(std::int32_t frame);

    std::int64_t numFrames() const;
    int sampleRate() const { return int(mFmt.mSampleRate); }
    int channels() const { return mFmt.mChannels; }
    QString fileName() const;
    bool isOpen() const { return mDevice != nullptr; }

    void setPeakData(const QByteArray& peaks) { mLevl.setPeakData(peaks); }
    void stampLevl() { mLevl.stamp(); }
    void setWriteBext(bool write) { mWriteBext = write; }

    // The scan of a device positioned anywhere: fills the records, gives a result code.
    int scan(QIODevice& device);

    const CFmtChunk& fmt() const { return mFmt; }
    const CLevlChunk& levl() const { return mLevl; }
    CBextChunk& bext() { return mBext; }
    std::uint64_t dataOffset() const { return mDataOffset; }
    std::uint64_t dataSize() const { return mDataSize; }

private:
    void reset();
    void dispose();
    int openFile(const QString& name, QIODevice::OpenMode mode);
    void handOutFormat(int& channels, int& sampleRate, int& formatTag, int& bytesPerSample,
                       int& levlBlockSize) const;
    int scanChunk(QIODevice& device, qint64& position);
    int scanLevl(QIODevice& device, qint64 chunkStart, std::uint32_t chunkSize);
    void finishRecording();
    bool writeAll(const QByteArray& bytes);
    void noteWriteFailure();
    qint64 cutTo(qint64 end);
    qint64 padData(qint64 headerEnd, qint64 end);
    bool writeTrailingChunks();
    void patchHeader(std::uint64_t headerEnd, std::uint64_t dataSize);
    void writeAt(qint64 position, const QByteArray& bytes);
    void commitSizes();
    void syncData();

    QStringList mChunkIds;
    QFile* mFile = nullptr;
    QIODevice* mDevice = nullptr; // mFile, or a caller's device
    CFmtChunk mFmt;
    CLevlChunk mLevl;
    CBextChunk mBext;
    CDs64Chunk mDs64;
    std::uint64_t mDataOffset = 0;
    std::uint64_t mDataSize = 0;
    bool mWriteBext = false;
    bool mDurable = false;
    QString mOpenError;
    QString mWriteError;                    // set once, before mWriteFailed
    std::atomic<bool> mWriteFailed{false};
};
