#include "render/CInputFile.h"

#include "audiofile/CWaveFile.h"
#include "audiofile/vkInt24Frames.h"

#include <QFile>

#include <sndfile.h>

#include <algorithm>
#include <cstdint>
#include <optional>

namespace {

// The size field of an RF64 file's data chunk; the size itself stands in `ds64`.
constexpr std::uint32_t kSizeInDs64 = 0xFFFFFFFF;
// Where an RF64 file keeps its data size: `ds64` is its first chunk.
constexpr int kDs64DataSize = 28;

bool isWave(int format)
{
    const int major = format & SF_FORMAT_TYPEMASK;
    return major == SF_FORMAT_WAV || major == SF_FORMAT_WAVEX || major == SF_FORMAT_RF64;
}

// 24-bit samples low byte first, as the array's takes are: read as bytes and decoded by
// the recorder's own vectorised decoder, which gives libsndfile's values (the code over
// 2^23, exact) for a fraction of its time.
bool isLittleEndian24(int format)
{
    if ((format & SF_FORMAT_SUBMASK) != SF_FORMAT_PCM_24)
        return false;
    const int endian = format & SF_FORMAT_ENDMASK;
    const bool littleByNature = isWave(format) || (format & SF_FORMAT_TYPEMASK) == SF_FORMAT_W64;
    return endian == SF_ENDIAN_LITTLE || (endian == SF_ENDIAN_FILE && littleByNature);
}

// The samples of a wave file as libsndfile reads them headerless; 0 for a kind it
// cannot read that way.
int rawSubtype(int formatTag, int bytesPerSample)
{
    if (formatTag == waveTagFloat)
        return bytesPerSample == 4 ? SF_FORMAT_FLOAT : bytesPerSample == 8 ? SF_FORMAT_DOUBLE : 0;
    if (formatTag != waveTagPcm)
        return 0;
    switch (bytesPerSample) {
    case 1: return SF_FORMAT_PCM_U8;
    case 2: return SF_FORMAT_PCM_16;
    case 3: return SF_FORMAT_PCM_24;
    case 4: return SF_FORMAT_PCM_32;
    default: return 0;
    }
}

// A chunk head that fits the file at `at`: four printable characters and a size that
// ends inside the file. Sample data seldom looks like one.
bool chunkAt(QFile& file, std::uint64_t at)
{
    const std::uint64_t size = std::uint64_t(file.size());
    if (at + 8 > size || !file.seek(qint64(at)))
        return false;
    const QByteArray head = file.read(8);
    const auto printable = [](char c) { return c >= 0x20 && c <= 0x7e; };
    return head.size() == 8 && std::all_of(head.begin(), head.begin() + 4, printable)
        && at + 8 + waveBytes::u32(head, 4) <= size;
}

// A wave file's data chunk: where its samples start, the bytes its header promises and
// the bytes that are its own. Those run to the end of the file when the header promises
// more than is there, or less while what follows is no chunk (a crash between writing
// samples and updating the header).
struct WaveData {
    qint64 offset = 0;
    std::uint64_t promised = 0;
    std::uint64_t present = 0;
    int frameBytes = 0;
    int rawSubtype = 0;
};

std::optional<WaveData> waveData(const QString& name)
{
    CWaveFile wave;
    int channels = 0, rate = 0, tag = 0, bytes = 0, levl = 0;
    if (wave.openExisting(name, channels, rate, tag, bytes, levl) != waveOk || wave.dataOffset() < 8 || bytes < 1)
        return std::nullopt;
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray head = file.read(kDs64DataSize + 8);
    WaveData data;
    data.offset = qint64(wave.dataOffset());
    data.frameBytes = channels * bytes;
    data.rawSubtype = rawSubtype(tag, bytes);
    if (!file.seek(data.offset - 4))
        return std::nullopt;
    data.promised = waveBytes::u32(file.read(4), 0);
    if (data.promised == kSizeInDs64 && head.startsWith("RF64") && head.mid(12, 4) == "ds64")
        data.promised = waveBytes::u64(head, kDs64DataSize);
    const std::uint64_t behind = std::uint64_t(file.size() - data.offset);
    const std::uint64_t next = std::uint64_t(data.offset) + data.promised + (data.promised & 1);
    const bool cutShort = data.promised > behind;
    const bool runsOn = data.promised < behind && !chunkAt(file, next);
    data.present = cutShort || runsOn ? behind : data.promised;
    return data;
}

} // namespace

CInputFile::~CInputFile()
{
    if (mFile)
        sf_close(mFile);
}

bool CInputFile::open(const QString& name, int maxFrames, QString& error)
{
    SF_INFO info{};
    mFile = sf_open(QFile::encodeName(name).constData(), SFM_READ, &info);
    if (!mFile) {
        error = QStringLiteral("cannot read %1: not a sound file that libsndfile reads (%2)")
                    .arg(name, QString::fromLocal8Bit(sf_strerror(nullptr)));
        return false;
    }
    sf_command(mFile, SFC_SET_NORM_FLOAT, nullptr, SF_TRUE);
    mChannels = info.channels;
    mSampleRate = info.samplerate;
    mFrames = info.frames;
    if (isWave(info.format))
        readUnfinishedWave(name);
    if (mFrames < 1) {
        error = QStringLiteral("cannot read %1: the file holds no samples").arg(name);
        return false;
    }
    SF_INFO current{};
    sf_command(mFile, SFC_GET_CURRENT_SF_INFO, &current, sizeof current);
    mBytes24 = isLittleEndian24(current.format);
    if (mBytes24)
        mFrameBytes.assign(std::size_t(maxFrames) * std::size_t(mChannels) * 3, 0);
    mInterleaved.assign(std::size_t(maxFrames) * std::size_t(mChannels), 0.0f);
    return true;
}

// libsndfile reads a file that ends before its header says up to its end, but stops at
// the header's length when the samples run on: such a file is read headerless from its
// data chunk instead.
void CInputFile::readUnfinishedWave(const QString& name)
{
    const std::optional<WaveData> data = waveData(name);
    if (!data || data->promised / data->frameBytes == data->present / data->frameBytes)
        return;
    mPromisedFrames = qint64(data->promised / data->frameBytes);
    const qint64 present = qint64(data->present / data->frameBytes);
    if (present <= mFrames || data->rawSubtype == 0)
        return;
    SF_INFO info{};
    info.samplerate = mSampleRate;
    info.channels = mChannels;
    info.format = SF_FORMAT_RAW | data->rawSubtype | SF_ENDIAN_LITTLE;
    SNDFILE* raw = sf_open(QFile::encodeName(name).constData(), SFM_READ, &info);
    sf_count_t offset = data->offset;
    if (!raw || sf_command(raw, SFC_SET_RAW_START_OFFSET, &offset, sizeof offset) != 0 || sf_seek(raw, 0, SEEK_SET) != 0) {
        if (raw)
            sf_close(raw);
        return;
    }
    sf_command(raw, SFC_SET_NORM_FLOAT, nullptr, SF_TRUE);
    sf_close(mFile);
    mFile = raw;
    mFrames = present;
}

bool CInputFile::read(float* const* channels, int count, int frames)
{
    const qint64 want = std::clamp<qint64>(mFrames - mPosition, 0, frames);
    const int used = std::min(count, mChannels);
    const bool bytes24 = mBytes24 && used == mChannels;
    const qint64 got = want > 0 ? (bytes24 ? readBytes24(channels, want) : readFloats(channels, used, want)) : 0;
    mPosition += want;
    for (int c = 0; c < count; ++c)
        std::fill(channels[c] + (c < used ? got : 0), channels[c] + frames, 0.0f);
    return got == want;
}

// Frame by frame, so that the interleaved block is read once, front to back.
qint64 CInputFile::readFloats(float* const* channels, int used, qint64 frames)
{
    const qint64 got = qint64(sf_readf_float(mFile, mInterleaved.data(), frames));
    const float* frame = mInterleaved.data();
    for (qint64 i = 0; i < got; ++i, frame += mChannels)
        for (int c = 0; c < used; ++c)
            channels[c][i] = frame[c];
    return got;
}

qint64 CInputFile::readBytes24(float* const* channels, qint64 frames)
{
    const sf_count_t frameBytes = sf_count_t(mChannels) * 3;
    const qint64 got = qint64(sf_read_raw(mFile, mFrameBytes.data(), frames * frameBytes)) / frameBytes;
    vkInt24FramesToChannels(mFrameBytes.data(), channels, int(got), mChannels, 1.0f / 8388608.0f);
    return got;
}
