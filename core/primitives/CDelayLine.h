#pragma once
// A plain circular delay of a whole number of samples, used to pad a path to a fixed
// latency. The ring holds the sample being written plus mDelay older ones.
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

    // out[i] = in[i - delay]; in and out may be the same buffer.
    void process(const float* in, float* out, int frames);

    int delay() const { return mDelay; }

private:
    int mPosition = 0; // next write index
    int mCapacity = 1024; // samples of delay the buffer can hold
    int mDelay = 0;
    float* mBuffer = nullptr; // mCapacity + 1 floats
};
