// Painting speed of the two busiest widgets on the offscreen platform: an azimuth display
// with 18 plots (one active) and a 32-channel level meter, as paints per second. A third
// figure counts the curves built while the active beam is dragged round: it must be 0.

#include "widgets/CBeamDisplayAzimuth.h"
#include "widgets/CLevelMeter.h"

#include <QApplication>
#include <QImage>
#include <QMouseEvent>
#include <QPainter>

#include <benchmark/benchmark.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace {
QApplication& application()
{
    static int argc = 1;
    static char name[] = "widgets_paint_bench";
    static char* argv[] = {name, nullptr};
    static QApplication app(argc, argv);
    return app;
}

std::vector<float> pattern(double a)
{
    std::vector<float> r(73);
    for (int i = 0; i < 73; ++i)
        r[i] = static_cast<float>(std::abs(a + (1 - a) * std::cos(i * 5.0 * std::numbers::pi / 180.0)));
    return r;
}

void fill(CBeamDisplayAzimuth& display)
{
    for (int i = 0; i < 18; ++i) {
        const std::vector<float> r = pattern(0.1 + 0.05 * i);
        display.addPlot(r.data(), 73, QColor::fromHsv(20 * i, 200, 220));
        display.setPhi(i, 20 * i);
    }
    display.setActivePattern(0);
}

// Paints into an image the size of the widget, as the window system would.
void paints(benchmark::State& state, QWidget& widget)
{
    QImage target(widget.size(), QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        widget.render(&target);
        benchmark::DoNotOptimize(target.constBits());
    }
    state.counters["paints_per_second"] = benchmark::Counter(static_cast<double>(state.iterations()),
                                                             benchmark::Counter::kIsRate);
}

void AzimuthDisplayEighteenPlots(benchmark::State& state)
{
    application();
    CBeamDisplayAzimuth display;
    display.resize(300, 300);
    fill(display);
    paints(state, display);
}
BENCHMARK(AzimuthDisplayEighteenPlots);

void LevelMeterThirtyTwoChannels(benchmark::State& state)
{
    application();
    CLevelMeter meter(32);
    meter.resize(560, 260);
    std::vector<float> levels(32);
    for (int ch = 0; ch < 32; ++ch)
        levels[ch] = static_cast<float>(std::pow(10.0, -0.05 * (3 + ch)));
    meter.advanceWith(levels.data(), levels.data());
    paints(state, meter);
}
BENCHMARK(LevelMeterThirtyTwoChannels);

void AzimuthDragRecomputesNoCurve(benchmark::State& state)
{
    application();
    CBeamDisplayAzimuth display;
    display.resize(300, 300);
    fill(display);
    QImage target(display.size(), QImage::Format_ARGB32_Premultiplied);
    const QPointF centre = display.toWidget(QPointF(0, 0));
    auto send = [&](QEvent::Type type, double degrees) {
        const double a = degrees * std::numbers::pi / 180.0;
        const QPointF at = centre + QPointF(100 * std::cos(a), -100 * std::sin(a));
        QMouseEvent event(type, at, display.mapToGlobal(at), Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&display, &event);
    };
    const long before = display.curveBuilds();
    send(QEvent::MouseButtonPress, 0);
    double angle = 0;
    for (auto _ : state) {
        angle += 3;
        send(QEvent::MouseMove, angle);
        display.render(&target);
    }
    send(QEvent::MouseButtonRelease, angle);
    state.counters["curves_built_in_drag"] = static_cast<double>(display.curveBuilds() - before);
    state.counters["drag_steps_per_second"] = benchmark::Counter(static_cast<double>(state.iterations()),
                                                                 benchmark::Counter::kIsRate);
}
BENCHMARK(AzimuthDragRecomputesNoCurve);
} // namespace
