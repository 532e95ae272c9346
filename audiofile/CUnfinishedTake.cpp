#include "audiofile/CUnfinishedTake.h"

#include "audiofile/CWaveFile.h"

#include <QDir>
#include <QFile>

namespace {

constexpr std::uint32_t sizeFromDs64 = 0xFFFFFFFFu;
constexpr std::uint64_t riffLimit = 0xFFFFFFFFu;

QByteArray readAt(QFile& file, qint64 position, qint64 count)
{
    return file.seek(position) ? file.read(count) : QByteArray();
}

} // namespace

CUnfinishedTake::CUnfinishedTake(const QString& path)
    : mPath(path)
{
    mFmt.mBlockAlign = 0;
    inspect();
}

std::vector<CUnfinishedTake> CUnfinishedTake::find(const QString& folder)
{
    std::vector<CUnfinishedTake> takes;
    const QDir dir(folder);
    const QStringList names = dir.entryList({QStringLiteral("*.wav"), QStringLiteral("*.WAV")},
                                            QDir::Files | QDir::Readable, QDir::Name);
    for (const QString& name : names) {
        CUnfinishedTake take(dir.filePath(name));
        if (take.state() == stateUnfinished || take.state() == stateDamaged)
            takes.push_back(take);
    }
    return takes;
}

void CUnfinishedTake::damaged(const QString& reason)
{
    mState = stateDamaged;
    mReason = reason;
}

// The chunks up to the data decide; whatever stands behind the data does not.
void CUnfinishedTake::inspect()
{
    QFile file(mPath);
    if (!file.open(QIODevice::ReadOnly))
        return;
    const qint64 size = file.size();
    const QByteArray head = file.read(12);
    if (head.size() < 12 || (!head.startsWith("RIFF") && !head.startsWith("RF64")) || head.mid(8, 4) != "WAVE")
        return;
    bool fmtFound = false, dataFound = false, reserve = false;
    std::uint32_t dataField = 0;
    CDs64Chunk ds64;
    QString problem;
    for (qint64 position = 12; position + 8 <= size && !dataFound;) {
        const QByteArray chunk = readAt(file, position, 8);
        const QByteArray id = chunk.left(4);
        const std::uint32_t chunkSize = waveBytes::u32(chunk, 4);
        if (id == "data") {
            dataFound = true;
            dataField = chunkSize;
            mDataOffset = std::uint64_t(position + 8);
            break;
        }
        if (position + 8 + qint64(chunkSize) > size) {
            problem = QStringLiteral("its '%1' chunk runs past the end of the file").arg(QString::fromLatin1(id));
            break;
        }
        const QByteArray body = readAt(file, position + 8, chunkSize);
        if (id == "fmt ") {
            fmtFound = mFmt.parse(body) == waveOk && mFmt.mBlockAlign > 0;
            if (!fmtFound) {
                problem = QStringLiteral("its format chunk cannot be read");
                break;
            }
        } else if (id == "ds64") {
            ds64.parse(body);
        }
        // The reserve for 64-bit sizes, where the recorder leaves it.
        if (position == 12 && (id == "ds64" || id.toLower() == "junk") && chunkSize == CDs64Chunk::bodySize)
            reserve = true;
        position += 8 + qint64(chunkSize) + qint64(chunkSize & 1);
    }
    const bool rf64 = head.startsWith("RF64");
    const std::uint32_t riffField = waveBytes::u32(head, 4);
    const std::uint64_t riffSize = rf64 && riffField == sizeFromDs64 ? ds64.mRiffSize : riffField;
    if (riffSize + 8 == std::uint64_t(size)) {
        mState = stateFinished;
        return;
    }
    if (!problem.isEmpty())
        return damaged(problem);
    if (!fmtFound)
        return damaged(QStringLiteral("it has no format chunk"));
    if (!dataFound)
        return damaged(QStringLiteral("it has no data chunk"));
    const std::uint64_t held = std::uint64_t(size) - mDataOffset;
    const std::uint64_t promised = rf64 && dataField == sizeFromDs64 ? ds64.mDataSize : dataField;
    mDataBytes = held;
    // A take cut off while its trailing chunks were written keeps the samples its
    // header counts and loses the chunks.
    const std::uint64_t behind = promised + (promised & 1);
    if (behind + 8 <= held) {
        const QByteArray id = readAt(file, qint64(mDataOffset + behind), 4);
        if (id == "levl" || id == "bext" || id == "LIST")
            mDataBytes = promised;
    }
    mDataBytes -= mDataBytes % mFmt.mBlockAlign;
    if (mDataOffset + mDataBytes + 1 - 8 >= riffLimit && !reserve)
        return damaged(QStringLiteral("it is larger than 4 GiB and has no room for 64-bit sizes"));
    mState = stateUnfinished;
}

bool CUnfinishedTake::repair()
{
    if (mState == stateFinished || mState == stateNotWave) {
        mReason = QStringLiteral("it is not an unfinished take");
        return false;
    }
    if (mState == stateDamaged)
        return false;
    CWaveFile wave;
    if (wave.finishUnfinished(mPath, mFmt, mDataOffset, mDataBytes) != waveOk) {
        mReason = wave.openError();
        return false;
    }
    mState = stateFinished;
    return true;
}
