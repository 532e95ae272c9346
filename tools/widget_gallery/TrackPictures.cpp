// The beam track list, the transport with the file navigator, and the input, monitor and
// recording selections.

#include "GalleryPictures.h"
#include "PictureFolder.h"

#include "widgets/CAudioFileNavigator.h"
#include "widgets/CAudioTransport.h"
#include "widgets/CBeamSelection.h"
#include "widgets/CInputSourceSelection.h"
#include "widgets/CMonitorUnit.h"
#include "widgets/CRecordingSinkSelection.h"

#include <QApplication>
#include <QCheckBox>
#include <QMouseEvent>
#include <QVBoxLayout>

namespace {
// Four beams of a small library; the second active, the third muted.
void writeBeamTrackList(PictureFolder& folder)
{
    CBeamSelection list(QString(), 18, 15, 255);
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
    folder.save(list, list.minimumSizeHint() + QSize(20, 10), "beam-track-list");
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

// The transport with play pressed above a 95 s file, a section selected and the play
// position at 50 s. The navigator is laid out first so that the drag lands on its bar.
void writeTransportAndNavigator(PictureFolder& folder)
{
    QWidget both;
    auto* column = new QVBoxLayout(&both);
    auto* transport = new CAudioTransport(QString(),
                                          CAudioTransport::StopButton | CAudioTransport::PauseButton
                                              | CAudioTransport::PlayButton | CAudioTransport::RecordButton,
                                          1);
    auto* navigator = new CAudioFileNavigator;
    column->addWidget(transport);
    column->addWidget(navigator);
    transport->pressButton(CAudioTransport::PlayButton);
    both.resize(600, 170);
    both.show();
    QApplication::processEvents();
    navigator->setFs(48000);
    navigator->setNumSamples(48000 * 95);
    selectSection(*navigator);
    navigator->setCurrentSample(48000 * 50);
    folder.save(both, QSize(600, 170), "transport-and-navigator");
}

void writeInputSourceSelection(PictureFolder& folder)
{
    CInputSourceSelection input(QString{});
    input.setFileName(QStringLiteral("/recordings/rehearsal_take3.wav"));
    folder.save(input, QSize(260, 80), "input-source-selection");
}

void writeMonitorUnit(PictureFolder& folder)
{
    CMonitorUnit monitor(32, 24);
    monitor.setStatus(true);
    monitor.setChannel(1, 2);
    monitor.setVolume(-12);
    folder.save(monitor, QSize(200, 220), "monitor-unit");
}

// The input sink recording for 83 s under a name made from a fixed clock.
void writeRecordingSinkSelection(PictureFolder& folder)
{
    CRecordingSinkSelection sinks({QStringLiteral("input"), QStringLiteral("output")});
    sinks.setBaseName(0, QStringLiteral("mic"));
    sinks.setBaseName(1, QStringLiteral("out"));
    sinks.setClock([] { return QDateTime(QDate(2026, 1, 31), QTime(14, 5, 9)); });
    sinks.setFs(48000);
    sinks.sinkSwitch(0)->setChecked(true);
    sinks.filePath(0); // names the input's file from the clock, as starting a recording does
    sinks.setCurrentSample(0, 48000 * 83);
    folder.save(sinks, QSize(330, 80), "recording-sink-selection");
}
} // namespace

void writeTrackPictures(PictureFolder& tracks)
{
    writeBeamTrackList(tracks);
    writeTransportAndNavigator(tracks);
    writeInputSourceSelection(tracks);
    writeMonitorUnit(tracks);
    writeRecordingSinkSelection(tracks);
}
