#pragma once

#include <QLockFile>
#include <QObject>

#include <functional>
#include <memory>

class QLocalServer;
class QLocalSocket;

// One Tapisol per user session: a lock file and the instance's local socket, both in the
// runtime folder. The socket also carries the messages that companion programs and
// `tapisol --command N` send to the running instance.
//
// Wire format: the client writes one UTF-8 line "<message name>\t<argument>\n"; the instance
// answers one line, "OK" or "ERR <reason>".
class SingleInstance : public QObject
{
    Q_OBJECT

public:
    enum class Claim
    {
        Acquired,
        AlreadyRunning,
        Failed
    };

    // The four message names shared with the companion programs, and our own command message.
    static constexpr auto LanguageChanged = "WM_USER_CSLANGUAGECHANGED";
    static constexpr auto OpenFile = "WM_USER_OPENFILE";
    static constexpr auto CiselorOpenClose = "WM_USER_CISELOROPENCLOSE";
    static constexpr auto IsCiselorOpenClose = "WM_USER_ISCISELOROPENCLOSE";
    static constexpr auto Command = "TAPISOL_COMMAND";

    /// Answers one message: returns an empty text for success, or the reason of a refusal.
    using Handler = std::function<QString(const QString& name, const QString& argument)>;

    explicit SingleInstance(QObject* parent = nullptr);
    ~SingleInstance() override;

    /// Takes the lock and starts listening. AlreadyRunning when another instance answers on its
    /// socket or holds a live lock. A lock left by a dead process, or an empty one, is taken over.
    Claim claim(QString* error = nullptr);

    /// Messages are answered from now on (before this, clients wait for their reply).
    void setHandler(Handler handler);

    /// Sends one message to the running instance and waits for its answer. Returns false with
    /// a reason when no instance runs, it does not answer, or it refuses the message.
    static bool send(const QString& name, const QString& argument, QString* error, int timeoutMs = 5000);

    /// The reason send() gives when no instance runs.
    static QString notRunningText();

    static QString lockPath();
    static QString socketPath();

private:
    void onNewConnection();
    void answer(QLocalSocket* socket);

    std::unique_ptr<QLockFile> m_lock;
    QLocalServer* m_server = nullptr;
    Handler m_handler;
};
