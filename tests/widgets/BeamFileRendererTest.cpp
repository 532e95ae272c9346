// The offline renderer reads the beam settings file that the track list writes, and turns
// it into the same beams the application would steer.

#include "render/CPatternCatalogue.h"
#include "widgets/CBeamSelection.h"
#include "tests/support/DialogAnswers.h"
#include "WidgetTestSupport.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace widgettest;

TEST(BeamFileForTheRenderer, RendererResolvesTheTracksOfTheListsFile)
{
    DialogAnswers answers;
    const CPatternCatalogue catalogue;
    ASSERT_GE(catalogue.names().size(), 2);
    QList<QStringList> parameters;
    for (int p = 0; p < catalogue.names().size(); ++p)
        parameters.append(catalogue.parameters(p));

    CBeamSelection list(QString(), 18, 15, 255);
    list.setPatternAndParameterLists(catalogue.names(), parameters);
    const int count = int(catalogue.names().size()) + 1;
    for (int i = 0; i < count && i < 18; ++i) {
        list.addBeam();
        const int pattern = i % int(catalogue.names().size());
        list.setPatternIndex(i, pattern);
        list.setParameterIndex(i, int(parameters[pattern].size()) - 1 - i % 2);
        list.setPhi(i, 37 * i + 5);
        list.setTheta(i, (23 * i) % 181);
        list.setVolume(i, -9.5f + 2.25f * i);
        list.setMute(i, i % 3 == 1);
    }
    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("stage.vts"));
    list.saveCurrentState(file);
    ASSERT_TRUE(answers.messages.empty());

    // The renderer's own path: the shared reader, then its lenient resolution.
    CBeamSettings settings;
    ASSERT_EQ(CBeamSettings::load(file, settings), CBeamSettings::resultOk);
    ASSERT_EQ(settings.tracks.size(), list.numTracks());
    for (int i = 0; i < list.numTracks(); ++i) {
        const CBeamSetting beam = catalogue.resolveLenient(settings.tracks[i]);
        EXPECT_EQ(beam.pattern, list.patternIndex(i)) << i;
        EXPECT_EQ(beam.parameter, list.parameterIndex(i)) << i;
        EXPECT_EQ(beam.phi, float(list.phi(i))) << i;
        EXPECT_EQ(beam.theta, float(list.theta(i))) << i;
        EXPECT_NEAR(beam.gain, list.gain(i), 1e-6f * list.gain(i)) << i;
        EXPECT_EQ(beam.mute, list.mute(i)) << i;
    }
}
