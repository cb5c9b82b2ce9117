#include "SignalWatcher.h"

#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int g_signalFds[2] = {-1, -1};

// Only async-signal-safe work here: the event loop does the rest.
void onSignal(int number)
{
    const unsigned char byte = static_cast<unsigned char>(number);
    [[maybe_unused]] const ssize_t written = ::write(g_signalFds[0], &byte, 1);
}

} // namespace

SignalWatcher::SignalWatcher(QObject* parent)
    : QObject(parent)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, g_signalFds) != 0)
        return;
    m_notifier = new QSocketNotifier(g_signalFds[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &SignalWatcher::readSignal);

    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int number : {SIGTERM, SIGINT, SIGHUP})
        sigaction(number, &action, nullptr);
}

SignalWatcher::~SignalWatcher()
{
    for (int number : {SIGTERM, SIGINT, SIGHUP})
        std::signal(number, SIG_DFL);
    for (int& fd : g_signalFds) {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
    }
}

void SignalWatcher::readSignal()
{
    unsigned char byte = 0;
    if (::read(g_signalFds[1], &byte, 1) == 1)
        emit terminationRequested(byte);
}
