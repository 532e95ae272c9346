#pragma once
// Small SOFA files (SimpleFreeFieldHRIR) written for tests: the text form of a netCDF-4
// file handed to ncgen (netcdf-bin), which libmysofa then reads like any other.

#include <string>

struct SofaFixture {
    int directions = 120;
    int receivers = 2;
    double sampleRate = 48000.0;
    int length = 32;
    // Each response is a raised-cosine pulse of 9 samples centred here (right ear two
    // samples later).
    int pulseCentre = 10;
};

// Writes `fixture` to `path`; false when ncgen could not make it.
bool writeSofa(const std::string& path, const SofaFixture& fixture);
