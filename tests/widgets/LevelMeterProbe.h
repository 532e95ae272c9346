#pragma once
// Probes of a level meter's picture: whether the numbers over its columns and the channel
// labels under them run into their neighbours.

#include "widgets/CLevelMeter.h"

#include <QImage>

#include <cmath>
#include <iterator>
#include <vector>

namespace widgettest {

// Linear levels whose holds need every width of number: full scale, one, two and three
// digits, and silence, in turn over the channels.
inline std::vector<float> holdsOfEveryWidth(int channels)
{
    const double db[] = {-0.01, -6.04, -9.96, -23.4, -45.3, -99.9, -100.0};
    std::vector<float> levels(channels);
    for (int ch = 0; ch < channels; ++ch)
        levels[ch] = static_cast<float>(std::pow(10.0, db[ch % std::size(db)] / 20.0));
    return levels;
}

struct MeterTextProbe {
    int touching = 0;  // column borders with ink on them, numbers or labels
    int shown = 0;     // channels with a number
    int unseen = 0;    // of those, numbers without any ink in their column
};

// Ink is the grey of the texts on the meter's light frame; the frame and bars are lighter
// and darker than the band of the texts holds.
inline MeterTextProbe probeMeterTexts(CLevelMeter& meter)
{
    const auto ink = [](const QImage& image, double x, double top, double bottom) {
        int count = 0;
        for (int y = static_cast<int>(top); y < static_cast<int>(bottom); ++y)
            count += qGray(image.pixelColor(static_cast<int>(x), y).rgb()) < 170;
        return count;
    };
    const QImage image = meter.grab().toImage();
    MeterTextProbe probe;
    for (int ch = 0; ch < meter.channels(); ++ch) {
        const QRectF slot = meter.numberArea(ch);
        if (!meter.numberText(ch).isEmpty()) {
            ++probe.shown;
            int inside = 0;
            for (double x = slot.left() + 1; x < slot.right() - 1; x += 1)
                inside += ink(image, x, slot.top(), slot.bottom());
            probe.unseen += inside == 0;
        }
        if (ch == 0)
            continue;
        const double labels = meter.barArea(ch).bottom();
        probe.touching += ink(image, slot.left(), slot.top(), slot.bottom()) > 0;
        probe.touching += meter.labelPixelSize() > 0 && ink(image, slot.left(), labels, labels + 15) > 0;
    }
    return probe;
}

} // namespace widgettest
