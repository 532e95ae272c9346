#pragma once
// The sound map as a picture: equirectangular, azimuth 0 to 360 degrees from left to
// right, polar angle 0 (the array's top) to 180 from top to bottom, the level in dB re
// the map's top on the shared colour scale, faint lines every 30 degrees, and each peak
// ringed and crossed, the mark the larger the stronger the peak. Also the peaks as text lines.

#include "soundmap/CSoundMap.h"

#include <QImage>
#include <QString>

#include <vector>

class CMapPicture {
public:
    static constexpr int kPixelsPerDegree = 2;

    // The picture of `map` over `rangeDb` below its top, with `peaks` marked.
    static QImage draw(const CSoundMap& map, float rangeDb, const std::vector<SoundMapPeak>& peaks);
    // One line a peak: rank, azimuth, polar angle (the renderer's AZ,EL order) and level
    // in dB re the strongest.
    static QString peaksText(const std::vector<SoundMapPeak>& peaks);

private:
    static void drawLevels(QImage& image, const CSoundMap& map, float rangeDb);
    static void drawGridLines(QImage& image);
    // `relative`: the peak's level re the strongest, as a fraction of the range (-1..0).
    static void markPeak(QImage& image, const SoundMapPeak& peak, float relative);
};
