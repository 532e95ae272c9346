// The offline renderer end to end, as a user runs it: a 60-second 32-channel 24-bit
// array file to 18 beams of mixed patterns at spread directions, block 512, 44.1 kHz,
// written as 24-bit beams. Reported as real-time factors: seconds of audio per second
// of this thread's processor time (steady on a shared machine; the disk reads and
// writes run in this thread too), and per second of wall-clock time.

#include "bench/support/MachinePeak.h"
#include "render/CRenderOptions.h"
#include "render/CRenderSink.h"
#include "render/CRenderer.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <chrono>
#include <random>
#include <vector>

namespace {
constexpr int kRate = 44100;
constexpr int kSeconds = 60;
constexpr int kCapsules = 32;
constexpr int kBeams = 18;

QTemporaryDir& scratch()
{
    static QTemporaryDir dir;
    return dir;
}

// Sixty seconds of noise at about -26 dBFS on every capsule.
QString arrayFile()
{
    static const QString path = scratch().filePath("array.wav");
    static const bool written = [] {
        constexpr int block = 4096;
        std::vector<std::vector<float>> channels(kCapsules, std::vector<float>(block));
        std::vector<const float*> pointers;
        for (const auto& c : channels)
            pointers.push_back(c.data());
        std::mt19937 rng(5);
        std::normal_distribution<float> noise(0.0f, 0.05f);
        CRenderSink sink;
        if (!sink.open(path, kCapsules, kRate, CRenderSink::formatInteger24, block))
            return false;
        for (long done = 0; done < long(kSeconds) * kRate; done += block) {
            for (auto& c : channels)
                for (float& x : c)
                    x = noise(rng);
            if (!sink.write(pointers.data(), int(std::min<long>(block, long(kSeconds) * kRate - done))))
                return false;
        }
        sink.close();
        return true;
    }();
    return written ? path : QString();
}

QStringList arguments()
{
    static const char* patterns[] = {"omni", "super3", "super2", "super1", "hyper3", "hyper2",
                                     "hyper1", "card3", "card2", "card1", "dipole1", "torus"};
    QStringList list{"vantoria-render", arrayFile(), "-o", scratch().filePath("beams.wav")};
    for (int b = 0; b < kBeams; ++b)
        list << "--beam" << QStringLiteral("%1,%2,%3").arg(20 * b).arg(20 + 8 * b).arg(patterns[b % 12]);
    return list;
}

void BM_RenderSixtySecondsTo18Beams(benchmark::State& state)
{
    static int argc = 1;
    static char name[] = "render_bench";
    static char* argv[] = {name, nullptr};
    static QCoreApplication application(argc, argv);
    CRenderOptions options;
    QString error;
    if (arrayFile().isEmpty() || !CRenderOptions::parse(arguments(), options, error)) {
        state.SkipWithError("cannot write the array file");
        return;
    }
    double cpu = 0.0, wall = 0.0, audio = 0.0;
    for (auto _ : state) {
        const double cpuStart = vkThreadCpuSeconds();
        const auto wallStart = std::chrono::steady_clock::now();
        CRenderer renderer;
        std::atomic<bool> cancel{false};
        if (!renderer.prepare(options, error) || !renderer.run(nullptr, cancel, error)) {
            state.SkipWithError(qPrintable(error));
            return;
        }
        cpu += vkThreadCpuSeconds() - cpuStart;
        wall += std::chrono::duration<double>(std::chrono::steady_clock::now() - wallStart).count();
        audio += renderer.durationSeconds();
    }
    state.counters["rtf_cpu"] = audio / cpu;
    state.counters["rtf_wall"] = audio / wall;
}
BENCHMARK(BM_RenderSixtySecondsTo18Beams)->Unit(benchmark::kSecond)->Iterations(2)->UseRealTime();

} // namespace
