#pragma once
// Shared by the renderer's integration tests: reading wave files with libsndfile (an
// independent reader), writing test inputs, and running the renderer in-process.

#include "render/CRenderOptions.h"
#include "render/CRenderer.h"

#include <QFile>
#include <QString>

#include <sndfile.h>

#include <atomic>
#include <vector>

namespace render_test {

// A whole file, one vector per channel, as libsndfile reads it (full scale 1.0).
struct Channels {
    int sampleRate = 0;
    std::vector<std::vector<float>> data;
    int channels() const { return int(data.size()); }
    long frames() const { return data.empty() ? 0 : long(data[0].size()); }
};

inline Channels readWave(const QString& name)
{
    Channels result;
    SF_INFO info{};
    SNDFILE* handle = sf_open(QFile::encodeName(name).constData(), SFM_READ, &info);
    if (!handle)
        return result;
    sf_command(handle, SFC_SET_NORM_FLOAT, nullptr, SF_TRUE);
    std::vector<float> interleaved(std::size_t(info.frames * info.channels));
    sf_readf_float(handle, interleaved.data(), info.frames);
    sf_close(handle);
    result.sampleRate = info.samplerate;
    result.data.assign(std::size_t(info.channels), std::vector<float>(std::size_t(info.frames)));
    for (sf_count_t i = 0; i < info.frames; ++i)
        for (int c = 0; c < info.channels; ++c)
            result.data[std::size_t(c)][std::size_t(i)] = interleaved[std::size_t(i * info.channels + c)];
    return result;
}

// Writes 32-bit float samples with libsndfile; false when it cannot.
inline bool writeWave(const QString& name, const Channels& channels)
{
    SF_INFO info{};
    info.samplerate = channels.sampleRate;
    info.channels = channels.channels();
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* handle = sf_open(QFile::encodeName(name).constData(), SFM_WRITE, &info);
    if (!handle)
        return false;
    std::vector<float> interleaved(std::size_t(channels.frames() * channels.channels()));
    for (long i = 0; i < channels.frames(); ++i)
        for (int c = 0; c < channels.channels(); ++c)
            interleaved[std::size_t(i * channels.channels() + c)] = channels.data[std::size_t(c)][std::size_t(i)];
    const bool written = sf_writef_float(handle, interleaved.data(), channels.frames()) == channels.frames();
    sf_close(handle);
    return written;
}

// Deterministic noise in every channel, at -20 dBFS or so.
inline Channels noise(int channelCount, long frames, int sampleRate, unsigned seed)
{
    Channels result;
    result.sampleRate = sampleRate;
    result.data.assign(std::size_t(channelCount), std::vector<float>(std::size_t(frames)));
    unsigned state = seed;
    for (auto& channel : result.data)
        for (float& x : channel) {
            state = state * 1664525u + 1013904223u;
            x = 0.1f * (float(state >> 8) / 8388608.0f - 1.0f);
        }
    return result;
}

// Parses `arguments` and renders; an empty string on success, else the error.
inline QString render(const QStringList& arguments)
{
    CRenderOptions options;
    QString error;
    if (!CRenderOptions::parse(QStringList{"vantoria-render"} + arguments, options, error))
        return error;
    CRenderer renderer;
    std::atomic<bool> cancel{false};
    if (!renderer.prepare(options, error) || !renderer.run(nullptr, cancel, error))
        return error.isEmpty() ? QStringLiteral("failed without a message") : error;
    return {};
}

} // namespace render_test
