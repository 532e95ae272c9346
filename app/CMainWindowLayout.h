#pragma once
// Arranges the main window: the two beam displays side by side in a splitter at the centre,
// every other control in a dock around them that the user can neither move, float nor
// close, the menus and the window icon. The application makes the widgets; this only
// places them. Main thread only.

#include <QAction>
#include <QMainWindow>
#include <QMargins>
#include <QObject>
#include <QRect>

class CVolumeUnit;
class QDockWidget;
class QSplitter;

class CMainWindowLayout {
public:
    // The widgets that the window shows, all made by the application and not yet placed.
    struct Widgets {
        QWidget* navigator = nullptr;
        QWidget* inputMeter = nullptr;
        QWidget* outputMeter = nullptr;
        QWidget* inputVolume = nullptr;
        QWidget* outputVolume = nullptr;
        QWidget* hpSelection = nullptr;
        QWidget* monitor = nullptr;
        QWidget* beamSelection = nullptr;
        QWidget* inputSource = nullptr;
        QWidget* transport = nullptr;
        QWidget* recordingSinks = nullptr;
        QWidget* azimuthDisplay = nullptr;
        QWidget* elevationDisplay = nullptr;
    };

    // Shares of the width of the azimuth and the elevation display.
    static constexpr int kAzimuthShare = 100;
    static constexpr int kElevationShare = 60;
    static constexpr int kOutputVolumeMinWidth = 80;
    // Room beside the beam track list for the vertical scroll bar and the frame.
    static constexpr int kBeamTracksExtraWidth = 40;

    // The master volume of all beams: a bare fader with a gain table, -40 to 40 dB in
    // steps of 0.1 dB, a scale on the right labelled every 10 dB and no unit suffix.
    static CVolumeUnit* makeMasterVolume(QWidget* parent = nullptr);

    // What a window manager's frame typically adds around the window, title bar on top.
    static constexpr QMargins kFrameMargins{4, 36, 4, 4};

    // Central splitter and docks; the window takes ownership of every widget.
    static void arrange(QMainWindow& window, const Widgets& widgets);

    // The window's geometry on a screen's available area: the size it asks for where that
    // fits with its frame, else as much of the area as the frame leaves, never below its
    // least size; centred, frame included, and never above or left of the area.
    static QRect openingGeometry(QSize wanted, QSize least, const QRect& available);
    // Places the window on its screen by openingGeometry and shows it; maximised when the
    // size it asks for does not fit but its least size does, so that a window manager
    // fits it to the screen exactly.
    static void showOnScreen(QMainWindow& window);

    // "&Settings" > "&Options" and "&Help" > "&About", without shortcuts.
    template <class Receiver>
    static void buildMenus(QMainWindow& window, Receiver* receiver, void (Receiver::*options)(),
                           void (Receiver::*about)())
    {
        QObject::connect(addMenuEntry(window, "&Settings", "&Options"), &QAction::triggered, receiver, options);
        QObject::connect(addMenuEntry(window, "&Help", "&About"), &QAction::triggered, receiver, about);
    }

    // The logo of the resource set as the window icon.
    static void setIcon(QMainWindow& window);

private:
    // Texts of the window are translated in the application's context.
    static QString tr(const char* text);
    static QAction* addMenuEntry(QMainWindow& window, const char* menu, const char* entry);
    static QDockWidget* makeDock(QMainWindow& window, const char* title, QWidget* content,
                                 Qt::DockWidgetAreas allowed);
    static int titleWidth(const QDockWidget& dock);
    static QSplitter* displaySplitter(QWidget* azimuthDisplay, QWidget* elevationDisplay);
    static void placeTopDocks(QMainWindow& window, const Widgets& widgets);
    static void placeSideAndBottomDocks(QMainWindow& window, const Widgets& widgets);
    static QWidget* outputVolumeHolder(QWidget* outputVolume);
    static QWidget* beamTrackScrollArea(QWidget* beamSelection);
};
