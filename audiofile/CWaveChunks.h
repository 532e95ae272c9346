#pragma once
// The chunk records of a wave file: `fmt `, `ds64`, `levl` and `bext`. Each record knows
// its own body layout (little-endian throughout) and nothing of the file around it:
// `parse` takes a chunk body, `serialise` gives the chunk with its id and size.

#include <QByteArray>
#include <QDate>
#include <QTime>

#include <cstdint>

// Result codes of the wave file layer.
enum tWaveResult : int {
    waveOk = 0,
    waveErrChunk = 17,       // a chunk shorter than its fixed part, or an unknown fmt extension
    waveErrOpen = 101,       // the file can't be opened
    waveErrExists = 102,     // a new file's name is taken already
    waveErrNoFile = 104,     // empty file name or no file object
    waveErrNotWave = 105,    // not "RIFF" or "RF64" with "WAVE"
    waveErrShortRead = 107,  // a short read in the header or a chunk
};

// Format tags as they stand in the `fmt ` chunk.
enum tWaveFormatTag : std::uint16_t {
    waveTagOther = 0,
    waveTagPcm = 1,
    waveTagFloat = 3,
    waveTagExtensible = 0xFFFE,
};

// Little-endian access to byte arrays; reads outside the array give 0.
namespace waveBytes {
std::uint16_t u16(const QByteArray& bytes, int at);
std::uint32_t u32(const QByteArray& bytes, int at);
std::uint64_t u64(const QByteArray& bytes, int at);
void putU16(QByteArray& bytes, std::uint16_t value);
void putU32(QByteArray& bytes, std::uint32_t value);
void putU64(QByteArray& bytes, std::uint64_t value);
// `count` bytes from `field`, cut or zero-padded.
void putFixed(QByteArray& bytes, const QByteArray& field, int count);
}

class CFmtChunk {
public:
    static constexpr int plainSize = 16;
    static constexpr int extensibleSize = 40;

    void reset();
    // Each setter recomputes block align and byte rate.
    void setChannels(int channels);
    void setSampleRate(int rate);
    // Rounded up to the next multiple of 8: the container size.
    void setBitsPerSample(int bits);
    // 1 and 3 stand, anything else becomes 0.
    void setFormatTag(int tag);
    // Extensible form with the sub-format of the current tag, or the plain form.
    void setExtensible(bool extensible);

    int parse(const QByteArray& body);
    QByteArray serialise() const;

    std::uint32_t mSize = extensibleSize;
    std::uint16_t mFormatTag = waveTagPcm;
    std::uint16_t mChannels = 0;
    std::uint32_t mSampleRate = 0;
    std::uint32_t mByteRate = 0;
    std::uint16_t mBlockAlign = 0;
    std::uint16_t mBitsPerSample = 0;
    std::uint16_t mCbSize = 22;
    QByteArray mSubFormat;
    bool mExtensible = true;

private:
    void updateDerived();
};

// The 64-bit sizes of an RF64 file. In mode 2 the record is a placeholder that comes out
// as a `junk` chunk of the same length until the RIFF size no longer fits 32 bits.
class CDs64Chunk {
public:
    static constexpr int bodySize = 28;
    static constexpr std::uint64_t riffLimit = 0xFFFFFFFFu;

    void reset();
    int parse(const QByteArray& body);
    QByteArray serialise() const;

    std::uint32_t mSize = bodySize;
    int mMode = 2;
    std::uint64_t mRiffSize = 0;
    std::uint64_t mSampleCount = 0;
    std::uint64_t mDataSize = 0;
};

// The peak envelope: a 120-byte block, an alignment gap, then the peak bytes.
class CLevlChunk {
public:
    static constexpr int headerSize = 120;
    static constexpr int peakOffset = 128; // from the chunk's id, without a gap

    void reset();
    // Takes the fixed block; the stored number of peak frames is not kept.
    int parseHeader(const QByteArray& header);
    // Stores the peak bytes and recomputes size, offset and number of peak frames.
    void setPeakData(const QByteArray& peaks);
    void stamp();
    // The chunk with `gap` bytes between the fixed block and the peaks (added to the
    // size and the offset).
    QByteArray serialise(int gap) const;

    std::uint32_t mSize = headerSize;
    std::uint32_t mVersion = 0;
    std::uint32_t mFormat = 1;
    std::uint32_t mPointsPerValue = 2;
    std::uint32_t mBlockSize = 0;
    std::uint32_t mPeakChannels = 1;
    std::uint32_t mNumPeakFrames = 0;
    std::uint32_t mPosPeakOfPeaks = 0;
    std::uint32_t mOffsetToPeaks = 0;
    QDate mDate;
    QTime mTime;
    QByteArray mPeakData;
};

// Broadcast wave description; the fixed fields are kept at their on-disk lengths.
class CBextChunk {
public:
    static constexpr int fixedSize = 602;

    void reset();
    int parse(const QByteArray& body);
    QByteArray serialise() const;

    std::uint32_t mSize = fixedSize;
    QByteArray mDescription;         // 256
    QByteArray mOriginator;          // 32
    QByteArray mOriginatorReference; // 32
    QByteArray mOriginationDate;     // 10
    QByteArray mOriginationTime;     // 8
    std::uint32_t mTimeReferenceLow = 0;
    std::uint32_t mTimeReferenceHigh = 0;
    std::uint16_t mVersion = 1;
    QByteArray mUmid;                // 64
    QByteArray mReserved;            // 190
    QByteArray mCodingHistory;       // null when there is none
};
