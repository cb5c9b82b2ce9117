#pragma once

#include <QString>

#include <functional>
#include <memory>
#include <vector>

namespace SQLite {
class Statement;
}

// The display objects of a note: its window (kept in the note's Agenda row) and its text, image
// and sound (one AlarmeTxt row each). Fields carry the names of their columns; colours are 24-bit
// RGB values with red in the low byte, as the database keeps them.

/// Kind codes, as stored in AlarmeTxt.ObjType.
enum class NoteKind : int
{
    Window = 0,
    Text = 1,
    Image = 2,
    Sound = 3,
};

/// What a new object takes from the Alarme settings, read when the object is made: later changes
/// of the settings leave the notes already written alone.
struct NoteDefaults
{
    int transparence = 255;
    qint32 backColor = 12648447;
    qint32 foreColor = 0;
    qint32 shadowColor = 8421504;
    int shadowOffset = 5;
    QString fontName = QStringLiteral("Arial");
    float fontSize = 26;
    bool fontBold = true;
    bool fontItalic = false;
    bool fontUnderline = false;

    /// The defaults in force now (through the numbered getter, so a settings preview counts).
    static NoteDefaults fromSettings();
};

/// One display object of a note.
class ClsNoteObject
{
public:
    virtual ~ClsNoteObject() = default;
    /// The kind, decided by the class.
    virtual NoteKind kind() const = 0;
    /// Reads the fields from the current row of `row`, by column name; a Null column, or a column
    /// the row does not have, leaves the field as it is.
    virtual void LoadFromRecord(const SQLite::Statement& row) = 0;
    virtual std::unique_ptr<ClsNoteObject> clone() const = 0;
};

/// Kind 0: the note's window. The sentinels -1 (size) and -9999 (position) mean "not set".
class ClsWinData : public ClsNoteObject
{
public:
    static constexpr float UnsetSize = -1;
    static constexpr float UnsetPosition = -9999;

    explicit ClsWinData(const NoteDefaults& defaults = NoteDefaults::fromSettings());
    NoteKind kind() const override { return NoteKind::Window; }
    void LoadFromRecord(const SQLite::Statement& row) override;
    std::unique_ptr<ClsNoteObject> clone() const override { return std::make_unique<ClsWinData>(*this); }

    bool hasSize() const { return WinLargeur > 0 && WinHauteur > 0; }
    bool hasPosition() const { return WinPosX != UnsetPosition && WinPosY != UnsetPosition; }

    float WinLargeur = UnsetSize;
    float WinHauteur = UnsetSize;
    float WinPosX = UnsetPosition;
    float WinPosY = UnsetPosition;
    quint8 Transparence = 255;
    bool TransparenceApply = false;
    qint32 DecoupBkColor = 0;
    bool WinBackColorApply = false;
    bool Decoupage = false;
    qint32 WinBackColor = 0;
};

/// Kind 1: the note's text with its look and movement.
class ClsTxtData : public ClsNoteObject
{
public:
    explicit ClsTxtData(const NoteDefaults& defaults = NoteDefaults::fromSettings());
    NoteKind kind() const override { return NoteKind::Text; }
    void LoadFromRecord(const SQLite::Statement& row) override;
    std::unique_ptr<ClsNoteObject> clone() const override { return std::make_unique<ClsTxtData>(*this); }

    QString Texte;
    float TxtPosX = 0;
    float TxtPosY = 0;
    float TxtDimX = 0;
    float TxtDimY = 0;
    quint8 TxtMoving = 1;
    quint8 TxtDirection = 2;
    quint8 TxtBorder = 0;
    quint8 TxtSclAmount = 1;
    bool TxtWordWrap = true;
    quint8 TxtAlign = 5;
    qint16 TxtInterval = 1;
    qint32 TxtForeColor = 0;
    qint32 TxtShadowColor = 0;
    bool TxtShowShadow = true;
    quint8 TxtShadowOffset = 0;
    QString TxtFontName;
    float TxtFontSize = 0;
    bool TxtFontBold = false;
    bool TxtFontItalic = false;
    bool TxtFontUnderline = false;
};

/// Kind 2: the note's image, by path.
class ClsImgData : public ClsNoteObject
{
public:
    NoteKind kind() const override { return NoteKind::Image; }
    void LoadFromRecord(const SQLite::Statement& row) override;
    std::unique_ptr<ClsNoteObject> clone() const override { return std::make_unique<ClsImgData>(*this); }

    QString Texte;
};

/// Kind 3: the note's sound, by path, and whether it plays again and again while shown.
class ClsSonData : public ClsNoteObject
{
public:
    NoteKind kind() const override { return NoteKind::Sound; }
    void LoadFromRecord(const SQLite::Statement& row) override;
    std::unique_ptr<ClsNoteObject> clone() const override { return std::make_unique<ClsSonData>(*this); }

    QString Texte;
    bool SonRepet = false;
};

/// The display objects of one note, at most one of each kind, indexed from 1.
class ClsColData
{
public:
    /// Text of the message shown when a second text object is offered.
    static inline const QString DuplicateTextMessage = QStringLiteral("Erreur objet text en double");
    /// Shows a critical message to the user; installed by the program (a library has no windows).
    using MessageHandler = std::function<void(const QString& message)>;
    static void setCriticalMessageHandler(MessageHandler handler);

    ClsColData() = default;
    ClsColData(const ClsColData& other);
    ClsColData& operator=(const ClsColData& other);
    ClsColData(ClsColData&&) noexcept = default;
    ClsColData& operator=(ClsColData&&) noexcept = default;

    /// Adds `object` unless one of its kind is there: a second text object is refused with the
    /// critical message, the others silently. Returns whether it was added.
    bool Add(std::unique_ptr<ClsNoteObject> object);
    int Count() const { return int(m_items.size()); }
    /// The object at `index` (1 to Count()), or nullptr.
    ClsNoteObject* Item(int index) const;
    /// The kind code of the object at `index`, or -1 outside the collection.
    int TypeOfItem(int index) const;
    /// Removes the object at `index`; any index outside 1 to Count() does nothing.
    void Remove(int index);
    /// The first object of that kind, or nullptr.
    ClsNoteObject* FindType(NoteKind kind) const;

    ClsWinData* window() const { return static_cast<ClsWinData*>(FindType(NoteKind::Window)); }
    ClsTxtData* text() const { return static_cast<ClsTxtData*>(FindType(NoteKind::Text)); }
    ClsImgData* image() const { return static_cast<ClsImgData*>(FindType(NoteKind::Image)); }
    ClsSonData* sound() const { return static_cast<ClsSonData*>(FindType(NoteKind::Sound)); }

private:
    std::vector<std::unique_ptr<ClsNoteObject>> m_items;
};
