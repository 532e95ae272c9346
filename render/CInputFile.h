#pragma once
// The recording a render reads, through libsndfile, so that every container it knows
// (WAV, RF64, W64, AIFF, CAF, FLAC, ...) can be rendered. Samples arrive as floats of
// full scale 1.0 (integer samples scaled by a power of two, so a lossless container
// gives the same values as the wave file it was made from), block by block into the
// planar channels the audio graph takes.
//
// A wave file that a crash left unfinished, whose header promises more or fewer bytes
// than stand behind its data chunk's head, is read up to its last whole frame;
// promisedFrames() keeps what the header claimed so that the user can be told.

#include <QString>

#include <vector>

struct sf_private_tag; // libsndfile's handle (SNDFILE), as <sndfile.h> declares it

class CInputFile {
public:
    CInputFile() = default;
    ~CInputFile();
    CInputFile(const CInputFile&) = delete;
    CInputFile& operator=(const CInputFile&) = delete;

    // Opens `name` for reads of up to `maxFrames` frames at a time. False with a one-line
    // `error` when libsndfile cannot read it or it holds no samples.
    bool open(const QString& name, int maxFrames, QString& error);

    int channels() const { return mChannels; }
    int sampleRate() const { return mSampleRate; }
    qint64 frames() const { return mFrames; }
    // True when the header disagrees with what the file holds; promisedFrames() then
    // gives the header's length, frames() what is there.
    bool unfinished() const { return mPromisedFrames >= 0; }
    qint64 promisedFrames() const { return mPromisedFrames; }

    // The next `frames` frames (at most maxFrames) into `channels[0..count)`: the file's
    // first channels, zeros for channels it does not have and past its end. False when
    // the file gave fewer frames than it holds (a read error).
    bool read(float* const* channels, int count, int frames);

private:
    void readUnfinishedWave(const QString& name);
    // The next `frames` frames of all the file's channels into channels[0..mChannels);
    // the frames read.
    qint64 readBytes24(float* const* channels, qint64 frames);
    // The same for the first `used` channels, through libsndfile's floats.
    qint64 readFloats(float* const* channels, int used, qint64 frames);

    sf_private_tag* mFile = nullptr;
    int mChannels = 0;
    int mSampleRate = 0;
    qint64 mFrames = 0;
    qint64 mPromisedFrames = -1;
    qint64 mPosition = 0;
    bool mBytes24 = false; // 24-bit samples, low byte first: decoded by vkInt24FramesToChannels
    std::vector<float> mInterleaved;
    std::vector<unsigned char> mFrameBytes;
};
