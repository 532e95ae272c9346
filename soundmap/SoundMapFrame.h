#pragma once
// One map as the displays take it: the levels in dB re the map's top over a fixed range,
// the peaks, and the two cuts the beam displays draw. A plain value, made on the main
// thread from CSoundMap::frame and copied to the widgets.

#include "soundmap/SoundMapGrid.h"
#include "soundmap/SoundMapPeaks.h"

#include <vector>

struct SoundMapFrame {
    SoundMapGrid grid;
    float rangeDb = 30.0f;
    std::vector<float> db;            // grid().points() levels, -rangeDb .. 0; empty: no map
    std::vector<SoundMapPeak> peaks;  // strongest first
    std::vector<float> peakDb;        // each peak's level re the strongest

    bool empty() const { return db.empty(); }
    // The largest level over the polar angle at each grid azimuth (columns() values).
    std::vector<float> azimuthProfile() const;
    // The levels along the half circle at azimuth `phi` from the top (0) to the bottom
    // (180), at every grid row (rows() values).
    std::vector<float> elevationProfile(double phiDegrees) const;
    // The peak nearest to a direction within `toleranceDegrees`; -1 when none is.
    int nearestPeak(double thetaDegrees, double phiDegrees, double toleranceDegrees) const;
};
