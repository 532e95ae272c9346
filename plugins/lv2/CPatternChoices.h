#pragma once
// The beamformer's pattern library as plug-in controls offer it: the pattern names, and
// one "WNG" enumeration for every pattern (the values any pattern has, in dB). A pattern
// that lacks the chosen value takes its closest one, as a beam settings file loads, and
// a fixed pattern ignores the choice. Built from the engine's own pattern library.

#include <array>
#include <string>
#include <vector>

class CPatternChoices {
public:
    static constexpr int kMaxPatterns = 16;
    static constexpr int kMaxWng = 8;

    // Control thread: reads the library and makes the lookup table.
    CPatternChoices();

    int patternCount() const { return int(mNames.size()); }
    const std::string& name(int pattern) const { return mNames[std::size_t(pattern)]; }
    // The "WNG" choices in ascending dB.
    const std::vector<int>& wngValues() const { return mWng; }
    // The choice a new beam starts with: 0 dB, the library's usual default.
    int defaultWng() const { return mDefaultWng; }

    // Audio thread: the pattern index for a control value (rounded, clamped), and the
    // pattern's parameter index for a "WNG" control value (the nearest choice, then the
    // pattern's closest value).
    int pattern(float control) const;
    int parameter(int pattern, float wngControl) const;

private:
    int wngChoice(float control) const;

    std::vector<std::string> mNames;
    std::vector<int> mWng;
    int mDefaultWng = 0;
    std::array<std::array<int, kMaxWng>, kMaxPatterns> mParameter{};
};
