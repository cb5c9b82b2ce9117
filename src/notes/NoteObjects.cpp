#include "NoteObjects.h"

#include "ClsRegistry.h"
#include "JetValues.h"
#include "Trace.h"

#include <SQLiteCpp/Column.h>
#include <SQLiteCpp/Statement.h>

#include <cstring>
#include <optional>

namespace {

ClsColData::MessageHandler& criticalMessage()
{
    static ClsColData::MessageHandler handler;
    return handler;
}

// The row's column of that name, when the row has it and it is not Null.
std::optional<SQLite::Column> field(const SQLite::Statement& row, const char* name)
{
    for (int i = 0; i < row.getColumnCount(); ++i) {
        if (qstricmp(row.getColumnName(i), name) == 0) {
            SQLite::Column column = row.getColumn(i);
            if (column.isNull())
                return std::nullopt;
            return column;
        }
    }
    return std::nullopt;
}

void read(const SQLite::Statement& row, const char* name, QString& target)
{
    if (auto column = field(row, name))
        target = Jet::textOf(*column);
}

void read(const SQLite::Statement& row, const char* name, bool& target)
{
    if (auto column = field(row, name))
        target = Jet::boolOf(*column);
}

void read(const SQLite::Statement& row, const char* name, float& target)
{
    if (auto column = field(row, name))
        target = float(column->getDouble());
}

// Whole numbers are taken into the field's own type, as the database engine converts them.
template <typename Number> void read(const SQLite::Statement& row, const char* name, Number& target)
{
    if (auto column = field(row, name))
        target = Number(column->getInt64());
}

} // namespace

NoteDefaults NoteDefaults::fromSettings()
{
    const ClsRegistry& settings = registry();
    NoteDefaults defaults;
    defaults.transparence = settings.get(SettingNo::AlmTransparence).toInt();
    defaults.backColor = qint32(settings.get(SettingNo::AlmCouleurFond).toLongLong());
    defaults.foreColor = qint32(settings.get(SettingNo::AlmCouleurAv).toLongLong());
    defaults.shadowColor = qint32(settings.get(SettingNo::AlmCouleurAr).toLongLong());
    defaults.shadowOffset = settings.get(SettingNo::AlmOffset).toInt();
    defaults.fontName = settings.get(SettingNo::AlmFontName).toString();
    defaults.fontSize = settings.get(SettingNo::AlmFontSize).toFloat();
    defaults.fontBold = settings.get(SettingNo::AlmFontBold).toInt() != 0;
    defaults.fontItalic = settings.get(SettingNo::AlmFontItalic).toInt() != 0;
    defaults.fontUnderline = settings.get(SettingNo::AlmFontUnderline).toInt() != 0;
    return defaults;
}

ClsWinData::ClsWinData(const NoteDefaults& defaults)
    : Transparence(quint8(qBound(0, defaults.transparence, 255)))
    , TransparenceApply(defaults.transparence < 255)
    , WinBackColor(defaults.backColor)
{ }

void ClsWinData::LoadFromRecord(const SQLite::Statement& row)
{
    read(row, "WinLargeur", WinLargeur);
    read(row, "WinHauteur", WinHauteur);
    read(row, "WinPosX", WinPosX);
    read(row, "WinPosY", WinPosY);
    read(row, "Transparence", Transparence);
    read(row, "TransparenceApply", TransparenceApply);
    read(row, "DecoupBkColor", DecoupBkColor);
    read(row, "WinBackColorApply", WinBackColorApply);
    read(row, "Decoupage", Decoupage);
    read(row, "WinBackColor", WinBackColor);
}

ClsTxtData::ClsTxtData(const NoteDefaults& defaults)
    : TxtForeColor(defaults.foreColor)
    , TxtShadowColor(defaults.shadowColor)
    , TxtShadowOffset(quint8(qBound(0, defaults.shadowOffset, 255)))
    , TxtFontName(defaults.fontName)
    , TxtFontSize(defaults.fontSize)
    , TxtFontBold(defaults.fontBold)
    , TxtFontItalic(defaults.fontItalic)
    , TxtFontUnderline(defaults.fontUnderline)
{ }

void ClsTxtData::LoadFromRecord(const SQLite::Statement& row)
{
    read(row, "Texte", Texte);
    read(row, "TxtPosX", TxtPosX);
    read(row, "TxtPosY", TxtPosY);
    read(row, "TxtDimX", TxtDimX);
    read(row, "TxtDimY", TxtDimY);
    read(row, "TxtMoving", TxtMoving);
    read(row, "TxtDirection", TxtDirection);
    read(row, "TxtBorder", TxtBorder);
    read(row, "TxtSclAmount", TxtSclAmount);
    read(row, "TxtWordWrap", TxtWordWrap);
    read(row, "TxtAlign", TxtAlign);
    read(row, "TxtInterval", TxtInterval);
    read(row, "TxtForeColor", TxtForeColor);
    read(row, "TxtShadowColor", TxtShadowColor);
    read(row, "TxtShowShadow", TxtShowShadow);
    read(row, "TxtShadowOffset", TxtShadowOffset);
    read(row, "TxtFontName", TxtFontName);
    read(row, "TxtFontSize", TxtFontSize);
    read(row, "TxtFontBold", TxtFontBold);
    read(row, "TxtFontItalic", TxtFontItalic);
    read(row, "TxtFontUnderline", TxtFontUnderline);
}

void ClsImgData::LoadFromRecord(const SQLite::Statement& row)
{
    read(row, "Texte", Texte);
}

void ClsSonData::LoadFromRecord(const SQLite::Statement& row)
{
    read(row, "Texte", Texte);
    read(row, "SonRepet", SonRepet);
}

void ClsColData::setCriticalMessageHandler(MessageHandler handler)
{
    criticalMessage() = std::move(handler);
}

ClsColData::ClsColData(const ClsColData& other)
{
    *this = other;
}

ClsColData& ClsColData::operator=(const ClsColData& other)
{
    if (this == &other)
        return *this;
    m_items.clear();
    for (const auto& item : other.m_items)
        m_items.push_back(item->clone());
    return *this;
}

bool ClsColData::Add(std::unique_ptr<ClsNoteObject> object)
{
    if (!object)
        return false;
    if (FindType(object->kind())) {
        if (object->kind() == NoteKind::Text) {
            TAPISOL_TRACE(QStringLiteral("NT ") + DuplicateTextMessage);
            if (criticalMessage())
                criticalMessage()(DuplicateTextMessage);
        }
        return false;
    }
    m_items.push_back(std::move(object));
    return true;
}

ClsNoteObject* ClsColData::Item(int index) const
{
    return index >= 1 && index <= Count() ? m_items[size_t(index - 1)].get() : nullptr;
}

int ClsColData::TypeOfItem(int index) const
{
    const ClsNoteObject* item = Item(index);
    return item ? int(item->kind()) : -1;
}

void ClsColData::Remove(int index)
{
    if (index >= 1 && index <= Count())
        m_items.erase(m_items.begin() + (index - 1));
}

ClsNoteObject* ClsColData::FindType(NoteKind kind) const
{
    for (const auto& item : m_items) {
        if (item->kind() == kind)
            return item.get();
    }
    return nullptr;
}
