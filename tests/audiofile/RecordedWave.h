#pragma once
// What a finished recording is, as another program sees it: libsndfile's channels and
// frames, and whether the RIFF and data sizes in its header agree with the file's length
// (a recording has no chunk behind its samples).

#include <QFile>
#include <QString>

#include <sndfile.h>

#include <cstdint>

struct RecordedWave {
    int channels = 0;
    std::int64_t frames = 0;
    bool sizesAgree = false;
};

inline std::uint32_t littleEndian32(const QByteArray& bytes, int at)
{
    std::uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
        value = value << 8 | std::uint8_t(bytes[at + i]);
    return value;
}

inline RecordedWave readRecordedWave(const QString& path)
{
    RecordedWave wave;
    SF_INFO info{};
    if (SNDFILE* file = sf_open(path.toLocal8Bit().constData(), SFM_READ, &info)) {
        sf_close(file);
        wave.channels = info.channels;
        wave.frames = info.frames;
    }
    QFile file(path);
    constexpr int header = 104;
    const QByteArray head = file.open(QIODevice::ReadOnly) ? file.read(header) : QByteArray();
    const std::int64_t frameBytes = std::int64_t(wave.channels) * 3;
    wave.sizesAgree = head.size() == header && littleEndian32(head, 4) == std::uint32_t(file.size() - 8) &&
                      littleEndian32(head, 100) == std::uint32_t(file.size() - header) &&
                      file.size() - header == wave.frames * frameBytes;
    return wave;
}
