#include "E2eSession.h"

#include <QDeadlineTimer>
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

QProcess* E2eSession::start(const QStringList& arguments)
{
    return startHelper(QStringLiteral(TAPISOL_PROGRAM), arguments);
}

QProcess* E2eSession::startHelper(const QString& program, const QStringList& arguments)
{
    auto* process = new QProcess;
    process->setProgram(program);
    process->setArguments(arguments);
    process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process->start();
    m_processes << process;
    return process;
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

QString E2eSession::logPath() const
{
    return m_home->tapisolDataDir() + QStringLiteral("Tapisol.log");
}

QString E2eSession::log() const
{
    QFile file(logPath());
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

bool E2eSession::waitForLog(const QString& text, int count, int timeoutMs) const
{
    QDeadlineTimer deadline(timeoutMs);
    while (!deadline.hasExpired()) {
        if (log().count(text) >= count)
            return true;
        QTest::qWait(50);
    }
    return false;
}

bool E2eSession::inOrder(const QStringList& lines, const QStringList& expectedPrefixes, QString* missing)
{
    qsizetype at = 0;
    for (const QString& expected : expectedPrefixes) {
        while (at < lines.size() && !(expected.isEmpty() ? lines[at].isEmpty() : lines[at].startsWith(expected)))
            ++at;
        if (at == lines.size()) {
            *missing = expected;
            return false;
        }
        ++at;
    }
    return true;
}

QSettings E2eSession::configFile() const
{
    return QSettings(m_home->configHome() + QStringLiteral("/Orvenne/Tapisol.conf"), QSettings::IniFormat);
}

QString E2eSession::run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(15000);
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

QList<QPair<QString, QRect>> E2eSession::programWindows()
{
    // xwininfo gives every window's name, class, size and absolute position.
    static const QRegularExpression line(QStringLiteral(
        R"(0x[0-9a-f]+ (".*"|\(has no name\)): \("tapisol" "Tapisol"\)\s+(\d+)x(\d+)\+-?\d+\+-?\d+\s+\+(-?\d+)\+(-?\d+))"));
    QList<QPair<QString, QRect>> windows;
    const QString tree = run(QStringLiteral("xwininfo"), {QStringLiteral("-root"), QStringLiteral("-tree")});
    for (const QString& entry : tree.split(QLatin1Char('\n'))) {
        const QRegularExpressionMatch match = line.match(entry);
        if (match.hasMatch()) {
            windows.append({match.captured(1),
                QRect(match.captured(4).toInt(), match.captured(5).toInt(), match.captured(2).toInt(),
                    match.captured(3).toInt())});
        }
    }
    return windows;
}

QRect E2eSession::trayIconGeometry()
{
    // The docked icon is a small window of ours inside the tray host's panel.
    for (const auto& [name, rect] : programWindows()) {
        if (rect.width() <= 64 && rect.height() <= 64 && rect.top() >= 0 && name == QLatin1String("\"Tapisol\""))
            return rect;
    }
    return {};
}

QRect E2eSession::openMenuGeometry()
{
    for (const auto& [name, rect] : programWindows()) {
        if (rect.height() > 200 && rect.width() > 100 && !name.contains(QLatin1String("Trace")))
            return rect;
    }
    return {};
}
