#include "E2eSession.h"

#include <QFile>
#include <QRegularExpression>
#include <QTest>

E2eSession::E2eSession()
    : m_home(std::make_unique<TempXdgHome>())
{ }

E2eSession::~E2eSession()
{
    for (QProcess* process : std::as_const(m_processes)) {
        if (process->state() != QProcess::NotRunning) {
            process->kill();
            process->waitForFinished(5000);
        }
        delete process;
    }
}

QProcess* E2eSession::start(const QStringList& arguments, const QString& program)
{
    auto* process = new QProcess;
    process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process->start(program, arguments);
    m_processes << process;
    return process;
}

QProcess* E2eSession::startLoaded()
{
    const int loads = log().count(QStringLiteral("SY Load, End"));
    QProcess* instance = start({QStringLiteral("/trace"), QStringLiteral("/silent")});
    return waitForLog(QStringLiteral("SY Load, End"), loads + 1) ? instance : nullptr;
}

int E2eSession::client(const QStringList& arguments, QString* output)
{
    QProcess process;
    process.start(QStringLiteral(TAPISOL_PROGRAM), arguments);
    process.waitForFinished(15000);
    if (output)
        *output = QString::fromUtf8(process.readAllStandardOutput() + process.readAllStandardError());
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

QString E2eSession::log() const
{
    QFile file(logPath());
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

bool E2eSession::waitForLog(const QString& text, int count) const
{
    return QTest::qWaitFor([&] { return log().count(text) >= count; }, 15000);
}

bool E2eSession::logInOrder(const QString& prefixes, QString* missing) const
{
    const QStringList lines = log().split(QStringLiteral("\r\n"));
    qsizetype at = 0;
    for (const QString& prefix : prefixes.split(QLatin1Char('|'))) {
        while (at < lines.size() && !(prefix.isEmpty() ? lines[at].isEmpty() : lines[at].startsWith(prefix)))
            ++at;
        if (at++ == lines.size())
            return *missing = prefix, false;
    }
    return true;
}

QSettings E2eSession::configFile() const
{
    return QSettings(m_home->configHome() + QStringLiteral("/Orvenne/Tapisol.conf"), QSettings::IniFormat);
}

QString E2eSession::run(const QString& commandLine, const QStringList& more)
{
    QStringList arguments = commandLine.split(QLatin1Char(' ')) + more;
    const QString program = arguments.takeFirst();
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(35000); // a tool that waits (xdotool --sync) has up to 30 s
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

QString E2eSession::sql(const QString& database, const QString& statement)
{
    return run(QStringLiteral("sqlite3 -cmd"), {QStringLiteral(".timeout 5000"), database, statement});
}

void E2eSession::keys(const QString& list)
{
    run(QStringLiteral("xdotool key --delay 60 ") + list);
    QTest::qWait(400);
}

void E2eSession::type(const QString& text)
{
    run(QStringLiteral("xdotool type --delay 20"), {text});
    QTest::qWait(300);
}

void E2eSession::pressKeyIn(const QString& window, const QString& key)
{
    run(QStringLiteral("xdotool key --window"), {window, key});
    // When the window closes on the press, xdotool fails on the release it sends after and the
    // server keeps the key down: its repeats would then answer every box opened later.
    run(QStringLiteral("xdotool keyup"), {key});
}

bool E2eSession::pressReturnIn(const QString& pattern, bool wait)
{
    const QString search = wait ? QStringLiteral("xdotool search --sync --onlyvisible --name")
                                : QStringLiteral("xdotool search --onlyvisible --name");
    const QString window = run(search, {pattern}).section(QLatin1Char('\n'), 0, 0);
    if (!window.isEmpty())
        pressKeyIn(window, QStringLiteral("Return"));
    return !window.isEmpty();
}

QRect E2eSession::programWindow(bool menu)
{
    // xwininfo gives every window's name, class, size and absolute position. The docked icon is a
    // small window of ours inside the tray host's panel; the menu a tall one, not the trace window.
    static const QRegularExpression line(QStringLiteral(
        R"(0x[0-9a-f]+ (".*"|\(has no name\)): \("tapisol" "Tapisol"\)\s+(\d+)x(\d+)\+-?\d+\+-?\d+\s+\+(-?\d+)\+(-?\d+))"));
    for (const QString& entry : run(QStringLiteral("xwininfo -root -tree")).split(QLatin1Char('\n'))) {
        const QRegularExpressionMatch m = line.match(entry);
        const QRect rect(m.captured(4).toInt(), m.captured(5).toInt(), m.captured(2).toInt(), m.captured(3).toInt());
        const bool suits = menu
            ? rect.height() > 200 && rect.width() > 100 && !m.captured(1).contains(QLatin1String("Trace"))
            : rect.width() <= 64 && rect.height() <= 64 && rect.top() >= 0
                && m.captured(1) == QLatin1String("\"Tapisol\"");
        if (m.hasMatch() && suits)
            return rect;
    }
    return {};
}
