// The whole audio graph on the reference workload: 32 inputs from a 24-bit wave file,
// 18 active beams of mixed patterns at spread directions, block 512, 44.1 kHz, both
// recorders off. Reported as a real-time factor (seconds of audio per second of CPU
// time) beside the beamformer node alone on the same beams, and as the share of the
// node's cost that the rest of the graph adds, measured block by block in one run so
// that both sides see the same machine load. Then the Ambisonics encoder and the
// binaural decoder in the graph: what they add when used, and that idle they add nothing.

#include "tests/support/AudioGraphProbe.h"
#include "audiofile/CAudioFile.h"
#include "audiofile/CWaveFile.h"
#include "beamformer/CZirc.h"
#include "binaural/CBinauralDecoder.h"
#include "binaural/CBinauralFilters.h"
#include "bench/support/MachinePeak.h"
#include "graph/CAudioGraph.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QThread>

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

namespace {
constexpr int kBlock = 512;
constexpr float kRate = 44100.0f;
constexpr int kBeams = 18;
constexpr int kCapsules = 32;
constexpr int kFileSeconds = 10;

QCoreApplication& application()
{
    static int argc = 1;
    static char name[] = "graph_bench";
    static char* argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);
    return app;
}

// Ten seconds of noise on 32 channels, 24-bit, in a scratch directory that lives as
// long as the process.
QString referenceFile()
{
    static QTemporaryDir dir;
    static const QString path = dir.filePath("array.wav");
    static const bool written = [] {
        CWaveFile wave;
        if (wave.create(path, kCapsules, int(kRate), 1, 3, 0) != 0)
            return false;
        std::mt19937 rng(5);
        std::normal_distribution<float> g(0.0f, 0.05f * 8388608.0f);
        QByteArray bytes(kBlock * kCapsules * 3, '\0');
        for (int block = 0; block < kFileSeconds * int(kRate) / kBlock; ++block) {
            for (int i = 0; i < kBlock * kCapsules; ++i) {
                const auto code = std::int32_t(g(rng));
                bytes[3 * i] = char(code);
                bytes[3 * i + 1] = char(code >> 8);
                bytes[3 * i + 2] = char(code >> 16);
            }
            wave.writeSamples(bytes);
        }
        return wave.close() == 0;
    }();
    return written ? path : QString();
}

void steer(CZirc& node)
{
    for (int b = 0; b < kBeams; ++b) {
        const int pattern = b % node.patternCount();
        node.setPattern(b, pattern);
        node.setParameter(b, 0);
        node.setTheta(b, float(20 + 8 * b));
        node.setPhi(b, float(20 * b));
    }
}

// A graph playing the reference file, rewound when it ends.
class GraphRun {
public:
    bool open()
    {
        application();
        const QString file = referenceFile();
        if (file.isEmpty()
            || graph.configure(vkAudioInterface::timeDomain(kCapsules, kRate, kBlock),
                               vkAudioInterface::timeDomain(kBeams, kRate, kBlock))
                != vkOk
            || graph.setNumBeams(kBeams) != vkOk || graph.openInputFile(file.toLocal8Bit().constData()) != vkOk)
            return false;
        steer(*CAudioGraphProbe(graph).beamformer());
        player = CAudioGraphProbe(graph).audioFile(CAudioGraph::stageFilePlayer);
        out.assign(kBeams, std::vector<float>(kBlock));
        for (auto& c : out)
            outPtr.push_back(c.data());
        player->startFile(true);
        settle();
        return graph.start() == vkOk;
    }
    // Hand-over between blocks, as the main thread's timer does; a rewind at the end.
    void service()
    {
        if (player->position() + kBlock > player->fileFrames())
            player->seekFile(0);
        graph.checkFileQueues();
        QCoreApplication::processEvents();
        settle();
    }
    int block() { return graph.process(nullptr, outPtr.data(), kBlock); }

    CAudioGraph graph;
    CAudioFile* player = nullptr;
    std::vector<std::vector<float>> out;
    std::vector<float*> outPtr;

private:
    // Waits while the disk side still owes the buffer the player stands in.
    void settle()
    {
        while (player->ring().queuedBuffers() == CAudioBuffer::ringSize) {
            QCoreApplication::processEvents();
            QThread::usleep(200);
        }
    }
};

// The node alone on noise blocks.
class NodeRun {
public:
    bool open()
    {
        if (node.setFormat(vkAudioInterface::timeDomain(kCapsules, kRate, kBlock),
                           vkAudioInterface::timeDomain(kBeams, kRate, kBlock))
            != vkOk)
            return false;
        steer(node);
        std::mt19937 rng(11);
        std::normal_distribution<float> g(0.0f, 0.05f);
        in.assign(kCapsules, std::vector<float>(kBlock));
        out.assign(kBeams, std::vector<float>(kBlock));
        for (auto& c : in) {
            for (float& x : c)
                x = g(rng);
            inPtr.push_back(c.data());
        }
        for (auto& c : out)
            outPtr.push_back(c.data());
        return node.start() == vkOk;
    }
    int block() { return node.process(inPtr.data(), outPtr.data(), kBlock); }

    CZirc node;
    std::vector<std::vector<float>> in, out;
    std::vector<float*> inPtr, outPtr;
};

void setRealTimeFactor(benchmark::State& state)
{
    state.counters["rtf"] = benchmark::Counter(double(kBlock) / kRate, benchmark::Counter::kIsIterationInvariantRate);
}

void BM_NodeAlone(benchmark::State& state)
{
    NodeRun run;
    if (!run.open()) {
        state.SkipWithError("the node could not be configured");
        return;
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(run.block());
    setRealTimeFactor(state);
}

void BM_GraphFromFile(benchmark::State& state)
{
    GraphRun run;
    if (!run.open()) {
        state.SkipWithError("the graph could not be configured or the file not opened");
        return;
    }
    long block = 0;
    for (auto _ : state) {
        if (++block % 64 == 0) {
            state.PauseTiming();
            run.service();
            state.ResumeTiming();
        }
        benchmark::DoNotOptimize(run.block());
    }
    run.graph.stop();
    run.player->stopFile();
    setRealTimeFactor(state);
}

// The node and the graph block after block, each timed on the thread's CPU clock:
// "added" is the graph's cost beyond the node's, as a fraction of the node's; "levels" is
// the part of it that the two level stages take, timed by running them once more on the
// buses the graph just left.
void BM_GraphOverNode(benchmark::State& state)
{
    GraphRun graph;
    NodeRun node;
    if (!graph.open() || !node.open()) {
        state.SkipWithError("the graph or the node could not be set up");
        return;
    }
    double graphSeconds = 0.0, nodeSeconds = 0.0, levelSeconds = 0.0;
    CAudioGraph& g = graph.graph;
    long block = 0;
    for (auto _ : state) {
        if (++block % 64 == 0) {
            state.PauseTiming();
            graph.service();
            state.ResumeTiming();
        }
        const double t0 = vkThreadCpuSeconds();
        benchmark::DoNotOptimize(node.block());
        const double t1 = vkThreadCpuSeconds();
        benchmark::DoNotOptimize(graph.block());
        const double t2 = vkThreadCpuSeconds();
        CAudioGraphProbe(g).stage(CAudioGraph::stageInputLevel)->process(g.inputBus()->data(), nullptr, kBlock);
        CAudioGraphProbe(g).stage(CAudioGraph::stageOutputLevel)->process(g.outputBus()->data(), nullptr, kBlock);
        const double t3 = vkThreadCpuSeconds();
        nodeSeconds += t1 - t0;
        graphSeconds += t2 - t1;
        levelSeconds += t3 - t2;
    }
    graph.graph.stop();
    graph.player->stopFile();
    state.counters["added"] = nodeSeconds > 0.0 ? graphSeconds / nodeSeconds - 1.0 : 0.0;
    state.counters["levels"] = nodeSeconds > 0.0 ? levelSeconds / nodeSeconds : 0.0;
    state.counters["graph_rtf"] = graphSeconds > 0.0 ? double(block) * kBlock / kRate / graphSeconds : 0.0;
    state.counters["node_rtf"] = nodeSeconds > 0.0 ? double(block) * kBlock / kRate / nodeSeconds : 0.0;
}
// Node, an idle graph and a graph whose Ambisonics stages run (mode 0: none, 1: the
// encoder for an AmbiX reader, 2: encoder and binaural decoder on the KEMAR set), block
// after block on the thread's CPU clock. "stages" is what the second graph costs beyond
// the idle one, as a fraction of the node's cost; "stage_us" the same per block.
void BM_GraphAmbisonics(benchmark::State& state)
{
    const int mode = int(state.range(0));
    GraphRun idle;
    GraphRun used;
    NodeRun node;
    if (!idle.open() || !used.open() || !node.open()) {
        state.SkipWithError("the graphs or the node could not be set up");
        return;
    }
    std::string message;
    const CBinauralFilters filters = CBinauralFilters::designFromSofa(
        "/usr/share/libmysofa/default.sofa", kRate, CBinauralDecoder::kMaxTaps, message);
    if (mode == 2 && (filters.isEmpty() || used.graph.setBinauralFilters(filters) != vkOk)) {
        state.SkipWithError("the KEMAR set could not be loaded");
        return;
    }
    used.graph.setAmbisonicsReader(mode >= 1);
    used.graph.setBinauralReader(mode == 2);
    double nodeSeconds = 0.0, idleSeconds = 0.0, usedSeconds = 0.0;
    long block = 0;
    for (auto _ : state) {
        if (++block % 64 == 0) {
            state.PauseTiming();
            idle.service();
            used.service();
            state.ResumeTiming();
        }
        const double t0 = vkThreadCpuSeconds();
        benchmark::DoNotOptimize(node.block());
        const double t1 = vkThreadCpuSeconds();
        benchmark::DoNotOptimize(idle.block());
        const double t2 = vkThreadCpuSeconds();
        benchmark::DoNotOptimize(used.block());
        const double t3 = vkThreadCpuSeconds();
        nodeSeconds += t1 - t0;
        idleSeconds += t2 - t1;
        usedSeconds += t3 - t2;
    }
    for (GraphRun* run : {&idle, &used}) {
        run->graph.stop();
        run->player->stopFile();
    }
    state.counters["stages"] = nodeSeconds > 0.0 ? (usedSeconds - idleSeconds) / nodeSeconds : 0.0;
    state.counters["stage_us"] = block > 0 ? 1e6 * (usedSeconds - idleSeconds) / double(block) : 0.0;
    state.counters["node_us"] = block > 0 ? 1e6 * nodeSeconds / double(block) : 0.0;
}
} // namespace

BENCHMARK(BM_NodeAlone)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GraphFromFile)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GraphOverNode)->Unit(benchmark::kMillisecond)->MinTime(5.0);
BENCHMARK(BM_GraphAmbisonics)->Arg(0)->Arg(1)->Arg(2)->ArgName("stages")->Unit(benchmark::kMillisecond)->MinTime(3.0);
