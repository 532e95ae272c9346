// vantoria-render: beams, AmbiX and binaural from an array recording or a modelled scene, from the
// command line.

#include "render/CMapPicture.h"
#include "render/CProgressBar.h"
#include "render/CRenderOptions.h"
#include "render/CRenderer.h"

#include <QCoreApplication>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>

namespace {

std::atomic<bool> gInterrupted{false};

void onInterrupt(int)
{
    gInterrupted.store(true, std::memory_order_relaxed);
}

void say(const QString& message)
{
    std::fprintf(stderr, "vantoria-render: %s\n", qPrintable(message));
}

int fail(const QString& message, int status)
{
    say(message);
    return status;
}

void printSummary(const CRenderer& renderer, const CRenderOptions& options, double seconds)
{
    const double audio = renderer.durationSeconds();
    const QString what = renderer.outputChannels() == 0 ? QStringLiteral("the sound field")
                         : renderer.beamformed()
                             ? QStringLiteral("%1 beam%2").arg(renderer.outputChannels()).arg(renderer.outputChannels() == 1 ? "" : "s")
                             : QStringLiteral("%1 channel%2 straight through").arg(renderer.outputChannels()).arg(renderer.outputChannels() == 1 ? "" : "s");
    std::printf("Rendered %.2f s at %d Hz to %s in %.2f s: real-time factor %.1f\n", audio, renderer.sampleRate(),
                qPrintable(what), seconds, seconds > 0.0 ? audio / seconds : 0.0);
    QStringList written;
    for (const QString& name : {options.output, options.ambixOutput, options.binauralOutput})
        if (!name.isEmpty())
            written << name;
    std::printf("Wrote %s (%s)%s%s\n", qPrintable(written.join(QStringLiteral(", "))),
                options.floatOutput ? "32-bit float" : "24-bit", options.arrayOutput.isEmpty() ? "" : " and ",
                qPrintable(options.arrayOutput));
    std::fflush(stdout);
}

// The map's note goes to the error stream; the peaks, when asked for, to the output.
void printMap(const CRenderer& renderer, const CRenderOptions& options)
{
    if (!renderer.mapNote().isEmpty())
        say(renderer.mapNote());
    if (!options.quiet && renderer.soundMap() && !options.mapFile.isEmpty())
        std::printf("Wrote the sound map to %s\n", qPrintable(options.mapFile));
    if (options.mapPeaks && renderer.soundMap()) {
        if (renderer.mapPeaks().empty())
            std::printf("no peaks: the map is silent\n");
        std::printf("%s", qPrintable(CMapPicture::peaksText(renderer.mapPeaks())));
    }
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    CRenderOptions options;
    QString error;
    if (!CRenderOptions::parse(QCoreApplication::arguments(), options, error))
        return fail(error, 2);
    if (options.help) {
        std::printf("%s", qPrintable(CRenderOptions::helpText()));
        return 0;
    }
    if (options.version) {
        std::printf("vantoria-render %s\n", VK_VERSION);
        return 0;
    }
    for (const QString& note : options.notes)
        say(note);
    std::signal(SIGINT, onInterrupt);
    std::signal(SIGTERM, onInterrupt);

    CRenderer renderer;
    if (!renderer.prepare(options, error))
        return fail(error, renderer.refusedCommandLine() ? 2 : 1);
    if (!renderer.inputWarning().isEmpty())
        say(renderer.inputWarning());
    CProgressBar bar(stderr, renderer.durationSeconds(), !options.quiet);
    const auto start = std::chrono::steady_clock::now();
    const bool done = renderer.run([&bar](double seconds) { bar.update(seconds); }, gInterrupted, error);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    bar.finish();
    if (!done)
        return fail(error, 1);
    if (!options.quiet)
        printSummary(renderer, options, elapsed.count());
    printMap(renderer, options);
    if (renderer.clippedSamples() > 0)
        std::fprintf(stderr, "vantoria-render: warning: %lld samples beyond full scale were clipped; --float keeps them\n",
                     static_cast<long long>(renderer.clippedSamples()));
    return 0;
}
