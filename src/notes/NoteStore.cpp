#include "NoteStore.h"

#include "ClsMdb.h"
#include "InterfaceTexts.h"
#include "JetValues.h"
#include "Trace.h"
#include "WallClock.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>
#include <SQLiteCpp/Transaction.h>

#include <sqlite3.h>

namespace {

constexpr int TextBusy = 2700;
constexpr int TextDiskFull = 2701;
constexpr int TextNotSaved = 2702;
constexpr int TextGone = 2703;
constexpr int TextTooLong = 2704;
// The longest text AlarmeTxt.Texte holds, and the longest font name.
constexpr int MaxTexte = 250;
constexpr int MaxFontName = 80;

void setError(QString* error, const QString& text)
{
    if (error)
        *error = text;
}

// Words for a failed statement. A lock held by another program or a full disk is a passing
// state, said as such; anything else names the engine's own message.
QString describe(const SQLite::Exception& e)
{
    switch (e.getErrorCode()) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return langText(TextBusy);
    case SQLITE_FULL:
        return langText(TextDiskFull);
    default:
        return langText(TextNotSaved).arg(QString::fromUtf8(e.what()));
    }
}

std::optional<int> optionalNumber(const SQLite::Column& column)
{
    return column.isNull() ? std::nullopt : std::optional(column.getInt());
}

std::optional<QDateTime> optionalDate(const SQLite::Column& column)
{
    const QDateTime date = WallClock::dateOf(column);
    return date.isValid() ? std::optional(date) : std::nullopt;
}

void bindOptional(SQLite::Statement& statement, int index, const std::optional<int>& value)
{
    if (value)
        statement.bind(index, *value);
    else
        statement.bind(index);
}

void bindOptionalDate(SQLite::Statement& statement, int index, const std::optional<QDateTime>& value)
{
    WallClock::bind(statement, index, value.value_or(QDateTime()));
}

// The note's own fields from its Agenda row (read by name, so the column order of older files
// does not matter).
void readFields(const SQLite::Statement& row, Note& note)
{
    Recurrence::AlarmFields& f = note.fields;
    note.Numero = row.getColumn("Numero").getInt64();
    note.Alarme = Jet::boolOf(row.getColumn("Alarme"));
    f.date = WallClock::dateOf(row.getColumn("Date")).date();
    f.alarm = optionalDate(row.getColumn("DateAlarme"));
    f.origin = optionalDate(row.getColumn("DateAlarmeOri"));
    f.end = optionalDate(row.getColumn("DateAlarmeFin"));
    if (!row.getColumn("AlarmeRepet").isNull())
        f.repeats = Jet::boolOf(row.getColumn("AlarmeRepet"));
    f.repeatInterval = optionalNumber(row.getColumn("AlarmeRepInterval"));
    f.repeatUnit = optionalNumber(row.getColumn("AlarmeRepFreq"));
    f.behaviour = row.getColumn("Comportement").getInt();
    f.frequency = row.getColumn("Frequence").getInt();
    f.weekDays = Jet::textOf(row.getColumn("FreqJours"));
    if (!row.getColumn("FreqMois").isNull())
        f.months = Jet::textOf(row.getColumn("FreqMois"));
    f.noteInterval = optionalNumber(row.getColumn("NoteRepInterval"));
    f.noteUnit = optionalNumber(row.getColumn("NoteRepFreq"));
    f.active = Jet::boolOf(row.getColumn("Active"));
    note.BirthDay = WallClock::dateOf(row.getColumn("BirthDay")).date();
}

std::unique_ptr<ClsNoteObject> objectOfKind(int kind)
{
    switch (NoteKind(kind)) {
    case NoteKind::Text:
        return std::make_unique<ClsTxtData>();
    case NoteKind::Image:
        return std::make_unique<ClsImgData>();
    case NoteKind::Sound:
        return std::make_unique<ClsSonData>();
    default:
        return nullptr; // the window lives in the Agenda row; other codes are not display objects
    }
}

// Refuses what the columns cannot hold before anything is written.
bool fits(const Note& note, QString* error)
{
    const ClsTxtData* text = note.objects.text();
    const ClsImgData* image = note.objects.image();
    const ClsSonData* sound = note.objects.sound();
    const bool tooLong = (text && (text->Texte.size() > MaxTexte || text->TxtFontName.size() > MaxFontName))
        || (image && image->Texte.size() > MaxTexte) || (sound && sound->Texte.size() > MaxTexte);
    if (tooLong)
        setError(error, langText(TextTooLong).arg(MaxTexte));
    return !tooLong && note.fields.date.isValid();
}

qint64 insertAgenda(SQLite::Database& db, const Note& note)
{
    const Recurrence::AlarmFields& f = note.fields;
    const ClsWinData defaults;
    const ClsWinData& w = note.objects.window() ? *note.objects.window() : defaults;
    SQLite::Statement insert(db,
        "INSERT INTO Agenda (Date, Alarme, DateAlarme, DateAlarmeOri, DateAlarmeFin, AlarmeRepet, "
        "AlarmeRepInterval, AlarmeRepFreq, FreqMois, NoteRepInterval, NoteRepFreq, BirthDay, Comportement, "
        "Frequence, FreqJours, Active, WinLargeur, WinHauteur, WinPosX, WinPosY, Decoupage, DecoupBkColor, "
        "WinBackColorApply, Transparence, TransparenceApply, WinBackColor) "
        "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16, ?17, ?18, ?19, ?20, ?21, "
        "?22, ?23, ?24, ?25, ?26)");
    WallClock::bind(insert, 1, WallClock::make(f.date));
    Jet::bindBool(insert, 2, note.Alarme);
    bindOptionalDate(insert, 3, f.alarm);
    bindOptionalDate(insert, 4, f.origin);
    bindOptionalDate(insert, 5, f.end);
    Jet::bindBool(insert, 6, f.repeats.value_or(false));
    bindOptional(insert, 7, f.repeatInterval);
    bindOptional(insert, 8, f.repeatUnit);
    Jet::bindTextOrNull(insert, 9, f.months.value_or(QString()));
    bindOptional(insert, 10, f.noteInterval);
    bindOptional(insert, 11, f.noteUnit);
    WallClock::bind(insert, 12, note.BirthDay.isValid() ? WallClock::make(note.BirthDay) : QDateTime());
    insert.bind(13, f.behaviour);
    insert.bind(14, f.frequency);
    insert.bind(15, (f.weekDays.isEmpty() ? QStringLiteral("0000000") : f.weekDays).toStdString());
    Jet::bindBool(insert, 16, f.active);
    insert.bind(17, double(w.WinLargeur));
    insert.bind(18, double(w.WinHauteur));
    insert.bind(19, double(w.WinPosX));
    insert.bind(20, double(w.WinPosY));
    Jet::bindBool(insert, 21, w.Decoupage);
    insert.bind(22, w.DecoupBkColor);
    Jet::bindBool(insert, 23, w.WinBackColorApply);
    insert.bind(24, int(w.Transparence));
    Jet::bindBool(insert, 25, w.TransparenceApply);
    insert.bind(26, w.WinBackColor);
    insert.exec();
    return db.getLastInsertRowid();
}

void insertText(SQLite::Database& db, qint64 numero, const ClsTxtData& t)
{
    SQLite::Statement insert(db,
        "INSERT INTO AlarmeTxt (NumeroNote, ObjType, Texte, TxtAlign, TxtBorder, TxtDimX, TxtDimY, TxtDirection, "
        "TxtMoving, TxtInterval, TxtPosX, TxtPosY, TxtSclAmount, TxtWordWrap, TxtForeColor, TxtShadowColor, "
        "TxtShowShadow, TxtShadowOffset, TxtFontName, TxtFontSize, TxtFontBold, TxtFontItalic, TxtFontUnderline) "
        "VALUES (?1, 1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16, ?17, ?18, ?19, ?20, ?21, "
        "?22)");
    insert.bind(1, static_cast<int64_t>(numero));
    Jet::bindText(insert, 2, t.Texte);
    insert.bind(3, int(t.TxtAlign));
    insert.bind(4, int(t.TxtBorder));
    insert.bind(5, double(t.TxtDimX));
    insert.bind(6, double(t.TxtDimY));
    insert.bind(7, int(t.TxtDirection));
    insert.bind(8, int(t.TxtMoving));
    insert.bind(9, int(t.TxtInterval));
    insert.bind(10, double(t.TxtPosX));
    insert.bind(11, double(t.TxtPosY));
    insert.bind(12, int(t.TxtSclAmount));
    Jet::bindBool(insert, 13, t.TxtWordWrap);
    insert.bind(14, t.TxtForeColor);
    insert.bind(15, t.TxtShadowColor);
    Jet::bindBool(insert, 16, t.TxtShowShadow);
    insert.bind(17, int(t.TxtShadowOffset));
    Jet::bindText(insert, 18, t.TxtFontName.isNull() ? QString(QLatin1String("")) : t.TxtFontName);
    insert.bind(19, double(t.TxtFontSize));
    Jet::bindBool(insert, 20, t.TxtFontBold);
    Jet::bindBool(insert, 21, t.TxtFontItalic);
    Jet::bindBool(insert, 22, t.TxtFontUnderline);
    insert.exec();
}

void insertPath(SQLite::Database& db, qint64 numero, NoteKind kind, const QString& path, std::optional<bool> repeat)
{
    SQLite::Statement insert(db, "INSERT INTO AlarmeTxt (NumeroNote, ObjType, Texte, SonRepet) VALUES (?, ?, ?, ?)");
    insert.bind(1, static_cast<int64_t>(numero));
    insert.bind(2, int(kind));
    Jet::bindText(insert, 3, path);
    if (repeat)
        Jet::bindBool(insert, 4, *repeat);
    else
        insert.bind(4);
    insert.exec();
}

void deleteRows(SQLite::Database& db, qint64 numero)
{
    SQLite::Statement objects(db, "DELETE FROM AlarmeTxt WHERE NumeroNote = ?");
    objects.bind(1, static_cast<int64_t>(numero));
    objects.exec();
    SQLite::Statement row(db, "DELETE FROM Agenda WHERE Numero = ?");
    row.bind(1, static_cast<int64_t>(numero));
    row.exec();
}

} // namespace

Note Note::blank(const QDate& day)
{
    Note note;
    note.fields.date = day;
    note.fields.weekDays = QStringLiteral("0000000");
    const NoteDefaults defaults = NoteDefaults::fromSettings();
    note.objects.Add(std::make_unique<ClsWinData>(defaults));
    note.objects.Add(std::make_unique<ClsTxtData>(defaults));
    return note;
}

QString Note::text() const
{
    const ClsTxtData* t = objects.text();
    return t ? t->Texte : QString();
}

int Note::ageOn(const QDate& day) const
{
    if (!BirthDay.isValid() || !day.isValid() || day < BirthDay)
        return -1;
    int age = day.year() - BirthDay.year();
    if (day.month() < BirthDay.month() || (day.month() == BirthDay.month() && day.day() < BirthDay.day()))
        --age;
    return age;
}

namespace NoteStore {

std::optional<Note> read(ClsMdb& db, qint64 numero, QString* error)
{
    try {
        Note note;
        {
            MdbQuery row = db.query("SELECT * FROM Agenda WHERE Numero = ?");
            row->bind(1, static_cast<int64_t>(numero));
            if (!row->executeStep()) {
                setError(error, langText(TextGone));
                return std::nullopt;
            }
            readFields(*row, note);
            auto window = std::make_unique<ClsWinData>();
            window->LoadFromRecord(*row);
            note.objects.Add(std::move(window));
        }
        MdbQuery objects = db.query("SELECT * FROM AlarmeTxt WHERE NumeroNote = ? ORDER BY Numero");
        objects->bind(1, static_cast<int64_t>(numero));
        while (objects->executeStep()) {
            const int kind = objects->getColumn("ObjType").getInt();
            auto object = objectOfKind(kind);
            if (!object) {
                TAPISOL_TRACE(
                    QStringLiteral("NT Read note %1: object of unknown kind %2 skipped").arg(numero).arg(kind));
                continue;
            }
            object->LoadFromRecord(*objects);
            note.objects.Add(std::move(object));
        }
        return note;
    } catch (const SQLite::Exception& e) {
        TAPISOL_TRACE(QStringLiteral("NT Read note %1, Err %2").arg(numero).arg(QString::fromUtf8(e.what())));
        setError(error, describe(e));
        return std::nullopt;
    }
}

bool write(ClsMdb& db, Note& note, QString* error)
{
    if (!fits(note, error))
        return false;
    const qint64 oldNumero = note.Numero;
    try {
        SQLite::Transaction transaction(db.database(), SQLite::TransactionBehavior::IMMEDIATE);
        if (oldNumero > 0)
            deleteRows(db.database(), oldNumero);
        const qint64 numero = insertAgenda(db.database(), note);
        for (int i = 1; i <= note.objects.Count(); ++i) {
            const ClsNoteObject* object = note.objects.Item(i);
            if (auto* text = dynamic_cast<const ClsTxtData*>(object); text && !text->Texte.isEmpty())
                insertText(db.database(), numero, *text);
            else if (auto* image = dynamic_cast<const ClsImgData*>(object); image && !image->Texte.isEmpty())
                insertPath(db.database(), numero, NoteKind::Image, image->Texte, std::nullopt);
            else if (auto* sound = dynamic_cast<const ClsSonData*>(object); sound && !sound->Texte.isEmpty())
                insertPath(db.database(), numero, NoteKind::Sound, sound->Texte, sound->SonRepet);
        }
        transaction.commit();
        note.Numero = numero;
    } catch (const SQLite::Exception& e) {
        TAPISOL_TRACE(QStringLiteral("NT Save note %1, Err %2").arg(oldNumero).arg(QString::fromUtf8(e.what())));
        setError(error, describe(e));
        return false;
    }
    TAPISOL_TRACE(QStringLiteral("NT Save note %1 -> %2, Ok").arg(oldNumero).arg(note.Numero));
    emit NoteEvents::instance().noteSaved(oldNumero, note.Numero);
    return true;
}

bool remove(ClsMdb& db, qint64 numero, QString* error)
{
    try {
        SQLite::Transaction transaction(db.database(), SQLite::TransactionBehavior::IMMEDIATE);
        deleteRows(db.database(), numero);
        transaction.commit();
    } catch (const SQLite::Exception& e) {
        TAPISOL_TRACE(QStringLiteral("NT Delete note %1, Err %2").arg(numero).arg(QString::fromUtf8(e.what())));
        setError(error, describe(e));
        return false;
    }
    TAPISOL_TRACE(QStringLiteral("NT Delete note %1, Ok").arg(numero));
    emit NoteEvents::instance().noteRemoved(numero);
    return true;
}

bool writeAlarm(ClsMdb& db, qint64 numero, bool alarme, const Recurrence::AlarmFields& f, QString* error)
{
    try {
        MdbQuery update = db.query("UPDATE Agenda SET Date = ?1, Alarme = ?2, DateAlarme = ?3, DateAlarmeOri = ?4, "
                                   "DateAlarmeFin = ?5, AlarmeRepet = ?6, AlarmeRepInterval = ?7, AlarmeRepFreq = ?8, "
                                   "Comportement = ?9, Frequence = ?10, FreqJours = ?11, FreqMois = ?12, "
                                   "NoteRepInterval = ?13, NoteRepFreq = ?14, Active = ?15 WHERE Numero = ?16");
        WallClock::bind(*update, 1, WallClock::make(f.date));
        Jet::bindBool(*update, 2, alarme);
        bindOptionalDate(*update, 3, f.alarm);
        bindOptionalDate(*update, 4, f.origin);
        bindOptionalDate(*update, 5, f.end);
        Jet::bindBool(*update, 6, f.repeats.value_or(false));
        bindOptional(*update, 7, f.repeatInterval);
        bindOptional(*update, 8, f.repeatUnit);
        update->bind(9, f.behaviour);
        update->bind(10, f.frequency);
        update->bind(11, (f.weekDays.isEmpty() ? QStringLiteral("0000000") : f.weekDays).toStdString());
        Jet::bindTextOrNull(*update, 12, f.months.value_or(QString()));
        bindOptional(*update, 13, f.noteInterval);
        bindOptional(*update, 14, f.noteUnit);
        Jet::bindBool(*update, 15, f.active);
        update->bind(16, static_cast<int64_t>(numero));
        if (update->exec() != 1) {
            setError(error, langText(TextGone));
            return false;
        }
    } catch (const SQLite::Exception& e) {
        TAPISOL_TRACE(QStringLiteral("NT Alarm of note %1, Err %2").arg(numero).arg(QString::fromUtf8(e.what())));
        setError(error, describe(e));
        return false;
    }
    emit NoteEvents::instance().alarmChanged(numero);
    return true;
}

bool writeGeometry(ClsMdb& db, qint64 numero, const QRect& geometry)
{
    try {
        MdbQuery update
            = db.query("UPDATE Agenda SET WinPosX = ?, WinPosY = ?, WinLargeur = ?, WinHauteur = ? WHERE Numero = ?");
        update->bind(1, double(geometry.x()));
        update->bind(2, double(geometry.y()));
        update->bind(3, double(geometry.width()));
        update->bind(4, double(geometry.height()));
        update->bind(5, static_cast<int64_t>(numero));
        return update->exec() == 1;
    } catch (const SQLite::Exception& e) {
        // Only the place of a window: tried again at its next move.
        TAPISOL_TRACE(QStringLiteral("NT Window of note %1, Err %2").arg(numero).arg(QString::fromUtf8(e.what())));
        return false;
    }
}

QList<NoteSummary> notesOfDay(ClsMdb& db, const QDate& day)
{
    QList<NoteSummary> notes;
    try {
        // The day's range on the IndDate index; the text is the first text object's.
        MdbQuery rows = db.query("SELECT Numero, Alarme, Active, DateAlarme, Comportement, "
                                 "(SELECT Texte FROM AlarmeTxt WHERE NumeroNote = Agenda.Numero AND ObjType = 1 "
                                 "ORDER BY Numero LIMIT 1) FROM Agenda WHERE Date >= ?1 AND Date < ?2 "
                                 "ORDER BY Alarme = -1, DateAlarme, Numero");
        WallClock::bind(*rows, 1, WallClock::make(day));
        WallClock::bind(*rows, 2, WallClock::make(day.addDays(1)));
        while (rows->executeStep()) {
            NoteSummary note;
            note.Numero = rows->getColumn(0).getInt64();
            note.alarm = Jet::boolOf(rows->getColumn(1));
            note.active = Jet::boolOf(rows->getColumn(2));
            note.alarmAt = WallClock::dateOf(rows->getColumn(3));
            note.recurring = rows->getColumn(4).getInt() == 1;
            note.text = Jet::textOf(rows->getColumn(5));
            notes << note;
        }
    } catch (const SQLite::Exception& e) {
        TAPISOL_TRACE(
            QStringLiteral("NT Notes of %1, Err %2").arg(day.toString(Qt::ISODate), QString::fromUtf8(e.what())));
    }
    return notes;
}

QList<NoteSummary> nextAlarms(ClsMdb& db, const QDateTime& now, int count)
{
    QList<NoteSummary> notes;
    try {
        // A range on IndAlarme, whatever the number of notes.
        MdbQuery rows = db.query("SELECT Numero, DateAlarme, Comportement, "
                                 "(SELECT Texte FROM AlarmeTxt WHERE NumeroNote = Agenda.Numero AND ObjType = 1 "
                                 "ORDER BY Numero LIMIT 1) FROM Agenda WHERE Alarme = -1 AND Active = -1 "
                                 "AND DateAlarme >= ?1 ORDER BY DateAlarme LIMIT ?2");
        WallClock::bind(*rows, 1, now);
        rows->bind(2, count);
        while (rows->executeStep()) {
            NoteSummary note;
            note.Numero = rows->getColumn(0).getInt64();
            note.alarm = note.active = true;
            note.alarmAt = WallClock::dateOf(rows->getColumn(1));
            note.recurring = rows->getColumn(2).getInt() == 1;
            note.text = Jet::textOf(rows->getColumn(3));
            notes << note;
        }
    } catch (const SQLite::Exception& e) {
        TAPISOL_TRACE(QStringLiteral("NT Next alarms, Err %1").arg(QString::fromUtf8(e.what())));
    }
    return notes;
}

bool exists(ClsMdb& db, qint64 numero)
{
    try {
        MdbQuery row = db.query("SELECT 1 FROM Agenda WHERE Numero = ?");
        row->bind(1, static_cast<int64_t>(numero));
        return row->executeStep();
    } catch (const SQLite::Exception&) {
        return false;
    }
}

} // namespace NoteStore

NoteEvents& NoteEvents::instance()
{
    static NoteEvents events;
    return events;
}
