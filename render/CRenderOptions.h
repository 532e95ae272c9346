#pragma once
// The command line of vantoria-render, parsed into one record: its syntax, the ranges of
// its values, and that no output is an input or another output. Pattern names and "WNG"
// values are checked against the pattern library when the beams are resolved
// (CPatternCatalogue), a file's channel count and sample rate when it is opened.

#include "ambisonics/SphericalHarmonics.h"
#include "emulation/CSceneSignal.h"
#include "settings/CBeamSettings.h"

#include <QList>
#include <QString>
#include <QStringList>

// One source of a described scene: a plane wave from (phi, theta) carrying a signal. The
// modelled sphere takes any direction, so a source keeps the decimals of its angles.
struct CSceneSourceRequest {
    double phi = 0.0;
    double theta = 90.0;
    CSceneSignal::Kind kind = CSceneSignal::Kind::Noise;
    double frequency = 1000.0; // of a sine
    float levelDb = -12.0f;    // peak level of the signal at the sphere
};

// Yaw, pitch and roll in degrees.
struct CRenderAngles {
    float yaw = 0.0f;
    float pitch = 0.0f;
    float roll = 0.0f;
};

struct CRenderOptions {
    static constexpr int kMaxBeams = 18;
    static constexpr const char* kDefaultHrtf = "/usr/share/libmysofa/default.sofa";

    QString inputFile;                  // a wave file; empty when a scene is rendered
    bool scene = false;                 // render a scene instead of reading a file
    QList<CSceneSourceRequest> sources; // the described scene; empty: the default scene
    double duration = 10.0;             // seconds of scene
    int sampleRate = 44100;             // of the scene
    QList<CBeamTrackRecord> beams;      // from --beam; an empty parameter: the pattern's default
    QString beamFile;                   // a .vts beam settings file
    QString output;                     // the beams' wave file
    QString arrayOutput;                // the scene's array signal
    bool floatOutput = false;           // 32-bit float outputs instead of 24-bit integers
    QString ambixOutput;                // the AmbiX channels
    int ambiOrder = 3;
    AmbiNorm ambiNorm = AmbiNorm::kSn3d;
    CRenderAngles mounting;             // of the array, in the AmbiX frame
    QString binauralOutput;             // the two ears
    QString hrtfFile = QString::fromLatin1(kDefaultHrtf);
    CRenderAngles head;                 // of the listener
    QString mapFile;                    // the sound map as a PNG picture
    bool mapPeaks = false;              // print the map's peaks
    int mapGrid = 5;                    // degrees between the map's directions
    bool mapMusic = false;              // the subspace estimate instead of steered power
    int blockLength = 512;
    bool quiet = false;
    bool help = false;
    bool version = false;
    QStringList notes;                  // what the parse changed, for the user to read

    // False with a one-line `error` when the command line cannot be used.
    static bool parse(const QStringList& arguments, CRenderOptions& options, QString& error);
    static QString helpText();
    bool wantsMap() const { return !mapFile.isEmpty() || mapPeaks; }
    bool wantsAmbisonics() const { return !ambixOutput.isEmpty() || !binauralOutput.isEmpty(); }
};
