#pragma once
// Shared by the renderer's integration tests: reading wave files with libsndfile (an
// independent reader), writing test inputs, and running the renderer in-process.

#include "render/CRenderOptions.h"
#include "render/CRenderer.h"
#include "tests/support/SndfileWave.h"

#include <QString>
#include <QStringList>

#include <atomic>
#include <vector>

namespace render_test {

using sndfile_wave::Channels;
using sndfile_wave::readWave;
using sndfile_wave::writeWave;

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
