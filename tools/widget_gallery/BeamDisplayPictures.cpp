// The azimuth and elevation displays with three beams, disabled, and with the sound map of
// three plane waves behind them.

#include "GalleryPictures.h"
#include "PictureFolder.h"

#include "widgets/CBeamDisplayAzimuth.h"
#include "widgets/CBeamDisplayElevation.h"

#include "beamformer/tables/EbfMatrix.h"
#include "soundmap/CSoundMap.h"

#include <QColor>

#include <cmath>
#include <numbers>
#include <vector>

namespace {
constexpr int kPoints = 73; // the full circle in 5 degree steps
const QColor kColours[3] = {QColor(30, 90, 220), QColor(220, 60, 40), QColor(40, 160, 60)};
constexpr int kPhis[3] = {30, 150, 260};
constexpr int kThetas[3] = {30, 90, 135};

// |a + (1 - a) cos^order(t)| over the full circle: first-order patterns (a = 0.5 cardioid,
// 0.25 hypercardioid) and a narrow third-order lobe.
std::vector<float> response(double a, int order)
{
    std::vector<float> r(kPoints);
    for (int i = 0; i < kPoints; ++i) {
        const double c = std::cos(i * 5.0 * std::numbers::pi / 180.0);
        r[i] = static_cast<float>(std::abs(a + (1 - a) * std::pow(c, order)));
    }
    return r;
}

// The map of three uncorrelated plane waves at the modelled scene's directions (theta,
// phi, relative power), from their mode covariance.
SoundMapFrame threeSourceMap()
{
    const double sources[3][3] = {{90, 30, 0.7}, {60, 150, 0.25}, {120, 270, 1.0}};
    ModeCovarianceFrame period;
    period.frames = 1;
    for (const auto& s : sources)
        for (int i = 0; i < 16; ++i)
            for (int j = i; j < 16; ++j)
                period.sums[ModeCovarianceFrame::index(i, j)] += s[2] * ebfHarmonic(i, s[0], s[1]) * ebfHarmonic(j, s[0], s[1]);
    CSoundMap map;
    map.update(period);
    return map.frame(30.0f, 8);
}
} // namespace

void writeBeamDisplayPictures(PictureFolder& widgets, PictureFolder& soundMap)
{
    CBeamDisplayAzimuth azimuth;
    const std::vector<float> shapes[3] = {response(0.5, 1), response(0.25, 1), response(0.0, 3)};
    for (int i = 0; i < 3; ++i) {
        azimuth.addPlot(shapes[i].data(), kPoints, kColours[i]);
        azimuth.setPhi(i, kPhis[i]);
    }
    azimuth.setActivePattern(0);
    widgets.save(azimuth, {300, 300}, "beam-display-azimuth");

    CBeamDisplayElevation elevation;
    for (int i = 0; i < 3; ++i) {
        elevation.addTrack(kColours[i]);
        elevation.setTheta(i, kThetas[i]);
    }
    elevation.setActivePattern(1);
    widgets.save(elevation, {200, 300}, "beam-display-elevation");

    azimuth.setEnabled(false);
    widgets.save(azimuth, {300, 300}, "beam-display-azimuth-disabled");

    const SoundMapFrame map = threeSourceMap();
    azimuth.setEnabled(true);
    azimuth.setMapFrame(map);
    soundMap.save(azimuth, {300, 300}, "beam-display-azimuth-map");
    elevation.setMapFrame(map);
    elevation.setMapPlane(kPhis[1]);
    soundMap.save(elevation, {200, 300}, "beam-display-elevation-map");
    elevation.setMapNote(QStringLiteral("no sound map: the input has 2 channels"));
    soundMap.save(elevation, {200, 300}, "beam-display-elevation-no-map");
}
