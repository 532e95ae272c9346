// The renderer gives what the audio graph gives when a test drives it block by block.

#include "RenderTestSupport.h"

#include "audiofile/CAudioFile.h"
#include "beamformer/CZircFactory.h"
#include "graph/CAudioGraph.h"
#include "emulation/CHardwareModel.h"
#include "emulation/CSoundScene.h"
#include "stages/CVolumeControl.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>

using namespace render_test;

namespace {

// The file stages keep a hand-over timer, which wants an application object.
class QtEnvironment : public ::testing::Environment {
public:
    void SetUp() override { mApplication = std::make_unique<QCoreApplication>(mArgc, mArgv); }
    void TearDown() override { mApplication.reset(); }

private:
    int mArgc = 1;
    char mName[8] = "render";
    char* mArgv[2] = {mName, nullptr};
    std::unique_ptr<QCoreApplication> mApplication;
};
const auto* const kQtEnvironment = ::testing::AddGlobalTestEnvironment(new QtEnvironment);

struct Beam {
    float theta, phi;
    int pattern, parameter;
    float gain;
};

// A graph configured as the application would: `beams` steered, capsule calibration
// from the hardware model in live mode.
struct ReferenceGraph {
    ReferenceGraph(int inputMode, int processing, int outputs, int rate, int block, const std::vector<Beam>& beams)
        : block(block)
    {
        EXPECT_EQ(graph.configure(vkAudioInterface::timeDomain(32, float(rate), block),
                                  vkAudioInterface::timeDomain(outputs, float(rate), block)),
                  vkOk);
        EXPECT_EQ(graph.setInputMode(inputMode), vkOk);
        EXPECT_EQ(graph.setProcessingMode(processing), vkOk);
        EXPECT_EQ(graph.setNumBeams(outputs), vkOk);
        for (int b = 0; b < int(beams.size()); ++b) {
            graph.setTheta(b, beams[b].theta);
            graph.setPhi(b, beams[b].phi);
            graph.setPattern(b, beams[b].pattern);
            graph.setParameter(b, beams[b].parameter);
            graph.setBeamGain(b, beams[b].gain);
        }
        float calibration[32];
        for (int c = 0; c < 32; ++c)
            calibration[c] = std::pow(10.0f, 0.05f * hardware.capsuleErrorDb(c));
        if (inputMode == CAudioGraph::inputLive)
            graph.setInputChannelGains(calibration, 32);
        in.assign(32, std::vector<float>(std::size_t(block)));
        out.assign(std::size_t(outputs), std::vector<float>(std::size_t(block)));
        for (auto& c : in)
            inPointers.push_back(c.data());
        for (auto& c : out)
            outPointers.push_back(c.data());
    }

    // Runs blocks until `frames` are produced; `fill` writes the driver's inputs.
    template <typename Fill>
    std::vector<std::vector<float>> run(long frames, Fill fill)
    {
        std::vector<std::vector<float>> result(out.size());
        EXPECT_EQ(graph.start(), vkOk);
        for (long done = 0; done < frames; done += block) {
            fill(inPointers.data());
            EXPECT_EQ(graph.process(inPointers.data(), outPointers.data(), block), vkOk);
            graph.checkFileQueues();
            const long take = std::min<long>(block, frames - done);
            for (std::size_t c = 0; c < out.size(); ++c)
                result[c].insert(result[c].end(), out[c].begin(), out[c].begin() + take);
        }
        graph.stop();
        return result;
    }

    CHardwareModel hardware;
    CAudioGraph graph;
    int block;
    std::vector<std::vector<float>> in, out;
    std::vector<float*> inPointers, outPointers;
};

void expectSameSamples(const Channels& file, const std::vector<std::vector<float>>& reference)
{
    ASSERT_EQ(std::size_t(file.channels()), reference.size());
    for (std::size_t c = 0; c < reference.size(); ++c) {
        ASSERT_EQ(file.data[c].size(), reference[c].size()) << "channel " << c;
        for (std::size_t i = 0; i < reference[c].size(); ++i)
            ASSERT_EQ(file.data[c][i], reference[c][i]) << "channel " << c << " frame " << i;
    }
}

class RendererAgainstGraph : public ::testing::Test {
protected:
    QString path(const char* name) const { return mDir.filePath(name); }
    QTemporaryDir mDir;
};

TEST_F(RendererAgainstGraph, ADefaultSceneGivesTheGraphsBeamsSampleForSample)
{
    const int block = 300; // not a power of two, and 1.1 s is not a whole number of blocks
    ASSERT_EQ(render({"--scene", "--duration", "1.1", "--block", "300", "--float", "--beam", "30,90,card3,-6",
                      "--beam", "270,120,omni,0,-6", "-o", path("beams.wav")}),
              QString());
    const Channels file = readWave(path("beams.wav"));

    ReferenceGraph reference(CAudioGraph::inputLive, CAudioGraph::processingBeamforming, 2, 44100, block,
                             {{90, 30, kPatternCard3, 1, 1.0f}, {120, 270, kPatternOmni, 0, 0.5011872f}});
    CSoundScene scene(44100.0);
    CSoundScene::addDefaultSources(scene);
    float gains[32];
    for (int c = 0; c < 32; ++c)
        gains[c] = reference.hardware.capsuleGain(c);
    scene.setCapsuleGains(gains);
    const long frames = (long(std::ceil(1.1 * 44100)) + block - 1) / block * block;
    expectSameSamples(file, reference.run(frames, [&](float** in) { scene.render(in, block); }));
}

TEST_F(RendererAgainstGraph, AnArrayFileGivesTheGraphsBeamsForEveryFrameOfTheFile)
{
    const Channels input = noise(32, 44100 / 2 + 77, 44100, 11);
    ASSERT_TRUE(writeWave(path("array.wav"), input));
    ASSERT_EQ(render({path("array.wav"), "--float", "--beam", "150,60,hyper3,12,3", "--beam", "0,0,super3",
                      "--beam", "90,180,dipole1", "-o", path("beams.wav")}),
              QString());
    const Channels file = readWave(path("beams.wav"));

    ReferenceGraph reference(CAudioGraph::inputFile, CAudioGraph::processingBeamforming, 3, 44100, 512,
                             {{60, 150, kPatternHyper3, 4, 1.4125376f},
                              {0, 0, kPatternSuper3, 2, 1.0f},
                              {180, 90, kPatternDipole1, 0, 1.0f}});
    ASSERT_EQ(reference.graph.openInputFile(QFile::encodeName(path("array.wav")).constData()), vkOk);
    reference.graph.startPlayback(false);
    expectSameSamples(file, reference.run(input.frames(), [](float**) {}));
}

TEST_F(RendererAgainstGraph, AFileOfAnotherChannelCountPlaysStraightThrough)
{
    const Channels input = noise(2, 5000, 48000, 5);
    ASSERT_TRUE(writeWave(path("stereo.wav"), input));
    ASSERT_EQ(render({path("stereo.wav"), "--float", "-o", path("out.wav")}), QString());
    const Channels file = readWave(path("out.wav"));
    ASSERT_EQ(file.channels(), 2);
    ASSERT_EQ(file.frames(), input.frames());
    EXPECT_EQ(file.sampleRate, 48000);
    // Only the graph's anti-denormal offset stands between input and output.
    for (int c = 0; c < 2; ++c)
        for (long i = 0; i < input.frames(); ++i)
            ASSERT_NEAR(file.data[c][i], input.data[c][i] + CAudioGraph::kAntiDenormal, 1e-7f) << c << " " << i;
}

TEST_F(RendererAgainstGraph, TheArraySignalOfASceneIsTheCalibratedCapsuleSignal)
{
    ASSERT_EQ(render({"--scene", "--duration", "0.5", "--beam", "30,90,card3", "-o", path("beams.wav"),
                      "--array-output", path("array.wav")}),
              QString());
    const Channels array = readWave(path("array.wav"));
    ASSERT_EQ(array.channels(), 32);

    // The same scene with ideal capsules: calibration must have undone the errors.
    CSoundScene scene(44100.0);
    CSoundScene::addDefaultSources(scene);
    std::vector<std::vector<float>> ideal(32, std::vector<float>(std::size_t(array.frames())));
    std::vector<float*> pointers;
    for (auto& c : ideal)
        pointers.push_back(c.data());
    scene.render(pointers.data(), int(array.frames()));
    CHardwareModel hardware;
    for (int c = 0; c < 32; ++c) {
        double error = 0.0, energy = 0.0;
        for (long i = 0; i < array.frames(); ++i) {
            if (std::abs(ideal[c][i]) >= 1.0f)
                continue; // the scene's loudest peaks clip in a 24-bit file
            error += std::pow(double(array.data[c][i]) - ideal[c][i], 2.0);
            energy += std::pow(double(ideal[c][i]), 2.0);
        }
        // 24-bit steps only: far below the 0.05 dB (0.6 %) of the smallest capsule error.
        EXPECT_LT(std::sqrt(error / energy), 1e-5) << "capsule " << c << " error " << hardware.capsuleErrorDb(c) << " dB";
    }
}

} // namespace
