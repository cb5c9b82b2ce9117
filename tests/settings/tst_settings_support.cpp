#include "Autostart.h"
#include "ClsRegistryBase.h"
#include "MediaFolders.h"
#include "TempXdgHome.h"
#include "WindowPositions.h"

#include <QDir>
#include <QtTest>

namespace {

// The key=value lines of a desktop entry's [Desktop Entry] group.
QHash<QString, QString> desktopEntry(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QHash<QString, QString> keys;
    if (lines.value(0) != QLatin1String("[Desktop Entry]"))
        return keys;
    for (const QString& line : lines.mid(1))
        keys.insert(line.section(QLatin1Char('='), 0, 0), line.section(QLatin1Char('='), 1));
    return keys;
}

void touch(const QString& path)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
}

} // namespace

class TstSettingsSupport : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void autostartEntry_data();
    void autostartEntry();
    void autostartSwitchedOff();
    void mediaFolders();
    void defaultFiles();
    void fitToExtent_data();
    void fitToExtent();
    void windowPositions();
    void screenSaver();

private:
    std::unique_ptr<TempXdgHome> m_home;
    QByteArray m_savedDataDir;
};

void TstSettingsSupport::init()
{
    m_home = std::make_unique<TempXdgHome>();
    QVERIFY(m_home->isValid());
    m_savedDataDir = qgetenv("TAPISOL_DATA_DIR");
    qputenv("TAPISOL_DATA_DIR", (m_home->path() + QStringLiteral("/share")).toUtf8());
}

void TstSettingsSupport::cleanup()
{
    qputenv("TAPISOL_DATA_DIR", m_savedDataDir);
    m_home.reset();
}

void TstSettingsSupport::autostartEntry_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QString>("exec");
    QTest::newRow("plain") << QStringLiteral("/usr/bin/tapisol") << QStringLiteral("/usr/bin/tapisol /start");
    QTest::newRow("space") << QStringLiteral("/opt/My Apps/tapisol")
                           << QStringLiteral("\"/opt/My Apps/tapisol\" /start");
    QTest::newRow("dollar and percent") << QStringLiteral("/opt/a$b%c/tapisol")
                                        << QStringLiteral("\"/opt/a\\\\$b%%c/tapisol\" /start");
}

void TstSettingsSupport::autostartEntry()
{
    QFETCH(QString, program);
    QFETCH(QString, exec);
    QCOMPARE(Autostart::entryPath(), m_home->configHome() + QStringLiteral("/autostart/tapisol.desktop"));
    QVERIFY(!Autostart::isEnabled());
    QString error;
    QVERIFY2(Autostart::add(program, &error), qPrintable(error));
    const QHash<QString, QString> keys = desktopEntry(Autostart::entryPath());
    QCOMPARE(keys.value(QStringLiteral("Type")), QStringLiteral("Application"));
    QCOMPARE(keys.value(QStringLiteral("Name")), QStringLiteral("Tapisol"));
    QCOMPARE(keys.value(QStringLiteral("Icon")), QStringLiteral("tapisol"));
    QCOMPARE(keys.value(QStringLiteral("X-GNOME-Autostart-enabled")), QStringLiteral("true"));
    QCOMPARE(keys.value(QStringLiteral("Exec")), exec);
    QVERIFY(Autostart::isEnabled());
    QVERIFY(Autostart::remove(&error));
    QVERIFY(!QFile::exists(Autostart::entryPath()));
    QVERIFY(!Autostart::isEnabled());
    QVERIFY(Autostart::remove()); // nothing left to remove is not a failure
}

void TstSettingsSupport::autostartSwitchedOff()
{
    QVERIFY(Autostart::add(QStringLiteral("/usr/bin/tapisol")));
    QFile file(Autostart::entryPath());
    QVERIFY(file.open(QIODevice::Append));
    file.write("Hidden=true\n");
    file.close();
    QVERIFY(!Autostart::isEnabled());
    QVERIFY(Autostart::add(QStringLiteral("/usr/bin/tapisol"))); // switching on again rewrites it
    QVERIFY(Autostart::isEnabled());
}

void TstSettingsSupport::mediaFolders()
{
    QString error;
    QVERIFY2(MediaFolders::createAll(&error), qPrintable(error));
    for (const char* relative : {"Media/Sons/", "Media/Sons/Comments/", "Media/Models/", "Media/Sons/PlayList/",
             "TPThumbnails/", "Media/Images/Samples/", "Media/Images/BackGround/"})
        QVERIFY2(QFileInfo(m_home->tapisolDataDir() + QLatin1String(relative)).isDir(), relative);
}

void TstSettingsSupport::defaultFiles()
{
    using MediaFolders::DefaultFile;
    const QString shipped = m_home->path() + QStringLiteral("/share/media/Sons/Change1.mp3");
    const QString writable = m_home->tapisolDataDir() + QStringLiteral("Media/Sons/Change1.mp3");
    QCOMPARE(MediaFolders::defaultFilePath(DefaultFile::ChangeSound), QString());
    touch(shipped);
    QCOMPARE(MediaFolders::defaultFilePath(DefaultFile::ChangeSound), shipped);
    touch(writable);
    QCOMPARE(MediaFolders::defaultFilePath(DefaultFile::ChangeSound), writable);

    const QString background = m_home->path() + QStringLiteral("/share/media/Images/BackGround/default.jpg");
    touch(background);
    QCOMPARE(MediaFolders::defaultFilePath(DefaultFile::Wallpaper), background);
    QCOMPARE(MediaFolders::findFile(MediaFolders::Folder::Sounds, background), background); // absolute name
    QCOMPARE(MediaFolders::defaultFilePath(DefaultFile::AlarmSound), QString());
}

void TstSettingsSupport::fitToExtent_data()
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

void TstSettingsSupport::fitToExtent()
{
    QFETCH(QRect, saved);
    QFETCH(QRect, expected);
    const std::optional<QRect> fitted = WindowPositions::fitToExtent(saved, QRect(-1920, 0, 3840, 1080));
    QCOMPARE(fitted.value_or(QRect()), expected);
}

void TstSettingsSupport::windowPositions()
{
    ClsRegistryBase registry([] { return std::optional<ScreenExtent>({QRect(0, 0, 1920, 1080), 15.0}); });
    const QString form = QStringLiteral("FrmAgenda");
    QVERIFY(WindowPositions::save(registry, form, QRect(1700, 40, 400, 300)));
    QCOMPARE(registry.rawValue(SettingGroup::Forms, form), QVariant(QStringLiteral("1700,40,400,300")));
    QCOMPARE(WindowPositions::restore(registry, form).value_or(QRect()), QRect(1520, 40, 400, 300));

    registry.setRawValue(SettingGroup::Forms, form, QStringLiteral("5000,40,400,300"));
    QVERIFY(!WindowPositions::restore(registry, form));
    registry.setRawValue(SettingGroup::Forms, form, QStringLiteral("10,x,400,300"));
    QVERIFY(!WindowPositions::restore(registry, form));
    QVERIFY(!WindowPositions::restore(registry, QStringLiteral("FrmNever")));

    registry.set(SettingNo::WindowsPos, false);
    registry.setRawValue(SettingGroup::Forms, form, QStringLiteral("10,10,400,300"));
    QVERIFY(!WindowPositions::restore(registry, form));
    QVERIFY(!WindowPositions::save(registry, form, QRect(20, 20, 400, 300)));
    QCOMPARE(registry.rawValue(SettingGroup::Forms, form), QVariant(QStringLiteral("10,10,400,300")));
}

void TstSettingsSupport::screenSaver()
{
    ClsRegistryBase registry;
    registry.installScreenSaver(QStringLiteral("/usr/bin/defilor"));
    QVERIFY(registry.sync());
    QFile file(ClsRegistryBase::tapisolFilePath());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.readAll().contains("[Desktop]\nSCRNSAVE.EXE=/usr/bin/defilor\n"));
    registry.removeScreenSaver();
    QCOMPARE(registry.screenSaver(), QString());
}

QTEST_MAIN(TstSettingsSupport)
#include "tst_settings_support.moc"
