// Writes a picture of each widget in a representative state into a folder (first argument,
// default "docs/widgets"), and the beam displays with a sound map behind them into a
// second folder (second argument, default "docs/soundmap"). Runs on any Qt platform; with QT_QPA_PLATFORM=offscreen it
// needs no display.

#include "widgets/CBeamDisplayAzimuth.h"
#include "widgets/CBeamDisplayElevation.h"
#include "widgets/CHVolumeSlider.h"
#include "widgets/CInputVolume.h"
#include "widgets/CLevelMeter.h"
#include "widgets/COnOffButton.h"
#include "widgets/CVolumeUnit.h"

#include "beamformer/tables/EbfMatrix.h"
#include "soundmap/CSoundMap.h"

#include <QApplication>
#include <QDir>
#include <QHBoxLayout>
#include <QPixmap>

#include <cmath>
#include <cstdio>
#include <numbers>
#include <vector>

namespace {
// |a + (1 - a) cos^order(t)| over the full circle, 73 points: first-order patterns
// (a = 0.5 cardioid, 0.25 hypercardioid) and a narrow third-order lobe.
std::vector<float> response(double a, int order)
{
    std::vector<float> r(73);
    for (int i = 0; i < 73; ++i) {
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

bool save(QWidget& widget, QSize size, const QString& folder, const char* name)
{
    widget.resize(size);
    widget.show();
    QApplication::processEvents();
    const QString path = folder + "/" + name + ".png";
    const bool ok = widget.grab().save(path);
    std::printf("%s %s\n", ok ? "wrote" : "FAILED", qPrintable(path));
    return ok;
}
} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    const QString folder = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("docs/widgets");
    QDir().mkpath(folder);
    bool ok = true;

    CVolumeUnit fader(CVolumeUnit::MuteButton | CVolumeUnit::SoloButton | CVolumeUnit::Label
                      | CVolumeUnit::LinkButton);
    fader.setMakeTable(true);
    fader.setRange(-40, 40, 0.1f, 1, 50);
    fader.setTickPosition(CVolumeUnit::ScaleRight);
    fader.setTickLabels(10);
    fader.setLabel(QStringLiteral("Beam 3"));
    fader.setVolume(-6.5f);
    fader.setSolo(true);
    ok &= save(fader, {80, 330}, folder, "volume-unit");

    CInputVolume input;
    input.setPreampVolume(20);
    input.setSliderVolume(-6);
    ok &= save(input, input.sizeHint().expandedTo({150, 300}), folder, "input-volume");

    QWidget switches;
    auto* row = new QHBoxLayout(&switches);
    for (int scheme = 0; scheme < 4; ++scheme)
        for (bool on : {true, false}) {
            auto* b = new COnOffButton(&switches);
            b->setSchemes(scheme, scheme);
            b->setTexts(QStringLiteral("on"), QStringLiteral("off"));
            b->setCheckable(true);
            b->setChecked(on);
            b->setFixedSize(34, 24);
            row->addWidget(b);
        }
    ok &= save(switches, {330, 40}, folder, "on-off-buttons");

    CHVolumeSlider bar;
    bar.setVolume(7.5f);
    ok &= save(bar, {160, 32}, folder, "h-volume-slider");

    CLevelMeter meter(32);
    std::vector<float> envelopes(32), peaks(32);
    for (int ch = 0; ch < 32; ++ch) {
        const double db = ch % 7 == 3 ? -7.0 - ch % 3 : -60.0 + 1.5 * ch;
        envelopes[ch] = static_cast<float>(std::pow(10.0, 0.05 * (db - 4)));
        peaks[ch] = static_cast<float>(std::pow(10.0, 0.05 * db));
    }
    meter.resize(560, 260);
    meter.advanceWith(envelopes.data(), peaks.data());
    ok &= save(meter, {560, 260}, folder, "level-meter");

    CBeamDisplayAzimuth azimuth;
    const std::vector<float> shapes[3] = {response(0.5, 1), response(0.25, 1), response(0.0, 3)};
    const QColor colours[3] = {QColor(30, 90, 220), QColor(220, 60, 40), QColor(40, 160, 60)};
    const int phis[3] = {30, 150, 260};
    for (int i = 0; i < 3; ++i) {
        azimuth.addPlot(shapes[i].data(), 73, colours[i]);
        azimuth.setPhi(i, phis[i]);
    }
    azimuth.setActivePattern(0);
    ok &= save(azimuth, {300, 300}, folder, "beam-display-azimuth");

    CBeamDisplayElevation elevation;
    const int thetas[3] = {30, 90, 135};
    for (int i = 0; i < 3; ++i) {
        elevation.addTrack(colours[i]);
        elevation.setTheta(i, thetas[i]);
    }
    elevation.setActivePattern(1);
    ok &= save(elevation, {200, 300}, folder, "beam-display-elevation");

    azimuth.setEnabled(false);
    ok &= save(azimuth, {300, 300}, folder, "beam-display-azimuth-disabled");

    const QString mapFolder = argc > 2 ? QString::fromLocal8Bit(argv[2]) : QStringLiteral("docs/soundmap");
    QDir().mkpath(mapFolder);
    const SoundMapFrame map = threeSourceMap();
    azimuth.setEnabled(true);
    azimuth.setMapFrame(map);
    ok &= save(azimuth, {300, 300}, mapFolder, "beam-display-azimuth-map");
    elevation.setMapFrame(map);
    elevation.setMapPlane(phis[1]);
    ok &= save(elevation, {200, 300}, mapFolder, "beam-display-elevation-map");
    elevation.setMapNote(QStringLiteral("no sound map: the input has 2 channels"));
    ok &= save(elevation, {200, 300}, mapFolder, "beam-display-elevation-no-map");
    return ok ? 0 : 1;
}
