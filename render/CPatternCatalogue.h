#pragma once
// The pattern library as the renderer's users name it: pattern names and the texts of
// their "WNG" values, and the turn of a beam record (from --beam or a .vts file) into the
// indices and gain that the audio graph takes.

#include "settings/CBeamSettings.h"

#include <QList>
#include <QString>
#include <QStringList>

// One beam as the graph takes it.
struct CBeamSetting {
    float theta = 90.0f;
    float phi = 0.0f;
    int pattern = 0;
    int parameter = 0;
    float gain = 1.0f; // linear
    bool mute = false;
};

class CPatternCatalogue {
public:
    CPatternCatalogue();

    const QStringList& names() const { return mNames; }
    // Texts of the pattern's "WNG" values in ascending order; one entry for a fixed pattern.
    QStringList parameters(int pattern) const { return mParameters.value(pattern); }

    // Strict, for the command line: an unknown pattern name or a value the pattern does not
    // have is an error; an empty value picks the pattern's default.
    bool resolveStrict(const CBeamTrackRecord& beam, CBeamSetting& setting, QString& error) const;
    // Lenient, as the beam track list loads a .vts file: an unknown name gives pattern 0,
    // an unknown value the closest one.
    CBeamSetting resolveLenient(const CBeamTrackRecord& beam) const;

private:
    static CBeamSetting direction(const CBeamTrackRecord& beam);

    QStringList mNames;
    QList<QStringList> mParameters;
    QList<int> mDefaultParameters;
};
