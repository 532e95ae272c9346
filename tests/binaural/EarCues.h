#pragma once
// The cues a listener takes from a pair of ear responses, measured the same way for the
// rendered ears and for the measured head-related responses they are compared with:
// the interaural time difference from the peak of the cross-correlation below 1.5 kHz,
// the interaural level difference from the energy between 2 and 8 kHz, and third-octave
// band levels from 1 kHz up for the spectral cue.

#include <vector>

struct EarCues {
    double itdSeconds = 0.0;  // > 0: the left ear hears later (source on the right)
    double ildDb = 0.0;       // left over right
    std::vector<double> bandsDb[2];
};

// left and right: impulse responses (any length up to 8192) at `rate`.
EarCues measureEarCues(const std::vector<float>& left, const std::vector<float>& right, double rate);
// RMS difference of the band levels over both ears, in dB.
double spectralDistanceDb(const EarCues& a, const EarCues& b);
