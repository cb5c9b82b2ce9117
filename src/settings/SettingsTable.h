#pragma once

#include <array>
#include <climits>
#include <string_view>

// The numbered settings of Tapisol. Every number from 0 to kSettingCount - 1 is one row of
// kSettings, reserved numbers included (from 252 on, the settings added on Linux), so that a setting's storage place,
// rule and default live in one line and the getter can apply them uniformly. Callers name settings through SettingNo,
// never by bare number.

/// Where a setting is stored: one group of one settings file (see ClsRegistryBase).
enum class SettingGroup : unsigned char
{
    None,            // reserved numbers
    Parametres,      // Tapisol.conf [Paramètres]
    Forms,           // Tapisol.conf [Paramètres/Forms]: saved window positions
    Agenda,          // Tapisol.conf [Agenda]
    Alarme,          // Tapisol.conf [Alarme]
    Diaporama,       // Tapisol.conf [Diaporama]
    DiaporamaSounds, // Tapisol.conf [Diaporama/Sounds]
    Albums,          // Tapisol.conf [Albums]
    Assistants,      // Tapisol.conf [Assistants]
    Desktop,         // Tapisol.conf [Desktop]: what the desktop key held (screen saver)
    Orvenne,         // Orvenne.conf, top level: folders shared with the companion programs
    Ciselor,         // Orvenne/Ciselor.conf, top level: shared with the image editor
};

/// How the getter checks a stored value.
enum class SettingRule : unsigned char
{
    Reserved,      // no value; get() returns an invalid QVariant, set() refuses
    AsRead,        // kept as stored (numbers come back as int); the fallback only when missing
    Range,         // integer min..max; empty, not numeric or out of range -> default
    Hundredths,    // Range, then returned divided by 100 as a double
    Boolean,       // -1 or 0; anything else -> default
    Text,          // empty or blank -> default
    SourceFolder,  // Text; empty or "0" is no folder (the first run stores the Pictures folder)
    PositionX,     // twips, tested against the screens' extent; default one inch from the left
    PositionY,     // the same, from the top
    LogOn,         // read: the autostart entry exists (-1/0); written under its own name
    LogOnAllUsers, // read: the same test as 1/0; written under its own name
};

/// The type of value a setting holds.
enum class SettingKind : unsigned char
{
    Number,
    Text,
};

/// One numbered setting.
struct SettingRow
{
    int number = 0;
    SettingGroup group = SettingGroup::None;
    std::string_view name; // value name read (UTF-8)
    SettingRule rule = SettingRule::Reserved;
    SettingKind kind = SettingKind::Number;
    int min = 0; // Range and Hundredths only
    int max = 0;
    int defaultNumber = 0;        // default of a Number setting
    std::string_view defaultText; // default of a Text setting
    std::string_view writtenName; // value name written, when it differs from `name`

    /// The value name that set() writes.
    constexpr std::string_view writeName() const { return writtenName.empty() ? name : writtenName; }
    /// The same row, written under another name.
    constexpr SettingRow writtenAs(std::string_view other) const
    {
        SettingRow row = *this;
        row.writtenName = other;
        return row;
    }
};

inline constexpr int kSettingCount = 260;

namespace SettingRows {

inline constexpr int kMaxNumber = INT_MAX;
inline constexpr int kMaxColour = 0xFFFFFF; // 24-bit RGB, red in the low byte

constexpr SettingRow make(int n, SettingGroup g, std::string_view name, SettingRule rule, SettingKind kind)
{
    SettingRow row;
    row.number = n;
    row.group = g;
    row.name = name;
    row.rule = rule;
    row.kind = kind;
    return row;
}
constexpr SettingRow reserved(int n)
{
    return make(n, SettingGroup::None, {}, SettingRule::Reserved, SettingKind::Number);
}
constexpr SettingRow asRead(int n, SettingGroup g, std::string_view name, int fallback)
{
    SettingRow row = make(n, g, name, SettingRule::AsRead, SettingKind::Number);
    row.defaultNumber = fallback;
    return row;
}
constexpr SettingRow asReadText(int n, SettingGroup g, std::string_view name, std::string_view fallback)
{
    SettingRow row = make(n, g, name, SettingRule::AsRead, SettingKind::Text);
    row.defaultText = fallback;
    return row;
}
constexpr SettingRow range(
    int n, SettingGroup g, std::string_view name, int min, int max, int def, SettingRule rule = SettingRule::Range)
{
    SettingRow row = make(n, g, name, rule, SettingKind::Number);
    row.min = min;
    row.max = max;
    row.defaultNumber = def;
    return row;
}
constexpr SettingRow hundredths(int n, SettingGroup g, std::string_view name, int min, int max, int def)
{
    return range(n, g, name, min, max, def, SettingRule::Hundredths);
}
constexpr SettingRow colour(int n, SettingGroup g, std::string_view name, int def)
{
    return range(n, g, name, 0, kMaxColour, def);
}
constexpr SettingRow boolean(int n, SettingGroup g, std::string_view name, int def)
{
    SettingRow row = make(n, g, name, SettingRule::Boolean, SettingKind::Number);
    row.defaultNumber = def;
    return row;
}
constexpr SettingRow text(int n, SettingGroup g, std::string_view name, std::string_view def)
{
    SettingRow row = make(n, g, name, SettingRule::Text, SettingKind::Text);
    row.defaultText = def;
    return row;
}
constexpr SettingRow sourceFolder(int n, SettingGroup g, std::string_view name)
{
    return make(n, g, name, SettingRule::SourceFolder, SettingKind::Text);
}
constexpr SettingRow posX(int n, SettingGroup g, std::string_view name)
{
    return make(n, g, name, SettingRule::PositionX, SettingKind::Number);
}
constexpr SettingRow posY(int n, SettingGroup g, std::string_view name)
{
    return make(n, g, name, SettingRule::PositionY, SettingKind::Number);
}
constexpr SettingRow logOn(int n, std::string_view writtenName)
{
    return make(n, SettingGroup::Parametres, writtenName, SettingRule::LogOn, SettingKind::Number);
}
constexpr SettingRow logOnAllUsers(int n, std::string_view writtenName)
{
    return make(n, SettingGroup::Parametres, writtenName, SettingRule::LogOnAllUsers, SettingKind::Number);
}

using enum SettingGroup;

// clang-format off
inline constexpr std::array<SettingRow, kSettingCount> kSettings{{
    asRead(0, Parametres, "SourcePP", 0),
    asRead(1, Parametres, "SourceProjet", 0),
    range(2, Parametres, "SourceProjetKey", 0, kMaxNumber, 0),
    sourceFolder(3, Parametres, "Répertoire"),
    asReadText(4, Parametres, "RepOnHelp", ""),
    asRead(5, Parametres, "TileWallpaper", 0),
    range(6, Parametres, "WallpaperStyle", 0, 2, 0),
    range(7, Parametres, "Intervalle", 1, 1440, 30),
    boolean(8, Parametres, "SousRépertoire", -1),
    boolean(9, Parametres, "Economiseur", 0),
    range(10, Parametres, "SizingMode", 0, 3, 0),
    boolean(11, Parametres, "SonActif", -1),
    text(12, Parametres, "FichierSon", "Change1.mp3"),
    range(13, Parametres, "TauxDéformation", 0, 100, 18),
    range(14, Parametres, "TauxCouverture", 1, 100, 50),
    range(15, Parametres, "LastImage", 0, kMaxNumber, 0),
    asRead(16, Parametres, "TypeLCD", 0),
    logOn(17, "Démarrage"),
    logOnAllUsers(18, "AllUser"),
    boolean(19, Parametres, "StartChange", -1),
    boolean(20, Parametres, "StartFirst", 0),
    range(21, Parametres, "SelectRandom", 0, 2, 2),
    range(22, Parametres, "SensLecture", -1, 1, 1),
    range(23, Parametres, "AppliAsoc", 0, 1, 0),
    boolean(24, Parametres, "Splash", 0),
    hundredths(25, Parametres, "TauxTaille", 0, 10000, 100),
    boolean(26, Parametres, "AgranMaxi", 0),
    asRead(27, Parametres, "CentrerMosaique", 0),
    boolean(28, Parametres, "BandeZoom", 0),
    asRead(29, Parametres, "Transparence", 255),
    range(30, Parametres, "MenuOptionDefaut", 0, 17, 0),
    text(31, Parametres, "LastRepImg", ""),
    text(32, Parametres, "LastRepSon", ""),
    text(33, Parametres, "Langue", "FRA"),
    boolean(34, Parametres, "StopSreenSaver", 0),
    boolean(35, Parametres, "BellSilent", 0),
    boolean(36, Parametres, "BellHour15", 0),
    boolean(37, Parametres, "BellHour30", 0),
    boolean(38, Parametres, "BellHour", 0),
    range(39, Parametres, "BellType", 0, 99, 0),
    boolean(40, Parametres, "Animation", -1),
    asRead(41, Parametres, "Styles", 0),
    text(42, Alarme, "LastSound", "Alm2.mp3"),
    text(43, Parametres, "CurrentWallPaper", ""),
    reserved(44),
    reserved(45),
    reserved(46),
    boolean(47, Parametres, "WindowsPos", -1),
    range(48, Parametres, "HKParamMod", 0, 15, 0),
    range(49, Parametres, "HKParamCode", 0, 255, 0),
    range(50, Parametres, "HKAutoMod", 0, 15, 0),
    range(51, Parametres, "HKAutoCode", 0, 255, 0),
    range(52, Parametres, "HKNextWallMod", 0, 15, 0),
    range(53, Parametres, "HKNextWallCode", 0, 255, 0),
    range(54, Parametres, "HKQuickMod", 0, 15, 0),
    range(55, Parametres, "HKQuickCode", 0, 255, 0),
    range(56, Parametres, "HKDiapoMod", 0, 15, 0),
    range(57, Parametres, "HKDiapoCode", 0, 255, 0),
    range(58, Parametres, "HKDiapoAssMod", 0, 15, 0),
    range(59, Parametres, "HKDiapoAssCode", 0, 255, 0),
    range(60, Parametres, "HKAgdMod", 0, 15, 0),
    range(61, Parametres, "HKAgdCode", 0, 255, 0),
    range(62, Parametres, "HKAgdBackMod", 0, 15, 0),
    range(63, Parametres, "HKAgdBackCode", 0, 255, 0),
    range(64, Parametres, "HKNotesMod", 0, 15, 0),
    range(65, Parametres, "HKNotesCode", 0, 255, 0),
    range(66, Parametres, "HKSilentMod", 0, 15, 0),
    range(67, Parametres, "HKSilentCode", 0, 255, 0),
    range(68, Parametres, "HKQuietAllMod", 0, 15, 0),
    range(69, Parametres, "HKQuietAllCode", 0, 255, 0),
    range(70, Parametres, "HKScrSaveMod", 0, 15, 0),
    range(71, Parametres, "HKScrSaveCode", 0, 255, 0),
    range(72, Parametres, "HKAlbumMod", 0, 15, 0),
    range(73, Parametres, "HKAlbumCode", 0, 255, 0),
    range(74, Parametres, "HKCiselorMod", 0, 15, 0),
    range(75, Parametres, "HKCiselorCode", 0, 255, 0),
    reserved(76),
    asRead(77, Parametres, "OnHelp", 0),
    asReadText(78, Parametres, "InstallDir", ""),
    boolean(79, Parametres, "ScreenSaverSilent", -1),
    boolean(80, Parametres, "SPISend", 0),
    reserved(81),
    asRead(82, Parametres, "SessionChange", 0),
    range(83, Agenda, "Transparence", 39, 255, 255),
    colour(84, Agenda, "BackColor", 16777215),
    text(85, Agenda, "WallPaper", "default.jpg"),
    asRead(86, Agenda, "WallPaperStyle", 0),
    colour(87, Agenda, "ForeColor", 0),
    range(88, Agenda, "BackgroundTransp", 39, 255, 60),
    colour(89, Agenda, "TitleColor", 8388608),
    posX(90, Agenda, "PosX"),
    posY(91, Agenda, "PosY"),
    text(92, Agenda, "FontName", "Arial"),
    boolean(93, Agenda, "FontBold", 0),
    range(94, Agenda, "FontSize", 1, 100, 10),
    boolean(95, Agenda, "FontItalic", 0),
    range(96, Agenda, "Largeur", 1, kMaxNumber, 5490),
    range(97, Agenda, "Hauteur", 1, kMaxNumber, 5865),
    range(98, Agenda, "DayStart", 0, 6, 0),
    colour(99, Agenda, "SatSunColor", 16707055),
    colour(100, Agenda, "DayFeriesColor", 10934525),
    colour(101, Agenda, "ChangeColor", 255),
    range(102, Agenda, "WindowState", 0, 2, 0).writtenAs("AgdWindowState"),
    range(103, Alarme, "Offset", 1, 20, 5),
    asRead(104, Alarme, "Transparence", 255),
    colour(105, Alarme, "CouleurAv", 0),
    colour(106, Alarme, "CouleurAr", 8421504),
    text(107, Alarme, "FontName", "Arial"),
    boolean(108, Alarme, "FontBold", -1),
    range(109, Alarme, "FontSize", 1, 100, 26),
    boolean(110, Alarme, "FontItalic", 0),
    boolean(111, Alarme, "FontUnderline", 0),
    colour(112, Alarme, "CouleurFond", 12648447),
    asRead(113, Alarme, "Ombre", 0),
    posX(114, Alarme, "PosX"),
    posY(115, Alarme, "PosY"),
    range(116, Alarme, "Largeur", 1, kMaxNumber, 5070),
    range(117, Alarme, "Hauteur", 1, kMaxNumber, 4770),
    reserved(118),
    reserved(119),
    reserved(120),
    reserved(121),
    reserved(122),
    reserved(123),
    asReadText(124, Orvenne, "PlayListPath", ""),
    asReadText(125, Orvenne, "CommentPath", ""),
    asReadText(126, Orvenne, "ThumbPath", ""),
    reserved(127),
    range(128, Diaporama, "Delay", 2, 300, 5),
    asRead(129, Diaporama, "StartImage", 0),
    asRead(130, Diaporama, "Cycle", 0),
    asRead(131, Diaporama, "UseOrder", 0),
    asRead(132, Diaporama, "Order", 0),
    asRead(133, Diaporama, "ShowGuide", 0),
    asRead(134, Diaporama, "ShowFileName", 0),
    asRead(135, Diaporama, "FileNameFull", 0),
    range(136, Diaporama, "Speed", 1, 50, 15),
    colour(137, Diaporama, "BackColor", 0),
    colour(138, Diaporama, "TopForeColor", 16777215),
    colour(139, Diaporama, "TopBackColor", 0),
    asRead(140, Diaporama, "TopBackStyle", 0),
    asRead(141, Diaporama, "TopAlign", 2),
    text(142, Diaporama, "TopFontName", "Arial"),
    range(143, Diaporama, "TopFontSize", 1, 100, 14),
    boolean(144, Diaporama, "TopFontBold", 0),
    boolean(145, Diaporama, "TopFontItalic", 0),
    boolean(146, Diaporama, "TopFontUnderline", 0),
    colour(147, Diaporama, "BotForeColor", 65535),
    colour(148, Diaporama, "BotBackColor", 0),
    asRead(149, Diaporama, "BotBackStyle", 0),
    asRead(150, Diaporama, "BotAlign", 2),
    text(151, Diaporama, "BotFontName", "MS Sans Serif"),
    range(152, Diaporama, "BotFontSize", 1, 100, 12),
    boolean(153, Diaporama, "BotFontBold", -1),
    boolean(154, Diaporama, "BotFontItalic", 0),
    boolean(155, Diaporama, "BotFontUnder", 0),
    asRead(156, Diaporama, "FromBlack", 0),
    text(157, Diaporama, "LastRepLst", ""),
    range(158, Diaporama, "MultiMonitor", 0, 1, 0),
    asRead(159, Diaporama, "MultiPhotos", 0),
    asRead(160, Diaporama, "QuickAccessEffet", 0),
    text(161, Diaporama, "SoundRep", ""),
    asRead(162, Diaporama, "SoundSRep", 0),
    asRead(163, Diaporama, "Timing", 0),
    asRead(164, Diaporama, "TimingType", 0),
    asRead(165, Diaporama, "TimingTools", 0),
    posX(166, Diaporama, "TimingPosX"),
    posY(167, Diaporama, "TimingPosY"),
    range(168, Diaporama, "TimingLarg", 1, kMaxNumber, 4065),
    range(169, Diaporama, "TimingHaut", 1, kMaxNumber, 645),
    colour(170, Diaporama, "TimingColorFw", 65535),
    colour(171, Diaporama, "TimingColorSh", 0),
    colour(172, Diaporama, "TimingColorBk", 0),
    asRead(173, Diaporama, "TimingHideScr", 0),
    text(174, Diaporama, "LastRepComment", ""),
    text(175, Diaporama, "PlayList", ""),
    range(176, Diaporama, "ProjectKey", 0, kMaxNumber, 0),
    asRead(177, Diaporama, "TypeProject", 0),
    range(178, Diaporama, "ToolsHide", 0, 1, 1),
    range(179, Diaporama, "ToolsSec", 2, 10, 5),
    asRead(180, Diaporama, "TimeHide", 0),
    asRead(181, Diaporama, "Apercu", 0),
    asRead(182, Diaporama, "ApercuMonitor", 0),
    asRead(183, Diaporama, "ApercuStartKey", 0),
    asRead(184, Diaporama, "RecordQuality", 0),
    asRead(185, Diaporama, "AutoAffect", 0),
    asRead(186, Diaporama, "ZoomAuto", 0),
    range(187, Diaporama, "ZoomDepth", 50, 1000, 800),
    range(188, Diaporama, "ZoomMillisec", 10, 1000, 40),
    range(189, Diaporama, "ZoomPas", 1, 20, 2),
    asRead(190, Diaporama, "ZoomAllScreen", 0),
    asRead(191, Diaporama, "ZoomStopBefore", 0),
    asRead(192, Diaporama, "ZoomIntel", 0),
    asRead(193, Diaporama, "LectureSound", 0),
    asRead(194, Diaporama, "PrjNoImage", 0),
    range(195, Diaporama, "DiapoHeight", 60, 135, 130),
    asRead(196, Diaporama, "AutoComName", 0),
    asRead(197, Diaporama, "AutoPlayAfterRecord", 0),
    asRead(198, Diaporama, "AutoPlayBeforeSave", 0),
    asRead(199, Diaporama, "PlayCD", 0),
    asRead(200, Diaporama, "PlayCDBoucle", 0),
    asRead(201, Diaporama, "PlayCDRandom", 0),
    asReadText(202, Diaporama, "PlayCDUnit", ""),
    asReadText(203, Diaporama, "PrjTmpName", ""),
    range(204, Diaporama, "PrjTmpExpo", 2, 300, 5),
    asRead(205, Albums, "FiltreImg", 0),
    asRead(206, Albums, "FiltreDsk", 0),
    asRead(207, Albums, "ImgList", 0),
    range(208, Albums, "DiapoAlbSize", 50, 500, 100),
    range(209, Albums, "DiapoDskSize", 50, 500, 100),
    text(210, Albums, "LastRepImg", ""),
    asRead(211, Albums, "PadSortedBy", 0),
    asRead(212, Albums, "PadSortedSens", 0),
    asRead(213, Albums, "PadSortedKey", 0),
    range(214, Albums, "DiapSortedBy", 1, 7, 1),
    asRead(215, Albums, "DiapSortedSens", 0),
    asRead(216, Albums, "DiapSortedKey", 0),
    asRead(217, Albums, "DskSortedBy", 0),
    asRead(218, Albums, "DskSortedSens", 0),
    asRead(219, Albums, "LastPadSelect", 0),
    asRead(220, Albums, "LastCatSelect", 0),
    range(221, Albums, "PadTitleHeight", 18, 60, 49),
    asRead(222, Albums, "WindowSate", 0),
    posX(223, Albums, "WindowPosX"),
    posY(224, Albums, "WindowPosY"),
    asRead(225, Albums, "WindowWidth", 0),
    asRead(226, Albums, "WindowHeight", 0),
    asRead(227, Albums, "SplitPadWidth", 0),
    asRead(228, Albums, "SplitPadHeight", 0),
    asRead(229, Albums, "SplitAlbWidth", 0),
    asRead(230, Albums, "SplitTvDskHeight", 0),
    asRead(231, Albums, "SplitTitleDskHeight", 0),
    asRead(232, Albums, "SplitFolderWidth", 0),
    boolean(233, Albums, "ShowFolders", -1),
    reserved(234),
    text(235, Ciselor, "LastRepImg", ""),
    asRead(236, Ciselor, "ZoomApercu", 0),
    asRead(237, Ciselor, "ZoomProgress", 0),
    asRead(238, Ciselor, "LoupePosX", 0),
    asRead(239, Ciselor, "LoupePosY", 0),
    asRead(240, Ciselor, "PreviewPosX", 0),
    asRead(241, Ciselor, "PreviewPosY", 0),
    asRead(242, Ciselor, "Theme", 0),
    asRead(243, Ciselor, "ThemeUser", 0),
    asRead(244, Ciselor, "Splash", 0),
    range(245, Ciselor, "ShowBorder", 0, 1, 1),
    asRead(246, Ciselor, "BackupImage", 0),
    text(247, Ciselor, "OpenFileName", ""),
    range(248, Ciselor, "JPEGTaux", 20, 100, 90),
    asRead(249, Assistants, "SndEffect", 0),
    asRead(250, Assistants, "ModAkfForModel", 0),
    asRead(251, Assistants, "ModPlaySound", 0),
    // Added on Linux.
    text(252, Parametres, "BackEndFondEcran", "auto"),
    boolean(253, Parametres, "FondEcranVerrouillage", 0),
    text(254, Agenda, "Pays", "FR"),
    range(255, Agenda, "CoinBureau", 0, 3, 1),
    boolean(256, Agenda, "SurLeBureau", 0),
    boolean(257, Parametres, "SourceAlbum", 0),
    range(258, Parametres, "SourceAlbumKey", 0, kMaxNumber, 0),
    range(259, Parametres, "SourceAlbumPage", 0, kMaxNumber, 0),
}};
// clang-format on

} // namespace SettingRows

/// Every number's row sits at its own index: a misplaced row fails to compile.
consteval bool settingsTableIsOrdered()
{
    for (int i = 0; i < kSettingCount; ++i) {
        if (SettingRows::kSettings[i].number != i)
            return false;
    }
    return true;
}
static_assert(settingsTableIsOrdered(), "kSettings must list its numbers in order");

/// Number of the setting stored as `name` in `group`; an unknown name fails to compile.
consteval int settingNumber(SettingGroup group, std::string_view name)
{
    for (const SettingRow& row : SettingRows::kSettings) {
        if (row.group == group && row.name == name)
            return row.number;
    }
    throw "unknown setting name";
}

/// The row of `number`, or nullptr outside the table.
const SettingRow* settingRow(int number);

/// Named setting numbers. Names that occur under several keys carry the key's prefix:
/// Agd (Agenda), Alm (Alarme), Diapo (Diaporama), Alb (Albums), Cis (Ciselor), Assist (Assistants).
namespace SettingNo {
using enum SettingGroup;
// clang-format off
inline constexpr int SourcePP = settingNumber(Parametres, "SourcePP");
inline constexpr int SourceProjet = settingNumber(Parametres, "SourceProjet");
inline constexpr int SourceProjetKey = settingNumber(Parametres, "SourceProjetKey");
inline constexpr int Repertoire = settingNumber(Parametres, "Répertoire");
inline constexpr int RepOnHelp = settingNumber(Parametres, "RepOnHelp");
inline constexpr int TileWallpaper = settingNumber(Parametres, "TileWallpaper");
inline constexpr int WallpaperStyle = settingNumber(Parametres, "WallpaperStyle");
inline constexpr int Intervalle = settingNumber(Parametres, "Intervalle");
inline constexpr int SousRepertoire = settingNumber(Parametres, "SousRépertoire");
inline constexpr int Economiseur = settingNumber(Parametres, "Economiseur");
inline constexpr int SizingMode = settingNumber(Parametres, "SizingMode");
inline constexpr int SonActif = settingNumber(Parametres, "SonActif");
inline constexpr int FichierSon = settingNumber(Parametres, "FichierSon");
inline constexpr int TauxDeformation = settingNumber(Parametres, "TauxDéformation");
inline constexpr int TauxCouverture = settingNumber(Parametres, "TauxCouverture");
inline constexpr int LastImage = settingNumber(Parametres, "LastImage");
inline constexpr int TypeLCD = settingNumber(Parametres, "TypeLCD");
inline constexpr int Demarrage = settingNumber(Parametres, "Démarrage");
inline constexpr int AllUser = settingNumber(Parametres, "AllUser");
inline constexpr int StartChange = settingNumber(Parametres, "StartChange");
inline constexpr int StartFirst = settingNumber(Parametres, "StartFirst");
inline constexpr int SelectRandom = settingNumber(Parametres, "SelectRandom");
inline constexpr int SensLecture = settingNumber(Parametres, "SensLecture");
inline constexpr int AppliAsoc = settingNumber(Parametres, "AppliAsoc");
inline constexpr int Splash = settingNumber(Parametres, "Splash");
inline constexpr int TauxTaille = settingNumber(Parametres, "TauxTaille");
inline constexpr int AgranMaxi = settingNumber(Parametres, "AgranMaxi");
inline constexpr int CentrerMosaique = settingNumber(Parametres, "CentrerMosaique");
inline constexpr int BandeZoom = settingNumber(Parametres, "BandeZoom");
inline constexpr int Transparence = settingNumber(Parametres, "Transparence");
inline constexpr int MenuOptionDefaut = settingNumber(Parametres, "MenuOptionDefaut");
inline constexpr int LastRepImg = settingNumber(Parametres, "LastRepImg");
inline constexpr int LastRepSon = settingNumber(Parametres, "LastRepSon");
inline constexpr int Langue = settingNumber(Parametres, "Langue");
inline constexpr int StopSreenSaver = settingNumber(Parametres, "StopSreenSaver");
inline constexpr int BellSilent = settingNumber(Parametres, "BellSilent");
inline constexpr int BellHour15 = settingNumber(Parametres, "BellHour15");
inline constexpr int BellHour30 = settingNumber(Parametres, "BellHour30");
inline constexpr int BellHour = settingNumber(Parametres, "BellHour");
inline constexpr int BellType = settingNumber(Parametres, "BellType");
inline constexpr int Animation = settingNumber(Parametres, "Animation");
inline constexpr int Styles = settingNumber(Parametres, "Styles");
inline constexpr int LastSound = settingNumber(Alarme, "LastSound");
inline constexpr int CurrentWallPaper = settingNumber(Parametres, "CurrentWallPaper");
inline constexpr int WindowsPos = settingNumber(Parametres, "WindowsPos");
inline constexpr int HKParamMod = settingNumber(Parametres, "HKParamMod");
inline constexpr int HKParamCode = settingNumber(Parametres, "HKParamCode");
inline constexpr int HKAutoMod = settingNumber(Parametres, "HKAutoMod");
inline constexpr int HKAutoCode = settingNumber(Parametres, "HKAutoCode");
inline constexpr int HKNextWallMod = settingNumber(Parametres, "HKNextWallMod");
inline constexpr int HKNextWallCode = settingNumber(Parametres, "HKNextWallCode");
inline constexpr int HKQuickMod = settingNumber(Parametres, "HKQuickMod");
inline constexpr int HKQuickCode = settingNumber(Parametres, "HKQuickCode");
inline constexpr int HKDiapoMod = settingNumber(Parametres, "HKDiapoMod");
inline constexpr int HKDiapoCode = settingNumber(Parametres, "HKDiapoCode");
inline constexpr int HKDiapoAssMod = settingNumber(Parametres, "HKDiapoAssMod");
inline constexpr int HKDiapoAssCode = settingNumber(Parametres, "HKDiapoAssCode");
inline constexpr int HKAgdMod = settingNumber(Parametres, "HKAgdMod");
inline constexpr int HKAgdCode = settingNumber(Parametres, "HKAgdCode");
inline constexpr int HKAgdBackMod = settingNumber(Parametres, "HKAgdBackMod");
inline constexpr int HKAgdBackCode = settingNumber(Parametres, "HKAgdBackCode");
inline constexpr int HKNotesMod = settingNumber(Parametres, "HKNotesMod");
inline constexpr int HKNotesCode = settingNumber(Parametres, "HKNotesCode");
inline constexpr int HKSilentMod = settingNumber(Parametres, "HKSilentMod");
inline constexpr int HKSilentCode = settingNumber(Parametres, "HKSilentCode");
inline constexpr int HKQuietAllMod = settingNumber(Parametres, "HKQuietAllMod");
inline constexpr int HKQuietAllCode = settingNumber(Parametres, "HKQuietAllCode");
inline constexpr int HKScrSaveMod = settingNumber(Parametres, "HKScrSaveMod");
inline constexpr int HKScrSaveCode = settingNumber(Parametres, "HKScrSaveCode");
inline constexpr int HKAlbumMod = settingNumber(Parametres, "HKAlbumMod");
inline constexpr int HKAlbumCode = settingNumber(Parametres, "HKAlbumCode");
inline constexpr int HKCiselorMod = settingNumber(Parametres, "HKCiselorMod");
inline constexpr int HKCiselorCode = settingNumber(Parametres, "HKCiselorCode");
inline constexpr int OnHelp = settingNumber(Parametres, "OnHelp");
inline constexpr int InstallDir = settingNumber(Parametres, "InstallDir");
inline constexpr int ScreenSaverSilent = settingNumber(Parametres, "ScreenSaverSilent");
inline constexpr int SPISend = settingNumber(Parametres, "SPISend");
inline constexpr int SessionChange = settingNumber(Parametres, "SessionChange");
inline constexpr int AgdTransparence = settingNumber(Agenda, "Transparence");
inline constexpr int AgdBackColor = settingNumber(Agenda, "BackColor");
inline constexpr int AgdWallPaper = settingNumber(Agenda, "WallPaper");
inline constexpr int AgdWallPaperStyle = settingNumber(Agenda, "WallPaperStyle");
inline constexpr int AgdForeColor = settingNumber(Agenda, "ForeColor");
inline constexpr int AgdBackgroundTransp = settingNumber(Agenda, "BackgroundTransp");
inline constexpr int AgdTitleColor = settingNumber(Agenda, "TitleColor");
inline constexpr int AgdPosX = settingNumber(Agenda, "PosX");
inline constexpr int AgdPosY = settingNumber(Agenda, "PosY");
inline constexpr int AgdFontName = settingNumber(Agenda, "FontName");
inline constexpr int AgdFontBold = settingNumber(Agenda, "FontBold");
inline constexpr int AgdFontSize = settingNumber(Agenda, "FontSize");
inline constexpr int AgdFontItalic = settingNumber(Agenda, "FontItalic");
inline constexpr int AgdLargeur = settingNumber(Agenda, "Largeur");
inline constexpr int AgdHauteur = settingNumber(Agenda, "Hauteur");
inline constexpr int AgdDayStart = settingNumber(Agenda, "DayStart");
inline constexpr int AgdSatSunColor = settingNumber(Agenda, "SatSunColor");
inline constexpr int AgdDayFeriesColor = settingNumber(Agenda, "DayFeriesColor");
inline constexpr int AgdChangeColor = settingNumber(Agenda, "ChangeColor");
inline constexpr int AgdWindowState = settingNumber(Agenda, "WindowState");
inline constexpr int AgdPays = settingNumber(Agenda, "Pays");
inline constexpr int AgdCoinBureau = settingNumber(Agenda, "CoinBureau");
inline constexpr int AgdSurLeBureau = settingNumber(Agenda, "SurLeBureau");
inline constexpr int AlmOffset = settingNumber(Alarme, "Offset");
inline constexpr int AlmTransparence = settingNumber(Alarme, "Transparence");
inline constexpr int AlmCouleurAv = settingNumber(Alarme, "CouleurAv");
inline constexpr int AlmCouleurAr = settingNumber(Alarme, "CouleurAr");
inline constexpr int AlmFontName = settingNumber(Alarme, "FontName");
inline constexpr int AlmFontBold = settingNumber(Alarme, "FontBold");
inline constexpr int AlmFontSize = settingNumber(Alarme, "FontSize");
inline constexpr int AlmFontItalic = settingNumber(Alarme, "FontItalic");
inline constexpr int AlmFontUnderline = settingNumber(Alarme, "FontUnderline");
inline constexpr int AlmCouleurFond = settingNumber(Alarme, "CouleurFond");
inline constexpr int AlmOmbre = settingNumber(Alarme, "Ombre");
inline constexpr int AlmPosX = settingNumber(Alarme, "PosX");
inline constexpr int AlmPosY = settingNumber(Alarme, "PosY");
inline constexpr int AlmLargeur = settingNumber(Alarme, "Largeur");
inline constexpr int AlmHauteur = settingNumber(Alarme, "Hauteur");
inline constexpr int PlayListPath = settingNumber(Orvenne, "PlayListPath");
inline constexpr int CommentPath = settingNumber(Orvenne, "CommentPath");
inline constexpr int ThumbPath = settingNumber(Orvenne, "ThumbPath");
inline constexpr int DiapoDelay = settingNumber(Diaporama, "Delay");
inline constexpr int DiapoStartImage = settingNumber(Diaporama, "StartImage");
inline constexpr int DiapoCycle = settingNumber(Diaporama, "Cycle");
inline constexpr int DiapoUseOrder = settingNumber(Diaporama, "UseOrder");
inline constexpr int DiapoOrder = settingNumber(Diaporama, "Order");
inline constexpr int DiapoShowGuide = settingNumber(Diaporama, "ShowGuide");
inline constexpr int DiapoShowFileName = settingNumber(Diaporama, "ShowFileName");
inline constexpr int DiapoFileNameFull = settingNumber(Diaporama, "FileNameFull");
inline constexpr int DiapoSpeed = settingNumber(Diaporama, "Speed");
inline constexpr int DiapoBackColor = settingNumber(Diaporama, "BackColor");
inline constexpr int DiapoTopForeColor = settingNumber(Diaporama, "TopForeColor");
inline constexpr int DiapoTopBackColor = settingNumber(Diaporama, "TopBackColor");
inline constexpr int DiapoTopBackStyle = settingNumber(Diaporama, "TopBackStyle");
inline constexpr int DiapoTopAlign = settingNumber(Diaporama, "TopAlign");
inline constexpr int DiapoTopFontName = settingNumber(Diaporama, "TopFontName");
inline constexpr int DiapoTopFontSize = settingNumber(Diaporama, "TopFontSize");
inline constexpr int DiapoTopFontBold = settingNumber(Diaporama, "TopFontBold");
inline constexpr int DiapoTopFontItalic = settingNumber(Diaporama, "TopFontItalic");
inline constexpr int DiapoTopFontUnderline = settingNumber(Diaporama, "TopFontUnderline");
inline constexpr int DiapoBotForeColor = settingNumber(Diaporama, "BotForeColor");
inline constexpr int DiapoBotBackColor = settingNumber(Diaporama, "BotBackColor");
inline constexpr int DiapoBotBackStyle = settingNumber(Diaporama, "BotBackStyle");
inline constexpr int DiapoBotAlign = settingNumber(Diaporama, "BotAlign");
inline constexpr int DiapoBotFontName = settingNumber(Diaporama, "BotFontName");
inline constexpr int DiapoBotFontSize = settingNumber(Diaporama, "BotFontSize");
inline constexpr int DiapoBotFontBold = settingNumber(Diaporama, "BotFontBold");
inline constexpr int DiapoBotFontItalic = settingNumber(Diaporama, "BotFontItalic");
inline constexpr int DiapoBotFontUnder = settingNumber(Diaporama, "BotFontUnder");
inline constexpr int DiapoFromBlack = settingNumber(Diaporama, "FromBlack");
inline constexpr int DiapoLastRepLst = settingNumber(Diaporama, "LastRepLst");
inline constexpr int DiapoMultiMonitor = settingNumber(Diaporama, "MultiMonitor");
inline constexpr int DiapoMultiPhotos = settingNumber(Diaporama, "MultiPhotos");
inline constexpr int DiapoQuickAccessEffet = settingNumber(Diaporama, "QuickAccessEffet");
inline constexpr int DiapoSoundRep = settingNumber(Diaporama, "SoundRep");
inline constexpr int DiapoSoundSRep = settingNumber(Diaporama, "SoundSRep");
inline constexpr int DiapoTiming = settingNumber(Diaporama, "Timing");
inline constexpr int DiapoTimingType = settingNumber(Diaporama, "TimingType");
inline constexpr int DiapoTimingTools = settingNumber(Diaporama, "TimingTools");
inline constexpr int DiapoTimingPosX = settingNumber(Diaporama, "TimingPosX");
inline constexpr int DiapoTimingPosY = settingNumber(Diaporama, "TimingPosY");
inline constexpr int DiapoTimingLarg = settingNumber(Diaporama, "TimingLarg");
inline constexpr int DiapoTimingHaut = settingNumber(Diaporama, "TimingHaut");
inline constexpr int DiapoTimingColorFw = settingNumber(Diaporama, "TimingColorFw");
inline constexpr int DiapoTimingColorSh = settingNumber(Diaporama, "TimingColorSh");
inline constexpr int DiapoTimingColorBk = settingNumber(Diaporama, "TimingColorBk");
inline constexpr int DiapoTimingHideScr = settingNumber(Diaporama, "TimingHideScr");
inline constexpr int DiapoLastRepComment = settingNumber(Diaporama, "LastRepComment");
inline constexpr int DiapoPlayList = settingNumber(Diaporama, "PlayList");
inline constexpr int DiapoProjectKey = settingNumber(Diaporama, "ProjectKey");
inline constexpr int DiapoTypeProject = settingNumber(Diaporama, "TypeProject");
inline constexpr int DiapoToolsHide = settingNumber(Diaporama, "ToolsHide");
inline constexpr int DiapoToolsSec = settingNumber(Diaporama, "ToolsSec");
inline constexpr int DiapoTimeHide = settingNumber(Diaporama, "TimeHide");
inline constexpr int DiapoApercu = settingNumber(Diaporama, "Apercu");
inline constexpr int DiapoApercuMonitor = settingNumber(Diaporama, "ApercuMonitor");
inline constexpr int DiapoApercuStartKey = settingNumber(Diaporama, "ApercuStartKey");
inline constexpr int DiapoRecordQuality = settingNumber(Diaporama, "RecordQuality");
inline constexpr int DiapoAutoAffect = settingNumber(Diaporama, "AutoAffect");
inline constexpr int DiapoZoomAuto = settingNumber(Diaporama, "ZoomAuto");
inline constexpr int DiapoZoomDepth = settingNumber(Diaporama, "ZoomDepth");
inline constexpr int DiapoZoomMillisec = settingNumber(Diaporama, "ZoomMillisec");
inline constexpr int DiapoZoomPas = settingNumber(Diaporama, "ZoomPas");
inline constexpr int DiapoZoomAllScreen = settingNumber(Diaporama, "ZoomAllScreen");
inline constexpr int DiapoZoomStopBefore = settingNumber(Diaporama, "ZoomStopBefore");
inline constexpr int DiapoZoomIntel = settingNumber(Diaporama, "ZoomIntel");
inline constexpr int DiapoLectureSound = settingNumber(Diaporama, "LectureSound");
inline constexpr int DiapoPrjNoImage = settingNumber(Diaporama, "PrjNoImage");
inline constexpr int DiapoDiapoHeight = settingNumber(Diaporama, "DiapoHeight");
inline constexpr int DiapoAutoComName = settingNumber(Diaporama, "AutoComName");
inline constexpr int DiapoAutoPlayAfterRecord = settingNumber(Diaporama, "AutoPlayAfterRecord");
inline constexpr int DiapoAutoPlayBeforeSave = settingNumber(Diaporama, "AutoPlayBeforeSave");
inline constexpr int DiapoPlayCD = settingNumber(Diaporama, "PlayCD");
inline constexpr int DiapoPlayCDBoucle = settingNumber(Diaporama, "PlayCDBoucle");
inline constexpr int DiapoPlayCDRandom = settingNumber(Diaporama, "PlayCDRandom");
inline constexpr int DiapoPlayCDUnit = settingNumber(Diaporama, "PlayCDUnit");
inline constexpr int DiapoPrjTmpName = settingNumber(Diaporama, "PrjTmpName");
inline constexpr int DiapoPrjTmpExpo = settingNumber(Diaporama, "PrjTmpExpo");
inline constexpr int AlbFiltreImg = settingNumber(Albums, "FiltreImg");
inline constexpr int AlbFiltreDsk = settingNumber(Albums, "FiltreDsk");
inline constexpr int AlbImgList = settingNumber(Albums, "ImgList");
inline constexpr int AlbDiapoAlbSize = settingNumber(Albums, "DiapoAlbSize");
inline constexpr int AlbDiapoDskSize = settingNumber(Albums, "DiapoDskSize");
inline constexpr int AlbLastRepImg = settingNumber(Albums, "LastRepImg");
inline constexpr int AlbPadSortedBy = settingNumber(Albums, "PadSortedBy");
inline constexpr int AlbPadSortedSens = settingNumber(Albums, "PadSortedSens");
inline constexpr int AlbPadSortedKey = settingNumber(Albums, "PadSortedKey");
inline constexpr int AlbDiapSortedBy = settingNumber(Albums, "DiapSortedBy");
inline constexpr int AlbDiapSortedSens = settingNumber(Albums, "DiapSortedSens");
inline constexpr int AlbDiapSortedKey = settingNumber(Albums, "DiapSortedKey");
inline constexpr int AlbDskSortedBy = settingNumber(Albums, "DskSortedBy");
inline constexpr int AlbDskSortedSens = settingNumber(Albums, "DskSortedSens");
inline constexpr int AlbLastPadSelect = settingNumber(Albums, "LastPadSelect");
inline constexpr int AlbLastCatSelect = settingNumber(Albums, "LastCatSelect");
inline constexpr int AlbPadTitleHeight = settingNumber(Albums, "PadTitleHeight");
inline constexpr int AlbWindowSate = settingNumber(Albums, "WindowSate");
inline constexpr int AlbWindowPosX = settingNumber(Albums, "WindowPosX");
inline constexpr int AlbWindowPosY = settingNumber(Albums, "WindowPosY");
inline constexpr int AlbWindowWidth = settingNumber(Albums, "WindowWidth");
inline constexpr int AlbWindowHeight = settingNumber(Albums, "WindowHeight");
inline constexpr int AlbSplitPadWidth = settingNumber(Albums, "SplitPadWidth");
inline constexpr int AlbSplitPadHeight = settingNumber(Albums, "SplitPadHeight");
inline constexpr int AlbSplitAlbWidth = settingNumber(Albums, "SplitAlbWidth");
inline constexpr int AlbSplitTvDskHeight = settingNumber(Albums, "SplitTvDskHeight");
inline constexpr int AlbSplitTitleDskHeight = settingNumber(Albums, "SplitTitleDskHeight");
inline constexpr int AlbSplitFolderWidth = settingNumber(Albums, "SplitFolderWidth");
inline constexpr int AlbShowFolders = settingNumber(Albums, "ShowFolders");
inline constexpr int CisLastRepImg = settingNumber(Ciselor, "LastRepImg");
inline constexpr int CisZoomApercu = settingNumber(Ciselor, "ZoomApercu");
inline constexpr int CisZoomProgress = settingNumber(Ciselor, "ZoomProgress");
inline constexpr int CisLoupePosX = settingNumber(Ciselor, "LoupePosX");
inline constexpr int CisLoupePosY = settingNumber(Ciselor, "LoupePosY");
inline constexpr int CisPreviewPosX = settingNumber(Ciselor, "PreviewPosX");
inline constexpr int CisPreviewPosY = settingNumber(Ciselor, "PreviewPosY");
inline constexpr int CisTheme = settingNumber(Ciselor, "Theme");
inline constexpr int CisThemeUser = settingNumber(Ciselor, "ThemeUser");
inline constexpr int CisSplash = settingNumber(Ciselor, "Splash");
inline constexpr int CisShowBorder = settingNumber(Ciselor, "ShowBorder");
inline constexpr int CisBackupImage = settingNumber(Ciselor, "BackupImage");
inline constexpr int CisOpenFileName = settingNumber(Ciselor, "OpenFileName");
inline constexpr int CisJPEGTaux = settingNumber(Ciselor, "JPEGTaux");
inline constexpr int AssistSndEffect = settingNumber(Assistants, "SndEffect");
inline constexpr int AssistModAkfForModel = settingNumber(Assistants, "ModAkfForModel");
inline constexpr int AssistModPlaySound = settingNumber(Assistants, "ModPlaySound");
inline constexpr int BackEndFondEcran = settingNumber(Parametres, "BackEndFondEcran");
inline constexpr int FondEcranVerrouillage = settingNumber(Parametres, "FondEcranVerrouillage");
inline constexpr int SourceAlbum = settingNumber(Parametres, "SourceAlbum");
inline constexpr int SourceAlbumKey = settingNumber(Parametres, "SourceAlbumKey");
inline constexpr int SourceAlbumPage = settingNumber(Parametres, "SourceAlbumPage");
// clang-format on
} // namespace SettingNo
