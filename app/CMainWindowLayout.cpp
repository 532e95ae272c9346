#include "app/CMainWindowLayout.h"

#include "resources/vkResources.h"
#include "widgets/CVolumeUnit.h"

#include <QCoreApplication>
#include <QDockWidget>
#include <QFontMetricsF>
#include <QIcon>
#include <QLayout>
#include <QMenu>
#include <QMenuBar>
#include <QScreen>
#include <QScrollArea>
#include <QSplitter>
#include <QStyle>
#include <QStyleOptionDockWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace {
int ceilDiv(int a, int b)
{
    return (a + b - 1) / b;
}
} // namespace

CVolumeUnit* CMainWindowLayout::makeMasterVolume(QWidget* parent)
{
    auto* unit = new CVolumeUnit(0, parent);
    unit->setMakeTable(true);
    unit->setRange(-40, 40, 0.1f, 1, 50);
    unit->setTickPosition(CVolumeUnit::ScaleRight);
    unit->setTickLabels(10);
    unit->setSuffix(QString());
    return unit;
}

void CMainWindowLayout::arrange(QMainWindow& window, const Widgets& widgets)
{
    window.setDockNestingEnabled(true);
    window.setCorner(Qt::TopLeftCorner, Qt::TopDockWidgetArea);
    window.setCorner(Qt::TopRightCorner, Qt::TopDockWidgetArea);
    window.setCorner(Qt::BottomLeftCorner, Qt::BottomDockWidgetArea);
    window.setCorner(Qt::BottomRightCorner, Qt::BottomDockWidgetArea);

    window.setCentralWidget(displaySplitter(widgets.azimuthDisplay, widgets.elevationDisplay));

    placeTopDocks(window, widgets);
    placeSideAndBottomDocks(window, widgets);
}

// The azimuth display left of the elevation display, sharing the width 100 to 60: at equal
// heights the full circle and the half disc (3 wide to 5 high) then fill their shares
// alike, and on a screen wider than tall both discs get the whole height, where one above
// the other left the half disc a fraction of it. Qt raises a share below a display's
// minimum width to that minimum before it divides the width; the shares are scaled past
// both minimums instead, so that the ratio holds whenever the window leaves room for it.
QSplitter* CMainWindowLayout::displaySplitter(QWidget* azimuthDisplay, QWidget* elevationDisplay)
{
    auto* splitter = new QSplitter(Qt::Horizontal);
    splitter->setChildrenCollapsible(false);
    splitter->addWidget(azimuthDisplay);
    splitter->addWidget(elevationDisplay);
    const auto minimumWidth = [](const QWidget* w) {
        return std::max(w->minimumWidth(), w->minimumSizeHint().width());
    };
    const int scale = std::max({1, ceilDiv(minimumWidth(azimuthDisplay), kAzimuthShare),
                                ceilDiv(minimumWidth(elevationDisplay), kElevationShare)});
    splitter->setSizes({kAzimuthShare * scale, kElevationShare * scale});
    splitter->setStretchFactor(0, kAzimuthShare);
    splitter->setStretchFactor(1, kElevationShare);
    return splitter;
}

QRect CMainWindowLayout::openingGeometry(QSize wanted, QSize least, const QRect& available)
{
    const QSize room = available.size().shrunkBy(kFrameMargins);
    QRect outer(QPoint(), wanted.boundedTo(room).expandedTo(least).grownBy(kFrameMargins));
    outer.moveCenter(available.center());
    outer.moveTopLeft({std::max(outer.left(), available.left()), std::max(outer.top(), available.top())});
    return outer.marginsRemoved(kFrameMargins);
}

void CMainWindowLayout::showOnScreen(QMainWindow& window)
{
    const QRect available = window.screen()->availableGeometry();
    const QSize wanted = window.sizeHint(), least = window.minimumSizeHint();
    window.setGeometry(openingGeometry(wanted, least, available));
    const QSize room = available.size().shrunkBy(kFrameMargins);
    const auto fits = [room](QSize size) { return size.width() <= room.width() && size.height() <= room.height(); };
    if (!fits(wanted) && fits(least))
        window.showMaximized();
    else
        window.show();
}

// File navigation across the whole width, and beneath it a row of level meters, volume
// controls, high-pass and monitor.
void CMainWindowLayout::placeTopDocks(QMainWindow& window, const Widgets& widgets)
{
    window.addDockWidget(Qt::TopDockWidgetArea,
                         makeDock(window, "File Navigation", widgets.navigator, Qt::TopDockWidgetArea));
    QDockWidget* previous = makeDock(window, "Input Levels", widgets.inputMeter, Qt::TopDockWidgetArea);
    window.addDockWidget(Qt::TopDockWidgetArea, previous, Qt::Vertical);

    struct RowDock {
        const char* title;
        QWidget* content;
        Qt::DockWidgetArea allowed;
    };
    const RowDock row[] = {
        {"Output Levels", widgets.outputMeter, Qt::TopDockWidgetArea},
        {"Input Volume", widgets.inputVolume, Qt::TopDockWidgetArea},
        {"Output Volume", outputVolumeHolder(widgets.outputVolume), Qt::TopDockWidgetArea},
        {"Highpass", widgets.hpSelection, Qt::TopDockWidgetArea},
        {"Monitor Source", widgets.monitor, Qt::LeftDockWidgetArea},
    };
    for (const RowDock& entry : row) {
        QDockWidget* dock = makeDock(window, entry.title, entry.content, entry.allowed);
        window.splitDockWidget(previous, dock, Qt::Horizontal);
        previous = dock;
    }
}

// The beam tracks down the left; input source, transport and recording source side by
// side at the bottom.
void CMainWindowLayout::placeSideAndBottomDocks(QMainWindow& window, const Widgets& widgets)
{
    window.addDockWidget(Qt::LeftDockWidgetArea,
                         makeDock(window, "Beam Tracks", beamTrackScrollArea(widgets.beamSelection),
                                  Qt::RightDockWidgetArea),
                         Qt::Vertical);
    QDockWidget* inputSource = makeDock(window, "Input Source", widgets.inputSource, Qt::LeftDockWidgetArea);
    window.addDockWidget(Qt::BottomDockWidgetArea, inputSource);
    QDockWidget* transport = makeDock(window, "Audio Transport", widgets.transport, Qt::BottomDockWidgetArea);
    window.splitDockWidget(inputSource, transport, Qt::Horizontal);
    window.splitDockWidget(transport,
                           makeDock(window, "Recording Source", widgets.recordingSinks, Qt::LeftDockWidgetArea),
                           Qt::Horizontal);
}

QDockWidget* CMainWindowLayout::makeDock(QMainWindow& window, const char* title, QWidget* content,
                                         Qt::DockWidgetAreas allowed)
{
    auto* dock = new QDockWidget(tr(title), &window);
    dock->setObjectName(QString::fromLatin1(title));
    dock->setAllowedAreas(allowed);
    dock->setFeatures(QDockWidget::NoDockWidgetFeatures);
    dock->setWidget(content);
    if (const int title = titleWidth(*dock); title > dock->minimumSizeHint().width())
        dock->setMinimumWidth(title);
    return dock;
}

// The style elides a title that does not fit its bar; no dock is narrower than its title.
int CMainWindowLayout::titleWidth(const QDockWidget& dock)
{
    QStyleOptionDockWidget option;
    option.initFrom(&dock);
    option.title = dock.windowTitle();
    option.rect = QRect(0, 0, 1000, 20);
    const QRect text = dock.style()->subElementRect(QStyle::SE_DockWidgetTitleBarText, &option, &dock);
    // The text's exact advance, rounded up: the whole-pixel one can be a fraction short.
    const int advance = static_cast<int>(std::ceil(QFontMetricsF(dock.font()).horizontalAdvance(option.title)));
    return advance + 1 + option.rect.width() - text.width();
}

QWidget* CMainWindowLayout::outputVolumeHolder(QWidget* outputVolume)
{
    auto* holder = new QWidget;
    holder->setMinimumWidth(kOutputVolumeMinWidth);
    auto* layout = new QVBoxLayout(holder);
    layout->addWidget(outputVolume, 0, Qt::AlignCenter);
    return holder;
}

// The list grows downwards only: it scrolls vertically when taller than the dock and is
// never scrolled sideways.
QWidget* CMainWindowLayout::beamTrackScrollArea(QWidget* beamSelection)
{
    auto* area = new QScrollArea;
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    area->setWidgetResizable(true);
    area->setWidget(beamSelection);
    // The list's layout fixes its minimum size once it has been laid out.
    if (QLayout* layout = beamSelection->layout())
        layout->activate();
    area->setMinimumWidth(beamSelection->minimumWidth() + kBeamTracksExtraWidth);
    return area;
}

void CMainWindowLayout::setIcon(QMainWindow& window)
{
    window.setWindowIcon(QIcon(vkResources::picture(QStringLiteral("velkor.png"))));
}

QString CMainWindowLayout::tr(const char* text)
{
    return QCoreApplication::translate("CZircApp", text);
}

QAction* CMainWindowLayout::addMenuEntry(QMainWindow& window, const char* menu, const char* entry)
{
    return window.menuBar()->addMenu(tr(menu))->addAction(tr(entry));
}
