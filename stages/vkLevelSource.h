#pragma once
// What a level display reads: per channel the highest peak and envelope since its last
// read, and the release time of the envelopes. The level stage is one; a session that
// outlives its graphs is another.

class vkLevelSource {
public:
    virtual ~vkLevelSource() = default;
    // Writes up to `count` peaks and envelopes; gives how many it wrote.
    virtual int takeLevels(float* peaks, float* envelopes, int count) = 0;
    virtual float releaseTime() const = 0;
};
