// vantoria-render's AmbiX and binaural outputs as a user runs them: the channel counts
// that sox and libsndfile read, and every bad input refused with status 2, one line and
// nothing written.

#include "RenderProgram.h"
#include "RenderTestSupport.h"
#include "tests/support/SoxWave.h"

using namespace render_test;

namespace {

using RenderAmbisonicsCommandLine = RenderProgram;

TEST_F(RenderAmbisonicsCommandLine, EachOrderGivesItsChannelCountToSoxAndLibsndfile)
{
    for (const int order : {1, 2, 3}) {
        const QString name = QStringLiteral("ambix%1.wav").arg(order);
        const Outcome result =
            run({"--scene", "--duration", "0.2", "--ambix", name, "--ambi-order", QString::number(order), "-q"});
        ASSERT_EQ(result.status, 0) << qPrintable(result.err);
        const int channels = (order + 1) * (order + 1);
        EXPECT_EQ(soxInfo(path(name), "-c"), channels) << "order " << order;
        EXPECT_EQ(soxInfo(path(name), "-r"), 44100);
        EXPECT_EQ(soxInfo(path(name), "-b"), 24);
        const Channels file = readWave(path(name));
        EXPECT_EQ(file.channels(), channels);
        EXPECT_EQ(file.frames(), soxInfo(path(name), "-s"));
    }
    const Outcome ears = run({"--scene", "--duration", "0.2", "--binaural", "ears.wav", "--float", "-q"});
    ASSERT_EQ(ears.status, 0) << qPrintable(ears.err);
    EXPECT_EQ(soxInfo(path("ears.wav"), "-c"), 2);
    EXPECT_EQ(soxInfo(path("ears.wav"), "-b"), 32);
}

TEST_F(RenderAmbisonicsCommandLine, BadInputExitsWithTwoAndWritesNothing)
{
    ASSERT_TRUE(writeWave(path("array.wav"), noise(32, 1000, 44100, 1)));
    ASSERT_TRUE(writeWave(path("stereo.wav"), noise(2, 1000, 44100, 1)));
    writeText("text.sofa", "this is not a SOFA file");
    const QStringList ambix{"--scene", "--ambix", "a.wav"};
    const QStringList ears{"--scene", "--binaural", "e.wav"};
    const struct {
        QStringList arguments;
        QString message;
    } cases[] = {
        {ambix + QStringList{"--ambi-order", "0"}, "bad --ambi-order \"0\": give 1, 2 or 3"},
        {ambix + QStringList{"--ambi-order", "4"}, "bad --ambi-order \"4\""},
        {ambix + QStringList{"--ambi-norm", "fuma"}, "bad --ambi-norm \"fuma\": give sn3d or n3d"},
        {ambix + QStringList{"--orientation", "10,20"}, "bad --orientation \"10,20\": expected YAW,PITCH,ROLL"},
        {ambix + QStringList{"--orientation", "10,20,x"}, "bad --orientation"},
        {ambix + QStringList{"--orientation", "10,nan,0"}, "bad --orientation"},
        {ambix + QStringList{"--orientation", "inf,0,0"}, "bad --orientation"},
        {ambix + QStringList{"--orientation", "1,2,3,4"}, "bad --orientation"},
        {ears + QStringList{"--head", "0,0"}, "bad --head \"0,0\""},
        {ears + QStringList{"--hrtf", "text.sofa"}, "--hrtf text.sofa refused"},
        {ears + QStringList{"--hrtf", "missing.sofa"}, "--hrtf missing.sofa refused"},
        {{"--scene", "--ambi-order", "2", "--binaural", "e.wav"}, "--ambi-order needs --ambix FILE"},
        {{"--scene", "--ambix", "a.wav", "--head", "0,0,0"}, "--head needs --binaural FILE"},
        {{"--scene", "--beam", "0,90,omni", "--ambix", "a.wav"}, "beams need --output FILE.wav"},
        {{"stereo.wav", "--ambix", "a.wav"}, "stereo.wav has 2 channels: --ambix and --binaural need the 32"},
        {{"array.wav", "--ambix", "array.wav"}, "--ambix array.wav is the same file as the input"},
        {{"--scene", "--ambix", "x.wav", "--binaural", "./x.wav"}, "--binaural ./x.wav is the same file as --ambix"},
        {{"--scene", "--beam", "0,90,omni", "-o", "x.wav", "--ambix", "x.wav"}, "is the same file as --output"},
        {ears + QStringList{"--hrtf", "e.wav"}, "the same file as the HRTF set"},
    };
    const QMap<QString, QByteArray> before = contentsOfDir();
    for (const auto& c : cases) {
        const Outcome result = run(c.arguments);
        const QString line = c.arguments.join(' ');
        EXPECT_EQ(result.status, 2) << qPrintable(line) << " gave: " << qPrintable(result.err);
        EXPECT_TRUE(result.err.contains(c.message)) << qPrintable(line) << " gave: " << qPrintable(result.err);
        EXPECT_EQ(result.err.count('\n'), 1) << qPrintable(result.err);
        EXPECT_EQ(contentsOfDir(), before) << qPrintable(line);
    }
}

} // namespace
