#pragma once
// Helpers shared by the wave file tests: chunk fixtures as byte arrays, deterministic
// test signals on the 24-bit grid, and a scratch directory.

#include "audiofile/CWaveChunks.h"

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

#include <cstdint>

namespace wavetest {

// id, u32 size, body and a pad byte when the body is odd.
inline QByteArray chunk(const char* id, const QByteArray& body)
{
    QByteArray bytes(id, 4);
    waveBytes::putU32(bytes, std::uint32_t(body.size()));
    bytes.append(body);
    if (body.size() % 2)
        bytes.append('\0');
    return bytes;
}

// A plain (16-byte) `fmt ` body.
inline QByteArray fmtBody(std::uint16_t tag, std::uint16_t channels, std::uint32_t rate, std::uint16_t bits)
{
    QByteArray body;
    waveBytes::putU16(body, tag);
    waveBytes::putU16(body, channels);
    waveBytes::putU32(body, rate);
    waveBytes::putU32(body, rate * channels * (bits / 8));
    waveBytes::putU16(body, std::uint16_t(channels * (bits / 8)));
    waveBytes::putU16(body, bits);
    return body;
}

// An extensible `fmt ` body with the given sub-format tag.
inline QByteArray extensibleBody(std::uint16_t channels, std::uint32_t rate, std::uint16_t bits,
                                 std::uint32_t subTag)
{
    QByteArray body = fmtBody(0xFFFE, channels, rate, bits);
    waveBytes::putU16(body, 22);
    waveBytes::putU16(body, bits);
    waveBytes::putU32(body, 0);
    waveBytes::putU32(body, subTag);
    body.append(QByteArray::fromHex("00001000800000aa00389b71"));
    return body;
}

inline QByteArray riff(const QByteArray& chunks, const char* magic = "RIFF")
{
    QByteArray bytes(magic, 4);
    waveBytes::putU32(bytes, std::uint32_t(chunks.size() + 4));
    bytes.append("WAVE");
    bytes.append(chunks);
    return bytes;
}

// A value on the 24-bit grid in [-1, 1) that differs by channel and frame.
inline float gridSample(std::int64_t frame, int channel)
{
    const std::int64_t code = (frame * 7919 + std::int64_t(channel) * 104729) % (1 << 24) - (1 << 23);
    return float(code) / float(1 << 23);
}

// Frames of the grid signal from `first` on as interleaved 24-bit little-endian samples.
inline QByteArray gridBytes24(std::int64_t first, int frames, int channels)
{
    QByteArray bytes;
    for (std::int64_t frame = first; frame < first + frames; ++frame)
        for (int c = 0; c < channels; ++c) {
            const std::int32_t code = std::int32_t(gridSample(frame, c) * 8388608.0f);
            bytes.append(char(code & 0xFF)).append(char((code >> 8) & 0xFF)).append(char((code >> 16) & 0xFF));
        }
    return bytes;
}

inline QString scratchPath(const QTemporaryDir& dir, const char* name)
{
    return dir.filePath(QString::fromLatin1(name));
}

} // namespace wavetest
