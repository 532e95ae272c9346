// The faders, switches and meters in representative states.

#include "GalleryPictures.h"
#include "PictureFolder.h"

#include "widgets/CHVolumeSlider.h"
#include "widgets/CInputVolume.h"
#include "widgets/CLevelMeter.h"
#include "widgets/COnOffButton.h"
#include "widgets/CVolumeUnit.h"

#include <QHBoxLayout>

#include <cmath>
#include <vector>

namespace {
void writeFader(PictureFolder& folder)
{
    CVolumeUnit fader(CVolumeUnit::MuteButton | CVolumeUnit::SoloButton | CVolumeUnit::Label
                      | CVolumeUnit::LinkButton);
    fader.setMakeTable(true);
    fader.setRange(-40, 40, 0.1f, 1, 50);
    fader.setTickPosition(CVolumeUnit::ScaleRight);
    fader.setTickLabels(10);
    fader.setLabel(QStringLiteral("Beam 3"));
    fader.setVolume(-6.5f);
    fader.setSolo(true);
    folder.save(fader, {80, 330}, "volume-unit");
}

void writeInputVolume(PictureFolder& folder)
{
    CInputVolume input;
    input.setPreampVolume(20);
    input.setSliderVolume(-6);
    folder.save(input, input.sizeHint().expandedTo({150, 300}), "input-volume");
}

// The four colour schemes, each checked and unchecked.
void writeSwitches(PictureFolder& folder)
{
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
    folder.save(switches, {330, 40}, "on-off-buttons");
}

void writeVolumeBar(PictureFolder& folder)
{
    CHVolumeSlider bar;
    bar.setVolume(7.5f);
    folder.save(bar, {160, 32}, "h-volume-slider");
}

// 32 channels rising from -60 dB, every seventh near the red line; envelopes 4 dB below
// the peaks.
void writeLevelMeter(PictureFolder& folder)
{
    CLevelMeter meter(32);
    std::vector<float> envelopes(32), peaks(32);
    for (int ch = 0; ch < 32; ++ch) {
        const double db = ch % 7 == 3 ? -7.0 - ch % 3 : -60.0 + 1.5 * ch;
        envelopes[ch] = static_cast<float>(std::pow(10.0, 0.05 * (db - 4)));
        peaks[ch] = static_cast<float>(std::pow(10.0, 0.05 * db));
    }
    meter.resize(560, 260);
    meter.advanceWith(envelopes.data(), peaks.data());
    folder.save(meter, {560, 260}, "level-meter");
}
} // namespace

void writeControlPictures(PictureFolder& widgets)
{
    writeFader(widgets);
    writeInputVolume(widgets);
    writeSwitches(widgets);
    writeVolumeBar(widgets);
    writeLevelMeter(widgets);
}
