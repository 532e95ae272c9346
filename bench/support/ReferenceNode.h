#pragma once
// The benchmarks' reference workload: 32 capsule inputs, 18 active beams of mixed
// patterns at spread directions, block 512, 44.1 kHz; and the beamformer node set up for
// it, with noise at its inputs. The node's benchmark and the renderer's (which gives the
// same beams on the command line and compares the two) share it.

#include "beamformer/CZirc.h"

#include <vector>

namespace reference_workload {
constexpr int kBlock = 512;
constexpr float kRate = 44100.0f;
constexpr int kBeams = 18;
constexpr int kCapsules = 32;

// Beam `b` of the workload: its direction in degrees and its pattern (the pattern's
// default "WNG" value).
struct Beam {
    float theta;
    float phi;
    int pattern;
};
Beam beam(int b);
} // namespace reference_workload

struct ReferenceNode {
    ReferenceNode();

    // One block of the inputs into the beams.
    void process() { zirc.process(inPointers.data(), outPointers.data(), reference_workload::kBlock); }

    CZirc zirc;
    bool configured = false;
    std::vector<int> patterns; // of each beam
    std::vector<std::vector<float>> in, out;
    std::vector<float*> inPointers, outPointers;
};
