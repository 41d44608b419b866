#include "ui/TerminationSignals.hpp"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace tw {

namespace {

constexpr int handledSignals[] = {SIGTERM, SIGINT, SIGHUP};

// The write end is used from the signal handler, where only async-signal-safe calls may run:
// the handler writes the signal's number and the event loop does the rest.
int signalPipe[2] = {-1, -1};

extern "C" void forwardSignal(int signalNumber)
{
    const unsigned char byte = static_cast<unsigned char>(signalNumber);
    [[maybe_unused]] const ssize_t written = ::write(signalPipe[0], &byte, 1);
}

} // namespace

TerminationSignals::TerminationSignals(QObject* parent) : QObject(parent)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signalPipe) != 0)
        return; // without the pipe the signals keep their default effect
    notifier_ = new QSocketNotifier(signalPipe[1], QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, &TerminationSignals::readSignal);
    struct sigaction action = {};
    action.sa_handler = forwardSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int signalNumber : handledSignals)
        ::sigaction(signalNumber, &action, nullptr);
}

TerminationSignals::~TerminationSignals()
{
    if (!notifier_)
        return;
    for (int signalNumber : handledSignals)
        std::signal(signalNumber, SIG_DFL);
    delete notifier_;
    ::close(signalPipe[0]);
    ::close(signalPipe[1]);
    signalPipe[0] = signalPipe[1] = -1;
}

void TerminationSignals::readSignal()
{
    unsigned char byte = 0;
    if (::read(signalPipe[1], &byte, 1) != 1)
        return;
    emit received(byte);
    QCoreApplication::quit();
}

} // namespace tw
