// Writes pictures of the beam track list, the transport with the file navigator, and the
// input, monitor and recording selections into a folder (first argument, default
// "docs/widgets/tracks"). With QT_QPA_PLATFORM=offscreen it needs no display.

#include "widgets/CAudioFileNavigator.h"
#include "widgets/CAudioTransport.h"
#include "widgets/CBeamSelection.h"
#include "widgets/CInputSourceSelection.h"
#include "widgets/CMonitorUnit.h"
#include "widgets/CRecordingSinkSelection.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QMouseEvent>
#include <QPixmap>
#include <QVBoxLayout>

#include <cstdio>

namespace {
bool save(QWidget& widget, QSize size, const QString& folder, const char* name)
{
    widget.resize(size);
    widget.show();
    QApplication::processEvents();
    const QString path = folder + "/" + name + ".png";
    const bool ok = widget.grab().save(path);
    std::printf("%s %s\n", ok ? "wrote" : "FAILED", qPrintable(path));
    return ok;
}

// Four beams of a small library; the second active, the third muted.
void fillBeams(CBeamSelection& list)
{
    list.setPatternAndParameterLists({"omni", "cardioid", "hypercardioid", "shotgun"},
                                     {{"0"}, {"-12", "-6", "0", "6", "12"}, {"-6", "0", "6"}, {"0", "3", "6"}});
    const QColor colors[] = {QColor(230, 80, 60), QColor(60, 140, 230), QColor(80, 190, 90), QColor(220, 170, 40)};
    const char* labels[] = {"vocals", "guitar", "drums", "audience"};
    for (int i = 0; i < 4; ++i) {
        list.addBeam();
        list.setColor(i, colors[i]);
        list.setLabel(i, QString::fromLatin1(labels[i]));
        list.setPhi(i, 45 + 80 * i);
        list.setTheta(i, 70 + 10 * i);
        list.setPatternIndex(i, i);
        list.setVolume(i, -6.0f + 4 * i);
    }
    list.setMute(2, true);
    list.setActiveBeamTrack(1);
}

// A drag over the bar from a quarter to two thirds of the file.
void selectSection(CAudioFileNavigator& nav)
{
    const double y = 0.75 * nav.height();
    const auto send = [&](QEvent::Type type, double x, Qt::MouseButtons held) {
        const QPointF at(x, y);
        QMouseEvent event(type, at, nav.mapToGlobal(at), type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton,
                          held, Qt::NoModifier);
        QApplication::sendEvent(&nav, &event);
    };
    send(QEvent::MouseButtonPress, nav.xOfSample(nav.numSamples() / 4), Qt::LeftButton);
    send(QEvent::MouseMove, nav.xOfSample(nav.numSamples() * 2 / 3), Qt::LeftButton);
    send(QEvent::MouseButtonRelease, nav.xOfSample(nav.numSamples() * 2 / 3), Qt::NoButton);
}
} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    const QString folder = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("docs/widgets/tracks");
    QDir().mkpath(folder);
    bool ok = true;

    CBeamSelection beams(QString(), 18, 15, 255);
    fillBeams(beams);
    ok &= save(beams, beams.minimumSizeHint() + QSize(20, 10), folder, "beam-track-list");

    QWidget transportAndNavigator;
    auto* column = new QVBoxLayout(&transportAndNavigator);
    auto* transport = new CAudioTransport(QString(), 0x17, 1);
    auto* navigator = new CAudioFileNavigator;
    column->addWidget(transport);
    column->addWidget(navigator);
    transport->pressButton(4);
    transportAndNavigator.resize(600, 170);
    transportAndNavigator.show();
    QApplication::processEvents();
    navigator->setFs(48000);
    navigator->setNumSamples(48000 * 95);
    selectSection(*navigator);
    navigator->setCurrentSample(48000 * 50);
    ok &= save(transportAndNavigator, QSize(600, 170), folder, "transport-and-navigator");

    CInputSourceSelection input(QString{});
    input.setFileName(QStringLiteral("/recordings/rehearsal_take3.wav"));
    ok &= save(input, QSize(260, 80), folder, "input-source-selection");

    CMonitorUnit monitor(32, 24);
    monitor.setStatus(true);
    monitor.setChannel(1, 2);
    monitor.setVolume(-12);
    ok &= save(monitor, QSize(200, 220), folder, "monitor-unit");

    CRecordingSinkSelection sinks({QStringLiteral("input"), QStringLiteral("output")});
    sinks.setBaseName(0, QStringLiteral("mic"));
    sinks.setBaseName(1, QStringLiteral("out"));
    sinks.setClock([] { return QDateTime(QDate(2026, 1, 31), QTime(14, 5, 9)); });
    sinks.setFs(48000);
    sinks.sinkSwitch(0)->setChecked(true);
    sinks.filePath(0);
    sinks.setCurrentSample(0, 48000 * 83);
    ok &= save(sinks, QSize(330, 80), folder, "recording-sink-selection");

    return ok ? 0 : 1;
}
