#include "app/CTerminationSignals.h"

#include <QSocketNotifier>

#include <array>
#include <cerrno>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP};

// [0] is written by the handler, [1] read by the notifier.
std::array<int, 2> gSocket{-1, -1};

// Async-signal-safe: one write of one byte, errno kept for the code it interrupted. A full
// socket drops the byte, and the ones already in it end the program just as well.
void forward(int signal)
{
    const int savedErrno = errno;
    const char number = static_cast<char>(signal);
    [[maybe_unused]] const ssize_t written = ::write(gSocket[0], &number, 1);
    errno = savedErrno;
}

void setHandler(void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int s : kSignals)
        sigaction(s, &action, nullptr);
}

} // namespace

CTerminationSignals::CTerminationSignals(QObject* parent)
    : QObject(parent)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, gSocket.data()) != 0)
        return;
    mNotifier = new QSocketNotifier(gSocket[1], QSocketNotifier::Read, this);
    connect(mNotifier, &QSocketNotifier::activated, this, &CTerminationSignals::readSignal);
    setHandler(forward);
}

CTerminationSignals::~CTerminationSignals()
{
    if (!installed())
        return;
    setHandler(SIG_DFL);
    delete mNotifier;
    for (int& fd : gSocket) {
        ::close(fd);
        fd = -1;
    }
}

void CTerminationSignals::readSignal()
{
    char number = 0;
    while (::read(gSocket[1], &number, 1) == 1)
        emit received(number);
}
