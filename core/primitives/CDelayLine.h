#pragma once
// A plain circular delay of a whole number of samples, used to pad a path to a fixed
// latency. The ring holds the sample being written plus mDelay older ones. A block moves
// through it as a few contiguous copies, not sample by sample.
// Audio thread (process): no allocation, no lock, no I/O.

class CDelayLine {
public:
    CDelayLine();
    virtual ~CDelayLine();
    CDelayLine(const CDelayLine&) = delete;
    CDelayLine& operator=(const CDelayLine&) = delete;

    // Sets the delay (not negative) and clears the ring; grows the buffer when needed.
    // Returns 0, or 1 when the buffer could not be grown; the line then gives silence.
    int setDelay(int delay);

    // out[i] = in[i - delay]; in and out are either the same buffer or do not overlap.
    void process(const float* in, float* out, int frames);

    int delay() const { return mDelay; }

private:
    void processApart(const float* in, float* out, int frames);
    void processInPlace(float* io, int frames);
    // Copies the `count` oldest pending samples (those output next) to dst.
    void readRing(float* dst, int count) const;
    // Writes `count` (below the ring length) new samples at the write index and moves it on.
    void writeRing(const float* src, int count);

    int mPosition = 0; // next write index; the pending samples follow it, oldest first
    int mCapacity = 1024; // samples of delay the buffer can hold
    int mDelay = 0;
    float* mBuffer = nullptr; // mCapacity + 1 floats
    // As large as mBuffer: holds the tail of an in-place block, then becomes the ring.
    float* mScratch = nullptr;
    float* mStorage = nullptr; // one allocation for both
};
