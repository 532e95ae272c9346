#include "audiofile/CWaveFile.h"

#include "core/primitives/ipps.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

#include <fcntl.h>
#include <unistd.h>

namespace {

enum tChunkCase { caseFmt, caseData, caseDs64, caseLevl, caseBext };

constexpr std::uint32_t sizeFromDs64 = 0xFFFFFFFFu;

} // namespace

CWaveFile::CWaveFile()
    : mChunkIds{QStringLiteral("fmt "), QStringLiteral("data"), QStringLiteral("ds64"), QStringLiteral("levl"),
                QStringLiteral("bext")}
{
    mDs64.mMode = 2;
    reset();
}

CWaveFile::~CWaveFile()
{
    close();
}

void CWaveFile::reset()
{
    mFmt.reset();
    mDs64.reset();
    mLevl.reset();
    mBext.reset();
    mWriteBext = false;
    mDurable = false;
    mDataOffset = 0;
    mDataSize = 0;
    mWriteError.clear();
    mOpenError.clear();
    mWriteFailed.store(false, std::memory_order_relaxed);
}

void CWaveFile::dispose()
{
    if (mFile) {
        mFile->close();
        delete mFile;
        mFile = nullptr;
    }
    mDevice = nullptr;
}

int CWaveFile::openFile(const QString& name, QIODevice::OpenMode mode)
{
    dispose();
    if (name.isEmpty()) {
        reset();
        return waveErrNoFile;
    }
    mFile = new QFile(name);
    if (!mFile->open(mode)) {
        mOpenError = mFile->errorString();
        delete mFile;
        mFile = nullptr;
        return waveErrOpen;
    }
    mDevice = mFile;
    return waveOk;
}

int CWaveFile::create(const QString& name, int channels, int sampleRate, int formatTag, int bytesPerSample,
                      int levlBlockSize, bool exclusive)
{
    reset();
    mFmt.setChannels(channels);
    mFmt.setSampleRate(sampleRate);
    mFmt.setBitsPerSample(bytesPerSample * 8);
    mFmt.setFormatTag(formatTag);
    mFmt.setExtensible(true);
    mDs64.mMode = 2;
    mDs64.mSize = CDs64Chunk::bodySize;
    mLevl.mBlockSize = std::uint32_t(levlBlockSize);
    if (levlBlockSize != 0) {
        mLevl.mVersion = 0;
        mLevl.mFormat = 1;
        mLevl.mPointsPerValue = 2;
        mLevl.mPeakChannels = 1;
    }
    // Unbuffered, so that what was written is on the disk even if the program dies.
    // Exclusive is O_EXCL: of two programs that pick the same new name, one gets it.
    const QIODevice::OpenMode mode = QIODevice::WriteOnly | QIODevice::Unbuffered |
                                     (exclusive ? QIODevice::NewOnly : QIODevice::Truncate);
    const int result = openFile(name, mode);
    if (result != waveOk)
        return exclusive && QFileInfo::exists(name) ? int(waveErrExists) : result;
    QByteArray header("RIFF    WAVE");
    header.append(mDs64.serialise());
    header.append(mFmt.serialise());
    header.append("data    ");
    if (!writeAll(header)) {
        // No room even for the header: no file is left behind.
        mOpenError = mWriteError;
        mFile->remove();
        dispose();
        return waveErrOpen;
    }
    mDataOffset = std::uint64_t(header.size());
    return waveOk;
}

int CWaveFile::openExisting(const QString& name, int& channels, int& sampleRate, int& formatTag,
                            int& bytesPerSample, int& levlBlockSize)
{
    int result = openFile(name, QIODevice::ReadOnly);
    if (result == waveOk)
        result = scan(*mFile);
    if (result != waveOk) {
        dispose();
        return result;
    }
    handOutFormat(channels, sampleRate, formatTag, bytesPerSample, levlBlockSize);
    seekFrames(0);
    return waveOk;
}

int CWaveFile::openDevice(QIODevice* device, int& channels, int& sampleRate, int& formatTag, int& bytesPerSample,
                          int& levlBlockSize)
{
    dispose();
    if (!device) {
        reset();
        return waveErrNoFile;
    }
    if (!device->isReadable() || device->isSequential())
        return waveErrOpen;
    mDevice = device;
    const int result = scan(*device);
    if (result != waveOk) {
        dispose();
        return result;
    }
    handOutFormat(channels, sampleRate, formatTag, bytesPerSample, levlBlockSize);
    seekFrames(0);
    return waveOk;
}

void CWaveFile::handOutFormat(int& channels, int& sampleRate, int& formatTag, int& bytesPerSample,
                              int& levlBlockSize) const
{
    channels = mFmt.mChannels;
    sampleRate = int(mFmt.mSampleRate);
    formatTag = mFmt.mFormatTag;
    bytesPerSample = mFmt.mBitsPerSample >> 3;
    levlBlockSize = int(mLevl.mBlockSize);
}

int CWaveFile::close()
{
    if (!mDevice)
        return waveOk;
    if (mFile && mFile->openMode().testFlag(QIODevice::WriteOnly))
        finishRecording();
    dispose();
    return waveOk;
}

void CWaveFile::finishRecording()
{
    const qint64 headerEnd = qint64(mDataOffset);
    qint64 end = mFile->pos();
    if (mWriteFailed.load(std::memory_order_relaxed)) {
        // What a failed write left of a frame is cut off.
        const qint64 frame = std::max<qint64>(mFmt.mBlockAlign, 1);
        end = cutTo(headerEnd + std::max<qint64>(end - headerEnd, 0) / frame * frame);
    }
    end = padData(headerEnd, end);
    if (end <= headerEnd) {
        // No sample arrived: a recording of nothing leaves no file.
        mFile->close();
        mFile->remove();
        return;
    }
    const qint64 chunksStart = mFile->pos();
    if (!writeTrailingChunks())
        cutTo(chunksStart); // the samples matter, the chunks behind them don't
    patchHeader(std::uint64_t(headerEnd), std::uint64_t(end - headerEnd));
    if (mDurable)
        syncData();
}

int CWaveFile::finishUnfinished(const QString& name, const CFmtChunk& fmt, std::uint64_t dataOffset,
                                std::uint64_t dataBytes)
{
    reset();
    const int result = openFile(name, QIODevice::ReadWrite | QIODevice::Unbuffered);
    if (result != waveOk)
        return result;
    mFmt = fmt;
    mDataOffset = dataOffset;
    const qint64 end = padData(qint64(dataOffset), cutTo(qint64(dataOffset + dataBytes)));
    patchHeader(dataOffset, std::uint64_t(end) - dataOffset);
    syncData();
    dispose(); // not close(): that would finish it as a recording
    return waveOk;
}

// Data of odd length get one zero byte behind them. Where even that byte finds no room,
// the last frame goes instead (a frame of odd size leaves an even length). Gives the end
// of the data, the pad byte not counted.
qint64 CWaveFile::padData(qint64 headerEnd, qint64 end)
{
    if (end % 2 == 0 || writeAll(QByteArray(1, '\0')))
        return end;
    return cutTo(std::max(headerEnd, end - qint64(mFmt.mBlockAlign)));
}

bool CWaveFile::writeTrailingChunks()
{
    if (mWriteBext && !writeAll(mBext.serialise()))
        return false;
    return mLevl.mBlockSize == 0 || writeAll(mLevl.serialise(int(mFile->pos() % 4)));
}

// Shortens the file to `end` bytes and goes there; gives `end`.
qint64 CWaveFile::cutTo(qint64 end)
{
    mFile->resize(end);
    mFile->seek(end);
    return end;
}

void CWaveFile::patchHeader(std::uint64_t headerEnd, std::uint64_t dataSize)
{
    const std::uint64_t riffSize = std::uint64_t(mFile->pos()) - 8;
    QByteArray field;
    if (mDs64.mMode == 2 && riffSize < CDs64Chunk::riffLimit) {
        waveBytes::putU32(field, std::uint32_t(riffSize));
        writeAt(4, field);
        field.clear();
        waveBytes::putU32(field, std::uint32_t(dataSize));
        writeAt(qint64(headerEnd) - 4, field);
        return;
    }
    // From a RIFF size of 0xFFFFFFFF on, trailing chunks included, the 32-bit fields say
    // "look in ds64" and the reserve becomes that chunk.
    mDs64.mRiffSize = riffSize;
    mDs64.mDataSize = dataSize;
    mDs64.mSampleCount = mFmt.mBlockAlign ? dataSize / mFmt.mBlockAlign : 0;
    waveBytes::putU32(field, sizeFromDs64);
    writeAt(4, field);
    writeAt(qint64(headerEnd) - 4, field);
    writeAt(0, QByteArray("RF64"));
    writeAt(12, mDs64.serialise());
}

void CWaveFile::writeAt(qint64 position, const QByteArray& bytes)
{
    mFile->seek(position);
    mFile->write(bytes);
}

void CWaveFile::setDurable(bool durable)
{
    if (!mFile || !mFile->openMode().testFlag(QIODevice::WriteOnly) || durable == mDurable)
        return;
    mDurable = durable;
    if (!durable)
        return;
    commitSizes();
    // The folder's entry too, or a power cut may lose the file's name.
    const QByteArray folder = QFile::encodeName(QFileInfo(mFile->fileName()).absolutePath());
    const int handle = ::open(folder.constData(), O_RDONLY | O_DIRECTORY);
    if (handle >= 0) {
        ::fsync(handle);
        ::close(handle);
    }
}

qint64 CWaveFile::writeSamples(const QByteArray& bytes)
{
    if (!mDevice || mWriteFailed.load(std::memory_order_relaxed))
        return -1;
    if (!writeAll(bytes))
        return -1;
    if (mDurable)
        commitSizes();
    return bytes.size();
}

// The samples are committed before the sizes that count them, so that even a power cut
// never leaves a header that promises bytes the disk never got.
void CWaveFile::commitSizes()
{
    const qint64 end = mFile->pos();
    syncData();
    patchHeader(mDataOffset, std::uint64_t(end) - mDataOffset);
    mFile->seek(end);
    syncData();
}

void CWaveFile::syncData()
{
    ::fdatasync(mFile->handle());
}

QString CWaveFile::writeError() const
{
    return mWriteFailed.load(std::memory_order_acquire) ? mWriteError : QString();
}

// Writes until every byte is down or the system refuses one; a refusal fails the take,
// so that nothing written after it can leave a gap in the samples.
bool CWaveFile::writeAll(const QByteArray& bytes)
{
    qint64 done = 0;
    while (done < bytes.size()) {
        const qint64 written = mDevice->write(bytes.constData() + done, bytes.size() - done);
        if (written <= 0) {
            noteWriteFailure();
            return false;
        }
        done += written;
    }
    return true;
}

void CWaveFile::noteWriteFailure()
{
    if (mWriteFailed.load(std::memory_order_relaxed))
        return;
    mWriteError = mDevice->errorString();
    mWriteFailed.store(true, std::memory_order_release);
}

qint64 CWaveFile::readSamples(QByteArray& bytes)
{
    return readSamples(bytes.data(), bytes.size());
}

qint64 CWaveFile::readSamples(char* bytes, qint64 count)
{
    if (count <= 0)
        return 0;
    qint64 got = 0;
    if (mDevice) {
        // The data chunk's end bounds the read, so trailing chunks are never played.
        const qint64 position = mDevice->pos();
        const qint64 end = qint64(mDataOffset + mDataSize);
        const qint64 want = std::clamp<qint64>(end - position, 0, count);
        if (want > 0)
            got = std::max<qint64>(mDevice->read(bytes, want), 0);
    }
    if (got < count)
        ippsZero_8u(reinterpret_cast<Ipp8u*>(bytes + got), int(count - got));
    return got;
}

bool CWaveFile::seekFrames(std::int32_t frame)
{
    if (!mDevice)
        return false;
    const std::int64_t frameBytes = std::int64_t(mFmt.mBitsPerSample >> 3) * mFmt.mChannels;
    return mDevice->seek(qint64(mDataOffset) + frame * frameBytes);
}

std::int64_t CWaveFile::numFrames() const
{
    const std::uint64_t frameBytes = std::uint64_t(mFmt.mBitsPerSample >> 3) * mFmt.mChannels;
    return frameBytes ? std::int64_t(mDataSize / frameBytes) : 0;
}

QString CWaveFile::fileName() const
{
    return mFile ? mFile->fileName() : QString();
}

// ---- the scan ----

int CWaveFile::scan(QIODevice& device)
{
    reset();
    if (!device.seek(0))
        return waveErrShortRead;
    const QByteArray head = device.read(12);
    if (head.size() < 12)
        return waveErrShortRead;
    if ((!head.startsWith("RIFF") && !head.startsWith("RF64")) || head.mid(8, 4) != "WAVE")
        return waveErrNotWave;
    const qint64 size = device.size();
    qint64 position = 12;
    int result = waveOk;
    while (result == waveOk && position < size)
        result = scanChunk(device, position);
    return result;
}

namespace {

// Reads `count` bytes at the device's position; null when the device hasn't that many,
// so that a size field never makes us allocate what the file can't hold.
QByteArray readBody(QIODevice& device, std::uint64_t count)
{
    const qint64 left = device.size() - device.pos();
    if (count > std::uint64_t(std::max<qint64>(left, 0)))
        return QByteArray();
    QByteArray body = device.read(qint64(count));
    return body.size() == qint64(count) ? body : QByteArray();
}

template <typename Chunk>
int readChunk(QIODevice& device, std::uint32_t size, Chunk& chunk)
{
    const QByteArray body = readBody(device, size);
    return body.size() == qint64(size) ? chunk.parse(body) : int(waveErrShortRead);
}

} // namespace

int CWaveFile::scanChunk(QIODevice& device, qint64& position)
{
    const qint64 size = device.size();
    const QByteArray head = device.seek(position) ? device.read(8) : QByteArray();
    if (head.size() < 8) {
        position = size; // an incomplete chunk head ends the scan, no error
        return waveOk;
    }
    const std::uint32_t chunkSize = waveBytes::u32(head, 4);
    const qint64 bodyStart = position + 8;
    std::uint64_t skip = chunkSize;
    int result = waveOk;
    switch (mChunkIds.indexOf(QString::fromLatin1(head.left(4)).toLower())) {
    case caseFmt:
        result = readChunk(device, chunkSize, mFmt);
        break;
    case caseDs64:
        result = readChunk(device, chunkSize, mDs64);
        break;
    case caseBext:
        result = readChunk(device, chunkSize, mBext);
        break;
    case caseData:
        mDataOffset = std::uint64_t(bodyStart);
        skip = chunkSize == sizeFromDs64 ? mDs64.mDataSize : chunkSize;
        // A file cut short (an unfinished recording, say) gives what it holds.
        mDataSize = std::min<std::uint64_t>(skip, std::uint64_t(std::max<qint64>(size - bodyStart, 0)));
        break;
    case caseLevl:
        result = scanLevl(device, position, chunkSize);
        break;
    default:
        break;
    }
    // Chunks of odd size are followed by one pad byte.
    const std::uint64_t left = std::uint64_t(std::max<qint64>(size - bodyStart, 0));
    position = skip >= left ? size : bodyStart + qint64(skip + (skip & 1));
    return result;
}

int CWaveFile::scanLevl(QIODevice& device, qint64 chunkStart, std::uint32_t chunkSize)
{
    const QByteArray header = readBody(device, CLevlChunk::headerSize);
    if (header.size() != CLevlChunk::headerSize)
        return waveErrShortRead;
    mLevl.parseHeader(header);
    // The peaks stand at their offset from the chunk's id, up to the chunk's end. An
    // offset inside the fixed block or past the end leaves no peaks.
    const std::uint64_t offset = mLevl.mOffsetToPeaks;
    const std::uint64_t end = std::uint64_t(chunkSize) + 8;
    QByteArray peaks;
    if (offset >= CLevlChunk::peakOffset && offset <= end) {
        if (chunkStart + qint64(offset) > device.size() || !device.seek(chunkStart + qint64(offset)))
            return waveErrShortRead;
        peaks = readBody(device, end - offset);
        if (peaks.size() != qint64(end - offset))
            return waveErrShortRead;
    }
    mLevl.setPeakData(peaks);
    return waveOk;
}
