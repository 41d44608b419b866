// One running studio per user: a later launch hands the path it was given (a project folder from
// the desktop) to the running one through a local socket and ends. Main thread.
#pragma once

#include <QObject>
#include <QString>

#include <optional>

class QLocalServer;

namespace tw {

class SingleInstance final : public QObject {
    Q_OBJECT

public:
    // serverName: the socket every launch of the same user meets at.
    explicit SingleInstance(QString serverName, QObject* parent = nullptr);
    ~SingleInstance() override;

    // The user's meeting point: in the session's runtime folder when there is one.
    static QString defaultServerName();

    // A later launch: gives path (or only a wake-up without one) to the running instance. True
    // when one took it and said so within the timeout, and this process should end; false when
    // none runs or the one running does not answer (it hangs or is busy), and this process
    // starts on its own.
    bool handOver(const std::optional<QString>& path, int timeoutMilliseconds = 2000);

    // The first launch: starts listening for later ones. A socket left behind by an instance
    // that died is taken over. False when the socket cannot be made.
    bool listen();
    bool listening() const;

signals:
    // A later launch was given path (absolute as it sent it).
    void openRequested(const QString& path);
    // A later launch came, with or without a path: the window should come forward.
    void activationRequested();

private:
    void acceptConnections();

    QString serverName_;
    QLocalServer* server_ = nullptr;
};

} // namespace tw
