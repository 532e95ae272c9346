// vantoria-render --map and --map-peaks as a user runs them: the rendered scene's peaks
// against its sources, the picture as Qt reads it back, and the refusals.
#include "array/CapsuleGeometry.h"

#include <QDataStream>
#include <QDir>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {

struct Direction {
    double azimuth;
    double elevation; // polar angle, as on the command line
};

struct Outcome {
    int status = -1;
    QString out;
    QString err;
};

double angleBetween(Direction a, Direction b)
{
    const UnitVector u = unitVectorFromAngles(a.elevation, a.azimuth), v = unitVectorFromAngles(b.elevation, b.azimuth);
    return std::acos(std::clamp(u.x * v.x + u.y * v.y + u.z * v.z, -1.0, 1.0)) * 180.0 / std::numbers::pi;
}

class SoundMapRender : public ::testing::Test {
protected:
    QString path(const QString& name) const { return mDir.filePath(name); }

    Outcome run(QStringList arguments) const
    {
        QProcess process;
        process.setWorkingDirectory(mDir.path());
        process.start(VK_RENDER_EXECUTABLE, arguments << "--quiet");
        EXPECT_TRUE(process.waitForFinished(120000));
        return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                QString::fromLocal8Bit(process.readAllStandardOutput()),
                QString::fromLocal8Bit(process.readAllStandardError())};
    }

    static std::vector<Direction> peaks(const QString& text)
    {
        std::vector<Direction> found;
        const QRegularExpression line(R"(peak \d+: azimuth (\d+\.\d), elevation (\d+\.\d), -?[\d.]+ dB)");
        for (auto it = line.globalMatch(text); it.hasNext();) {
            const auto m = it.next();
            found.push_back({m.captured(1).toDouble(), m.captured(2).toDouble()});
        }
        return found;
    }

    static std::vector<double> levels(const QString& text)
    {
        std::vector<double> found;
        const QRegularExpression line(R"(peak \d+: azimuth [\d.]+, elevation [\d.]+, (-?[\d.]+) dB)");
        for (auto it = line.globalMatch(text); it.hasNext();)
            found.push_back(it.next().captured(1).toDouble());
        return found;
    }

    // The three strongest peaks, one within 5 degrees of each source.
    static void expectPeaksOn(const QString& text, const std::vector<Direction>& sources)
    {
        auto found = peaks(text);
        ASSERT_GE(found.size(), sources.size()) << qPrintable(text);
        found.resize(sources.size());
        for (const Direction& s : sources) {
            double nearest = 180.0;
            for (const Direction& p : found)
                nearest = std::min(nearest, angleBetween(s, p));
            EXPECT_LE(nearest, 5.0) << "source at " << s.azimuth << "," << s.elevation << "\n" << qPrintable(text);
        }
    }

    // A 16-bit wave file of `channels` channels of a quiet ramp.
    void writeWave(const QString& name, int channels, int frames) const
    {
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        QDataStream out(&file);
        out.setByteOrder(QDataStream::LittleEndian);
        const quint32 data = quint32(frames * channels * 2);
        out.writeRawData("RIFF", 4);
        out << quint32(36 + data);
        out.writeRawData("WAVEfmt ", 8);
        out << quint32(16) << quint16(1) << quint16(channels) << quint32(44100) << quint32(44100 * channels * 2)
            << quint16(channels * 2) << quint16(16);
        out.writeRawData("data", 4);
        out << data;
        for (int i = 0; i < frames * channels; ++i)
            out << qint16(i % 200);
    }

    QTemporaryDir mDir;
};

TEST_F(SoundMapRender, DefaultSceneMapAndPeaksOnTheSources)
{
    const Outcome o = run({"--scene", "--duration", "3", "--beam", "0,90,omni", "-o", "b.wav", "--map", "map.png",
                           "--map-peaks"});
    ASSERT_EQ(o.status, 0) << qPrintable(o.err);
    expectPeaksOn(o.out, {{30, 90}, {150, 60}, {270, 120}});

    const QImage picture(path("map.png"));
    ASSERT_FALSE(picture.isNull());
    EXPECT_EQ(picture.width(), 720);
    EXPECT_EQ(picture.height(), 361);
    // Bright beside the strongest peak (off its mark), darker on average elsewhere.
    const Direction top = peaks(o.out).front();
    const int bright = qGray(picture.pixel(int(top.azimuth + 8) * 2, int(top.elevation) * 2));
    double mean = 0.0;
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 0; x < picture.width(); ++x)
            mean += qGray(picture.pixel(x, y));
    mean /= double(picture.width()) * picture.height();
    EXPECT_GT(bright, 200);
    EXPECT_LT(mean, 0.6 * bright);
}

TEST_F(SoundMapRender, MovedSourceMovesItsPeakWithEitherMethod)
{
    for (const QString& method : {QString(), QStringLiteral("--map-music")}) {
        QStringList arguments{"--source", "75,100,melody,-18", "--source", "150,60,percussion,-18",
                              "--source", "270,120,warble,-20", "--duration", "3", "--beam", "0,90,omni",
                              "-o", "b.wav", "--map-peaks", "--map-grid", "3"};
        if (!method.isEmpty())
            arguments << method;
        const Outcome o = run(arguments);
        ASSERT_EQ(o.status, 0) << qPrintable(o.err);
        expectPeaksOn(o.out, {{75, 100}, {150, 60}, {270, 120}});
    }
}

// Three noise sources off every grid, one high above the equator, on the coarsest grid:
// with either method the three peaks are the sources, to a degree and a half, and nothing
// else is listed within 10 dB of the weakest.
TEST_F(SoundMapRender, NoiseSourcesOffTheGridFoundWithEitherMethod)
{
    const std::vector<Direction> sources{{71.3, 23.4}, {192.8, 97.6}, {317.1, 128.3}};
    for (const QString& method : {QString(), QStringLiteral("--map-music")}) {
        QStringList arguments{"--source", "71.3,23.4,noise,-20", "--source", "192.8,97.6,noise,-20",
                              "--source", "317.1,128.3,noise,-23", "--duration", "1", "--beam", "0,90,omni",
                              "-o", "b.wav", "--map-peaks", "--map-grid", "5"};
        if (!method.isEmpty())
            arguments << method;
        const Outcome o = run(arguments);
        ASSERT_EQ(o.status, 0) << qPrintable(o.err);
        const auto found = peaks(o.out);
        ASSERT_GE(found.size(), sources.size()) << qPrintable(o.out);
        for (size_t i = 0; i < sources.size(); ++i) {
            double nearest = 180.0;
            for (size_t j = 0; j < sources.size(); ++j)
                nearest = std::min(nearest, angleBetween(sources[i], found[j]));
            EXPECT_LE(nearest, 1.5) << qPrintable(method) << "\n" << qPrintable(o.out);
        }
        const auto db = levels(o.out);
        for (size_t j = sources.size(); j < db.size(); ++j)
            EXPECT_LT(db[j], db[sources.size() - 1] - 10.0) << qPrintable(method) << "\n" << qPrintable(o.out);
    }
}

TEST_F(SoundMapRender, RefusalsAndAMapThatCannotBeMade)
{
    const Outcome grid = run({"--scene", "--beam", "0,90,omni", "-o", "b.wav", "--map", "m.png", "--map-grid", "7"});
    EXPECT_EQ(grid.status, 2);
    EXPECT_TRUE(grid.err.contains("--map-grid")) << qPrintable(grid.err);
    EXPECT_FALSE(QFile::exists(path("m.png")));
    EXPECT_FALSE(QFile::exists(path("b.wav")));

    writeWave("stereo.wav", 2, 4410);
    const Outcome stereo = run({"stereo.wav", "-o", "out.wav", "--map", "m.png", "--map-peaks"});
    EXPECT_EQ(stereo.status, 0) << qPrintable(stereo.err);
    EXPECT_TRUE(stereo.err.contains("no sound map")) << qPrintable(stereo.err);
    EXPECT_TRUE(stereo.err.contains("2 channels"));
    EXPECT_FALSE(QFile::exists(path("m.png")));
    EXPECT_TRUE(peaks(stereo.out).empty());
}

} // namespace
