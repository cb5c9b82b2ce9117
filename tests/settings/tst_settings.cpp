#include "Autostart.h"
#include "ClsRegistry.h"
#include "MediaFolders.h"
#include "SettingsFileGuard.h"
#include "TempXdgHome.h"
#include "WindowPositions.h"

#include <QDir>
#include <QStandardPaths>
#include <QtTest>

namespace {

// Two screens side by side, the left one at negative x, at 96 dpi.
const ScreenExtent kTwoScreens {QRect(-1920, 0, 3840, 1080), 15.0};

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString writeFile(const QString& path, const QByteArray& bytes = {})
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(bytes);
    return path;
}

} // namespace

using namespace SettingNo;

class TstSettings : public QObject
{
    Q_OBJECT

    std::unique_ptr<TempXdgHome> m_home;
    std::unique_ptr<ClsRegistry> m_registry;

    // A fresh home holding `files` (relative to the config folder), so Qt parses them anew.
    void reopen(const QHash<QString, QByteArray>& files)
    {
        m_registry.reset();
        m_home.reset(); // first: a home puts back the variables it found
        m_home = std::make_unique<TempXdgHome>();
        for (auto it = files.cbegin(); it != files.cend(); ++it)
            writeFile(m_home->configHome() + it.key(), it.value());
        m_registry = std::make_unique<ClsRegistry>([] { return std::optional<ScreenExtent>(kTwoScreens); });
    }

private slots:
    void init()
    {
        reopen({});
        // The shipped files: none unless a test puts some there.
        qputenv("TAPISOL_DATA_DIR", (m_home->path() + QStringLiteral("/share")).toUtf8());
    }
    void cleanup()
    {
        m_registry.reset();
        m_home.reset();
    }

    void rules_data()
    {
        QTest::addColumn<int>("number");
        QTest::addColumn<QVariant>("stored"); // invalid: missing from the file
        QTest::addColumn<QVariant>("expected");
        QTest::addColumn<QRect>("pixels"); // the screens; null: none known
        QTest::addColumn<double>("twipsPerPixel");
        auto row = [](const char* name, int number, const QVariant& stored, const QVariant& expected,
                       const QRect& pixels = kTwoScreens.pixels, double twipsPerPixel = 15.0) {
            QTest::newRow(name) << number << stored << expected << pixels << twipsPerPixel;
        };
        // Whole numbers in a range; anything else reads as the default.
        row("range low", Intervalle, "1", 1);
        row("range high", Intervalle, 1440, 1440);
        row("range below", Intervalle, 0, 30);
        row("range above", Intervalle, "1441", 30);
        row("range junk", Intervalle, "abc", 30);
        row("range missing", Intervalle, {}, 30);
        row("range half to even", Intervalle, "12.5", 12);
        row("range padded", Intervalle, " 45 ", 45);
        row("no upper limit", LastImage, "2147483647", INT_MAX);
        row("beyond int", LastImage, "2147483648", 0);
        // Hundredths come back divided, as a double.
        row("hundredths", TauxTaille, 250, 2.5);
        row("hundredths missing", TauxTaille, {}, 1.0);
        // Yes/no is -1 or 0 (a bool is stored as -1); anything else is the default.
        row("bool true", Economiseur, true, -1);
        row("bool no", SousRepertoire, "0", 0);
        row("bool one", Economiseur, "1", 0);
        // The old texts for true and false, in any letter case; other texts take the default.
        row("bool Yes", Economiseur, "Yes", -1);
        row("bool yES padded", Economiseur, " yES ", -1);
        row("bool NO", SousRepertoire, "NO", 0);
        row("bool no text", SousRepertoire, "no", 0);
        row("bool other text", SousRepertoire, "non", -1);
        // Text: blank reads as the default, anything else is kept untrimmed.
        row("text", Langue, " ENG", " ENG");
        row("text blank", Langue, "   ", "FRA");
        row("text with a comma", FichierSon, QStringList {"a", "b"}, "a,b"); // Qt's reading of a,b
        // The wallpaper folder: empty, or the old "0", is no folder (the first run's is below).
        row("folder", Repertoire, "/srv/photos", "/srv/photos");
        row("folder empty", Repertoire, QString(), QString());
        row("folder zero", Repertoire, "0", QString());
        // As stored: whole numbers come back as int, anything else untouched.
        row("as stored number", TileWallpaper, "-1", -1);
        row("as stored junk", TileWallpaper, "abc", "abc");
        row("as stored missing", Transparence, {}, 255);
        row("as stored text", RepOnHelp, "/a b", "/a b");
        row("reserved", 44, 5, {}); // set() refuses, get() has nothing
        // Positions in twips keep 32 pixels of the window on the screens, else one inch inside them.
        row("left edge of left screen", AgdPosX, -28800, -28800);
        row("one pixel further left", AgdPosX, -28815, -27360);
        row("32 px left at the right", AlbWindowPosX, 28320, 28320);
        row("31 px left at the right", AlbWindowPosX, 28335, -27360);
        row("bottom limit", AlmPosY, 15720, 15720);
        row("below the bottom", AlmPosY, 15735, 1440);
        row("144 dpi inside", DiapoTimingPosY, 14080, 14080, QRect(0, 0, 2560, 1440), 10.0);
        row("144 dpi outside", DiapoTimingPosY, 14090, 1440, QRect(0, 0, 2560, 1440), 10.0);
        row("no screens: kept", AgdPosX, 999999, 999999, QRect());
        row("no screens: empty", AgdPosY, QString(), 1440, QRect());
    }
    void rules()
    {
        QFETCH(int, number);
        QFETCH(QVariant, stored);
        QFETCH(QVariant, expected);
        QFETCH(QRect, pixels);
        QFETCH(double, twipsPerPixel);
        m_registry->setScreenExtentProvider([=]() -> std::optional<ScreenExtent> {
            if (pixels.isNull())
                return std::nullopt;
            return ScreenExtent {pixels, twipsPerPixel};
        });
        if (stored.isValid())
            QCOMPARE(m_registry->set(number, stored), expected.isValid());
        const QVariant got = m_registry->get(number);
        QCOMPARE(got.metaType(), expected.metaType());
        QCOMPARE(got, expected);
    }

    // Run-at-log-on reads the autostart entry; what is written under its name is never read back.
    void logOnAsymmetry()
    {
        QVERIFY(Autostart::add(QStringLiteral("/usr/bin/tapisol")));
        QCOMPARE(m_registry->get(Demarrage), QVariant(-1));
        QCOMPARE(m_registry->get(AllUser), QVariant(1));

        QVERIFY(Autostart::remove());
        m_registry->set(Demarrage, true);
        m_registry->set(AllUser, 1);
        QCOMPARE(m_registry->rawValue(SettingGroup::Parametres, QStringLiteral("Démarrage")), QVariant(-1));
        QCOMPARE(m_registry->rawValue(SettingGroup::Parametres, QStringLiteral("AllUser")), QVariant(1));
        QCOMPARE(m_registry->get(Demarrage), QVariant(0));
        QCOMPARE(m_registry->get(AllUser), QVariant(0));
    }

    // The calendar's state is saved as AgdWindowState but read from WindowState; old misspellings stay.
    void calendarAsymmetryAndOldSpellings()
    {
        m_registry->set(AgdWindowState, 2);
        QCOMPARE(m_registry->rawValue(SettingGroup::Agenda, QStringLiteral("AgdWindowState")), QVariant(2));
        QCOMPARE(m_registry->get(AgdWindowState), QVariant(0));
        m_registry->setRawValue(SettingGroup::Agenda, QStringLiteral("WindowState"), 1);
        QCOMPARE(m_registry->get(AgdWindowState), QVariant(1));

        m_registry->set(StopSreenSaver, true);
        m_registry->set(AlbWindowSate, 2);
        QVERIFY(m_registry->sync());
        const QByteArray text = readFile(ClsRegistryBase::tapisolFilePath());
        QVERIFY2(text.contains("\nStopSreenSaver=-1\n"), text.constData());
        QVERIFY(text.contains("[Albums]\nWindowSate=2\n"));
    }

    // The first start writes the Pictures folder as the source, once: a later start keeps the
    // user's "no folder", and a file of an older version with "0" means no folder too.
    void firstRunStartsWithPictures()
    {
        const QString pictures = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
        QVERIFY(QFileInfo(pictures).isDir());
        QCOMPARE(m_registry->get(Repertoire), QVariant(pictures));
        QVERIFY(m_registry->set(Repertoire, QString()));
        QVERIFY(m_registry->sync());
        m_registry = std::make_unique<ClsRegistry>([] { return std::optional<ScreenExtent>(kTwoScreens); });
        QCOMPARE(m_registry->get(Repertoire), QVariant(QString()));
        reopen({{QStringLiteral("/Orvenne/Tapisol.conf"), "[Paramètres]\nRépertoire=0\nIntervalle=45\n"}});
        QCOMPARE(m_registry->get(Repertoire), QVariant(QString()));
    }

    // Accented names and values survive Qt's escaped form and a plain UTF-8 file written by hand.
    void nonAsciiFiles()
    {
        const QString folder = QStringLiteral("/home/zoé/Images d'été");
        m_registry->set(Repertoire, folder);
        m_registry->set(SousRepertoire, false);
        m_registry->set(CisJPEGTaux, 80);
        m_registry->set(ThumbPath, QStringLiteral("/données/vignettes"));
        QVERIFY(m_registry->sync());
        QHash<QString, QByteArray> files;
        for (const QString& path : {QStringLiteral("/Orvenne/Tapisol.conf"), QStringLiteral("/Orvenne.conf"),
                 QStringLiteral("/Orvenne/Ciselor.conf")})
            files.insert(path, readFile(m_home->configHome() + path));
        reopen(files);
        QCOMPARE(m_registry->get(Repertoire), QVariant(folder));
        QCOMPARE(m_registry->get(SousRepertoire), QVariant(0));
        QCOMPARE(m_registry->get(CisJPEGTaux), QVariant(80));
        QCOMPARE(m_registry->get(ThumbPath), QVariant(QStringLiteral("/données/vignettes")));
        QVERIFY(!QFile::exists(SettingsFileGuard::badCopyPath(ClsRegistryBase::tapisolFilePath())));

        reopen({{QStringLiteral("/Orvenne/Tapisol.conf"),
            "[Paramètres]\nRépertoire=/photos/été\nIntervalle=45\n\n[Agenda]\nWallPaper=fond.jpg\n"}});
        const QString path = ClsRegistryBase::tapisolFilePath();
        QCOMPARE(m_registry->get(Repertoire), QVariant(QStringLiteral("/photos/été")));
        QCOMPARE(m_registry->get(Intervalle), QVariant(45));
        QCOMPARE(m_registry->get(AgdWallPaper), QVariant(QStringLiteral("fond.jpg")));
        QVERIFY(!QFile::exists(SettingsFileGuard::badCopyPath(path)));
        m_registry->set(Intervalle, 50); // writing keeps the hand-written values
        QVERIFY(m_registry->sync());
        const QString text = QString::fromUtf8(readFile(path));
        QVERIFY2(text.contains(QStringLiteral("=/photos/été")) && text.contains(QStringLiteral("Intervalle=50")),
            qPrintable(text));
    }

    void corruptFile_data()
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
    // What can be read is read, the file is kept as it was in .bad, and the next write loses nothing.
    void corruptFile()
    {
        QFETCH(QByteArray, content);
        QFETCH(int, intervalle);
        reopen({{QStringLiteral("/Orvenne/Tapisol.conf"), content}});
        const QString path = ClsRegistryBase::tapisolFilePath();
        QCOMPARE(m_registry->get(AgdFontSize), QVariant(33));
        QCOMPARE(m_registry->get(Intervalle), QVariant(intervalle));
        QCOMPARE(readFile(SettingsFileGuard::badCopyPath(path)), content);

        m_registry->set(Langue, QStringLiteral("ENG"));
        QVERIFY(m_registry->sync());
        const QByteArray text = readFile(path);
        QVERIFY2(text.contains("[Agenda]\nFontSize=33\n") && text.contains("\nLangue=ENG\n"), text.constData());
    }

    void preview()
    {
        m_registry->set(Intervalle, 20);
        QVERIFY(!m_registry->setPreviewValue(Intervalle, 5)); // no preview open
        m_registry->beginPreview();
        QVERIFY(m_registry->setPreviewValue(Intervalle, 5));
        QVERIFY(m_registry->setPreviewValue(TauxCouverture, 0));
        QVERIFY(m_registry->setPreviewValue(Demarrage, -1));
        QVERIFY(!m_registry->setPreviewValue(44, 1)); // reserved
        QCOMPARE(m_registry->get(Intervalle), QVariant(5));
        QCOMPARE(m_registry->get(TauxCouverture), QVariant(50)); // previews are checked too
        QCOMPARE(m_registry->get(Demarrage), QVariant(-1));
        QCOMPARE(m_registry->rawValue(SettingGroup::Parametres, QStringLiteral("Intervalle")), QVariant(20));
        m_registry->endPreview();
        QCOMPARE(m_registry->get(Intervalle), QVariant(20));
        QCOMPARE(m_registry->get(Demarrage), QVariant(0));
    }

    void autostartEntry_data()
    {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QString>("exec");
        QTest::newRow("plain") << QStringLiteral("/usr/bin/tapisol") << "/usr/bin/tapisol /start";
        QTest::newRow("space") << QStringLiteral("/opt/My Apps/tapisol") << "\"/opt/My Apps/tapisol\" /start";
        QTest::newRow("dollar and percent")
            << QStringLiteral("/opt/a$b%c/tapisol") << "\"/opt/a\\\\$b%%c/tapisol\" /start";
    }
    void autostartEntry()
    {
        QFETCH(QString, program);
        QFETCH(QString, exec);
        QCOMPARE(Autostart::entryPath(), m_home->configHome() + QStringLiteral("/autostart/tapisol.desktop"));
        QVERIFY(!Autostart::isEnabled());
        QString error;
        QVERIFY2(Autostart::add(program, &error), qPrintable(error));
        QFile file(Autostart::entryPath());
        QVERIFY(file.open(QIODevice::ReadWrite));
        const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
        QCOMPARE(lines.value(0), QStringLiteral("[Desktop Entry]"));
        QVERIFY(lines.contains(QStringLiteral("Type=Application")));
        QVERIFY2(lines.contains(QStringLiteral("Exec=") + exec), qPrintable(lines.join(QLatin1Char('\n'))));
        QVERIFY(Autostart::isEnabled());

        file.write("Hidden=true\n"); // switched off by the desktop
        file.close();
        QVERIFY(!Autostart::isEnabled());
        QVERIFY(Autostart::add(program)); // switching on again rewrites it
        QVERIFY(Autostart::isEnabled());

        QVERIFY(Autostart::remove(&error));
        QVERIFY(!QFile::exists(Autostart::entryPath()));
        QVERIFY(!Autostart::isEnabled());
        QVERIFY(Autostart::remove()); // nothing left to remove is not a failure
    }

    void mediaFolders()
    {
        QString error;
        QVERIFY2(MediaFolders::createAll(&error), qPrintable(error));
        for (const char* relative : {"Media/Sons/", "Media/Sons/Comments/", "Media/Models/", "Media/Sons/PlayList/",
                 "TPThumbnails/", "Media/Images/Samples/", "Media/Images/BackGround/"})
            QVERIFY2(QFileInfo(m_home->tapisolDataDir() + QLatin1String(relative)).isDir(), relative);
    }

    // A file named without a folder: the user's copy first, then the shipped one.
    void defaultFiles()
    {
        using MediaFolders::DefaultFile;
        QCOMPARE(MediaFolders::defaultFilePath(DefaultFile::ChangeSound), QString());
        const QString shipped = writeFile(m_home->path() + QStringLiteral("/share/media/Sons/Change1.mp3"));
        QCOMPARE(MediaFolders::defaultFilePath(DefaultFile::ChangeSound), shipped);
        const QString own = writeFile(m_home->tapisolDataDir() + QStringLiteral("Media/Sons/Change1.mp3"));
        QCOMPARE(MediaFolders::defaultFilePath(DefaultFile::ChangeSound), own);

        const QString background
            = writeFile(m_home->path() + QStringLiteral("/share/media/Images/BackGround/default.jpg"));
        QCOMPARE(MediaFolders::defaultFilePath(DefaultFile::Wallpaper), background);
        QCOMPARE(MediaFolders::findFile(MediaFolders::Folder::Sounds, background), background); // absolute name
        QCOMPARE(MediaFolders::defaultFilePath(DefaultFile::AlarmSound), QString());
    }

    void fitToExtent_data()
    {
        QTest::addColumn<QRect>("saved");
        QTest::addColumn<QRect>("expected"); // null: not restored
        QTest::newRow("inside") << QRect(100, 100, 400, 300) << QRect(100, 100, 400, 300);
        QTest::newRow("on the left screen") << QRect(-1800, 50, 400, 300) << QRect(-1800, 50, 400, 300);
        QTest::newRow("overhanging right") << QRect(1800, 100, 400, 300) << QRect(1520, 100, 400, 300);
        QTest::newRow("overhanging top") << QRect(0, -100, 400, 300) << QRect(0, 0, 400, 300);
        QTest::newRow("larger than the screens") << QRect(-2000, 0, 5000, 2000) << QRect(-1920, 0, 3840, 1080);
        QTest::newRow("off to the right") << QRect(2000, 100, 400, 300) << QRect();
        QTest::newRow("31 px showing") << QRect(1889, 100, 400, 300) << QRect();
        QTest::newRow("below") << QRect(0, 1100, 400, 300) << QRect();
    }
    void fitToExtent()
    {
        QFETCH(QRect, saved);
        QFETCH(QRect, expected);
        QCOMPARE(WindowPositions::fitToExtent(saved, QRect(-1920, 0, 3840, 1080)).value_or(QRect()), expected);
    }

    void windowPositions()
    {
        ClsRegistry& registry = *m_registry;
        registry.setScreenExtentProvider([] { return std::optional<ScreenExtent>({QRect(0, 0, 1920, 1080), 15.0}); });
        const QString form = QStringLiteral("FrmAgenda");
        QVERIFY(WindowPositions::save(registry, form, QRect(1700, 40, 400, 300)));
        QCOMPARE(registry.rawValue(SettingGroup::Forms, form), QVariant(QStringLiteral("1700,40,400,300")));
        QCOMPARE(WindowPositions::restore(registry, form).value_or(QRect()), QRect(1520, 40, 400, 300));
        for (const char* bad : {"5000,40,400,300", "10,x,400,300"}) {
            registry.setRawValue(SettingGroup::Forms, form, QString::fromLatin1(bad));
            QVERIFY2(!WindowPositions::restore(registry, form), bad);
        }
        QVERIFY(!WindowPositions::restore(registry, QStringLiteral("FrmNever")));

        registry.set(WindowsPos, false);
        registry.setRawValue(SettingGroup::Forms, form, QStringLiteral("10,10,400,300"));
        QVERIFY(!WindowPositions::restore(registry, form));
        QVERIFY(!WindowPositions::save(registry, form, QRect(20, 20, 400, 300)));
        QCOMPARE(registry.rawValue(SettingGroup::Forms, form), QVariant(QStringLiteral("10,10,400,300")));
    }
};

QTEST_MAIN(TstSettings)
#include "tst_settings.moc"
