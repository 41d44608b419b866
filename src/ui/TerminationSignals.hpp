// Ends the event loop in order when the process is asked to stop (the session ends, a terminal's
// Ctrl+C, a service manager's stop), so the quit sequence saves the project as it does for "Salir"
// instead of the process dying with the last edits in memory. One instance at a time; main thread.
#pragma once

#include <QObject>

class QSocketNotifier;

namespace tw {

class TerminationSignals final : public QObject {
    Q_OBJECT

public:
    // Handles SIGTERM, SIGINT and SIGHUP from now on: each quits the application's event loop.
    explicit TerminationSignals(QObject* parent = nullptr);
    // Gives the signals back their default handling.
    ~TerminationSignals() override;

signals:
    // On the main thread, before the quit is requested.
    void received(int signalNumber);

private:
    void readSignal();

    QSocketNotifier* notifier_ = nullptr;
};

} // namespace tw
