#pragma once
// The one QCoreApplication of a test program without windows, which the file stages'
// hand-over timers need, and the event loop run until a condition holds.

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

#include <functional>

namespace core_application {

inline QCoreApplication& application()
{
    static int argc = 1;
    static char name[] = "vk_tests";
    static char* argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);
    return app;
}

// Runs the event loop until `done` holds or ten seconds pass; true when it held.
inline bool runEventsUntil(const std::function<bool()>& done)
{
    application();
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        if (clock.elapsed() > 10000)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QThread::msleep(1);
    }
    return true;
}

} // namespace core_application
