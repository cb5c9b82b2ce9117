#include "SingleInstance.h"

#include "AppPaths.h"

#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>

namespace {

// Long enough that a slow start never looks stale, short enough to forgive a stuck lock from a
// process whose id was taken by another program.
constexpr int StaleLockMs = 30000;

bool instanceAnswers()
{
    QLocalSocket socket;
    socket.connectToServer(SingleInstance::socketPath());
    return socket.waitForConnected(1000);
}

} // namespace

SingleInstance::SingleInstance(QObject* parent)
    : QObject(parent)
{ }

SingleInstance::~SingleInstance()
{
    if (m_server)
        m_server->close();
    if (m_lock)
        m_lock->unlock();
}

QString SingleInstance::notRunningText()
{
    return QStringLiteral("Tapisol is not running");
}

QString SingleInstance::lockPath()
{
    return AppPaths::runtimeDir() + QStringLiteral("tapisol.lock");
}

QString SingleInstance::socketPath()
{
    return AppPaths::runtimeDir() + QStringLiteral("tapisol.sock");
}

SingleInstance::Claim SingleInstance::claim(QString* error)
{
    if (instanceAnswers())
        return Claim::AlreadyRunning;

    m_lock = std::make_unique<QLockFile>(lockPath());
    m_lock->setStaleLockTime(StaleLockMs);
    if (!m_lock->tryLock(0)) {
        qint64 pid = 0;
        QString host, app;
        // An empty or garbled lock names no owner: nobody can hold it, so it must not block us.
        const bool unreadable
            = m_lock->error() == QLockFile::LockFailedError && !m_lock->getLockInfo(&pid, &host, &app);
        if (!(unreadable && m_lock->removeStaleLockFile() && m_lock->tryLock(0))) {
            if (m_lock->error() == QLockFile::LockFailedError)
                return Claim::AlreadyRunning;
            if (error)
                *error = QStringLiteral("cannot create the lock file %1").arg(lockPath());
            return Claim::Failed;
        }
    }

    // We hold the lock, so a socket file left behind is from a dead instance.
    QLocalServer::removeServer(socketPath());
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server->listen(socketPath())) {
        if (error)
            *error = m_server->errorString();
        return Claim::Failed;
    }
    connect(m_server, &QLocalServer::newConnection, this, &SingleInstance::onNewConnection);
    return Claim::Acquired;
}

void SingleInstance::setHandler(Handler handler)
{
    m_handler = std::move(handler);
    if (!m_server)
        return;
    // Answer what arrived while start-up was still running.
    const auto pending = m_server->findChildren<QLocalSocket*>();
    for (QLocalSocket* socket : pending)
        answer(socket);
}

void SingleInstance::onNewConnection()
{
    while (QLocalSocket* socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] { answer(socket); });
        answer(socket);
    }
}

void SingleInstance::answer(QLocalSocket* socket)
{
    if (!m_handler || !socket->canReadLine())
        return;
    const QString line = QString::fromUtf8(socket->readLine()).chopped(1);
    const qsizetype tab = line.indexOf(QLatin1Char('\t'));
    const QString name = tab < 0 ? line : line.left(tab);
    const QString argument = tab < 0 ? QString() : line.mid(tab + 1);
    const QString refusal = m_handler(name, argument);
    socket->write(refusal.isEmpty() ? QByteArray("OK\n") : "ERR " + refusal.toUtf8() + '\n');
    socket->flush();
}

bool SingleInstance::send(const QString& name, const QString& argument, QString* error, int timeoutMs)
{
    QLocalSocket socket;
    socket.connectToServer(socketPath());
    if (!socket.waitForConnected(timeoutMs)) {
        if (error)
            *error = notRunningText();
        return false;
    }
    socket.write((name + QLatin1Char('\t') + argument + QLatin1Char('\n')).toUtf8());
    socket.flush();
    while (!socket.canReadLine()) {
        if (!socket.waitForReadyRead(timeoutMs)) {
            if (error)
                *error = QStringLiteral("the running Tapisol did not answer");
            return false;
        }
    }
    const QString reply = QString::fromUtf8(socket.readLine()).trimmed();
    if (reply == QLatin1String("OK"))
        return true;
    if (error)
        *error = reply.startsWith(QLatin1String("ERR ")) ? reply.mid(4) : reply;
    return false;
}
