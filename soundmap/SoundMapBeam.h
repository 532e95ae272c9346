#pragma once
// The beam a steered-power map is made with, as the peak search needs it: its power
// pattern around its axis and its lobes. Pure functions of the order, built once.

#include <vector>

class SoundMapBeam {
public:
    struct Lobe {
        double endDegrees; // its null; the last lobe ends at 180
        float topDb;       // its top re the main lobe's top, in dB of power
    };

    // The maximum-directivity beam of `order`: b(x) = sum_n (2n + 1) P_n(x), the lobes
    // found by a scan in hundredths of a degree.
    static SoundMapBeam maximumDirectivity(int order);

    // Power re the top, b(x)^2 / b(1)^2, at the cosine x of the angle off the axis.
    double power(double cosAngle) const;
    // From the main lobe outwards.
    const std::vector<Lobe>& lobes() const { return mLobes; }
    double mainLobeDegrees() const { return mLobes.front().endDegrees; }
    // The top of the lobe that holds a direction `degrees` off the axis.
    float levelDb(double degrees) const;

private:
    explicit SoundMapBeam(int order);
    double amplitude(double cosAngle) const;

    int mOrder;
    std::vector<Lobe> mLobes;
};
