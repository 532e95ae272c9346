#pragma once
// The blocks that go round the render pipeline: the capsule channels a reader fills, and
// what the graph leaves for the writer (the beams, the AmbiX channels, the ears and the
// sound map's period). Each is allocated once, at the render's set-up.

#include "soundmap/CModeCovariance.h"

#include <vector>

// Channels of one block, each a run of frames.
class CPlanarBlock {
public:
    CPlanarBlock(int channels, int frames);

    float** channels() { return mPointers.data(); }
    const float* const* channels() const { return mPointers.data(); }
    int channelCount() const { return int(mPointers.size()); }
    // The first channelCount() channels of `source`, `frames` of each.
    void copyFrom(const float* const* source, int frames);

private:
    std::vector<float> mStorage;
    std::vector<float*> mPointers;
};

struct CRenderedBlock {
    CRenderedBlock(int beams, int ambisonics, int ears, int frames)
        : beams(beams, frames), ambisonics(ambisonics, frames), ears(ears, frames)
    {
    }

    CPlanarBlock beams;
    CPlanarBlock ambisonics;
    CPlanarBlock ears;
    int frames = 0; // of the block that go into the files: the last block may be cut
    bool hasPeriod = false;
    ModeCovarianceFrame period;
};
