// Takes a picture of the whole main window as a user first sees it at work: started on
// the emulated hardware in a fresh folder, a third beam added, the three beams steered at
// the scene's three sources by clicks on the two displays, Play pressed and the meters
// running for two seconds, with the live sound map behind both displays. Prints the
// map's strongest peaks, which should lie on the sources. The window opens as the program
// opens it on the screen, or at a size given as WIDTHxHEIGHT. Run it under a virtual X
// server (see window-picture.sh).
//   vantoria_window_picture <picture.png> [WIDTHxHEIGHT]

#include "app/CMainWindowLayout.h"
#include "app/CZircApp.h"
#include "widgets/CAudioTransport.h"
#include "widgets/CBeamDisplayAzimuth.h"
#include "widgets/CBeamDisplayElevation.h"
#include "widgets/CBeamSelection.h"
#include "widgets/CBeamSelectionTrack.h"
#include "widgets/CDialogSeam.h"
#include "widgets/COnOffButton.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <optional>

namespace {
struct Direction {
    int theta;
    int phi;
};
// The emulated scene's sources: a tune, percussion and chirps.
constexpr Direction kSources[] = {{90, 30}, {60, 150}, {120, 270}};

// As a user does it: pick the track and a narrow pattern, click its azimuth, then its
// polar angle, each at the point where the display takes the click as those degrees.
void steer(CZircApp& app, int track, Direction d)
{
    CBeamSelectionTrack* row = app.beamSelection()->track(track);
    QTest::mouseClick(row, Qt::LeftButton, {}, QPoint(2, 2));
    row->patternBox()->setCurrentIndex(row->patternBox()->findText(QStringLiteral("super3")));
    if (const std::optional<QPoint> at = app.azimuthDisplay()->clickPointFor(d.phi))
        QTest::mouseClick(app.azimuthDisplay(), Qt::LeftButton, {}, *at);
    if (const std::optional<QPoint> at = app.elevationDisplay()->clickPointFor(d.theta))
        QTest::mouseClick(app.elevationDisplay(), Qt::LeftButton, {}, *at);
}
} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    const QStringList size = argc == 3 ? QString::fromLocal8Bit(argv[2]).split(QLatin1Char('x')) : QStringList();
    const QSize wanted = size.size() == 2 ? QSize(size[0].toInt(), size[1].toInt()) : QSize();
    if (argc < 2 || argc > 3 || (argc == 3 && wanted.isEmpty())) {
        std::fprintf(stderr, "usage: %s <picture.png> [WIDTHxHEIGHT]\n", argv[0]);
        return 2;
    }
    const QString picture = QFileInfo(QString::fromLocal8Bit(argv[1])).absoluteFilePath();
    QTemporaryDir folder;
    QDir::setCurrent(folder.path());
    CDialogSeam::Answers answers;
    answers.question = [](const QString&, const QString&, QMessageBox::StandardButtons, QMessageBox::StandardButton) {
        return QMessageBox::Discard;
    };
    CDialogSeam::setAnswers(answers);

    CZircApp app;
    if (wanted.isValid()) {
        app.resize(wanted);
        app.show();
    } else {
        CMainWindowLayout::showOnScreen(app);
    }
    if (!QTest::qWaitForWindowExposed(&app))
        return 1;
    if (wanted.isValid() && app.size() != wanted) {
        std::fprintf(stderr, "the window cannot be %dx%d: its least size is %dx%d\n", wanted.width(),
                     wanted.height(), app.minimumWidth(), app.minimumHeight());
        return 1;
    }
    app.beamSelection()->addButton()->click();
    for (int i = 0; i < 3; ++i)
        steer(app, i, kSources[i]);
    app.transport()->button(CAudioTransport::PlayButton)->click();
    QTest::qWait(2000);
    const bool saved = app.grab().save(picture);
    app.transport()->button(CAudioTransport::StopButton)->click();
    app.close();
    std::printf("%s: %dx%d, %s\n", qPrintable(picture), app.width(), app.height(), qPrintable(app.windowTitle()));
    for (const SoundMapPeak& p : app.azimuthDisplay()->soundMap().frame().peaks)
        std::printf("map peak: polar angle %.0f, azimuth %.0f\n", p.theta, p.phi);
    return saved ? 0 : 1;
}
