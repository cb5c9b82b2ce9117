#include "Autostart.h"
#include "ClsRegistry.h"
#include "SettingsFileGuard.h"
#include "TempXdgHome.h"

#include <QDir>
#include <QStandardPaths>
#include <QtTest>

// Two screens side by side, the left one at negative x, at 96 dpi.
const ScreenExtent kTwoScreens {QRect(-1920, 0, 3840, 1080), 15.0};

namespace {

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

// The lines of the INI section `header` of a file's text.
QStringList sectionLines(const QString& text, const QStringList& headers)
{
    QStringList lines;
    bool inside = false;
    for (const QString& line : text.split(QLatin1Char('\n'))) {
        if (line.startsWith(QLatin1Char('[')))
            inside = headers.contains(line);
        else if (inside && !line.isEmpty())
            lines << line;
    }
    return lines;
}

// Qt escapes non-ASCII group names; a hand-written file uses them plainly. Both name the group.
const QStringList kParametresHeaders {QStringLiteral("[Param%E8tres]"), QStringLiteral("[Paramètres]")};

const QString kPicturesMarker = QStringLiteral("<Pictures>");

QString numberText(qint64 number)
{
    return QString::number(number);
}

} // namespace

class TstSettings : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void everyRow_data();
    void everyRow();
    void edgeCases_data();
    void edgeCases();
    void positions_data();
    void positions();
    void logOnAsymmetry();
    void calendarWindowStateAsymmetry();
    void oddSpellingsInFile();
    void nonAsciiRoundTrip();
    void handEditedUtf8File();
    void corruptFile_data();
    void corruptFile();
    void preview();

private:
    void addRowCases(const SettingRow& row);
    std::unique_ptr<TempXdgHome> m_home;
    std::unique_ptr<ClsRegistry> m_registry;
};

void TstSettings::init()
{
    m_home = std::make_unique<TempXdgHome>();
    QVERIFY(m_home->isValid());
    m_registry = std::make_unique<ClsRegistry>([] { return std::optional<ScreenExtent>(kTwoScreens); });
}

void TstSettings::cleanup()
{
    m_registry.reset();
    m_home.reset();
}

// For every row: a good value (through set()), then out-of-range, empty, junk and missing values as a
// settings file holds them (texts).
void TstSettings::addRowCases(const SettingRow& row)
{
    const int n = row.number;
    const QVariant def = row.kind == SettingKind::Text
        ? QVariant(QString::fromUtf8(row.defaultText.data(), qsizetype(row.defaultText.size())))
        : QVariant(row.defaultNumber);
    auto add = [&](const char* what, const QVariant& stored, const QVariant& expected, bool viaSet = false) {
        QTest::addRow("%d %s %s", n, row.name.empty() ? "-" : row.name.data(), what)
            << n << stored << expected << viaSet;
    };
    const QVariant missing;
    switch (row.rule) {
    case SettingRule::Reserved:
        add("reserved", QStringLiteral("5"), QVariant(), true);
        break;
    case SettingRule::Range:
    case SettingRule::Hundredths: {
        const bool h = row.rule == SettingRule::Hundredths;
        auto out = [h](int v) { return h ? QVariant(v / 100.0) : QVariant(v); };
        add("min", row.min, out(row.min), n != SettingNo::AgdWindowState);
        add("max", numberText(row.max), out(row.max));
        add("below", numberText(qint64(row.min) - 1), out(row.defaultNumber));
        add("above", numberText(qint64(row.max) + 1), out(row.defaultNumber));
        add("empty", QString(), out(row.defaultNumber));
        add("junk", QStringLiteral("abc"), out(row.defaultNumber));
        add("missing", missing, out(row.defaultNumber));
        break;
    }
    case SettingRule::Boolean:
        add("true", true, -1, true);
        add("false", QStringLiteral("0"), 0);
        add("one", QStringLiteral("1"), def);
        add("empty", QString(), def);
        add("Yes", QStringLiteral("Yes"), def);
        add("missing", missing, def);
        break;
    case SettingRule::Text:
        add("text", QStringLiteral("Été 1"), QStringLiteral("Été 1"), true);
        add("empty", QString(), def);
        add("blank", QStringLiteral("   "), def);
        add("missing", missing, def);
        break;
    case SettingRule::SourceFolder: {
        const QString pictures = kPicturesMarker; // resolved in the test's own home
        add("folder", QStringLiteral("/srv/photos"), QStringLiteral("/srv/photos"), true);
        add("empty", QString(), pictures);
        add("zero", QStringLiteral("0"), pictures);
        break;
    }
    case SettingRule::PositionX:
    case SettingRule::PositionY: {
        const bool x = row.rule == SettingRule::PositionX;
        const int fallback = x ? kTwoScreens.defaultX() : kTwoScreens.defaultY();
        add("inside", x ? -28800 : 0, x ? -28800 : 0, true);
        add("outside", numberText(x ? 28800 : 16200), fallback);
        add("empty", QString(), fallback);
        add("junk", QStringLiteral("abc"), fallback);
        break;
    }
    case SettingRule::AsRead:
        if (row.kind == SettingKind::Number) {
            add("number", 7, 7, true);
            add("number text", QStringLiteral("-1"), -1);
            add("junk kept", QStringLiteral("abc"), QStringLiteral("abc"));
        } else {
            add("text", QStringLiteral("/a b"), QStringLiteral("/a b"), true);
        }
        add("missing", missing, def);
        break;
    case SettingRule::LogOn:
    case SettingRule::LogOnAllUsers:
        break; // read from the autostart entry: logOnAsymmetry()
    }
}

void TstSettings::everyRow_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<QVariant>("expected");
    QTest::addColumn<bool>("viaSet");
    for (const SettingRow& row : SettingRows::kSettings)
        addRowCases(row);
}

void TstSettings::everyRow()
{
    QFETCH(int, number);
    QFETCH(QVariant, stored);
    QFETCH(QVariant, expected);
    QFETCH(bool, viaSet);
    const SettingRow& row = *settingRow(number);
    if (row.rule == SettingRule::Reserved) {
        QVERIFY(!m_registry->set(number, stored));
        QVERIFY(!m_registry->get(number).isValid());
        return;
    }
    const QString name = QString::fromUtf8(row.name.data(), qsizetype(row.name.size()));
    if (viaSet)
        QVERIFY(m_registry->set(number, stored));
    else if (stored.isValid())
        m_registry->setRawValue(row.group, name, stored);
    else
        m_registry->deleteValue(row.group, name);
    if (expected == QVariant(kPicturesMarker))
        expected = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    const QVariant got = m_registry->get(number);
    QCOMPARE(got.metaType(), expected.metaType());
    QCOMPARE(got, expected);
}

void TstSettings::edgeCases_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<QVariant>("expected");
    QTest::newRow("Intervalle 0") << SettingNo::Intervalle << QVariant(0) << QVariant(30);
    QTest::newRow("Intervalle 1441") << SettingNo::Intervalle << QVariant(1441) << QVariant(30);
    QTest::newRow("Intervalle abc") << SettingNo::Intervalle << QVariant(QStringLiteral("abc")) << QVariant(30);
    QTest::newRow("Intervalle 1") << SettingNo::Intervalle << QVariant(1) << QVariant(1);
    QTest::newRow("Intervalle 1440") << SettingNo::Intervalle << QVariant(QStringLiteral("1440")) << QVariant(1440);
    QTest::newRow("Intervalle 12.5 half to even")
        << SettingNo::Intervalle << QVariant(QStringLiteral("12.5")) << QVariant(12);
    QTest::newRow("Intervalle padded") << SettingNo::Intervalle << QVariant(QStringLiteral(" 45 ")) << QVariant(45);
    QTest::newRow("TauxDéformation 101") << SettingNo::TauxDeformation << QVariant(101) << QVariant(18);
    QTest::newRow("TauxCouverture 0") << SettingNo::TauxCouverture << QVariant(0) << QVariant(50);
    QTest::newRow("TauxTaille 250") << SettingNo::TauxTaille << QVariant(250) << QVariant(2.5);
    QTest::newRow("TauxTaille missing") << SettingNo::TauxTaille << QVariant() << QVariant(1.0);
    QTest::newRow("Langue empty") << SettingNo::Langue << QVariant(QString()) << QVariant(QStringLiteral("FRA"));
    QTest::newRow("Langue blank") << SettingNo::Langue << QVariant(QStringLiteral("  "))
                                  << QVariant(QStringLiteral("FRA"));
    QTest::newRow("Langue kept untrimmed")
        << SettingNo::Langue << QVariant(QStringLiteral(" ENG")) << QVariant(QStringLiteral(" ENG"));
    QTest::newRow("FichierSon empty") << SettingNo::FichierSon << QVariant(QString())
                                      << QVariant(QStringLiteral("Change1.mp3"));
    QTest::newRow("LastSound missing") << SettingNo::LastSound << QVariant() << QVariant(QStringLiteral("Alm2.mp3"));
    QTest::newRow("Intervalle missing") << SettingNo::Intervalle << QVariant() << QVariant(30);
}

void TstSettings::edgeCases()
{
    QFETCH(int, number);
    QFETCH(QVariant, stored);
    QFETCH(QVariant, expected);
    if (stored.isValid())
        QVERIFY(m_registry->set(number, stored));
    QCOMPARE(m_registry->get(number), expected);
}

void TstSettings::positions_data()
{
    QTest::addColumn<QRect>("pixels");
    QTest::addColumn<double>("twipsPerPixel");
    QTest::addColumn<bool>("known");
    QTest::addColumn<int>("number");
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<int>("expected");
    const QRect wide(-1920, 0, 3840, 1080);
    QTest::newRow("left edge of left screen")
        << wide << 15.0 << true << SettingNo::AgdPosX << QVariant(-28800) << -28800;
    QTest::newRow("one pixel further left") << wide << 15.0 << true << SettingNo::AgdPosX << QVariant(-28815) << -27360;
    QTest::newRow("32 px left at the right")
        << wide << 15.0 << true << SettingNo::AlbWindowPosX << QVariant(28320) << 28320;
    QTest::newRow("31 px left at the right")
        << wide << 15.0 << true << SettingNo::AlbWindowPosX << QVariant(28335) << -27360;
    QTest::newRow("bottom limit") << wide << 15.0 << true << SettingNo::AlmPosY << QVariant(15720) << 15720;
    QTest::newRow("below the bottom") << wide << 15.0 << true << SettingNo::AlmPosY << QVariant(15735) << 1440;
    QTest::newRow("144 dpi inside") << QRect(0, 0, 2560, 1440) << 10.0 << true << SettingNo::DiapoTimingPosY
                                    << QVariant(14080) << 14080;
    QTest::newRow("144 dpi outside") << QRect(0, 0, 2560, 1440) << 10.0 << true << SettingNo::DiapoTimingPosY
                                     << QVariant(14090) << 1440;
    QTest::newRow("no screens: kept") << QRect() << 15.0 << false << SettingNo::AgdPosX << QVariant(999999) << 999999;
    QTest::newRow("no screens: empty") << QRect() << 15.0 << false << SettingNo::AgdPosY << QVariant(QString()) << 1440;
}

void TstSettings::positions()
{
    QFETCH(QRect, pixels);
    QFETCH(double, twipsPerPixel);
    QFETCH(bool, known);
    QFETCH(int, number);
    QFETCH(QVariant, stored);
    QFETCH(int, expected);
    m_registry->setScreenExtentProvider([=]() -> std::optional<ScreenExtent> {
        if (!known)
            return std::nullopt;
        return ScreenExtent {pixels, twipsPerPixel};
    });
    m_registry->set(number, stored);
    QCOMPARE(m_registry->get(number), QVariant(expected));
}

void TstSettings::logOnAsymmetry()
{
    QCOMPARE(m_registry->get(SettingNo::Demarrage), QVariant(0));
    QCOMPARE(m_registry->get(SettingNo::AllUser), QVariant(0));
    QVERIFY(Autostart::add(QStringLiteral("/usr/bin/tapisol")));
    QCOMPARE(m_registry->get(SettingNo::Demarrage), QVariant(-1));
    QCOMPARE(m_registry->get(SettingNo::AllUser), QVariant(1));

    // Written under their own names, never read back from there.
    QVERIFY(Autostart::remove());
    m_registry->set(SettingNo::Demarrage, true);
    m_registry->set(SettingNo::AllUser, 1);
    QCOMPARE(m_registry->rawValue(SettingGroup::Parametres, QStringLiteral("Démarrage")), QVariant(-1));
    QCOMPARE(m_registry->rawValue(SettingGroup::Parametres, QStringLiteral("AllUser")), QVariant(1));
    QCOMPARE(m_registry->get(SettingNo::Demarrage), QVariant(0));
    QCOMPARE(m_registry->get(SettingNo::AllUser), QVariant(0));
}

void TstSettings::calendarWindowStateAsymmetry()
{
    m_registry->set(SettingNo::AgdWindowState, 2);
    QCOMPARE(m_registry->rawValue(SettingGroup::Agenda, QStringLiteral("AgdWindowState")), QVariant(2));
    QCOMPARE(m_registry->get(SettingNo::AgdWindowState), QVariant(0));
    m_registry->setRawValue(SettingGroup::Agenda, QStringLiteral("WindowState"), 1);
    QCOMPARE(m_registry->get(SettingNo::AgdWindowState), QVariant(1));
}

void TstSettings::oddSpellingsInFile()
{
    m_registry->set(SettingNo::StopSreenSaver, true);
    m_registry->set(SettingNo::AlbWindowSate, 2);
    m_registry->set(SettingNo::LastSound, QStringLiteral("Cloche.mp3"));
    QVERIFY(m_registry->sync());
    const QString text = QString::fromUtf8(readFile(ClsRegistryBase::tapisolFilePath()));
    QVERIFY2(sectionLines(text, kParametresHeaders).contains(QStringLiteral("StopSreenSaver=-1")), qPrintable(text));
    QVERIFY(sectionLines(text, {QStringLiteral("[Albums]")}).contains(QStringLiteral("WindowSate=2")));
    QVERIFY(sectionLines(text, {QStringLiteral("[Alarme]")}).contains(QStringLiteral("LastSound=Cloche.mp3")));
}

void TstSettings::nonAsciiRoundTrip()
{
    const QString folder = QStringLiteral("/home/zoé/Images d'été");
    m_registry->set(SettingNo::Repertoire, folder);
    m_registry->set(SettingNo::SousRepertoire, false);
    m_registry->set(SettingNo::CisJPEGTaux, 80);
    m_registry->set(SettingNo::ThumbPath, QStringLiteral("/données/vignettes"));
    QVERIFY(m_registry->sync());
    const QString relative[] = {QStringLiteral("/Orvenne/Tapisol.conf"), QStringLiteral("/Orvenne.conf"),
        QStringLiteral("/Orvenne/Ciselor.conf")};
    QList<QByteArray> files;
    for (const QString& path : relative)
        files << readFile(m_home->configHome() + path);
    cleanup();

    // A fresh home makes Qt parse the copied files rather than reuse what it cached.
    init();
    for (int i = 0; i < 3; ++i)
        writeFile(m_home->configHome() + relative[i], files.at(i));
    m_registry = std::make_unique<ClsRegistry>();
    QCOMPARE(m_registry->get(SettingNo::Repertoire), QVariant(folder));
    QCOMPARE(m_registry->get(SettingNo::SousRepertoire), QVariant(0));
    QCOMPARE(m_registry->get(SettingNo::CisJPEGTaux), QVariant(80));
    QCOMPARE(m_registry->get(SettingNo::ThumbPath), QVariant(QStringLiteral("/données/vignettes")));
    QVERIFY(!QFile::exists(SettingsFileGuard::badCopyPath(ClsRegistryBase::tapisolFilePath())));
}

void TstSettings::handEditedUtf8File()
{
    cleanup();
    init();
    m_registry.reset();
    writeFile(ClsRegistryBase::tapisolFilePath(),
        "[Paramètres]\nRépertoire=/photos/été\nIntervalle=45\n"
        "StopSreenSaver=-1\n\n[Agenda]\nWallPaper=fond.jpg\n");
    m_registry = std::make_unique<ClsRegistry>();
    QCOMPARE(m_registry->get(SettingNo::Repertoire), QVariant(QStringLiteral("/photos/été")));
    QCOMPARE(m_registry->get(SettingNo::Intervalle), QVariant(45));
    QCOMPARE(m_registry->get(SettingNo::StopSreenSaver), QVariant(-1));
    QCOMPARE(m_registry->get(SettingNo::AgdWallPaper), QVariant(QStringLiteral("fond.jpg")));
    QVERIFY(!QFile::exists(SettingsFileGuard::badCopyPath(ClsRegistryBase::tapisolFilePath())));

    // Writing keeps the hand-written values.
    m_registry->set(SettingNo::Intervalle, 50);
    QVERIFY(m_registry->sync());
    const QString text = QString::fromUtf8(readFile(ClsRegistryBase::tapisolFilePath()));
    QVERIFY2(text.contains(QStringLiteral("=/photos/été")), qPrintable(text));
    QVERIFY(text.contains(QStringLiteral("Intervalle=50")));
}

void TstSettings::corruptFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("intervalle");
    const QByteArray good("[Agenda]\nFontSize=33\n");
    QTest::newRow("binary junk") << QByteArray("\x00\x01\xff\xfe\x00junk\x00\n", 11) + good << 30;
    QTest::newRow("truncated section") << good + "[Param" << 30;
    QTest::newRow("line without value") << good + "Garbage line\n[Paramètres]\nIntervalle=12\n" << 12;
    QTest::newRow("Latin-1") << good + "[Param\xe8tres]\nIntervalle=12\n" << 12;
    QTest::newRow("byte-order mark") << "\xEF\xBB\xBF" + good + "[Paramètres]\nIntervalle=12\n" << 12;
}

void TstSettings::corruptFile()
{
    QFETCH(QByteArray, content);
    QFETCH(int, intervalle);
    m_registry.reset();
    const QString path = ClsRegistryBase::tapisolFilePath();
    writeFile(path, content);
    m_registry = std::make_unique<ClsRegistry>();
    QCOMPARE(m_registry->get(SettingNo::AgdFontSize), QVariant(33));
    QCOMPARE(m_registry->get(SettingNo::Intervalle), QVariant(intervalle));
    QCOMPARE(readFile(SettingsFileGuard::badCopyPath(path)), content);

    // The next write keeps every value that could be read.
    m_registry->set(SettingNo::Langue, QStringLiteral("ENG"));
    QVERIFY(m_registry->sync());
    const QString text = QString::fromUtf8(readFile(path));
    QVERIFY2(
        sectionLines(text, {QStringLiteral("[Agenda]")}).contains(QStringLiteral("FontSize=33")), qPrintable(text));
    QVERIFY(sectionLines(text, kParametresHeaders).contains(QStringLiteral("Langue=ENG")));
}

void TstSettings::preview()
{
    m_registry->set(SettingNo::Intervalle, 20);
    QVERIFY(!m_registry->setPreviewValue(SettingNo::Intervalle, 5)); // no preview open
    m_registry->beginPreview();
    QVERIFY(m_registry->setPreviewValue(SettingNo::Intervalle, 5));
    QVERIFY(m_registry->setPreviewValue(SettingNo::TauxCouverture, 0));
    QVERIFY(m_registry->setPreviewValue(SettingNo::Demarrage, -1));
    QVERIFY(!m_registry->setPreviewValue(44, 1));
    QCOMPARE(m_registry->get(SettingNo::Intervalle), QVariant(5));
    QCOMPARE(m_registry->get(SettingNo::TauxCouverture), QVariant(50)); // previews are checked too
    QCOMPARE(m_registry->get(SettingNo::Demarrage), QVariant(-1));
    QCOMPARE(m_registry->rawValue(SettingGroup::Parametres, QStringLiteral("Intervalle")), QVariant(20));
    m_registry->endPreview();
    QCOMPARE(m_registry->get(SettingNo::Intervalle), QVariant(20));
    QCOMPARE(m_registry->get(SettingNo::Demarrage), QVariant(0));
}

QTEST_MAIN(TstSettings)
#include "tst_settings.moc"
