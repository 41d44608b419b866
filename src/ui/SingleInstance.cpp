#include "ui/SingleInstance.hpp"

#include <QDeadlineTimer>
#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>

#include <unistd.h>

namespace tw {

namespace {

// One request per connection: a line of UTF-8 (the path, or empty for a wake-up), answered by the
// running instance's main thread with one line once it has taken the request.
constexpr char endOfRequest = '\n';
constexpr char acknowledgement[] = "ok\n";

} // namespace

SingleInstance::SingleInstance(QString serverName, QObject* parent)
    : QObject(parent)
    , serverName_(std::move(serverName))
{
}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::defaultServerName()
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtime.isEmpty() && QDir(runtime).exists())
        return QDir(runtime).filePath(QStringLiteral("tapewright.socket"));
    // Without a runtime folder the socket goes to the temporary folder, one per user.
    return QStringLiteral("tapewright-%1").arg(::getuid());
}

bool SingleInstance::handOver(const std::optional<QString>& path, int timeoutMilliseconds)
{
    const QDeadlineTimer deadline(timeoutMilliseconds);
    const auto left = [&deadline] { return static_cast<int>(deadline.remainingTime()); };
    QLocalSocket socket;
    socket.connectToServer(serverName_);
    if (!socket.waitForConnected(left()))
        return false;
    QByteArray request = path ? path->toUtf8() : QByteArray();
    request.append(endOfRequest);
    socket.write(request);
    if (!socket.waitForBytesWritten(left()))
        return false;
    // The system accepts the connection and the bytes even for an instance that hangs: only
    // its answer says it took the request.
    while (!socket.canReadLine())
        if (!socket.waitForReadyRead(left()))
            return false;
    return socket.readLine() == acknowledgement;
}

bool SingleInstance::listen()
{
    if (listening())
        return true;
    server_ = new QLocalServer(this);
    server_->setSocketOptions(QLocalServer::UserAccessOption);
    if (!server_->listen(serverName_)) {
        // Nobody answered handOver: the socket is a dead or hung instance's, and later launches
        // are better served here.
        if (server_->serverError() != QAbstractSocket::AddressInUseError ||
            !QLocalServer::removeServer(serverName_) || !server_->listen(serverName_)) {
            delete server_;
            server_ = nullptr;
            return false;
        }
    }
    connect(server_, &QLocalServer::newConnection, this, &SingleInstance::acceptConnections);
    return true;
}

bool SingleInstance::listening() const
{
    return server_ && server_->isListening();
}

void SingleInstance::acceptConnections()
{
    while (QLocalSocket* socket = server_->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        // The request may arrive in pieces; it is complete at its end-of-line.
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            if (!socket->canReadLine())
                return;
            QByteArray line = socket->readLine();
            line.chop(1);
            const QString path = QString::fromUtf8(line);
            socket->write(acknowledgement);
            socket->disconnectFromServer(); // after the answer is written
            if (!path.isEmpty())
                emit openRequested(path);
            emit activationRequested();
        });
    }
}

} // namespace tw
