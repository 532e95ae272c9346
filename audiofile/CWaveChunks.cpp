#include "audiofile/CWaveChunks.h"

#include <QDateTime>
#include <QtEndian>

namespace {

// Bytes of the standard wave-format-extensible GUID behind the leading u32 tag.
const char guidTail[12] = {'\x00', '\x00', '\x10', '\x00', '\x80', '\x00',
                           '\x00', '\xAA', '\x00', '\x38', '\x9B', '\x71'};

const char dateFormat[] = "yyyy:MM:dd";
const char timeFormat[] = "hh:mm:ss:zzz";

constexpr int bextDescription = 256;
constexpr int bextOriginator = 32;
constexpr int bextReference = 32;
constexpr int bextDate = 10;
constexpr int bextTime = 8;
constexpr int bextUmid = 64;
constexpr int bextReserved = 190;

QByteArray chunkHead(const char* id, std::uint32_t size)
{
    QByteArray bytes(id, 4);
    waveBytes::putU32(bytes, size);
    return bytes;
}

} // namespace

namespace waveBytes {

template <typename T>
static T readLe(const QByteArray& bytes, int at)
{
    if (at < 0 || at + int(sizeof(T)) > bytes.size())
        return 0;
    return qFromLittleEndian<T>(bytes.constData() + at);
}

template <typename T>
static void appendLe(QByteArray& bytes, T value)
{
    char raw[sizeof(T)];
    qToLittleEndian<T>(value, raw);
    bytes.append(raw, sizeof(T));
}

std::uint16_t u16(const QByteArray& bytes, int at) { return readLe<std::uint16_t>(bytes, at); }
std::uint32_t u32(const QByteArray& bytes, int at) { return readLe<std::uint32_t>(bytes, at); }
std::uint64_t u64(const QByteArray& bytes, int at) { return readLe<std::uint64_t>(bytes, at); }
void putU16(QByteArray& bytes, std::uint16_t value) { appendLe(bytes, value); }
void putU32(QByteArray& bytes, std::uint32_t value) { appendLe(bytes, value); }
void putU64(QByteArray& bytes, std::uint64_t value) { appendLe(bytes, value); }

void putFixed(QByteArray& bytes, const QByteArray& field, int count)
{
    const QByteArray part = field.left(count);
    bytes.append(part);
    bytes.append(count - part.size(), '\0');
}

} // namespace waveBytes

// ---- fmt ----

void CFmtChunk::reset()
{
    *this = CFmtChunk();
    setExtensible(true);
}

void CFmtChunk::updateDerived()
{
    mBlockAlign = std::uint16_t((mBitsPerSample >> 3) * mChannels);
    mByteRate = std::uint32_t(mBlockAlign) * mSampleRate;
}

void CFmtChunk::setChannels(int channels)
{
    mChannels = std::uint16_t(channels);
    updateDerived();
}

void CFmtChunk::setSampleRate(int rate)
{
    mSampleRate = std::uint32_t(rate);
    updateDerived();
}

void CFmtChunk::setBitsPerSample(int bits)
{
    mBitsPerSample = std::uint16_t((bits + 7) & ~7);
    updateDerived();
}

void CFmtChunk::setFormatTag(int tag)
{
    mFormatTag = (tag == waveTagPcm || tag == waveTagFloat) ? std::uint16_t(tag) : std::uint16_t(waveTagOther);
    if (mExtensible)
        setExtensible(true);
}

void CFmtChunk::setExtensible(bool extensible)
{
    mExtensible = extensible;
    mSize = extensible ? extensibleSize : plainSize;
    mCbSize = extensible ? 22 : 0;
    mSubFormat.clear();
    if (extensible) {
        waveBytes::putU32(mSubFormat, mFormatTag);
        mSubFormat.append(guidTail, sizeof guidTail);
    }
}

int CFmtChunk::parse(const QByteArray& body)
{
    if (body.size() < plainSize)
        return waveErrChunk;
    mSize = std::uint32_t(body.size());
    const std::uint16_t tag = waveBytes::u16(body, 0);
    if (tag != waveTagExtensible) {
        mExtensible = false;
        mCbSize = 0;
        mSubFormat.clear();
        mFormatTag = (tag == waveTagPcm || tag == waveTagFloat) ? tag : std::uint16_t(waveTagOther);
    }
    setChannels(waveBytes::u16(body, 2));
    setSampleRate(int(waveBytes::u32(body, 4)));
    setBitsPerSample(waveBytes::u16(body, 14));
    if (tag != waveTagExtensible || body.size() == plainSize)
        return waveOk;
    // The extension: cbSize 22, valid bits, channel mask, then the sub-format whose
    // first word is the real tag. PCM and IEEE float are what we know.
    if (waveBytes::u16(body, 16) != 22 || body.size() < extensibleSize)
        return waveErrChunk;
    const std::uint32_t subTag = waveBytes::u32(body, 24);
    if (subTag != waveTagPcm && subTag != waveTagFloat)
        return waveErrChunk;
    mFormatTag = std::uint16_t(subTag);
    mExtensible = true;
    mCbSize = 22;
    mSubFormat = body.mid(24, 16);
    return waveOk;
}

QByteArray CFmtChunk::serialise() const
{
    QByteArray bytes = chunkHead("fmt ", mExtensible ? extensibleSize : plainSize);
    waveBytes::putU16(bytes, mExtensible ? std::uint16_t(waveTagExtensible) : mFormatTag);
    waveBytes::putU16(bytes, mChannels);
    waveBytes::putU32(bytes, mSampleRate);
    waveBytes::putU32(bytes, mByteRate);
    waveBytes::putU16(bytes, mBlockAlign);
    waveBytes::putU16(bytes, mBitsPerSample);
    if (mExtensible) {
        waveBytes::putU16(bytes, mCbSize);
        waveBytes::putU16(bytes, mBitsPerSample); // valid bits
        waveBytes::putU32(bytes, 0);              // no speaker positions: capsules or beams
        waveBytes::putFixed(bytes, mSubFormat, 16);
    }
    return bytes;
}

// ---- ds64 ----

void CDs64Chunk::reset()
{
    mSize = bodySize;
    mRiffSize = 0;
    mSampleCount = 0;
    mDataSize = 0;
}

int CDs64Chunk::parse(const QByteArray& body)
{
    if (body.size() < bodySize)
        return waveErrChunk;
    mRiffSize = waveBytes::u64(body, 0);
    mDataSize = waveBytes::u64(body, 8);
    mSampleCount = waveBytes::u64(body, 16);
    return waveOk;
}

QByteArray CDs64Chunk::serialise() const
{
    const bool placeholder = mMode == 2 && mRiffSize < riffLimit;
    QByteArray bytes = chunkHead(placeholder ? "junk" : "ds64", mSize);
    waveBytes::putU64(bytes, mRiffSize);
    waveBytes::putU64(bytes, mDataSize);
    waveBytes::putU64(bytes, mSampleCount);
    waveBytes::putU32(bytes, 0); // table length
    return bytes;
}

// ---- levl ----

void CLevlChunk::reset()
{
    *this = CLevlChunk();
    stamp();
}

void CLevlChunk::stamp()
{
    const QDateTime now = QDateTime::currentDateTime();
    mDate = now.date();
    mTime = now.time();
}

int CLevlChunk::parseHeader(const QByteArray& header)
{
    if (header.size() < headerSize)
        return waveErrShortRead;
    mVersion = waveBytes::u32(header, 0);
    mFormat = waveBytes::u32(header, 4);
    mPointsPerValue = waveBytes::u32(header, 8);
    mBlockSize = waveBytes::u32(header, 12);
    mPeakChannels = waveBytes::u32(header, 16);
    mPosPeakOfPeaks = waveBytes::u32(header, 24);
    mOffsetToPeaks = waveBytes::u32(header, 28);
    mDate = QDate::fromString(QString::fromLatin1(header.mid(32, 10)), QLatin1String(dateFormat));
    mTime = QTime::fromString(QString::fromLatin1(header.mid(43, 12)), QLatin1String(timeFormat));
    return waveOk;
}

void CLevlChunk::setPeakData(const QByteArray& peaks)
{
    mPeakData = peaks;
    mSize = std::uint32_t(peaks.size()) + headerSize;
    mOffsetToPeaks = peakOffset;
    const std::uint64_t perFrame = std::uint64_t(mPeakChannels) * mPointsPerValue * mFormat;
    mNumPeakFrames = perFrame ? std::uint32_t(std::uint64_t(peaks.size()) / perFrame) : 0;
}

QByteArray CLevlChunk::serialise(int gap) const
{
    QByteArray bytes = chunkHead("levl", mSize + std::uint32_t(gap));
    for (std::uint32_t field : {mVersion, mFormat, mPointsPerValue, mBlockSize, mPeakChannels, mNumPeakFrames,
                                mPosPeakOfPeaks, mOffsetToPeaks + std::uint32_t(gap)})
        waveBytes::putU32(bytes, field);
    const QString stampText = mDate.toString(QLatin1String(dateFormat)) + QLatin1Char(':')
                              + mTime.toString(QLatin1String(timeFormat));
    waveBytes::putFixed(bytes, stampText.toLatin1(), 28);
    bytes.append(60 + gap, '\0');
    bytes.append(mPeakData);
    return bytes;
}

// ---- bext ----

void CBextChunk::reset()
{
    mSize = fixedSize;
    mDescription = QByteArray(bextDescription, '\0');
    mOriginator = QByteArray(bextOriginator, '\0');
    mOriginatorReference = QByteArray(bextReference, '\0');
    mOriginationDate = QByteArray("0000-00-00");
    mOriginationTime = QByteArray("00-00-00");
    mTimeReferenceLow = 0;
    mTimeReferenceHigh = 0;
    mVersion = 1;
    mUmid = QByteArray(bextUmid, '\0');
    mReserved = QByteArray(bextReserved, '\0');
    mCodingHistory = QByteArray();
}

int CBextChunk::parse(const QByteArray& body)
{
    if (body.size() < fixedSize)
        return waveErrChunk;
    mSize = std::uint32_t(body.size());
    mDescription = body.mid(0, bextDescription);
    mOriginator = body.mid(256, bextOriginator);
    mOriginatorReference = body.mid(288, bextReference);
    mOriginationDate = body.mid(320, bextDate);
    mOriginationTime = body.mid(330, bextTime);
    mTimeReferenceLow = waveBytes::u32(body, 338);
    mTimeReferenceHigh = waveBytes::u32(body, 342);
    mVersion = waveBytes::u16(body, 346);
    mUmid = body.mid(348, bextUmid);
    mReserved = body.mid(412, bextReserved);
    mCodingHistory = body.size() > fixedSize ? body.mid(fixedSize) : QByteArray();
    return waveOk;
}

QByteArray CBextChunk::serialise() const
{
    QByteArray bytes = chunkHead("bext", std::uint32_t(fixedSize + mCodingHistory.size()));
    waveBytes::putFixed(bytes, mDescription, bextDescription);
    waveBytes::putFixed(bytes, mOriginator, bextOriginator);
    waveBytes::putFixed(bytes, mOriginatorReference, bextReference);
    waveBytes::putFixed(bytes, mOriginationDate, bextDate);
    waveBytes::putFixed(bytes, mOriginationTime, bextTime);
    waveBytes::putU32(bytes, mTimeReferenceLow);
    waveBytes::putU32(bytes, mTimeReferenceHigh);
    waveBytes::putU16(bytes, mVersion);
    waveBytes::putFixed(bytes, mUmid, bextUmid);
    waveBytes::putFixed(bytes, mReserved, bextReserved);
    bytes.append(mCodingHistory);
    if (mCodingHistory.size() % 2)
        bytes.append('\0'); // chunks keep even length
    return bytes;
}
