#include "ClsMdb.h"

#include "AppPaths.h"
#include "InterfaceTexts.h"
#include "JetValues.h"
#include "MdbCompaction.h"
#include "MdbFiles.h"
#include "MdbSchema.h"
#include "MdbUpgrade.h"
#include "Trace.h"

#include <QDir>
#include <QFileInfo>
#include <QLocale>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <sqlite3.h>

#include <algorithm>
#include <utility>

// ----------------------------------------------------------------------------------------------
// Leases of prepared statements

struct MdbQuery::Slot
{
    SQLite::Statement statement;
    bool inUse = false;
};

MdbQuery::MdbQuery(std::shared_ptr<Slot> slot, std::unique_ptr<SQLite::Statement> own)
    : m_slot(std::move(slot))
    , m_own(std::move(own))
    , m_statement(m_slot ? &m_slot->statement : m_own.get())
{
    if (m_slot)
        m_slot->inUse = true;
}

MdbQuery::MdbQuery(MdbQuery&& other) noexcept
    : m_slot(std::move(other.m_slot))
    , m_own(std::move(other.m_own))
    , m_statement(std::exchange(other.m_statement, nullptr))
{ }

MdbQuery::~MdbQuery()
{
    if (!m_statement)
        return;
    m_statement->tryReset();
    try {
        m_statement->clearBindings();
    } catch (const std::exception&) {
        // Unbinding cannot fail in SQLite; nothing to do if it ever did.
    }
    if (m_slot)
        m_slot->inUse = false;
}

// ----------------------------------------------------------------------------------------------

namespace {

QString vraiFaux(bool value)
{
    return value ? QStringLiteral("Vrai") : QStringLiteral("Faux");
}

QString describe(const std::exception& error)
{
    return QString::fromUtf8(error.what());
}

// A text of the interface with its arguments, or the bare "#number" when the language lacks it.
QString interfaceText(int number, const QStringList& arguments)
{
    QString text = langText(number);
    if (!interfaceTexts().contains(number))
        return text;
    for (const QString& argument : arguments)
        text = text.arg(argument);
    return text;
}

// Jet's Now(): the local date and time as a floating-point date, read from the object's clock.
void sqlNow(sqlite3_context* context, int, sqlite3_value**)
{
    const auto* owner = static_cast<const ClsMdb*>(sqlite3_user_data(context));
    sqlite3_result_double(context, Jet::toOaDate(owner->now()));
}

bool isLanguageTable(const QString& name)
{
    return name == QLatin1String("CodeLangue") || name == QLatin1String("Pays");
}

LanguageTables::Table languageTableOf(const QString& name)
{
    return name == QLatin1String("Pays") ? LanguageTables::Table::Pays : LanguageTables::Table::CodeLangue;
}

} // namespace

ClsMdb::ClsMdb() = default;

ClsMdb::~ClsMdb()
{
    close();
}

QString ClsMdb::languageFolder() const
{
    return m_languageFolder.isEmpty() ? AppPaths::languageDir() : m_languageFolder;
}

QDateTime ClsMdb::now() const
{
    return m_clock ? m_clock() : QDateTime::currentDateTime();
}

// ----------------------------------------------------------------------------------------------
// Start

bool ClsMdb::MdbInit()
{
    if (m_db)
        return true;
    if (m_name.isEmpty()) {
        TAPISOL_TRACE(QStringLiteral("ClsMdb Init Missing MdbName"));
        return false;
    }
    TAPISOL_TRACE(QStringLiteral("ClsMdb Create Wk Space"));
    removeLeftovers();
    const QFileInfo info(m_name);
    bool exists = info.exists();
    TAPISOL_TRACE(QStringLiteral("ClsMdb Init exist Database ") + m_name + QStringLiteral(" =") + vraiFaux(exists));
    const QString bak = MdbFiles::copyName(m_name, QStringLiteral(".mdb.bak"));
    const QString old109 = MdbFiles::copyName(m_name, QStringLiteral("109.mdb"));
    if (exists && info.size() == 0 && !MdbFiles::hasJournal(m_name) && !QFileInfo::exists(bak)
        && !QFileInfo::exists(old109)) {
        // A creation cut short before its first write: nothing was ever stored in it.
        TAPISOL_TRACE(QStringLiteral("ClsMdb Init fichier vide sans copie : nouvelle base"));
        MdbFiles::removeWithCompanions(m_name);
        exists = false;
    }
    if (!exists) {
        TAPISOL_TRACE(QStringLiteral("ClsMdb Init Missing Database"));
        TAPISOL_TRACE(QStringLiteral("M1 Create Database"));
        QString error;
        if (!createFile(&error)) {
            TAPISOL_TRACE(QStringLiteral("ClsMdb End MdbInit, Err ") + error);
            notify(Notice::Kind::OpenFailed, TextOpenFailed, interfaceText(TextOpenFailed, {error, m_name}));
            return false;
        }
        TAPISOL_TRACE(QStringLiteral("M1 Database created"));
        m_createdNow = true;
    }
    if (m_copiesEnabled) {
        // A file left exactly as the last clean exit checked it needs no second look at every
        // page, which takes most of a second on a large file; anything else gets the full check.
        const bool unchanged = MdbFiles::unchangedSinceVerified(m_name);
        if (unchanged)
            TAPISOL_TRACE(QStringLiteral("ClsMdb Init fichier inchangé depuis sa vérification à la sortie"));
        const auto depth = unchanged ? MdbFiles::Depth::Header : MdbFiles::Depth::Full;
        const MdbFiles::Check trial = MdbFiles::checkFile(m_name, MdbSchema::Version, depth);
        if (!trial.ok() && trial.status != MdbFiles::Check::Status::Damaged)
            return refuse(trial.status, trial.reason);
        MdbFiles::forgetVerified(m_name); // the file changes from here on
        if (trial.ok()) {
            makeBackup(depth);
        } else {
            switch (recoverFromCopy(trial.reason)) {
            case Recovery::Restored:
                break;
            case Recovery::NoGoodCopy:
                return openAndVerify(true);
            case Recovery::Failed:
                return false;
            }
        }
    }
    return openAndVerify(false);
}

// The real opening. After a damage that no copy could mend, a file that still opens and checks
// is used as it is (the user has been told, and the ".mdb.ERR" copy is kept).
bool ClsMdb::openAndVerify(bool afterDamage)
{
    TAPISOL_TRACE(QStringLiteral("ClsMdb Open DataBases ") + m_name);
    QString error;
    const MdbFiles::Check::Status opened = openConnection(&error);
    if (opened != MdbFiles::Check::Status::Ok && opened != MdbFiles::Check::Status::Damaged)
        return refuse(opened, error);
    if (opened != MdbFiles::Check::Status::Ok || !Verify()) {
        // A lock taken by another program between the trial and now is no damage either.
        const auto status = m_db ? MdbFiles::statusOfError(sqlite3_extended_errcode(m_db->getHandle()))
                                 : MdbFiles::Check::Status::Damaged;
        if (status != MdbFiles::Check::Status::Damaged)
            return refuse(status, QString::fromUtf8(sqlite3_errmsg(m_db->getHandle())));
        failOpening(error.isEmpty() ? QStringLiteral("Verify") : error);
        return false;
    }
    if (afterDamage)
        notify(Notice::Kind::NoGoodCopy, TextNoGoodCopy,
            interfaceText(TextNoGoodCopy, {MdbFiles::copyName(m_name, QStringLiteral(".mdb.ERR"))}));
    TAPISOL_TRACE(QStringLiteral("ClsMdb End MdbInit, Ok"));
    return true;
}

// A file in use by another program, from a newer Tapisol, or that cannot be written: nothing is
// copied, restored or written, and the start ends with a message that says which.
bool ClsMdb::refuse(MdbFiles::Check::Status status, const QString& reason)
{
    dropConnection();
    TAPISOL_TRACE(QStringLiteral("ClsMdb Init ") + m_name + QStringLiteral(" refusée, Err ") + reason);
    switch (status) {
    case MdbFiles::Check::Status::Busy:
        notify(Notice::Kind::Busy, TextBusy, interfaceText(TextBusy, {m_name}));
        break;
    case MdbFiles::Check::Status::Newer:
        notify(Notice::Kind::Newer, TextNewer, interfaceText(TextNewer, {m_name}));
        break;
    default:
        notify(Notice::Kind::OpenFailed, TextOpenFailed, interfaceText(TextOpenFailed, {reason, m_name}));
        break;
    }
    TAPISOL_TRACE(QStringLiteral("ClsMdb End MdbInit, Err"));
    return false;
}

bool ClsMdb::isFatal(Notice::Kind kind)
{
    return kind != Notice::Kind::Damaged && kind != Notice::Kind::Restored && kind != Notice::Kind::NoGoodCopy;
}

// What a kill left behind: a compaction or a copy that never took its place.
void ClsMdb::removeLeftovers()
{
    QStringList leftovers {MdbFiles::copyName(m_name, QStringLiteral(".mdx"))};
    for (const char* copy : {".mdb", ".mdb.bak", ".mdb.ERR", ".mdb.bad", "109.mdb"}) {
        const QString name = MdbFiles::copyName(m_name, QLatin1String(copy));
        for (const QString& part : {name, name + QStringLiteral("-wal"), name + QStringLiteral("-journal")})
            leftovers << MdbFiles::temporaryName(part);
    }
    for (const QString& file : std::as_const(leftovers)) {
        if (MdbFiles::removeWithCompanions(file))
            TAPISOL_TRACE(
                QStringLiteral("ClsMdb Init ") + file + QStringLiteral(" laissé par un arrêt brutal, supprimé"));
    }
}

bool ClsMdb::createFile(QString* error)
{
    try {
        QDir().mkpath(QFileInfo(m_name).absolutePath());
        SQLite::Database db(m_name.toStdString(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
        MdbFiles::makePrivate(m_name);
        // Writes the first page at once, so that the file is never an empty one for long.
        db.execAndGet("PRAGMA journal_mode=WAL");
        return true;
    } catch (const std::exception& e) {
        *error = describe(e);
        return false;
    }
}

void ClsMdb::makeBackup(MdbFiles::Depth depth)
{
    TAPISOL_TRACE(QStringLiteral("ClsMdb Backup DataBases"));
    const QString bak = MdbFiles::copyName(m_name, QStringLiteral(".mdb.bak"));
    QString error;
    try {
        SQLite::Database source(m_name.toStdString(), SQLite::OPEN_READWRITE, 5000);
        if (MdbFiles::snapshot(source, bak, true, &error, depth))
            return;
    } catch (const std::exception& e) {
        error = describe(e);
    }
    // The older copy is still there and still good: the start goes on.
    TAPISOL_TRACE(QStringLiteral("ClsMdb Backup DataBases, Err ") + error);
}

ClsMdb::Recovery ClsMdb::recoverFromCopy(const QString& reason)
{
    TAPISOL_TRACE(QStringLiteral("ClsMdb Init ouverture d'essai ") + m_name + QStringLiteral(", Err ") + reason);
    notify(Notice::Kind::Damaged, TextDamaged, langText(TextDamaged));
    TAPISOL_TRACE(QStringLiteral("ClsMdb Backup DataBases en .ERR"));
    const QString err = MdbFiles::copyName(m_name, QStringLiteral(".mdb.ERR"));
    QString error;
    if (!MdbFiles::copyRaw(m_name, err, &error)) {
        // Without the copy aside (a full disk...), replacing the file would lose it: leave
        // everything as it is and let the user free some room.
        TAPISOL_TRACE(QStringLiteral("ClsMdb Backup DataBases en .ERR, Err ") + error);
        notify(Notice::Kind::OpenFailed, TextOpenFailed, interfaceText(TextOpenFailed, {error, m_name}));
        return Recovery::Failed;
    }
    QList<QFileInfo> candidates;
    const QFileInfo bak(MdbFiles::copyName(m_name, QStringLiteral(".mdb.bak")));
    if (bak.exists())
        candidates << bak;
    // The copy taken before the album tables may come from a file that held nothing yet: putting
    // it back would hand the user an empty database as if it were their data.
    const QFileInfo old109(MdbFiles::copyName(m_name, QStringLiteral("109.mdb")));
    if (old109.exists() && holdsUserData(old109.filePath()))
        candidates << old109;
    std::stable_sort(candidates.begin(), candidates.end(),
        [](const QFileInfo& a, const QFileInfo& b) { return a.lastModified() > b.lastModified(); });
    for (const QFileInfo& candidate : std::as_const(candidates)) {
        const MdbFiles::Check check = MdbFiles::checkFile(candidate.filePath(), MdbSchema::Version);
        if (!check.ok()) {
            TAPISOL_TRACE(
                QStringLiteral("ClsMdb Restore ") + candidate.filePath() + QStringLiteral(", Err ") + check.reason);
            continue;
        }
        if (restoreFrom(candidate.filePath())) {
            const QString date = QLocale().toString(candidate.lastModified(), QLocale::ShortFormat);
            notify(Notice::Kind::Restored, TextRestored, interfaceText(TextRestored, {date, err}));
            return Recovery::Restored;
        }
    }
    TAPISOL_TRACE(QStringLiteral("ClsMdb Restore aucune copie saine, Err"));
    return Recovery::NoGoodCopy;
}

bool ClsMdb::holdsUserData(const QString& copy) const
{
    try {
        SQLite::Database db(copy.toStdString(), SQLite::OPEN_READONLY);
        const QMap<QString, qint64> counts = MdbFiles::rowCounts(db);
        for (auto it = counts.cbegin(); it != counts.cend(); ++it) {
            // Lists filled from the program's own files, and the list of pictures already shown.
            static const QStringList Rebuilt {"Pays", "CodeLangue", "TableImage", "TableImageDiap", "sqlite_sequence"};
            if (it.value() > 0 && !Rebuilt.contains(it.key(), Qt::CaseInsensitive))
                return true;
        }
    } catch (const std::exception& e) {
        TAPISOL_TRACE(QStringLiteral("ClsMdb Restore ") + copy + QStringLiteral(", Err ") + describe(e));
    }
    return false;
}

bool ClsMdb::restoreFrom(const QString& copy)
{
    QString error;
    try {
        SQLite::Database source(copy.toStdString(), SQLite::OPEN_READWRITE, 5000);
        // The damaged file's -wal and -journal went to ".mdb.ERR"; snapshot() removes them here.
        if (MdbFiles::snapshot(source, m_name, true, &error)) {
            TAPISOL_TRACE(
                QStringLiteral("ClsMdb Restore ") + copy + QStringLiteral(" vers ") + m_name + QStringLiteral(", Ok"));
            return true;
        }
    } catch (const std::exception& e) {
        error = describe(e);
    }
    TAPISOL_TRACE(QStringLiteral("ClsMdb Restore ") + copy + QStringLiteral(" vers ") + m_name
        + QStringLiteral(", Err ") + error);
    return false;
}

MdbFiles::Check::Status ClsMdb::openConnection(QString* error)
{
    using Status = MdbFiles::Check::Status;
    try {
        m_db = std::make_unique<SQLite::Database>(m_name.toStdString(), SQLite::OPEN_READWRITE, MdbFiles::LockWaitMs);
        // Nothing is written (not even the journal mode) before the file is known to be ours
        // and free.
        const int version = m_db->execAndGet("PRAGMA user_version").getInt();
        if (version > MdbSchema::Version) {
            *error = QStringLiteral("version %1 plus récente que %2").arg(version).arg(MdbSchema::Version);
            return Status::Newer;
        }
        m_db->exec("BEGIN IMMEDIATE"); // see MdbFiles::checkFile()
        m_db->exec("ROLLBACK");
        const std::string mode = m_db->execAndGet("PRAGMA journal_mode=WAL").getString();
        if (mode != "wal") // a file system without shared memory: rollback journal, still safe
            TAPISOL_TRACE(QStringLiteral("ClsMdb Open DataBases journal_mode=") + QString::fromStdString(mode));
        m_db->exec("PRAGMA synchronous=FULL");
        m_db->exec("PRAGMA trusted_schema=OFF");
        m_db->check(sqlite3_create_function_v2(
            m_db->getHandle(), "Now", 0, SQLITE_UTF8, this, sqlNow, nullptr, nullptr, nullptr));
        return Status::Ok;
    } catch (const SQLite::Exception& e) {
        *error = describe(e);
        return MdbFiles::statusOfError(e.getExtendedErrorCode());
    } catch (const std::exception& e) {
        *error = describe(e);
        return Status::Damaged;
    }
}

void ClsMdb::failOpening(const QString& error)
{
    TAPISOL_TRACE(QStringLiteral("ClsMdb Open DataBases ") + m_name + QStringLiteral(", Err ") + error);
    dropConnection();
    const QString bad = MdbFiles::copyName(m_name, QStringLiteral(".mdb.bad"));
    QString copyError;
    if (!MdbFiles::copyRaw(m_name, bad, &copyError))
        TAPISOL_TRACE(QStringLiteral("ClsMdb Copie en .bad, Err ") + copyError);
    notify(Notice::Kind::OpenFailed, TextOpenFailed, interfaceText(TextOpenFailed, {error, bad}));
    TAPISOL_TRACE(QStringLiteral("ClsMdb End MdbInit, Err"));
}

void ClsMdb::notify(Notice::Kind kind, int number, const QString& text)
{
    TAPISOL_TRACE(QStringLiteral("ClsMdb Message %1 : ").arg(number) + text);
    if (m_notifier)
        m_notifier({kind, number, text});
}

// ----------------------------------------------------------------------------------------------
// Layout

bool ClsMdb::Verify()
{
    TAPISOL_TRACE(QStringLiteral("ClsMdb Verify DataBase"));
    if (!m_db || !MdbCreationTable()) {
        TAPISOL_TRACE(QStringLiteral("ClsMdb End Verify DataBase, Err"));
        return false;
    }
    TAPISOL_TRACE(QStringLiteral("ClsMdb Verify DataBase Ctl Champs"));
    QString error;
    if (!MdbUpgrade::run(*m_db, &error)) {
        TAPISOL_TRACE(QStringLiteral("ClsMdb End Verify DataBase, Err ") + error);
        return false;
    }
    try {
        if (m_db->execAndGet("PRAGMA user_version").getInt() < MdbSchema::Version)
            m_db->exec("PRAGMA user_version = " + std::to_string(MdbSchema::Version));
    } catch (const std::exception& e) {
        TAPISOL_TRACE(QStringLiteral("ClsMdb End Verify DataBase, Err ") + describe(e));
        return false;
    }
    TAPISOL_TRACE(QStringLiteral("ClsMdb End Verify DataBase, Ok"));
    return true;
}

bool ClsMdb::MdbCreationTable()
{
    TAPISOL_TRACE(QStringLiteral("ClsMdb MdbCréationTable"));
    for (const MdbSchema::Table& table : MdbSchema::tables()) {
        if (TableExist(QLatin1String(table.name))) {
            refillLanguageTable(table.name);
            continue;
        }
        if (qstrcmp(table.name, "Albums") == 0)
            saveTable109();
        if (!createTable(table.name)) {
            TAPISOL_TRACE(QStringLiteral("ClsMdb End MdbCréationTable, Err"));
            return false;
        }
    }
    TAPISOL_TRACE(QStringLiteral("ClsMdb End MdbCréationTable, Ok"));
    return true;
}

bool ClsMdb::TableExist(const QString& name)
{
    bool found = false;
    try {
        SQLite::Statement query(database(),
            "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = ? "
            "COLLATE NOCASE");
        query.bind(1, name.toStdString());
        found = query.executeStep();
    } catch (const std::exception& e) {
        TAPISOL_TRACE(QStringLiteral("ClsMdb TableExist ") + name + QStringLiteral(", Err ") + describe(e));
        return false;
    }
    TAPISOL_TRACE(QStringLiteral("ClsMdb TableExist ") + name + QStringLiteral(" = ") + vraiFaux(found));
    return found;
}

bool ClsMdb::createTable(const char* tableName)
{
    const MdbSchema::Table& table = *MdbSchema::table(QLatin1String(tableName));
    const QString name = QLatin1String(table.name);
    const QString label = QLatin1String(table.traceLabel);
    const bool language = isLanguageTable(name);
    if (language)
        LanguageTables::traceBegin(languageTableOf(name));
    else
        TAPISOL_TRACE(QStringLiteral("ClsMdb Database Creation ") + label);
    try {
        m_db->exec("BEGIN IMMEDIATE");
        try {
            for (const QString& statement : MdbSchema::createAllSql(table))
                m_db->exec(statement.toStdString());
            if (language) {
                // A language file that can't be read leaves the table empty; the next start fills it.
                LanguageTables::traceCreated(languageTableOf(name));
                if (name == QLatin1String("Pays"))
                    LanguageTables::fillPays(*m_db, languageFolder());
                else
                    LanguageTables::fillCodeLangue(*m_db, languageFolder());
            }
            m_db->exec("COMMIT");
        } catch (...) {
            m_db->tryExec("ROLLBACK");
            throw;
        }
    } catch (const std::exception& e) {
        TAPISOL_TRACE(QStringLiteral("ClsMdb End Database Creation ") + label + QStringLiteral(", Err ") + describe(e));
        return false;
    }
    TAPISOL_TRACE(QStringLiteral("ClsMdb End Database Creation ") + label + QStringLiteral(", Ok"));
    return true;
}

void ClsMdb::refillLanguageTable(const char* tableName)
{
    const QString name = QLatin1String(tableName);
    if (!isLanguageTable(name))
        return;
    try {
        const std::string count = "SELECT count(*) FROM " + MdbSchema::quoted(name).toStdString();
        if (m_db->execAndGet(count).getInt64() > 0)
            return;
        TAPISOL_TRACE(QStringLiteral("ClsMdb MdbCréationTable ") + name + QStringLiteral(" vide, rechargée"));
        if (name == QLatin1String("Pays"))
            LanguageTables::fillPays(*m_db, languageFolder());
        else
            LanguageTables::fillCodeLangue(*m_db, languageFolder());
    } catch (const std::exception& e) {
        TAPISOL_TRACE(QStringLiteral("ClsMdb MdbCréationTable ") + name + QStringLiteral(", Err ") + describe(e));
    }
}

// The one safety copy taken before an old file first gains the album tables; never overwritten.
void ClsMdb::saveTable109()
{
    const QString copy = MdbFiles::copyName(m_name, QStringLiteral("109.mdb"));
    // A file made by this start has nothing to keep: a copy of it would only look like a backup.
    if (m_createdNow || QFileInfo::exists(copy))
        return;
    TAPISOL_TRACE(QStringLiteral("MdbInit SaveTable109 ") + m_name + QStringLiteral(" vers ") + copy);
    QString error;
    if (!MdbFiles::snapshot(*m_db, copy, false, &error))
        TAPISOL_TRACE(QStringLiteral("MdbInit SaveTable109, Err ") + error);
}

bool ClsMdb::createTableImage(bool diaporama)
{
    const MdbSchema::Table& table
        = *MdbSchema::table(diaporama ? QStringLiteral("TableImageDiap") : QStringLiteral("TableImage"));
    const QString name = QLatin1String(table.name);
    try {
        // Statements kept on the old table would fail against the new one.
        for (auto it = m_statements.begin(); it != m_statements.end();) {
            if (!it->second->inUse && QString::fromStdString(it->first).contains(name, Qt::CaseInsensitive))
                it = m_statements.erase(it);
            else
                ++it;
        }
        database().exec("BEGIN IMMEDIATE");
        try {
            database().exec("DROP TABLE IF EXISTS " + MdbSchema::quoted(name).toStdString());
            for (const QString& statement : MdbSchema::createAllSql(table))
                database().exec(statement.toStdString());
            database().exec("COMMIT");
        } catch (...) {
            database().tryExec("ROLLBACK");
            throw;
        }
    } catch (const std::exception& e) {
        TAPISOL_TRACE(QStringLiteral("ClsMdb Create ") + name + QStringLiteral(", Err ") + describe(e));
        return false;
    }
    return true;
}

// ----------------------------------------------------------------------------------------------
// End

void ClsMdb::close()
{
    if (!m_db)
        return;
    m_statements.clear();
    TAPISOL_TRACE(QStringLiteral("ClsMdb Terminate compact Database"));
    QString reason;
    const bool compacted = MdbCompaction::compactAndClose(m_db, m_name, &reason);
    // The compacted file passed a full check before it took the database's place.
    if (compacted)
        MdbFiles::recordVerified(m_name);
    TAPISOL_TRACE(
        compacted ? QStringLiteral("ClsMdb End Terminate, Ok") : QStringLiteral("ClsMdb End Terminate, Err ") + reason);
}

void ClsMdb::dropConnection()
{
    m_statements.clear();
    m_db.reset();
}

SQLite::Database& ClsMdb::database()
{
    if (!m_db)
        throw SQLite::Exception("la base de données n'est pas ouverte");
    return *m_db;
}

MdbQuery ClsMdb::query(const std::string& sql)
{
    SQLite::Database& db = database();
    auto found = m_statements.find(sql);
    if (found == m_statements.end()) {
        auto slot = std::unique_ptr<MdbQuery::Slot>(new MdbQuery::Slot {SQLite::Statement(db, sql), false});
        found = m_statements.emplace(sql, std::move(slot)).first;
    }
    if (found->second->inUse)
        return MdbQuery(nullptr, std::make_unique<SQLite::Statement>(db, sql));
    return MdbQuery(found->second, nullptr);
}

// ----------------------------------------------------------------------------------------------
// Language and country tables

std::optional<LanguageTables::LanguageCodes> ClsMdb::codesOfLanguage(const QString& name)
{
    return m_db ? LanguageTables::codesOfLanguage(*m_db, name) : std::nullopt;
}

std::optional<LanguageTables::LanguageName> ClsMdb::languageOfCode(const QString& code)
{
    return m_db ? LanguageTables::languageOfCode(*m_db, code) : std::nullopt;
}

std::optional<QString> ClsMdb::countryCode(const QString& language, const QString& country)
{
    return m_db ? LanguageTables::countryCode(*m_db, language, country) : std::nullopt;
}

std::optional<LanguageTables::Country> ClsMdb::countryByKey(qint64 key)
{
    return m_db ? LanguageTables::countryByKey(*m_db, key) : std::nullopt;
}

LanguageTables::CountryList ClsMdb::countryList(const QString& interfaceLanguage)
{
    if (!m_db)
        return {};
    return LanguageTables::countryList(*m_db, interfaceLanguage);
}

ClsMdb& mdb()
{
    static ClsMdb instance;
    return instance;
}
