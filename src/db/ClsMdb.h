#pragma once

#include "LanguageTables.h"
#include "MdbFiles.h"

#include <QDateTime>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

namespace SQLite {
class Database;
class Statement;
} // namespace SQLite

class ClsMdb;

// A prepared statement lent by the database object for one use: reset, with its values unbound,
// when the lease ends. A statement already lent out (a handler entered again from the event loop
// while the first use is still stepping) is not shared: the second lease gets a statement of its
// own. A lease should end before the database object is closed; one still held then keeps its
// statement alive, which makes the compaction give up rather than crash.
class MdbQuery
{
public:
    MdbQuery(MdbQuery&& other) noexcept;
    MdbQuery& operator=(MdbQuery&&) = delete;
    MdbQuery(const MdbQuery&) = delete;
    MdbQuery& operator=(const MdbQuery&) = delete;
    ~MdbQuery();

    SQLite::Statement& operator*() const { return *m_statement; }
    SQLite::Statement* operator->() const { return m_statement; }

private:
    friend class ClsMdb;
    struct Slot;
    MdbQuery(std::shared_ptr<Slot> slot, std::unique_ptr<SQLite::Statement> own);

    std::shared_ptr<Slot> m_slot;
    std::unique_ptr<SQLite::Statement> m_own;
    SQLite::Statement* m_statement = nullptr;
};

// The database object: the one connection to Tapisol.mdb for the whole life of the process.
//
// MdbInit() tries the file, keeps a verified ".mdb.bak" copy of a healthy file, sets a damaged
// one aside as ".mdb.ERR" and puts the newest healthy copy in its place, opens the file, creates
// the missing tables and upgrades older layouts (Verify). close() compacts the file.
//
// The file is used in WAL mode with synchronous=FULL: a committed row survives a kill and a power
// loss, and the slideshow player can read while this program writes. Every open connection then
// holds a shared lock, which is how the compaction knows that the player still has the file open.
class ClsMdb
{
public:
    /// What the user must be told. `text` is ready to show; the application shows it (the
    /// database library has no windows). Without a notifier the text is only traced.
    struct Notice
    {
        enum class Kind
        {
            Damaged,    // the trial opening failed (text 246)
            Restored,   // the damaged file was replaced by a healthy copy of the given date
            NoGoodCopy, // damaged, no healthy copy, but the file still opens: the start goes on
            OpenFailed, // the real opening or the upgrade failed; the file was kept as ".mdb.bad"
            Busy,       // another program holds a lock on the file: start-up ends, nothing touched
            Newer       // the file comes from a newer Tapisol: start-up ends, nothing touched
        };
        Kind kind;
        int textNumber;
        QString text;
    };
    using Notifier = std::function<void(const Notice&)>;
    using Clock = std::function<QDateTime()>;

    /// Numbers of the interface texts used beside 246.
    static constexpr int TextDamaged = 246;
    static constexpr int TextRestored = 2220;
    static constexpr int TextNoGoodCopy = 2221;
    static constexpr int TextOpenFailed = 2222;
    static constexpr int TextBusy = 2223;
    static constexpr int TextNewer = 2224;

    /// Whether a notice of that kind ends the start-up.
    static bool isFatal(Notice::Kind kind);

    ClsMdb();
    ~ClsMdb();
    ClsMdb(const ClsMdb&) = delete;
    ClsMdb& operator=(const ClsMdb&) = delete;

    /// The database file's full name (`MdbName`).
    void setMdbName(const QString& name) { m_name = name; }
    QString mdbName() const { return m_name; }

    /// Whether the copies are made at start (".mdb.bak", ".mdb.ERR" and the restore); on by default.
    void setCopiesEnabled(bool enabled) { m_copiesEnabled = enabled; }
    bool copiesEnabled() const { return m_copiesEnabled; }

    /// Installs what shows the notices to the user.
    void setNotifier(Notifier notifier) { m_notifier = std::move(notifier); }

    /// Folder of "Langues.Lng" and "Pays.Lng"; the program's language folder by default.
    void setLanguageFolder(const QString& folder) { m_languageFolder = folder; }
    QString languageFolder() const;

    /// The clock behind the SQL function Now(); the system's local time by default.
    void setClock(Clock clock) { m_clock = std::move(clock); }
    QDateTime now() const;

    /// Opens or creates the database and brings it up to date (`MdbInit`). True when it is ready;
    /// false ends the start-up (the user has been told why).
    bool MdbInit();

    /// Creates the missing tables, then adds the missing columns (`Verify`).
    bool Verify();

    /// Creates each missing table in the layout's order; false as soon as one fails
    /// (`MdbCréationTable`).
    bool MdbCreationTable();

    /// Whether the database has a table of that name, case ignored (`TableExist`).
    bool TableExist(const QString& name);

    /// Makes the shown-pictures table anew, empty: `TableImageDiap` when `diaporama`, else
    /// `TableImage`. Starts a new round of the picture selection.
    bool createTableImage(bool diaporama);

    /// Releases every statement, then compacts and closes the file (Terminate). Safe to call twice.
    void close();

    bool isOpen() const { return m_db != nullptr; }

    /// The open connection. Only while isOpen().
    SQLite::Database& database();

    /// A prepared statement for `sql`, kept between calls (the standing recordsets of the Jet
    /// program). Values must be bound, never pasted into `sql`. Throws SQLite::Exception when
    /// the statement cannot be prepared or the database is closed.
    MdbQuery query(const std::string& sql);

    /// Look-ups in the language and country tables; nothing when the database is closed.
    std::optional<LanguageTables::LanguageCodes> codesOfLanguage(const QString& name);
    std::optional<LanguageTables::LanguageName> languageOfCode(const QString& code);
    std::optional<QString> countryCode(const QString& language, const QString& country);
    std::optional<LanguageTables::Country> countryByKey(qint64 key);
    LanguageTables::CountryList countryList(const QString& interfaceLanguage);

private:
    void removeLeftovers();
    bool createFile(QString* error);
    enum class Recovery
    {
        Restored,   // a healthy copy took the damaged file's place
        NoGoodCopy, // nothing to restore: the damaged file itself is tried
        Failed      // the damaged file could not be set aside: nothing may be touched
    };
    Recovery recoverFromCopy(const QString& reason);
    bool holdsUserData(const QString& copy) const;
    bool refuse(MdbFiles::Check::Status status, const QString& reason);
    bool openAndVerify(bool afterDamage);
    bool restoreFrom(const QString& copy);
    void makeBackup(MdbFiles::Depth depth);
    MdbFiles::Check::Status openConnection(QString* error);
    void failOpening(const QString& error);
    bool createTable(const char* tableName);
    void refillLanguageTable(const char* tableName);
    void saveTable109();
    void notify(Notice::Kind kind, int number, const QString& text);
    void dropConnection();

    QString m_name;
    QString m_languageFolder;
    bool m_copiesEnabled = true;
    bool m_createdNow = false; // the file was made by this start: it holds nothing of the user's
    Notifier m_notifier;
    Clock m_clock;
    std::unique_ptr<SQLite::Database> m_db;
    std::unordered_map<std::string, std::shared_ptr<MdbQuery::Slot>> m_statements;
};

/// The program's database object, created on first use and closed by the unload sequence.
ClsMdb& mdb();
