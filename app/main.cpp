// The program: one CZircApp for the whole run, on Qt's event loop. The vector operations
// need no initialisation: each picks its code for the processor at its first call.

#include "app/CMainWindowLayout.h"
#include "app/CTerminationSignals.h"
#include "app/CZircApp.h"

#include <QApplication>
#include <QStringList>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

QStringList gStartupMessages;
QtMessageHandler gDefaultHandler = nullptr;

// While the application object is made, Qt's messages are held back: when it cannot reach
// a display it ends the program from inside, and then one line says why and what to do
// instead of an abort and a screenful.
void holdStartupMessage(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type != QtFatalMsg) {
        gStartupMessages << text;
        return;
    }
    const QString first = gStartupMessages.isEmpty() ? text : gStartupMessages.first();
    const QString reason = first.section(QLatin1Char('\n'), 0, 0).trimmed();
    std::fprintf(stderr, "vantoria: no display (%s): run it under xvfb-run, or with QT_QPA_PLATFORM=offscreen.\n",
                 qPrintable(reason));
    std::_Exit(EXIT_FAILURE);
}

// What was held back goes out as usual once the application stands.
void releaseStartupMessages()
{
    qInstallMessageHandler(gDefaultHandler);
    for (const QString& text : std::as_const(gStartupMessages))
        qWarning("%s", qPrintable(text));
    gStartupMessages.clear();
}

// --version is answered before Qt looks for a display, so it works on any terminal.
bool askedForVersion(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
        if (std::strcmp(argv[i], "--version") == 0)
            return true;
    return false;
}

} // namespace

int main(int argc, char** argv)
{
    if (askedForVersion(argc, argv)) {
        std::printf("vantoria %s\n", VK_VERSION);
        return 0;
    }
    // A file size limit shows as a failed write that the recorder reports, not as the
    // end of the program.
    std::signal(SIGXFSZ, SIG_IGN);
    gDefaultHandler = qInstallMessageHandler(holdStartupMessage);
    QApplication application(argc, argv);
    releaseStartupMessages();
    auto* window = new CZircApp;
    CMainWindowLayout::showOnScreen(*window);
    CTerminationSignals termination;
    QObject::connect(&termination, &CTerminationSignals::received, window, &CZircApp::quitOnSignal);
    const int result = application.exec();
    delete window;
    return result;
}
