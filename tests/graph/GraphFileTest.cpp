// Wave files through the graph, written and read back by libsndfile: a 32-channel file
// becomes beams at the outputs and in the beam recorder, a file of another channel
// count plays straight through, the array recorder takes the signal without the
// anti-denormal offset, the Ambisonics recorder keeps the channels of its order, and files
// outside the rate range are refused.

#include "tests/support/AudioGraphProbe.h"
#include "tests/graph/GraphRig.h"

#include "audiofile/CAudioFile.h"
#include "beamformer/CZirc.h"

#include <QTemporaryDir>

#include <sndfile.h>

#include <cstdio>

using namespace graphtest;

namespace {

// Planar samples of a file: channel, then frame.
using Planar = std::vector<std::vector<float>>;

Planar noiseSignal(int channels, int frames, unsigned seed)
{
    Channels c(channels, frames);
    Noise(seed).fill(c);
    return c.samples;
}

bool writeWave(const QString& path, const Planar& samples, int rate, int format)
{
    SF_INFO info{};
    info.channels = int(samples.size());
    info.samplerate = rate;
    info.format = format;
    SNDFILE* f = sf_open(path.toLocal8Bit().constData(), SFM_WRITE, &info);
    if (!f)
        return false;
    const std::size_t frames = samples.empty() ? 0 : samples[0].size();
    std::vector<float> interleaved(frames * samples.size());
    for (std::size_t i = 0; i < frames; ++i)
        for (std::size_t ch = 0; ch < samples.size(); ++ch)
            interleaved[i * samples.size() + ch] = samples[ch][i];
    const bool ok = sf_writef_float(f, interleaved.data(), sf_count_t(frames)) == sf_count_t(frames);
    return sf_close(f) == 0 && ok;
}

// Reads a whole file as floats, planar; empty when it cannot be read.
Planar readWave(const QString& path, SF_INFO& info)
{
    info = SF_INFO{};
    SNDFILE* f = sf_open(path.toLocal8Bit().constData(), SFM_READ, &info);
    if (!f)
        return {};
    std::vector<float> interleaved(std::size_t(info.frames) * std::size_t(info.channels));
    sf_readf_float(f, interleaved.data(), info.frames);
    sf_close(f);
    Planar planar(std::size_t(info.channels), std::vector<float>(std::size_t(info.frames)));
    for (std::size_t i = 0; i < std::size_t(info.frames); ++i)
        for (std::size_t ch = 0; ch < planar.size(); ++ch)
            planar[ch][i] = interleaved[i * planar.size() + ch];
    return planar;
}

// Starts a file stage and waits until its disk side has filled the ring.
void startAndPrime(CAudioFile* node)
{
    ASSERT_EQ(node->startFile(true), vkOk);
    ASSERT_TRUE(runEventsUntil([node] { return node->ring().queuedBuffers() == 0; }));
}

void stopAndFlush(CAudioFile* node)
{
    runEventsUntil([node] { return node->ring().queuedBuffers() == 0; });
    EXPECT_EQ(node->stopFile(), vkOk);
}

struct Beam {
    int pattern;
    float theta;
    float phi;
};

// The same beams on the graph and on a node of its own.
void steer(CAudioGraph& graph, CZirc& node, const std::vector<Beam>& beams)
{
    for (int b = 0; b < int(beams.size()); ++b) {
        const int pattern = beams[b].pattern % graph.patternCount();
        ASSERT_EQ(graph.setPattern(b, pattern), vkOk);
        ASSERT_EQ(graph.setParameter(b, 0), vkOk);
        ASSERT_EQ(graph.setTheta(b, beams[b].theta), vkOk);
        ASSERT_EQ(graph.setPhi(b, beams[b].phi), vkOk);
        ASSERT_EQ(node.setPattern(b, pattern), vkOk);
        ASSERT_EQ(node.setParameter(b, 0), vkOk);
        ASSERT_EQ(node.setTheta(b, beams[b].theta), vkOk);
        ASSERT_EQ(node.setPhi(b, beams[b].phi), vkOk);
    }
    for (int b = int(beams.size()); b < node.beamCount(); ++b)
        node.setBeamActive(b, false);
}

double rms(const std::vector<float>& x)
{
    double sum = 0.0;
    for (float v : x)
        sum += double(v) * v;
    return std::sqrt(sum / double(std::max<std::size_t>(x.size(), 1)));
}

TEST(GraphFile, ThirtyTwoChannelFileReachesOutputsAndBeamRecorderAsBeams)
{
    QTemporaryDir dir;
    const QString source = dir.filePath("array.wav");
    const QString take = dir.filePath("beams.wav");
    constexpr int kBlocks = 120;
    const Planar file = noiseSignal(32, kBlocks * kBlock, 21);
    ASSERT_TRUE(writeWave(source, file, 44100, SF_FORMAT_WAV | SF_FORMAT_FLOAT));

    Rig rig(4, CAudioGraph::inputFile);
    CAudioGraph& g = rig.graph;
    ASSERT_EQ(g.setNumBeams(3), vkOk);
    CZirc node;
    ASSERT_EQ(node.setFormat(format(32), format(g.maxBeams())), vkOk);
    steer(g, node, {{0, 90.0f, 0.0f}, {4, 60.0f, 120.0f}, {9, 135.0f, 250.0f}});

    ASSERT_EQ(g.openInputFile(source.toLocal8Bit().constData()), vkOk);
    CAudioFile* recorder = CAudioGraphProbe(g).audioFile(CAudioGraph::stageBeamRecorder);
    ASSERT_EQ(recorder->openFile(take, 0), vkOk);
    ASSERT_EQ(recorder->startFile(true), vkOk);
    startAndPrime(CAudioGraphProbe(g).audioFile(CAudioGraph::stageFilePlayer));
    ASSERT_EQ(g.start(), vkOk);
    ASSERT_EQ(node.start(), vkOk);

    Channels nodeIn(32), nodeOut(g.maxBeams());
    Planar played(3, std::vector<float>());
    for (int block = 0; block < kBlocks; ++block) {
        rig.out.fill(7.0f);
        ASSERT_EQ(g.process(nullptr, rig.out.data(), kBlock), vkOk);
        for (int ch = 0; ch < 32; ++ch)
            for (int i = 0; i < kBlock; ++i)
                nodeIn.samples[ch][i] = file[ch][std::size_t(block * kBlock + i)] + CAudioGraph::kAntiDenormal;
        ASSERT_EQ(node.process(nodeIn.data(), nodeOut.data(), kBlock), vkOk);
        for (int b = 0; b < 3; ++b) {
            ASSERT_EQ(maxDifference(rig.out.pointers[b], nodeOut.pointers[b], kBlock), 0.0f)
                << "block " << block << " beam " << b;
            played[b].insert(played[b].end(), rig.out.samples[b].begin(), rig.out.samples[b].end());
        }
        ASSERT_TRUE(allEqual(rig.out.pointers[3], kBlock, 0.0f));
    }
    g.stop();
    stopAndFlush(recorder);
    for (int b = 0; b < 3; ++b)
        EXPECT_GT(rms(played[b]), 1e-3) << "beam " << b;

    SF_INFO info;
    const Planar recorded = readWave(take, info);
    ASSERT_EQ(info.channels, 3);
    ASSERT_EQ(info.samplerate, 44100);
    ASSERT_EQ(info.frames, sf_count_t(kBlocks) * kBlock);
    // 24-bit PCM: each sample within one step of the grid.
    for (int b = 0; b < 3; ++b)
        EXPECT_LE(maxDifference(recorded[b].data(), played[b].data(), int(played[b].size())), 1.0f / 8388608.0f)
            << "beam " << b;
}

TEST(GraphFile, TwoChannelFilePlaysStraightThroughWithoutTheBeamRecorder)
{
    QTemporaryDir dir;
    const QString source = dir.filePath("stereo.wav");
    const QString take = dir.filePath("beams.wav");
    constexpr int kBlocks = 16;
    const Planar file = noiseSignal(2, kBlocks * kBlock, 22);
    ASSERT_TRUE(writeWave(source, file, 48000, SF_FORMAT_WAV | SF_FORMAT_FLOAT));

    application();
    CAudioGraph g;
    ASSERT_EQ(g.configure(format(32, 48000.0f), format(4, 48000.0f)), vkOk);
    ASSERT_EQ(g.openInputFile(source.toLocal8Bit().constData()), vkOk);
    ASSERT_EQ(CAudioGraphProbe(g).audioFile(CAudioGraph::stageFilePlayer)->fileChannels(), 2);
    ASSERT_EQ(g.setProcessingMode(CAudioGraph::processingStraight), vkOk);
    CAudioFile* recorder = CAudioGraphProbe(g).audioFile(CAudioGraph::stageBeamRecorder);
    ASSERT_EQ(recorder->openFile(take, 0), vkOk);
    ASSERT_EQ(recorder->startFile(true), vkOk);
    startAndPrime(CAudioGraphProbe(g).audioFile(CAudioGraph::stageFilePlayer));
    ASSERT_EQ(g.start(), vkOk);

    Channels out(4);
    std::vector<float> expected(kBlock);
    for (int block = 0; block < kBlocks; ++block) {
        out.fill(7.0f);
        ASSERT_EQ(g.process(nullptr, out.data(), kBlock), vkOk);
        for (int ch = 0; ch < 2; ++ch) {
            for (int i = 0; i < kBlock; ++i)
                expected[i] = file[ch][std::size_t(block * kBlock + i)] + CAudioGraph::kAntiDenormal;
            ASSERT_EQ(maxDifference(out.pointers[ch], expected.data(), kBlock), 0.0f) << "block " << block;
        }
        ASSERT_TRUE(allEqual(out.pointers[2], kBlock, 0.0f));
        ASSERT_TRUE(allEqual(out.pointers[3], kBlock, 0.0f));
    }
    g.stop();
    EXPECT_EQ(recorder->position(), 0);
    stopAndFlush(recorder);
    EXPECT_FALSE(QFile::exists(take));
}

// A signal on the 24-bit grid comes back code for code: the offset, 0.84 of a step, would
// round every code up by one.
TEST(GraphFile, ArrayRecordingCarriesNoAntiDenormalOffset)
{
    QTemporaryDir dir;
    const QString take = dir.filePath("array.wav");
    Rig rig(2);
    CAudioGraph& g = rig.graph;
    CAudioFile* recorder = CAudioGraphProbe(g).audioFile(CAudioGraph::sinkStage(CAudioGraph::sinkArray));
    ASSERT_EQ(recorder->openFile(take, 0), vkOk);
    ASSERT_EQ(recorder->startFile(true), vkOk);
    ASSERT_EQ(g.start(), vkOk);

    constexpr int kBlocks = 10;
    const auto code = [](int block, int ch, int i) { return ch % 2 ? 0 : (block * 977 + ch * 131 + i * 7) % 4001 - 2000; };
    for (int block = 0; block < kBlocks; ++block) {
        for (int ch = 0; ch < 32; ++ch)
            for (int i = 0; i < kBlock; ++i)
                rig.in.samples[ch][i] = float(code(block, ch, i)) / 8388608.0f;
        ASSERT_EQ(g.process(rig.in.data(), rig.out.data(), kBlock), vkOk);
    }
    g.stop();
    stopAndFlush(recorder);

    SF_INFO info{};
    SNDFILE* f = sf_open(take.toLocal8Bit().constData(), SFM_READ, &info);
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(info.channels, 32);
    ASSERT_EQ(info.frames, sf_count_t(kBlocks) * kBlock);
    std::vector<int> codes(std::size_t(info.frames) * 32);
    sf_readf_int(f, codes.data(), info.frames);
    sf_close(f);
    int mismatches = 0;
    for (int block = 0; block < kBlocks; ++block)
        for (int i = 0; i < kBlock; ++i)
            for (int ch = 0; ch < 32; ++ch)
                mismatches += codes[std::size_t((block * kBlock + i) * 32 + ch)] / 256 != code(block, ch, i);
    EXPECT_EQ(mismatches, 0);
}

// An order-2 take: libsndfile reads 9 channels, each the encoder's channel on the 24-bit
// grid, and nothing before the take's first block.
TEST(GraphFile, AmbisonicsTakeHoldsTheChannelsOfItsOrder)
{
    QTemporaryDir dir;
    const QString take = dir.filePath("ambix.wav");
    Rig rig(2);
    CAudioGraph& g = rig.graph;
    ASSERT_EQ(g.setAmbisonicsFormat(2, AmbiNorm::kSn3d), vkOk);
    g.setAmbisonicsReader(true);
    ASSERT_EQ(g.start(), vkOk);
    // Quiet: independent noise on every capsule is mostly high-order sound, which the
    // equalisers lift far above the capsules' level; the file must not clip it.
    Noise noise(12, 0.002f);
    ASSERT_EQ(rig.run(noise), vkOk); // before the take
    ASSERT_EQ(g.openTake(CAudioGraph::sinkAmbisonics, take), vkOk);
    // The format is fixed while the take is open.
    g.stop();
    EXPECT_EQ(g.setAmbisonicsFormat(3, AmbiNorm::kSn3d), vkErrStarted);
    ASSERT_EQ(g.start(), vkOk);
    ASSERT_EQ(g.startTake(CAudioGraph::sinkAmbisonics, true), vkOk);
    constexpr int kBlocks = 8;
    Planar expected(9);
    for (int block = 0; block < kBlocks; ++block) {
        ASSERT_EQ(rig.run(noise), vkOk);
        for (int c = 0; c < 9; ++c) {
            const float* x = g.ambisonicsBus()->channel(c);
            expected[std::size_t(c)].insert(expected[std::size_t(c)].end(), x, x + kBlock);
        }
    }
    g.stop();
    stopAndFlush(CAudioGraphProbe(g).audioFile(CAudioGraph::stageAmbiRecorder));

    SF_INFO info{};
    const Planar recorded = readWave(take, info);
    ASSERT_EQ(info.channels, 9);
    ASSERT_EQ(info.frames, sf_count_t(kBlocks) * kBlock);
    float worst = 0.0f;
    float peak = 0.0f;
    for (int c = 0; c < 9; ++c) {
        worst = std::max(worst, maxDifference(recorded[c].data(), expected[c].data(), kBlocks * kBlock));
        for (float x : expected[c])
            peak = std::max(peak, std::abs(x));
    }
    EXPECT_GT(peak, 1e-3f);
    EXPECT_LT(peak, 1.0f);
    EXPECT_LE(worst, 1.0f / 8388608.0f);
}

TEST(GraphFile, InputFilesOutsideTheRateRangeAreRefused)
{
    QTemporaryDir dir;
    const Planar silence(32, std::vector<float>(64, 0.0f));
    const struct {
        int rate;
        int expected;
    } cases[] = {{44100, vkOk}, {48000, vkOk}, {39690, vkOk}, {39689, CAudioGraph::errFileRate},
                 {48510, vkOk}, {48511, CAudioGraph::errFileRate}, {96000, CAudioGraph::errFileRate}};
    Rig rig(2, CAudioGraph::inputFile);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.rate);
        const QString path = dir.filePath(QString("r%1.wav").arg(c.rate));
        ASSERT_TRUE(writeWave(path, silence, c.rate, SF_FORMAT_WAV | SF_FORMAT_PCM_24));
        EXPECT_EQ(rig.graph.openInputFile(path.toLocal8Bit().constData()), c.expected);
    }
    EXPECT_EQ(rig.graph.openInputFile(dir.filePath("missing.wav").toLocal8Bit().constData()),
              CAudioFile::fileErrOpen);
}

} // namespace
