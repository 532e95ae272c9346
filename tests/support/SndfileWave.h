#pragma once
// Wave files read and written by libsndfile, an independent implementation of the format:
// tests check what the system writes with it and make the system's inputs with it.
// Link with libsndfile (pkg-config "sndfile").

#include <QFile>
#include <QString>

#include <sndfile.h>

#include <vector>

namespace sndfile_wave {

// A whole file, one vector per channel, full scale 1.0.
struct Channels {
    int sampleRate = 0;
    std::vector<std::vector<float>> data;
    int channels() const { return int(data.size()); }
    long frames() const { return data.empty() ? 0 : long(data[0].size()); }
};

// Every sample of the file, frame after frame, full scale 1.0, and in `info` what
// libsndfile says of the file; nothing, and `info` zero, when it cannot open it.
inline std::vector<float> readInterleaved(const QString& name, SF_INFO& info)
{
    info = SF_INFO{};
    SNDFILE* handle = sf_open(QFile::encodeName(name).constData(), SFM_READ, &info);
    if (!handle) {
        info = SF_INFO{};
        return {};
    }
    sf_command(handle, SFC_SET_NORM_FLOAT, nullptr, SF_TRUE);
    std::vector<float> samples(std::size_t(info.frames * info.channels));
    sf_readf_float(handle, samples.data(), info.frames);
    sf_close(handle);
    return samples;
}

// The whole file; no channels when libsndfile cannot open it.
inline Channels readWave(const QString& name)
{
    SF_INFO info;
    const std::vector<float> interleaved = readInterleaved(name, info);
    Channels result;
    result.sampleRate = info.samplerate;
    result.data.assign(std::size_t(info.channels), std::vector<float>(std::size_t(info.frames)));
    for (sf_count_t i = 0; i < info.frames; ++i)
        for (int c = 0; c < info.channels; ++c)
            result.data[std::size_t(c)][std::size_t(i)] = interleaved[std::size_t(i * info.channels + c)];
    return result;
}

// Writes a RIFF/WAVE file of 32-bit floats, or of another libsndfile subtype
// (SF_FORMAT_PCM_24, ...); false when it cannot.
inline bool writeWave(const QString& name, const Channels& channels, int subtype = SF_FORMAT_FLOAT)
{
    SF_INFO info{};
    info.samplerate = channels.sampleRate;
    info.channels = channels.channels();
    info.format = SF_FORMAT_WAV | subtype;
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

} // namespace sndfile_wave
