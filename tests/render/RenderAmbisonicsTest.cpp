// The renderer's AmbiX and binaural outputs: equal to the encoder and the decoder run
// directly on what comes before them, the AmbiX axes' signs for sources in front, to the
// left and above (and with the array turned), and the head's yaw moving the level
// difference between the ears.

#include "RenderTestSupport.h"

#include "ambisonics/CAmbiEncoder.h"
#include "binaural/CBinauralDecoder.h"
#include "emulation/CHardwareModel.h"
#include "emulation/CSoundScene.h"
#include "graph/CAudioGraph.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>

using namespace render_test;

namespace {

constexpr int kRate = 44100;
constexpr const char* kKemar = "/usr/share/libmysofa/default.sofa";

// The application object the file stages want comes from RenderGraphTest.cpp's test
// environment, in the same program.

using Planar = std::vector<std::vector<float>>;

Planar pointed(std::vector<float*>& pointers, int channels, int frames)
{
    Planar storage(std::size_t(channels), std::vector<float>(std::size_t(frames), 0.0f));
    pointers.clear();
    for (auto& c : storage)
        pointers.push_back(c.data());
    return storage;
}

// Copies the engine's modes of each block.
class ModeCopy : public CKorvane::ModeTap {
public:
    void feedModes(const float* const* in, int count, int frames) override
    {
        for (int m = 0; m < std::min(count, CAmbiEncoder::kModes); ++m)
            std::copy_n(in[m], frames, modes[std::size_t(m)].data());
    }
    Planar modes;
};

// The default scene through a graph set up as the renderer sets it up without beams, its
// modes copied out, and the encoder run on them directly.
Planar encodeDefaultScene(int block, long frames, const CRotation3& mounting)
{
    CHardwareModel hardware;
    CAudioGraph graph;
    EXPECT_EQ(graph.configure(vkAudioInterface::timeDomain(32, kRate, block),
                              vkAudioInterface::timeDomain(1, kRate, block)),
              vkOk);
    EXPECT_EQ(graph.setInputMode(CAudioGraph::inputLive), vkOk);
    EXPECT_EQ(graph.setNumBeams(0), vkOk);
    float calibration[32];
    for (int c = 0; c < 32; ++c)
        calibration[c] = std::pow(10.0f, 0.05f * hardware.capsuleErrorDb(c));
    graph.setInputChannelGains(calibration, 32);
    ModeCopy copy;
    std::vector<float*> modePointers;
    copy.modes = pointed(modePointers, CAmbiEncoder::kModes, block);
    graph.setModeTap(&copy);

    CSoundScene scene(kRate);
    CSoundScene::addDefaultSources(scene);
    float gains[32];
    for (int c = 0; c < 32; ++c)
        gains[c] = hardware.capsuleGain(c);
    scene.setCapsuleGains(gains);

    CAmbiEncoder encoder;
    encoder.setOrientation(mounting);
    EXPECT_EQ(encoder.setFormat(vkAudioInterface::timeDomain(16, kRate, block),
                                vkAudioInterface::timeDomain(16, kRate, block)),
              vkOk);
    std::vector<float*> in, out, ambi;
    Planar inStorage = pointed(in, 32, block);
    Planar outStorage = pointed(out, 1, block);
    Planar ambiStorage = pointed(ambi, 16, block);
    Planar result(16);
    EXPECT_EQ(graph.start(), vkOk);
    EXPECT_EQ(encoder.start(), vkOk);
    for (long done = 0; done < frames; done += block) {
        scene.render(in.data(), block);
        EXPECT_EQ(graph.process(in.data(), out.data(), block), vkOk);
        EXPECT_EQ(encoder.process(modePointers.data(), ambi.data(), block), vkOk);
        for (int c = 0; c < 16; ++c)
            result[std::size_t(c)].insert(result[std::size_t(c)].end(), ambiStorage[std::size_t(c)].begin(),
                                          ambiStorage[std::size_t(c)].end());
    }
    graph.stop();
    graph.setModeTap(nullptr);
    return result;
}

double dot(const std::vector<float>& a, const std::vector<float>& b, long from)
{
    double sum = 0.0;
    for (std::size_t i = std::size_t(from); i < a.size(); ++i)
        sum += double(a[i]) * b[i];
    return sum;
}

class RendererAmbisonics : public ::testing::Test {
protected:
    QString path(const char* name) const { return mDir.filePath(name); }
    QTemporaryDir mDir;
};

TEST_F(RendererAmbisonics, AmbixIsTheEncoderRunOnTheEnginesModesSampleForSample)
{
    const int block = 300;
    ASSERT_EQ(render({"--scene", "--duration", "0.7", "--block", "300", "--float", "--ambix", path("ambix.wav"),
                      "--orientation", "20,-10,30"}),
              QString());
    const Channels file = readWave(path("ambix.wav"));
    ASSERT_EQ(file.channels(), 16);
    EXPECT_EQ(file.sampleRate, kRate);
    const long frames = (long(std::ceil(0.7 * kRate)) + block - 1) / block * block;
    ASSERT_EQ(file.frames(), frames);
    const Planar reference = encodeDefaultScene(block, frames, CRotation3::fromYawPitchRoll(20.0, -10.0, 30.0));
    double energy = 0.0;
    for (int c = 0; c < 16; ++c) {
        for (long i = 0; i < frames; ++i)
            ASSERT_EQ(file.data[c][i], reference[c][i]) << "channel " << c << " frame " << i;
        energy += dot(reference[c], reference[c], 0);
    }
    EXPECT_GT(energy, 1.0);
}

// With beams beside them, and each output the same as from a run of its own: the ears are
// the decoder run on the AmbiX file's channels, with the head turned.
TEST_F(RendererAmbisonics, BinauralIsTheDecoderRunOnTheAmbixChannels)
{
    ASSERT_EQ(render({"--scene", "--duration", "0.6", "--float", "--beam", "30,90,card3", "-o", path("beams.wav"),
                      "--ambix", path("ambix.wav"), "--binaural", path("ears.wav"), "--head", "30,10,0"}),
              QString());
    const Channels ambix = readWave(path("ambix.wav"));
    const Channels ears = readWave(path("ears.wav"));
    ASSERT_EQ(ambix.channels(), 16);
    ASSERT_EQ(ears.channels(), 2);
    ASSERT_EQ(ears.frames(), ambix.frames());
    EXPECT_EQ(readWave(path("beams.wav")).channels(), 1);

    const int block = 512;
    CBinauralDecoder decoder;
    ASSERT_EQ(decoder.setFormat(vkAudioInterface::timeDomain(16, kRate, block),
                                vkAudioInterface::timeDomain(2, kRate, block)),
              vkOk);
    std::string message;
    ASSERT_EQ(decoder.loadHrtf(kKemar, message), vkOk) << message;
    ASSERT_TRUE(decoder.setHeadOrientation({30.0f, 10.0f, 0.0f}));
    ASSERT_EQ(decoder.start(), vkOk);
    std::vector<float*> in, out;
    Planar inStorage = pointed(in, 16, block);
    Planar outStorage = pointed(out, 2, block);
    double energy = 0.0;
    for (long done = 0; done < ambix.frames(); done += block) {
        for (int c = 0; c < 16; ++c)
            std::copy_n(ambix.data[c].begin() + done, block, inStorage[c].begin());
        ASSERT_EQ(decoder.process(in.data(), out.data(), block), vkOk);
        for (int e = 0; e < 2; ++e)
            for (int i = 0; i < block; ++i) {
                ASSERT_EQ(ears.data[e][std::size_t(done + i)], outStorage[e][i]) << "ear " << e << " frame " << done + i;
                energy += double(outStorage[e][i]) * outStorage[e][i];
            }
    }
    EXPECT_GT(energy, 1.0);
}

// W times each first-order channel, over W's energy: near +1 along the source's axis,
// near 0 across it. The sources are 1 kHz sines, between the high-pass and spatial
// aliasing, where order 1 holds (broadband noise, much of it above aliasing, gives 0.4).
struct Axes {
    double y, z, x;
};

Axes firstOrderAxes(const Channels& ambix)
{
    const long skip = 2048; // the equalisers settling
    const double w = dot(ambix.data[0], ambix.data[0], skip);
    return {dot(ambix.data[0], ambix.data[1], skip) / w, dot(ambix.data[0], ambix.data[2], skip) / w,
            dot(ambix.data[0], ambix.data[3], skip) / w};
}

TEST_F(RendererAmbisonics, FrontLeftAndAboveGivePositiveXYAndZ)
{
    const struct {
        const char* source;    // azimuth, elevation from the array's top
        const char* mounting;  // yaw, pitch, roll
        Axes expected;
    } cases[] = {
        {"0,90,sine:1000", "0,0,0", {0, 0, 1}},
        {"90,90,sine:1000", "0,0,0", {1, 0, 0}},
        {"0,0,sine:1000", "0,0,0", {0, 1, 0}},
        {"270,90,sine:1000", "0,0,0", {-1, 0, 0}},
        // The array turned to the left by 90 degrees: its front faces the world's left.
        {"0,90,sine:1000", "90,0,0", {1, 0, 0}},
        // Upside down: its top faces the floor.
        {"0,0,sine:1000", "0,0,180", {0, -1, 0}},
    };
    for (const auto& c : cases) {
        const QString name = path("axes.wav");
        QFile::remove(name);
        ASSERT_EQ(render({"--source", c.source, "--duration", "0.5", "--float", "--ambix", name, "--ambi-order", "1",
                          "--orientation", c.mounting}),
                  QString());
        const Channels ambix = readWave(name);
        ASSERT_EQ(ambix.channels(), 4);
        const Axes a = firstOrderAxes(ambix);
        const std::string what = std::string(c.source) + " mounted " + c.mounting;
        EXPECT_NEAR(a.x, c.expected.x, 0.15) << what;
        EXPECT_NEAR(a.y, c.expected.y, 0.15) << what;
        EXPECT_NEAR(a.z, c.expected.z, 0.15) << what;
    }
}

// A source ahead: the head turned left (yaw > 0) hears it on the right, turned right on
// the left, straight on in the middle.
TEST_F(RendererAmbisonics, HeadYawMovesTheLevelDifferenceBetweenTheEars)
{
    const struct {
        const char* head;
        double lowDb, highDb; // right ear over left ear
    } cases[] = {{"90,0,0", 6.0, 40.0}, {"-90,0,0", -40.0, -6.0}, {"0,0,0", -1.5, 1.5}};
    for (const auto& c : cases) {
        const QString name = path("ears.wav");
        QFile::remove(name);
        ASSERT_EQ(render({"--source", "0,90,noise", "--duration", "0.5", "--float", "--binaural", name, "--head",
                          c.head}),
                  QString());
        const Channels ears = readWave(name);
        ASSERT_EQ(ears.channels(), 2);
        const double ild = 10.0 * std::log10(dot(ears.data[1], ears.data[1], 2048) / dot(ears.data[0], ears.data[0], 2048));
        EXPECT_GT(ild, c.lowDb) << "head " << c.head;
        EXPECT_LT(ild, c.highDb) << "head " << c.head;
    }
}

} // namespace
