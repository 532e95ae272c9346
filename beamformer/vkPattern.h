#pragma once
// A beam pattern: a plain read-only record of constant tables, one object per pattern.
// Consumers take row pointers into the tables and keep them; nothing is copied out.
// After construction any thread may read it without a lock.

#include <cstdint>

class vkPattern {
public:
    vkPattern();
    vkPattern(const vkPattern&) = delete;
    vkPattern& operator=(const vkPattern&) = delete;

    // Slot 0: the latency in samples that the pattern's own filters stand for.
    virtual float groupDelay() const;

    // Row pointers into the tables; null for an index outside the table.
    // Row (p, n) of mModalFir: the order-n filter of parameter index p.
    const float* modalRow(int p, int n) const;
    // Row p of mModalFirLength: the taps in use of the mNumOrders order filters.
    const int32_t* modalLengths(int p) const;
    // Row p of mPolar: mPolarPoints magnitudes, every 5 degrees from the beam axis.
    const float* polarRow(int p) const;
    // Row p of mEqFir: the output equaliser of parameter index p, mEqFirLength[p] taps.
    const float* eqRow(int p) const;
    // The parameter index a newly chosen pattern starts at: the first p whose value is 0,
    // else the last p.
    int defaultParameter() const;

    int32_t mNumOrders;          // filters per filter set: 4, orders 0..3
    int32_t mModalTaps;          // row length of mModalFir: 251, 1 for "omni"
    int32_t mEqTaps;             // row length of mEqFir: 31
    int32_t mNumParameters;      // rows of the parameter-indexed tables: 1 or 5
    int32_t mPolarPoints;        // row length of mPolar: 73
    uint32_t mPatternCode;       // 0x0A000001 with an eight-bit id in bits 16..23
    char mName[16];              // zero padded, no terminator needed at 16 characters
    float mDesignRate;           // 44100.0
    uint8_t mParameterFlag;      // 1
    char mParameterName[16];     // "WNG", or empty for a pattern with a fixed setting
    const float* mModalFir;      // mNumParameters x mNumOrders x mModalTaps taps
    const int32_t* mModalFirLength;  // mNumParameters x mNumOrders, 0 for no filter
    const int32_t* mParameterValues; // mNumParameters values, -12 to 12
    const int32_t* mBeamWidth;   // mNumParameters full -3 dB widths in degrees
    const float* mPolar;         // mNumParameters x mPolarPoints linear magnitudes
    const float* mEqFir;         // mNumParameters x mEqTaps taps
    const int32_t* mEqFirLength; // mNumParameters lengths

protected:
    // Not virtual: the owner knows each concrete type and deletes through it.
    ~vkPattern() = default;

    // (x - 1) / 2 for x >= 1, else 0: the delay of a linear-phase filter of x taps.
    static float halfLength(int32_t taps);
};
