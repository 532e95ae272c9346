#pragma once
// Runs a processing object on blocks of one fixed length, whatever lengths the host's
// run() calls have: the host's samples fill an input block, and the processed block
// plays out while the next one fills. The output is late by exactly one block (the
// plug-in reports it as its latency), and the object sees the same blocks as the offline
// renderer gives it, so both produce the same samples.
//
// Input and output buffers may be the same memory: each stretch of input is taken
// before the output is written over it.
// Audio thread (run, clear): no allocation, no lock, no I/O.

#include <algorithm>
#include <vector>

class CReblocker {
public:
    // Control thread: storage for the channels at `blockLength`. False when the
    // lengths make no sense.
    bool configure(int inputs, int outputs, int blockLength);
    // Empties both blocks: the next output starts with a block of silence.
    void clear();

    int blockLength() const { return mBlock; }

    // Takes `frames` samples of each input and gives as many of each output; calls
    // `process(in, out)` (float** each, blockLength() frames) whenever a block is full.
    // A null output is left alone, a null input reads as silence.
    template <class Process>
    void run(const float* const* in, float* const* out, int frames, Process&& process)
    {
        int done = 0;
        while (done < frames) {
            const int n = std::min(frames - done, mBlock - mFill);
            take(in, done, n);
            give(out, done, n);
            mFill += n;
            done += n;
            if (mFill == mBlock) {
                process(mIn.data(), mOut.data());
                mFill = 0;
            }
        }
    }

private:
    void take(const float* const* in, int offset, int frames);
    void give(float* const* out, int offset, int frames);

    std::vector<float> mStorage;
    std::vector<float*> mIn;
    std::vector<float*> mOut;
    int mBlock = 0;
    int mFill = 0;
};
