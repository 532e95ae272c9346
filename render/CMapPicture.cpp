#include "render/CMapPicture.h"

#include "soundmap/SoundMapColours.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

QImage CMapPicture::draw(const CSoundMap& map, float rangeDb, const std::vector<SoundMapPeak>& peaks)
{
    QImage image(360 * kPixelsPerDegree, 180 * kPixelsPerDegree + 1, QImage::Format_RGB32);
    drawLevels(image, map, rangeDb);
    drawGridLines(image);
    for (const SoundMapPeak& peak : peaks)
        markPeak(image, peak, float(10.0 * std::log10(double(peak.power) / double(peaks.front().power))) / rangeDb);
    return image;
}

// Pixel centres sample the dB map between its grid points.
void CMapPicture::drawLevels(QImage& image, const CSoundMap& map, float rangeDb)
{
    const std::vector<float> db = map.relativeDb(rangeDb);
    for (int y = 0; y < image.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        const double theta = double(y) / kPixelsPerDegree;
        for (int x = 0; x < image.width(); ++x) {
            const double phi = (x + 0.5) / kPixelsPerDegree;
            const float level = 1.0f + map.grid().interpolate(db.data(), theta, phi) / rangeDb;
            const SoundMapRgb c = soundMapColour(level);
            line[x] = qRgb(c.r, c.g, c.b);
        }
    }
}

void CMapPicture::drawGridLines(QImage& image)
{
    QPainter painter(&image);
    painter.setPen(QColor(255, 255, 255, 60));
    for (int degrees = 30; degrees < 360; degrees += 30)
        painter.drawLine(degrees * kPixelsPerDegree, 0, degrees * kPixelsPerDegree, image.height());
    for (int degrees = 30; degrees < 180; degrees += 30)
        painter.drawLine(0, degrees * kPixelsPerDegree, image.width(), degrees * kPixelsPerDegree);
}

// The mark shrinks with the peak's level: a side lobe reads as a side lobe.
void CMapPicture::markPeak(QImage& image, const SoundMapPeak& peak, float relative)
{
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPointF at((peak.phi + 0.5 / kPixelsPerDegree) * kPixelsPerDegree, peak.theta * kPixelsPerDegree);
    const double radius = (2.0 + 4.0 * std::clamp(1.0 + double(relative), 0.0, 1.0)) * kPixelsPerDegree;
    for (const auto& [colour, width] : {std::pair{QColor(Qt::black), 4.0}, std::pair{QColor(Qt::white), 2.0}}) {
        painter.setPen(QPen(colour, width));
        painter.drawEllipse(at, radius, radius);
        painter.drawLine(at - QPointF(radius * 1.6, 0), at - QPointF(radius * 0.6, 0));
        painter.drawLine(at + QPointF(radius * 0.6, 0), at + QPointF(radius * 1.6, 0));
        painter.drawLine(at - QPointF(0, radius * 1.6), at - QPointF(0, radius * 0.6));
        painter.drawLine(at + QPointF(0, radius * 0.6), at + QPointF(0, radius * 1.6));
    }
}

QString CMapPicture::peaksText(const std::vector<SoundMapPeak>& peaks)
{
    QString text;
    for (size_t i = 0; i < peaks.size(); ++i) {
        const double db = 10.0 * std::log10(double(peaks[i].power) / double(peaks.front().power));
        // Peaks are placed below the grid step: a tenth of a degree, 359.96 reading 0.0.
        const double azimuth = std::fmod(std::round(peaks[i].phi * 10.0) / 10.0, 360.0);
        text += QStringLiteral("peak %1: azimuth %2, elevation %3, %4 dB\n")
                    .arg(i + 1)
                    .arg(azimuth, 0, 'f', 1)
                    .arg(peaks[i].theta, 0, 'f', 1)
                    .arg(db, 0, 'f', 1);
    }
    return text;
}
