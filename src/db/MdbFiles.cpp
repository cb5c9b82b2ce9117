#include "MdbFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <sys/stat.h>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <sqlite3.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace MdbFiles {

namespace {

const char* const Companions[] = {"-wal", "-shm", "-journal"};

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

QString describe(const std::exception& error)
{
    return QString::fromUtf8(error.what());
}

int userVersion(SQLite::Database& db)
{
    return db.execAndGet("PRAGMA user_version").getInt();
}

// quick_check answers "ok" or a list of problems; the first one is enough to say why.
QString quickCheck(SQLite::Database& db)
{
    SQLite::Statement check(db, "PRAGMA quick_check(5)");
    QString problems;
    while (check.executeStep()) {
        const QString line = QString::fromUtf8(check.getColumn(0).getText());
        if (line != QLatin1String("ok"))
            problems += (problems.isEmpty() ? QString() : QStringLiteral("; ")) + line;
    }
    return problems;
}

bool copyOneFile(const QString& source, const QString& target, QString* error)
{
    const QString temporary = temporaryName(target);
    QFile::remove(temporary);
    QFile from(source);
    if (!from.copy(temporary)) {
        *error = source + QStringLiteral(" : ") + from.errorString();
        QFile::remove(temporary);
        return false;
    }
    if (!makePrivate(temporary) || !syncFile(temporary) || !replace(temporary, target, error)) {
        if (error->isEmpty())
            *error = temporary + QStringLiteral(" : ") + systemError();
        QFile::remove(temporary);
        return false;
    }
    return true;
}

} // namespace

QString copyName(const QString& mdbName, const QString& replacement)
{
    const QString ending = QStringLiteral(".mdb");
    if (mdbName.endsWith(ending, Qt::CaseInsensitive))
        return mdbName.left(mdbName.size() - ending.size()) + replacement;
    return mdbName + replacement;
}

QString temporaryName(const QString& target)
{
    return target + QStringLiteral(".tmp");
}

bool isLockError(int sqliteCode)
{
    const int primary = sqliteCode & 0xff;
    return primary == SQLITE_BUSY || primary == SQLITE_LOCKED;
}

Check::Status statusOfError(int sqliteCode)
{
    if (isLockError(sqliteCode))
        return Check::Status::Busy;
    const int primary = sqliteCode & 0xff;
    if (primary == SQLITE_READONLY || primary == SQLITE_PERM)
        return Check::Status::ReadOnly;
    return Check::Status::Damaged;
}

Check checkFile(const QString& path, int maxVersion, Depth depth)
{
    using Status = Check::Status;
    const QFileInfo info(path);
    if (!info.exists())
        return {Status::Damaged, QStringLiteral("fichier absent"), 0};
    // SQLite takes an empty file for a new, empty database; beside a copy it is a lost one.
    if (info.size() == 0)
        return {Status::Damaged, QStringLiteral("fichier vide"), 0};
    try {
        SQLite::Database db(path.toStdString(), SQLite::OPEN_READWRITE, LockWaitMs);
        // A program holding the write lock (a backup tool, the sqlite3 shell in a transaction)
        // would make every later write fail: found here, where nothing has been changed yet.
        db.exec("BEGIN IMMEDIATE");
        db.exec("ROLLBACK");
        // The version first: a newer layout may hold what our check takes for damage.
        const int version = userVersion(db);
        if (version > maxVersion)
            return {
                Status::Newer, QStringLiteral("version %1 plus récente que %2").arg(version).arg(maxVersion), version};
        const QString problems = depth == Depth::Full ? quickCheck(db) : QString();
        if (!problems.isEmpty())
            return {Status::Damaged, QStringLiteral("quick_check : ") + problems, 0};
        return {Status::Ok, {}, version};
    } catch (const SQLite::Exception& e) {
        return {statusOfError(e.getExtendedErrorCode()), describe(e), 0};
    } catch (const std::exception& e) {
        return {Status::Damaged, describe(e), 0};
    }
}

QMap<QString, qint64> rowCounts(SQLite::Database& db)
{
    QStringList names;
    SQLite::Statement list(db, "SELECT name FROM sqlite_master WHERE type = 'table'");
    while (list.executeStep())
        names << QString::fromUtf8(list.getColumn(0).getText());
    QMap<QString, qint64> counts;
    for (const QString& name : std::as_const(names)) {
        const QString sql = QStringLiteral("SELECT count(*) FROM \"%1\"").arg(QString(name).replace('"', "\"\""));
        counts.insert(name, db.execAndGet(sql.toStdString()).getInt64());
    }
    return counts;
}

bool verifyCopy(const QString& path, const QMap<QString, qint64>& counts, int version, QString* error, Depth depth)
{
    const Check check = checkFile(path, version, depth);
    if (!check.ok()) {
        *error = check.reason;
        return false;
    }
    if (check.version != version) {
        *error = QStringLiteral("version %1 au lieu de %2").arg(check.version).arg(version);
        return false;
    }
    try {
        SQLite::Database copy(path.toStdString(), SQLite::OPEN_READONLY);
        const QMap<QString, qint64> copied = rowCounts(copy);
        if (copied != counts) {
            *error = QStringLiteral("nombre de lignes différent");
            return false;
        }
    } catch (const std::exception& e) {
        *error = describe(e);
        return false;
    }
    return true;
}

bool snapshot(SQLite::Database& source, const QString& target, bool overwrite, QString* error, Depth depth)
{
    if (!overwrite && QFileInfo::exists(target)) {
        *error = target + QStringLiteral(" existe déjà");
        return false;
    }
    const QString temporary = temporaryName(target);
    removeWithCompanions(temporary);
    try {
        const QMap<QString, qint64> counts = rowCounts(source);
        const int version = userVersion(source);
        {
            SQLite::Database copy(temporary.toStdString(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
            sqlite3_backup* backup = sqlite3_backup_init(copy.getHandle(), "main", source.getHandle(), "main");
            if (!backup)
                throw SQLite::Exception(copy.getHandle(), copy.getErrorCode());
            const int stepped = sqlite3_backup_step(backup, -1);
            const int finished = sqlite3_backup_finish(backup);
            if (stepped != SQLITE_DONE || finished != SQLITE_OK)
                throw SQLite::Exception(copy.getHandle(), finished != SQLITE_OK ? finished : stepped);
            // The copied header may say WAL; a copy stays one self-contained file.
            copy.execAndGet("PRAGMA journal_mode=DELETE");
        }
        if (!verifyCopy(temporary, counts, version, error, depth)) {
            removeWithCompanions(temporary);
            return false;
        }
    } catch (const std::exception& e) {
        *error = describe(e);
        removeWithCompanions(temporary);
        return false;
    }
    // A companion left beside the target would be read as part of the new copy.
    removeCompanions(target);
    if (!makePrivate(temporary) || !syncFile(temporary) || !replace(temporary, target, error)) {
        if (error->isEmpty())
            *error = temporary + QStringLiteral(" : ") + systemError();
        removeWithCompanions(temporary);
        return false;
    }
    return true;
}

bool copyRaw(const QString& source, const QString& target, QString* error)
{
    if (!copyOneFile(source, target, error))
        return false;
    for (const char* companion : {"-wal", "-journal"}) {
        const QString from = source + QLatin1String(companion);
        const QString to = target + QLatin1String(companion);
        if (!QFileInfo::exists(from))
            QFile::remove(to);
        else if (!copyOneFile(from, to, error))
            return false;
    }
    return true;
}

void removeCompanions(const QString& path)
{
    for (const char* companion : Companions)
        QFile::remove(path + QLatin1String(companion));
}

bool removeWithCompanions(const QString& path)
{
    bool found = QFileInfo::exists(path);
    for (const char* companion : Companions)
        found = QFileInfo::exists(path + QLatin1String(companion)) || found;
    QFile::remove(path);
    removeCompanions(path);
    return found;
}

bool hasJournal(const QString& path)
{
    return QFileInfo::exists(path + QStringLiteral("-wal")) || QFileInfo::exists(path + QStringLiteral("-journal"));
}

bool makePrivate(const QString& path)
{
    return QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
}

bool syncFile(const QString& path)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool synced = ::fsync(fd) == 0;
    ::close(fd);
    return synced;
}

bool syncParentDir(const QString& path)
{
    const QString dir = QFileInfo(path).absolutePath();
    const int fd = ::open(QFile::encodeName(dir).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool synced = ::fsync(fd) == 0;
    ::close(fd);
    return synced;
}

bool replace(const QString& from, const QString& to, QString* error)
{
    if (std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) != 0) {
        *error = from + QStringLiteral(" -> ") + to + QStringLiteral(" : ") + systemError();
        return false;
    }
    syncParentDir(to);
    return true;
}

namespace {

QString verifiedStampName(const QString& path)
{
    return path + QStringLiteral(".ok");
}

// Device, inode, size and the two times: any write changes the change time, which no program can
// set back.
QByteArray stampOf(const QString& path)
{
    struct stat info = {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return {};
    return QByteArray::number(quint64(info.st_dev)) + ' ' + QByteArray::number(quint64(info.st_ino)) + ' '
        + QByteArray::number(qint64(info.st_size)) + ' ' + QByteArray::number(qint64(info.st_mtim.tv_sec)) + '.'
        + QByteArray::number(qint64(info.st_mtim.tv_nsec)) + ' ' + QByteArray::number(qint64(info.st_ctim.tv_sec)) + '.'
        + QByteArray::number(qint64(info.st_ctim.tv_nsec));
}

bool hasJournalContent(const QString& path)
{
    for (const char* suffix : {"-wal", "-journal"}) {
        const QFileInfo companion(path + QLatin1String(suffix));
        if (companion.exists() && companion.size() > 0)
            return true;
    }
    return false;
}

} // namespace

bool recordVerified(const QString& path)
{
    const QByteArray stamp = stampOf(path);
    QSaveFile file(verifiedStampName(path));
    return !stamp.isEmpty() && file.open(QIODevice::WriteOnly) && file.write(stamp) == stamp.size() && file.commit()
        && makePrivate(verifiedStampName(path));
}

bool unchangedSinceVerified(const QString& path)
{
    QFile file(verifiedStampName(path));
    if (!file.open(QIODevice::ReadOnly) || hasJournalContent(path))
        return false;
    const QByteArray stamp = stampOf(path);
    return !stamp.isEmpty() && file.readAll() == stamp;
}

void forgetVerified(const QString& path)
{
    QFile::remove(verifiedStampName(path));
}

} // namespace MdbFiles
