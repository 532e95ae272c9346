// A long render with every output at once (beams, the array signal, AmbiX, the ears and
// the sound map), its reader, graph and writer on three threads, gives exactly what one
// thread gets from the same graph driven block by block: the pipeline reorders nothing,
// drops nothing and reuses no block too early; and the graph's thread allocates nothing
// from block to block.

#include "RenderTestSupport.h"

#include "beamformer/CZircFactory.h"
#include "emulation/CHardwareModel.h"
#include "emulation/CSoundScene.h"
#include "session/CGraphSession.h"
#include "soundmap/CModeCovariance.h"
#include "soundmap/CSoundMap.h"
#include "tests/support/AllocationCounter.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>

using namespace render_test;

namespace {

// The application object the file stages want comes from RenderGraphTest.cpp's test
// environment, in the same program.

constexpr int kRate = 44100;
constexpr int kBlock = 256;
constexpr double kSeconds = 12.0; // 2068 blocks: the pools go round dozens of times
constexpr const char* kKemar = "/usr/share/libmysofa/default.sofa";

using Planar = std::vector<std::vector<float>>;

void append(Planar& to, const float* const* channels, int count, int frames)
{
    to.resize(std::size_t(count));
    for (int c = 0; c < count; ++c)
        to[std::size_t(c)].insert(to[std::size_t(c)].end(), channels[c], channels[c] + frames);
}

// One thread, block after block: the scene, the graph, its buses read after each block,
// the array recorder served between blocks, the covariance fetched into the map.
struct SingleThreadRender {
    explicit SingleThreadRender(const QString& arrayPath)
        : covariance(kRate, kBlock), map(5), scene(kRate)
    {
        session.setInputMode(CAudioGraph::inputLive);
        session.setProcessingMode(CAudioGraph::processingBeamforming);
        session.setNumBeams(3);
        EXPECT_EQ(session.build(vkAudioInterface::timeDomain(32, kRate, kBlock),
                                vkAudioInterface::timeDomain(3, kRate, kBlock)),
                  vkOk);
        session.setBeam(0, {90, 30, kPatternCard3, 1, 1.0f, false});
        session.setBeam(1, {60, 150, kPatternHyper3, 4, 1.4125376f, false});
        session.setBeam(2, {120, 270, kPatternOmni, 0, 0.5011872f, false});
        map.setSmoothing(CSoundMap::kWholeRun);
        map.setMethod(CSoundMap::kSteeredPower);
        session.setModeTap(&covariance);
        std::array<float, 32> calibration;
        float gains[32];
        for (int c = 0; c < 32; ++c) {
            calibration[std::size_t(c)] = float(std::pow(10.0, 0.05 * hardware.capsuleErrorDb(c)));
            gains[c] = hardware.capsuleGain(c);
        }
        session.setCalibration(calibration);
        CSoundScene::addDefaultSources(scene);
        scene.setCapsuleGains(gains);
        session.setAmbisonicsFormat(3, AmbiNorm::kSn3d);
        session.setAmbisonicsReader(true);
        session.setBinauralReader(true);
        std::string message;
        EXPECT_EQ(session.loadHrtf(kKemar, message), vkOk) << message;
        EXPECT_EQ(session.openTake(CAudioGraph::sinkArray, arrayPath), vkOk);
        session.startTake(CAudioGraph::sinkArray, false);
    }

    void run(long frames)
    {
        std::vector<std::vector<float>> in(32, std::vector<float>(kBlock)), out(3, std::vector<float>(kBlock));
        std::vector<float*> inPointers, outPointers;
        for (auto& c : in)
            inPointers.push_back(c.data());
        for (auto& c : out)
            outPointers.push_back(c.data());
        ASSERT_EQ(session.processor()->start(), vkOk);
        ModeCovarianceFrame period;
        for (long done = 0; done < frames; done += kBlock) {
            scene.render(inPointers.data(), kBlock);
            ASSERT_EQ(session.processor()->process(inPointers.data(), outPointers.data(), kBlock), vkOk);
            append(beams, outPointers.data(), 3, kBlock);
            append(ambix, session.graph()->ambisonicsBus()->data(), 16, kBlock);
            append(ears, session.graph()->binauralBus()->data(), 2, kBlock);
            session.checkFileQueues();
            while (covariance.fetch(period))
                map.update(period);
        }
        session.stopTake(CAudioGraph::sinkArray);
        session.processor()->stop();
    }

    CHardwareModel hardware;
    CGraphSession session;
    CModeCovariance covariance;
    CSoundMap map;
    CSoundScene scene;
    Planar beams, ambix, ears;
};

void expectSameSamples(const Channels& file, const Planar& reference, const char* what)
{
    ASSERT_EQ(std::size_t(file.channels()), reference.size()) << what;
    for (std::size_t c = 0; c < reference.size(); ++c) {
        ASSERT_EQ(file.data[c].size(), reference[c].size()) << what << " channel " << c;
        for (std::size_t i = 0; i < reference[c].size(); ++i)
            ASSERT_EQ(file.data[c][i], reference[c][i]) << what << " channel " << c << " frame " << i;
    }
}

TEST(RendererLongRun, EveryOutputEqualsTheGraphDrivenBlockByBlockOnOneThread)
{
    QTemporaryDir dir;
    const auto path = [&dir](const char* name) { return dir.filePath(name); };
    CRenderOptions options;
    QString error;
    ASSERT_TRUE(CRenderOptions::parse(
        {"vantoria-render", "--scene", "--duration", QString::number(kSeconds), "--block", QString::number(kBlock),
         "--float", "--beam", "30,90,card3,-6", "--beam", "150,60,hyper3,12,3", "--beam", "270,120,omni,0,-6", "-o",
         path("beams.wav"), "--array-output", path("array.wav"), "--ambix", path("ambix.wav"), "--binaural",
         path("ears.wav"), "--map-peaks"},
        options, error))
        << qPrintable(error);
    CRenderer renderer;
    std::atomic<bool> cancel{false};
    const long frames = long(std::ceil(kSeconds * kRate / kBlock)) * kBlock;
    std::vector<double> progress;
    progress.reserve(std::size_t(frames / kBlock));
    // The graph's thread, between its 100th block and its last, allocates nothing.
    std::unique_ptr<AllocationCounter> counter;
    std::size_t allocations = 0;
    const auto onProgress = [&](double seconds) {
        progress.push_back(seconds);
        if (progress.size() == 100)
            counter = std::make_unique<AllocationCounter>();
        if (counter)
            allocations = counter->count();
    };
    ASSERT_TRUE(renderer.prepare(options, error)) << qPrintable(error);
    ASSERT_TRUE(renderer.run(onProgress, cancel, error)) << qPrintable(error);
    EXPECT_EQ(allocations, 0u);

    SingleThreadRender reference(path("reference-array.wav"));
    reference.run(frames);

    expectSameSamples(readWave(path("beams.wav")), reference.beams, "beams");
    expectSameSamples(readWave(path("ambix.wav")), reference.ambix, "AmbiX");
    expectSameSamples(readWave(path("ears.wav")), reference.ears, "ears");
    expectSameSamples(readWave(path("array.wav")), readWave(path("reference-array.wav")).data, "array");
    EXPECT_EQ(readWave(path("array.wav")).frames(), frames);

    const std::vector<SoundMapPeak> peaks = reference.map.peaks(8, 30.0f);
    ASSERT_EQ(renderer.mapPeaks().size(), peaks.size());
    ASSERT_FALSE(peaks.empty());
    for (std::size_t p = 0; p < peaks.size(); ++p) {
        EXPECT_EQ(renderer.mapPeaks()[p].theta, peaks[p].theta) << p;
        EXPECT_EQ(renderer.mapPeaks()[p].phi, peaks[p].phi) << p;
        EXPECT_EQ(renderer.mapPeaks()[p].power, peaks[p].power) << p;
    }

    // Progress comes once a block, rising, up to the whole length.
    ASSERT_EQ(progress.size(), std::size_t(frames / kBlock));
    EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
    EXPECT_DOUBLE_EQ(progress.back(), double(frames) / kRate);
}

} // namespace
