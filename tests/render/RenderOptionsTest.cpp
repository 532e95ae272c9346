#include "render/CPatternCatalogue.h"
#include "render/CRenderOptions.h"

#include <gtest/gtest.h>

namespace {

QStringList command(const QString& line)
{
    return QStringList{"vantoria-render"} + line.split(' ', Qt::SkipEmptyParts);
}

bool parse(const QString& line, CRenderOptions& options, QString& error)
{
    return CRenderOptions::parse(command(line), options, error);
}

TEST(RenderOptions, BeamsAndSourcesTakeTheirFieldsInOrderWithDefaultsForTheTail)
{
    CRenderOptions options;
    QString error;
    ASSERT_TRUE(parse("--scene --beam 360,0,card3 --beam 30,180,hyper3,-6,-3.5 -o b.wav", options, error))
        << qPrintable(error);
    ASSERT_EQ(options.beams.size(), 2);
    const CBeamTrackRecord& first = options.beams[0];
    EXPECT_EQ(QString("%1 %2 %3 '%4' %5").arg(first.phi).arg(first.theta).arg(first.pattern, first.parameter).arg(first.volume),
              "0 0 card3 '' 0");
    const CBeamTrackRecord& second = options.beams[1];
    EXPECT_EQ(QString("%1 %2 %3 '%4' %5").arg(second.phi).arg(second.theta).arg(second.pattern, second.parameter).arg(second.volume),
              "30 180 hyper3 '-6' -3.5");
    EXPECT_TRUE(options.scene && options.sources.isEmpty() && options.inputFile.isEmpty());

    ASSERT_TRUE(parse("--source 90,45,sine:440.5 --source 10,170,percussion,-30 --beams x.vts -o b.wav", options, error))
        << qPrintable(error);
    ASSERT_EQ(options.sources.size(), 2);
    EXPECT_EQ(options.sources[0].kind, CSceneSignal::Kind::Sine);
    EXPECT_EQ(options.sources[0].frequency, 440.5);
    EXPECT_EQ(options.sources[0].levelDb, -12.0f);
    EXPECT_EQ(options.sources[1].kind, CSceneSignal::Kind::Percussion);
    EXPECT_EQ(options.sources[1].theta, 170);
    EXPECT_EQ(options.sources[1].levelDb, -30.0f);
    EXPECT_TRUE(options.scene);

    ASSERT_TRUE(parse("take.wav --beams x.vts -o b.wav", options, error));
    EXPECT_EQ(options.inputFile, "take.wav");
    EXPECT_FALSE(options.scene);
}

TEST(RenderOptions, UnusableCommandLinesGiveOneLineThatSaysWhatIsWrong)
{
    const struct {
        const char* line;
        const char* message;
    } cases[] = {
        {"--beam 30,90,card3 -o b.wav", "no input"},
        {"in.wav --scene -o b.wav", "not both"},
        {"a.wav b.wav -o c.wav", "more than one input"},
        {"--scene --beam 30,90,card3", "no output"},
        {"--scene --beam 30,90 -o b.wav", "bad --beam \"30,90\""},
        {"--scene --beam 361,90,card3 -o b.wav", "bad --beam"},
        {"--scene --beam 30,-1,card3 -o b.wav", "bad --beam"},
        {"--scene --beam 30,90,card3,x -o b.wav", "bad --beam"},
        {"--scene --beam 30,90,card3,0,21 -o b.wav", "bad --beam"},
        {"--scene --beam 30,90,card3,0,0,1 -o b.wav", "bad --beam"},
        {"--scene --beam 30,90,,0 -o b.wav", "bad --beam"},
        {"--scene --beam a,90,card3 -o b.wav", "bad --beam"},
        {"--source 30,90,drums -o b.wav", "bad --source"},
        {"--source 30,90,sine:0 -o b.wav", "bad --source"},
        {"--source 30,90,noise,3 -o b.wav", "bad --source"},
        {"--scene --duration 0 -o b.wav", "bad --duration"},
        {"--scene --duration nan -o b.wav", "bad --duration"},
        {"--scene --rate fast -o b.wav", "bad --rate"},
        {"--scene --block 0 -o b.wav", "bad --block"},
        {"--scene --beam 1,1,omni --beams x.vts -o b.wav", "not both"},
        {"in.wav --array-output a.wav -o b.wav", "needs a rendered scene"},
        {"--scene --array-output b.wav -o b.wav", "the same file"},
        {"--scene --frobnicate -o b.wav", "Unknown option 'frobnicate'"},
        {"--scene -o", "Missing value after '-o'"},
    };
    for (const auto& c : cases) {
        CRenderOptions options;
        QString error;
        EXPECT_FALSE(parse(c.line, options, error)) << c.line;
        EXPECT_TRUE(error.contains(c.message)) << c.line << " gave: " << qPrintable(error);
        EXPECT_FALSE(error.contains('\n')) << c.line;
    }

    QString many = "--scene -o b.wav";
    for (int i = 0; i < 19; ++i)
        many += " --beam 0,90,omni";
    CRenderOptions options;
    QString error;
    EXPECT_FALSE(parse(many, options, error));
    EXPECT_TRUE(error.contains("at most 18")) << qPrintable(error);
}

// Beams steer by whole degrees: their angles are rounded, and one note says so however
// many beams were rounded. A modelled source takes any direction and keeps its decimals.
TEST(RenderOptions, FractionalAnglesRoundForBeamsWithOneNoteAndStayForSources)
{
    CRenderOptions options;
    QString error;
    ASSERT_TRUE(parse("--scene --beam 30.4,89.6,card3 --beam 359.5,0.5,omni --beam 10,20,omni -o b.wav", options, error))
        << qPrintable(error);
    ASSERT_EQ(options.beams.size(), 3);
    EXPECT_EQ(QString("%1,%2 %3,%4 %5,%6")
                  .arg(options.beams[0].phi).arg(options.beams[0].theta)
                  .arg(options.beams[1].phi).arg(options.beams[1].theta)
                  .arg(options.beams[2].phi).arg(options.beams[2].theta),
              "30,90 0,1 10,20");
    ASSERT_EQ(options.notes.size(), 1);
    EXPECT_TRUE(options.notes[0].contains("--beam 30.4,89.6,card3 steers to 30,90")) << qPrintable(options.notes[0]);

    ASSERT_TRUE(parse("--source 30.25,100.75,noise --beam 30,90,card3 -o b.wav", options, error)) << qPrintable(error);
    EXPECT_EQ(options.sources[0].phi, 30.25);
    EXPECT_EQ(options.sources[0].theta, 100.75);
    EXPECT_TRUE(options.notes.isEmpty());
}

class PatternCatalogue : public ::testing::Test {
protected:
    static CBeamTrackRecord beam(const char* pattern, const char* parameter, float volume = 0.0f)
    {
        CBeamTrackRecord record;
        record.phi = 270;
        record.theta = 45;
        record.pattern = pattern;
        record.parameter = parameter;
        record.volume = volume;
        return record;
    }
    CPatternCatalogue mCatalogue;
};

TEST_F(PatternCatalogue, KnowsTheTwelvePatternsAndTheirWngValues)
{
    ASSERT_EQ(mCatalogue.names().size(), 12);
    EXPECT_EQ(mCatalogue.names().first(), "omni");
    EXPECT_EQ(mCatalogue.names().last(), "torus");
    const int card3 = int(mCatalogue.names().indexOf("card3"));
    EXPECT_EQ(mCatalogue.parameters(card3), (QStringList{"-12", "-6", "0", "6", "12"}));
    EXPECT_EQ(mCatalogue.parameters(0).size(), 1);
}

TEST_F(PatternCatalogue, TheCommandLineMustNameAnExistingPatternAndValue)
{
    CBeamSetting setting;
    QString error;
    ASSERT_TRUE(mCatalogue.resolveStrict(beam("hyper3", "6", -6.0f), setting, error));
    EXPECT_EQ(setting.pattern, int(mCatalogue.names().indexOf("hyper3")));
    EXPECT_EQ(mCatalogue.parameters(setting.pattern)[setting.parameter], "6");
    EXPECT_EQ(setting.phi, 270.0f);
    EXPECT_EQ(setting.theta, 45.0f);
    EXPECT_NEAR(setting.gain, 0.501187f, 1e-5f);

    ASSERT_TRUE(mCatalogue.resolveStrict(beam("card3", ""), setting, error));
    EXPECT_EQ(mCatalogue.parameters(setting.pattern)[setting.parameter], "0");

    EXPECT_FALSE(mCatalogue.resolveStrict(beam("cardioid", "0"), setting, error));
    EXPECT_TRUE(error.startsWith("unknown pattern \"cardioid\": use one of omni, super3")) << qPrintable(error);
    EXPECT_FALSE(mCatalogue.resolveStrict(beam("card3", "3"), setting, error));
    EXPECT_EQ(error, "pattern \"card3\" has no \"WNG\" value 3: use one of -12, -6, 0, 6, 12");
    EXPECT_FALSE(mCatalogue.resolveStrict(beam("omni", "6"), setting, error));
}

TEST_F(PatternCatalogue, ASettingsFileFallsBackAsTheTrackListDoes)
{
    CBeamSetting setting = mCatalogue.resolveLenient(beam("gone", "6"));
    EXPECT_EQ(setting.pattern, 0);
    EXPECT_EQ(setting.parameter, 0);
    setting = mCatalogue.resolveLenient(beam("super3", "3"));
    EXPECT_EQ(mCatalogue.parameters(setting.pattern)[setting.parameter], "6");
    setting = mCatalogue.resolveLenient(beam("super3", ""));
    EXPECT_EQ(mCatalogue.parameters(setting.pattern)[setting.parameter], "0");
    CBeamTrackRecord muted = beam("card3", "0");
    muted.mute = true;
    EXPECT_TRUE(mCatalogue.resolveLenient(muted).mute);
}

} // namespace
