// With the default scene, a beam steered at one source carries it well above the other
// two, for each family of patterns (tests/support/SourceSeparation.h for the measure).

#include "RenderTestSupport.h"

#include "tests/support/DefaultScene.h"
#include "tests/support/SourceSeparation.h"

#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace render_test;
using source_separation::Shares;
using source_separation::SourceSeparation;

namespace {

constexpr int kRate = 44100;
constexpr long kSkip = kRate / 2; // the beams' first half second: filters filling
constexpr long kWindow = 3 * kRate;

TEST(RenderSeparation, EachBeamAtADefaultSourceCarriesItTenDecibelsAboveTheOthers)
{
    QTemporaryDir dir;
    const long frames = kSkip + kWindow;
    const default_scene::Take scene = default_scene::render(kRate, frames);
    const SourceSeparation separation(scene.dry, kSkip, kWindow);

    const char* directions[3] = {"30,90,", "150,60,", "270,120,"}; // tune, percussion, chirps
    for (const char* pattern : {"card3", "hyper3", "super3"}) {
        const QString output = dir.filePath(QStringLiteral("%1.wav").arg(pattern));
        QStringList arguments{"--scene", "--duration", "3.5", "--float", "-q", "-o", output};
        for (const char* direction : directions)
            arguments << "--beam" << QString(direction) + pattern;
        QProcess process;
        process.start(VK_RENDER_EXECUTABLE, arguments);
        ASSERT_TRUE(process.waitForFinished(120000));
        ASSERT_EQ(process.exitCode(), 0) << process.readAllStandardError().constData();
        const Channels beams = readWave(output);
        ASSERT_EQ(beams.channels(), 3);
        ASSERT_GE(beams.frames(), frames);

        for (int b = 0; b < 3; ++b) {
            const Shares shares = separation.measure(beams.data[std::size_t(b)].data() + kSkip);
            // The three fits explain the beam: the measure accounts for all that is in it.
            EXPECT_GT(shares.explained(), 0.95) << pattern << " beam " << b;
            for (int s = 0; s < 3; ++s) {
                if (s == b)
                    continue;
                EXPECT_GE(shares.marginDb(b, s), 10.0) << pattern << " beam " << b << " over source " << s;
            }
        }
    }
}

} // namespace
