#pragma once
// Writes blocks of float channels into a wave file: 24-bit integer PCM converted as the
// graph's recorders convert (full scale 2^23, saturated), or 32-bit float. The wave layer
// turns the file into RF64 when it outgrows 4 GiB.

#include "audiofile/CWaveFile.h"

#include <QByteArray>
#include <QString>

#include <vector>

class CRenderSink {
public:
    enum tSampleFormat { formatInteger24 = 0, formatFloat32 = 1 };

    CRenderSink() = default;
    CRenderSink(const CRenderSink&) = delete;
    CRenderSink& operator=(const CRenderSink&) = delete;

    // Creates the file; blocks of up to maxFrames follow. False when it cannot be created.
    bool open(const QString& name, int channels, int sampleRate, int format, int maxFrames);
    // False when the disk refused the bytes (full, gone).
    bool write(const float* const* channels, int frames);
    // Patches the header and closes; the file is complete afterwards.
    void close();

    qint64 framesWritten() const { return mFrames; }
    // Samples beyond full scale that a 24-bit file had to saturate; 0 for float files.
    qint64 clippedSamples() const { return mClipped; }

private:
    void toFileBytes(const float* const* channels, int frames);

    CWaveFile mWave;
    int mChannels = 0;
    int mBytesPerSample = 3;
    qint64 mFrames = 0;
    qint64 mClipped = 0;
    std::vector<float> mScratch;
    std::vector<unsigned char> mPacked;
    QByteArray mBytes;
};
