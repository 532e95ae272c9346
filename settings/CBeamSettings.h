#pragma once
// The beam settings file (.vts): the whole beam track list in QSettings' ini format.
//
//   [General]  phiLinkStatus
//   [tracks]   size, and per track from 1: color, label, phi, theta, pattern, parameter,
//              volume, mute
//
// A pattern is kept by name and its parameter by text, so that a file outlives a change
// of the pattern library (BeamChoice.h turns them back into indices). A key missing from
// a track reads as an empty value: no colour, empty label, angles 0, no pattern name,
// parameter "", 0 dB, not muted. The colour stays a variant, as QSettings stores a
// QColor, so that this library needs Qt's core classes only.

#include <QList>
#include <QString>
#include <QVariant>

struct CBeamTrackRecord {
    QVariant color;      // a QColor variant; invalid when the file had none
    QString label;       // empty: the list names the track "beam <number>"
    int phi = 0;         // azimuth in degrees, 0..359 once read
    int theta = 90;      // elevation (polar angle) in degrees, 0..180 once read
    QString pattern = QStringLiteral("omni");
    QString parameter = QStringLiteral("0");
    float volume = 0.0f; // decibels
    bool mute = false;

    // Pure white at full alpha: the track list picks a random colour for it.
    bool asksForRandomColor() const;
    bool operator==(const CBeamTrackRecord& other) const = default;
};

class CBeamSettings {
public:
    enum tResult {
        resultOk = 0,
        resultWrongSuffix = 1, // the complete suffix is not "vts"
        resultUnreadable = 2,  // missing, not a file, or not readable
        resultFormat = 3,      // not an ini file
        resultUnwritable = 4,
    };

    bool phiLink = false;
    QList<CBeamTrackRecord> tracks;

    // The complete suffix (everything behind the first dot of the file name) is "vts".
    static bool hasSettingsSuffix(const QString& fileName);

    // Reads at most maxTracks tracks, in file order; on any failure `settings` is empty.
    static int load(const QString& fileName, CBeamSettings& settings, int maxTracks = 18);
    // Replaces the file's whole content.
    int save(const QString& fileName) const;

    // A text for each result code, for messages.
    static QString describe(int result);

    bool operator==(const CBeamSettings& other) const = default;
};
