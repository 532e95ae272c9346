#pragma once
// The array's calibration data, read out of the box's memory in answers of 32 bytes (64
// hex characters). The memory passes over 17 bytes, then holds a version byte, a size
// byte (the block's size plus 3) and the block: a byte that must be 1, then one 16-bit
// value per capsule in 1/4096 dB.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class CZibCalibration {
public:
    static constexpr int kUnit = 32;          // bytes per memory answer
    static constexpr int kBlockSize = 65;     // bytes of a version-1 block
    static constexpr float kMaxDb = 16.0f;

    // Takes the answer to a memory read at `offset`. Returns the offset to ask for next,
    // or -1 when the block is complete or can't be read, after which `mValid` tells.
    int take(int offset, std::string_view payload);

    bool mValid = false;
    int mVersion = -1;
    int mSize = 0;
    int mOffset = 0;
    int mReceived = 0;
    std::string mText;
    std::vector<float> mDb;

private:
    void takeFirst(std::string_view payload);
    void takeNext(std::string_view payload);
    bool parse();
};
