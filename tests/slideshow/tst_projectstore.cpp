// Slideshow projects in a real database file: names with quotes and accents, a taken name, slides
// rewritten as a whole (and left alone when another program holds the file), the music and comment
// in force, duplicates, file searches whose names look like patterns, the password, and the
// player's command line built, parsed and handed to a real process.
#include "../db/MdbTestSupport.h"
#include "ClsRegistryBase.h"
#include "InterfaceTexts.h"
#include "PlayerHandOff.h"
#include "PlayerLaunch.h"
#include "ProjectStore.h"

#include <QtTest>

#include <sqlite3.h>

namespace {

// Every column but the keys, so that two projects' slides can be compared row for row.
const QString Columns = QStringLiteral(
    "Ordre, Path, PathMusic, VolMusic, VolMusicComment, RehausMusic, RepetMusic, PathComment, VolComment, "
    "RepetComment, Texte, TexteAlign, TexteMarge, FontName, FontSize, FontBold, FontItalic, FontUnderline, "
    "ForeColor, BackColor, BackStyle");

SlideRow picture(const QString& path, const QString& music = {}, const QString& comment = {})
{
    SlideRow slide;
    slide.Path = path;
    slide.PathMusic = music;
    slide.PathComment = comment;
    return slide;
}

// A slide with every column away from its default.
SlideRow richSlide()
{
    SlideRow s = picture(
        QStringLiteral("/home/u/Photos/l'été 100%.jpg"), QStringLiteral("/m/a.mp3"), QStringLiteral("/c/voix.wav"));
    s.VolMusic = 40;
    s.VolMusicComment = 15;
    s.RehausMusic = s.RepetMusic = s.RepetComment = true;
    s.VolComment = 90;
    s.Texte = QStringLiteral("Au bord de l'eau");
    s.TexteAlign = 2;
    s.TexteMarge = 300;
    s.FontName = QStringLiteral("DejaVu Serif");
    s.FontSize = 18.5f;
    s.FontBold = s.FontItalic = s.FontUnderline = true;
    s.ForeColor = 0x00ffff;
    s.BackColor = 0x102030;
    s.BackStyle = 1;
    return s;
}

} // namespace

class TestProjectStore : public QObject, MdbTest::Fixture
{
    Q_OBJECT

    std::unique_ptr<ClsMdb> m_db;

    QString sql(const QString& query) { return MdbTest::rows(m_db->database(), query); }
    QString slideRows(qint64 project)
    {
        return sql(
            QStringLiteral("SELECT %1 FROM Diaporama WHERE KeyDescrip = %2 ORDER BY Ordre").arg(Columns).arg(project));
    }
    qint64 save(const QString& nom, const QList<SlideRow>& slides, const QString& paswd = {})
    {
        ProjectRow project {0, nom, 7, paswd};
        [&] { QVERIFY(ProjectStore::saveProject(*m_db, project, slides)); }();
        return project.KeyAuto;
    }

private slots:
    void initTestCase() { QVERIFY(interfaceTexts().load(QStringLiteral("FRA"))); }
    void init()
    {
        setUp();
        m_db = makeMdb();
        QVERIFY(m_db->MdbInit());
    }
    void cleanup()
    {
        m_db.reset();
        home.reset();
    }

    // A quoted name is data; the look-up folds ASCII case only; names and passwords are refused,
    // never cut, when they do not fit.
    void namesFoundAndRefused()
    {
        const auto ete = ProjectStore::addProject(*m_db, QStringLiteral("L'été"), 5, {});
        QVERIFY(ete);
        QVERIFY(ProjectStore::addProject(*m_db, QStringLiteral("Automne"), 5, QStringLiteral("x")));
        QCOMPARE(ProjectStore::findProject(*m_db, QStringLiteral("L'été"))->KeyAuto, *ete);
        QCOMPARE(ProjectStore::findProject(*m_db, QStringLiteral("l'été"))->KeyAuto, *ete);
        QVERIFY(!ProjectStore::findProject(*m_db, QStringLiteral("L'ÉTÉ")));
        QCOMPARE(ProjectStore::projectName(*m_db, *ete), QStringLiteral("L'été"));
        QCOMPARE(ProjectStore::projects(*m_db).first().Nom, QStringLiteral("Automne"));

        QString error;
        QVERIFY(ProjectStore::addProject(*m_db, QStringLiteral("L'ÉTÉ"), 5, {})); // É is not é to NOCASE
        QVERIFY(!ProjectStore::addProject(*m_db, QStringLiteral("l'été"), 5, {}, &error));
        QCOMPARE(error, langText(3101).arg(QStringLiteral("l'été")));
        QVERIFY(ProjectStore::addProject(*m_db, QString(100, QChar(0xE9)), 0, QString(20, QLatin1Char('p'))));
        QVERIFY(!ProjectStore::addProject(*m_db, QString(101, QLatin1Char('n')), 0, {}, &error));
        QCOMPARE(error, langText(3102).arg(100));
        QVERIFY(!ProjectStore::addProject(*m_db, QStringLiteral("p"), 0, QString(21, QLatin1Char('p')), &error));
        QCOMPARE(error, langText(3104).arg(20));
        QCOMPARE(sql(QStringLiteral("SELECT count(*) FROM DiaporamaDesc")), QStringLiteral("4"));
    }

    // A taken name stops an add, a save, a rename and a duplicate, and no slide is written.
    void takenNameWritesNothing()
    {
        const qint64 ete = save(QStringLiteral("L'été"), {picture(QStringLiteral("/a.jpg"))});
        const qint64 hiver = save(QStringLiteral("Hiver"), {});
        const QString before
            = sql(QStringLiteral("SELECT * FROM DiaporamaDesc")) + sql(QStringLiteral("SELECT * FROM Diaporama"));
        QString error;
        ProjectRow again {0, QStringLiteral("l'été"), 3, {}};
        QVERIFY(!ProjectStore::saveProject(*m_db, again, {picture(QStringLiteral("/b.jpg"))}, &error));
        QCOMPARE(error, langText(3101).arg(again.Nom));
        QCOMPARE(again.KeyAuto, qint64(0));
        QVERIFY(!ProjectStore::renameProject(*m_db, hiver, QStringLiteral("l'été"), &error));
        QCOMPARE(error, langText(3101).arg(QStringLiteral("l'été")));
        QVERIFY(!ProjectStore::duplicateProject(*m_db, ete, QStringLiteral("HIVER"), &error));
        QCOMPARE(sql(QStringLiteral("SELECT * FROM DiaporamaDesc")) + sql(QStringLiteral("SELECT * FROM Diaporama")),
            before);
        QVERIFY(ProjectStore::renameProject(*m_db, hiver, QStringLiteral("Hiver 2026")));
        QCOMPARE(ProjectStore::projectName(*m_db, hiver), QStringLiteral("Hiver 2026"));
    }

    // Slides are written whole, numbered in list order; a write refused while another program
    // holds the file leaves the old slides; deleting a project leaves none of its slides.
    void slidesWrittenWhole()
    {
        const qint64 key = save(QStringLiteral("P"),
            {picture(QStringLiteral("/1")), picture(QStringLiteral("/2")), picture(QStringLiteral("/3"))});
        const qint64 other = save(QStringLiteral("Q"), {picture(QStringLiteral("/q"))});
        QVERIFY(ProjectStore::writeSlides(*m_db, key, {picture(QStringLiteral("/b")), picture(QStringLiteral("/a"))}));
        QCOMPARE(
            sql(QStringLiteral("SELECT Ordre, Path FROM Diaporama WHERE KeyDescrip = %1 ORDER BY KeyAuto").arg(key)),
            QStringLiteral("1|/b\n2|/a"));
        const QList<SlideRow> read = ProjectStore::slides(*m_db, key);
        QCOMPARE(read.size(), 2);
        QCOMPARE(ProjectStore::slide(*m_db, read.at(1).KeyAuto)->Path, QStringLiteral("/a"));

        const QString before = slideRows(key);
        sqlite3* locker = nullptr;
        QCOMPARE(
            sqlite3_open_v2(QFile::encodeName(file).constData(), &locker, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
        QCOMPARE(sqlite3_exec(locker, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
        m_db->database().setBusyTimeout(100);
        QString error;
        QVERIFY(!ProjectStore::writeSlides(*m_db, key, {picture(QStringLiteral("/z"))}, &error));
        QCOMPARE(error, langText(2700));
        ProjectRow renamed {key, QStringLiteral("P2"), 1, {}};
        QVERIFY(!ProjectStore::saveProject(*m_db, renamed, {}, &error));
        QVERIFY(!ProjectStore::deleteProject(*m_db, key));
        sqlite3_exec(locker, "ROLLBACK", nullptr, nullptr, nullptr);
        sqlite3_close(locker);
        QCOMPARE(slideRows(key), before);
        QCOMPARE(ProjectStore::projectName(*m_db, key), QStringLiteral("P"));

        QVERIFY(!ProjectStore::writeSlides(*m_db, key, {picture(QStringLiteral("/ok")), picture({})}, &error));
        QCOMPARE(error, langText(3106).arg(2));
        SlideRow loud = picture(QStringLiteral("/x"));
        loud.VolMusic = 256;
        QVERIFY(!ProjectStore::writeSlides(*m_db, key, {loud}, &error));
        QVERIFY(!ProjectStore::writeSlides(*m_db, key, {picture(QString(251, QLatin1Char('p')))}, &error));
        QCOMPARE(slideRows(key), before);

        // A statement failing half-way (as a full disk would) undoes the whole save.
        m_db->database().exec("CREATE TEMP TRIGGER boom BEFORE INSERT ON Diaporama WHEN NEW.Path = '/boom' "
                              "BEGIN SELECT RAISE(ABORT, 'boom'); END");
        QVERIFY(
            !ProjectStore::writeSlides(*m_db, key, {picture(QStringLiteral("/x")), picture(QStringLiteral("/boom"))}));
        QCOMPARE(slideRows(key), before);
        ProjectRow fresh {0, QStringLiteral("Nouveau"), 1, {}};
        QVERIFY(!ProjectStore::saveProject(*m_db, fresh, {picture(QStringLiteral("/boom"))}));
        QVERIFY(!ProjectStore::findProject(*m_db, fresh.Nom));
        QVERIFY(MdbTest::traceLines().contains(QStringLiteral("ClsMdb SaveProject, Err boom")));

        QVERIFY(ProjectStore::deleteProject(*m_db, key));
        QCOMPARE(
            sql(QStringLiteral("SELECT count(*) FROM Diaporama WHERE KeyDescrip = %1").arg(key)), QStringLiteral("0"));
        QCOMPARE(ProjectStore::slides(*m_db, other).size(), 1);
        QVERIFY(!ProjectStore::writeSlides(*m_db, key, {picture(QStringLiteral("/orphan"))}, &error));
        QCOMPARE(error, langText(3110));
    }

    // The last earlier slide that names a music (or a comment) is in force; position 1 has none;
    // the look-up of any earlier slide finds nothing.
    void musicAndCommentInForce()
    {
        const qint64 key = save(QStringLiteral("P"),
            {picture(QStringLiteral("/1"), QStringLiteral("/m1")), picture(QStringLiteral("/2")),
                picture(QStringLiteral("/3"), {}, QStringLiteral("/c3")),
                picture(QStringLiteral("/4"), QStringLiteral("/m4")), picture(QStringLiteral("/5"))});
        using ProjectStore::InForce;
        QVERIFY(!ProjectStore::inForce(*m_db, key, 1, InForce::Music));
        QCOMPARE(ProjectStore::inForce(*m_db, key, 4, InForce::Music)->Path, QStringLiteral("/1"));
        QCOMPARE(ProjectStore::inForce(*m_db, key, 5, InForce::Music)->Path, QStringLiteral("/4"));
        QVERIFY(!ProjectStore::inForce(*m_db, key, 3, InForce::Comment));
        QCOMPARE(ProjectStore::inForce(*m_db, key, 5, InForce::Comment)->PathComment, QStringLiteral("/c3"));
        QVERIFY(!ProjectStore::inForce(*m_db, key, 5, InForce::Previous));
        QVERIFY(!ProjectStore::inForce(*m_db, key + 1, 5, InForce::Music));
    }

    // Every column of every slide survives a save and a read, and a duplicate copies them all,
    // Null included, under the new key.
    void everyFieldKeptAndDuplicated()
    {
        const SlideRow rich = richSlide();
        const qint64 key
            = save(QStringLiteral("Source"), {rich, picture(QStringLiteral("/plain"))}, QStringLiteral("Clé"));
        SlideRow back = ProjectStore::slides(*m_db, key).first();
        QCOMPARE(back.KeyDescrip, key);
        QCOMPARE(back.Ordre, 1);
        back.KeyAuto = back.KeyDescrip = back.Ordre = 0;
        QVERIFY(back == rich);
        QCOMPARE(ProjectStore::slides(*m_db, key).at(1).VolComment, 100);
        sql(QStringLiteral("UPDATE Diaporama SET FontName = NULL, ForeColor = NULL WHERE Path = '/plain'"));

        const auto copy = ProjectStore::duplicateProject(*m_db, key, QStringLiteral("Copie"));
        QVERIFY(copy);
        QCOMPARE(slideRows(*copy), slideRows(key));
        QVERIFY(slideRows(*copy).contains(QLatin1String("|-|")));
        QCOMPARE(ProjectStore::project(*m_db, *copy)->Paswd, QStringLiteral("Clé"));
        QCOMPARE(ProjectStore::project(*m_db, *copy)->ExpoTime, 7);

        SlideRow edited = ProjectStore::slides(*m_db, *copy).first();
        edited.Texte = QStringLiteral("changé");
        QVERIFY(ProjectStore::updateSlide(*m_db, edited));
        QCOMPARE(*ProjectStore::slide(*m_db, edited.KeyAuto), edited);
        QCOMPARE(ProjectStore::slides(*m_db, key).first().Texte, rich.Texte);
        edited.KeyAuto = 9999;
        QString error;
        QVERIFY(!ProjectStore::updateSlide(*m_db, edited, &error));
        QCOMPARE(error, langText(3111));
    }

    // Exact and prefix searches take `%`, `_` and `*` literally and compare case; the deletion by
    // picture removes exact matches only.
    void filesFoundLiterally()
    {
        save(QStringLiteral("P"),
            {picture(QStringLiteral("/p/100%_a.jpg")), picture(QStringLiteral("/p/100xya.jpg")),
                picture(QStringLiteral("/p/a*b.jpg"), QStringLiteral("/p/a*b.jpg")),
                picture(QStringLiteral("/p/aXb.jpg"))});
        using ProjectStore::FileColumn;
        auto paths = [&](const QString& name, FileColumn column, bool prefix) {
            QStringList found;
            const auto slides = ProjectStore::findSlidesByFile(*m_db, name, column, prefix);
            for (const SlideRow& s : slides.value())
                found << s.Path;
            return found.join(QLatin1Char(','));
        };
        QCOMPARE(paths(QStringLiteral("/p/100%_a.jpg"), FileColumn::Picture, false), QStringLiteral("/p/100%_a.jpg"));
        QCOMPARE(paths(QStringLiteral("/p/100%_"), FileColumn::Picture, false), QString());
        QCOMPARE(paths(QStringLiteral("/p/100%_"), FileColumn::Picture, true), QStringLiteral("/p/100%_a.jpg"));
        QCOMPARE(paths(QStringLiteral("/p/a*"), FileColumn::Picture, true), QStringLiteral("/p/a*b.jpg"));
        QCOMPARE(paths(QStringLiteral("/P/"), FileColumn::Picture, true), QString());
        QCOMPARE(paths(QStringLiteral("/p/a*"), FileColumn::Music, true), QStringLiteral("/p/a*b.jpg"));
        QCOMPARE(paths(QStringLiteral("/p/"), FileColumn::Comment, true), QString());

        QVERIFY(ProjectStore::deleteSlidesShowing(*m_db, QStringLiteral("/p/a_b.jpg")));
        QVERIFY(ProjectStore::deleteSlidesShowing(*m_db, QStringLiteral("/p/a*b.jpg")));
        QCOMPARE(sql(QStringLiteral("SELECT group_concat(Path) FROM Diaporama")),
            QStringLiteral("/p/100%_a.jpg,/p/100xya.jpg,/p/aXb.jpg"));
    }

    void password()
    {
        const ProjectRow open {1, QStringLiteral("Ouvert"), 0, {}};
        const ProjectRow locked {2, QStringLiteral("Fermé"), 0, QStringLiteral("Été")};
        QVERIFY(ProjectStore::passwordMatches(open, QStringLiteral("anything")));
        QVERIFY(ProjectStore::passwordMatches(locked, QStringLiteral("Été")));
        QVERIFY(!ProjectStore::passwordMatches(locked, QStringLiteral("été")));
        QVERIFY(!ProjectStore::passwordMatches(locked, {}));
        QCOMPARE(ProjectStore::maskedPassword(locked), QStringLiteral("**"));
        QCOMPARE(ProjectStore::maskedPassword(open), QString());
    }

    // What the assistant and the tray pass is what the player reads back.
    void playerArgumentsBothWays()
    {
        const QString token = QLatin1String(PlayerHandOff::Token);
        QVERIFY(QRegularExpression(QStringLiteral("^/[0-9A-Fa-f]{12}$")).match(token).hasMatch());
        QCOMPARE(PlayerLaunch::assistantArguments(true, true),
            QStringList({QStringLiteral("/preview"), QStringLiteral("/trace"), QStringLiteral("/tpdiaporama"), token}));
        QCOMPARE(PlayerLaunch::trayArguments(false), QStringList {QStringLiteral("/tpdiaporama")});

        PlayerArguments a = parsePlayerArguments(
            QStringList {QStringLiteral("defilor")} + PlayerLaunch::assistantArguments(true, false));
        QVERIFY(a.preview && !a.trace && a.tpdiaporama && a.tokenValid);
        a = parsePlayerArguments(PlayerLaunch::trayArguments(true));
        QVERIFY(!a.preview && a.trace && a.tpdiaporama && !a.tokenValid);
        a = parsePlayerArguments(
            {QStringLiteral("/TRACE"), QStringLiteral("/54415049534e"), QStringLiteral("/tpdiaporamax")});
        QVERIFY(a.trace && !a.tpdiaporama && !a.tokenValid);
    }

    // The project is on disk before the player starts, and the player gets the arguments as a list.
    void projectHandedToPlayer()
    {
        const QString folder = home->path() + QStringLiteral("/bin with space");
        const QString out = home->path() + QStringLiteral("/player.out");
        QVERIFY(QDir().mkpath(folder));
        // Stands in for the player: records its arguments and the project it would find.
        const QByteArray script = QStringLiteral("#!/bin/sh\nfor a in \"$@\"; do echo \"$a\"; done > '%1.tmp'\n"
                                                 "grep -a '^ProjectKey=' \"$XDG_CONFIG_HOME/Orvenne/Tapisol.conf\" "
                                                 ">> '%1.tmp'\nmv '%1.tmp' '%1'\n")
                                      .arg(out)
                                      .toUtf8();
        QVERIFY(MdbTest::writeFile(folder + QStringLiteral("/defilor"), script));
        QFile(folder + QStringLiteral("/defilor")).setPermissions(QFileDevice::ReadOwner | QFileDevice::ExeOwner);

        ClsRegistryBase settings([] { return std::optional<ScreenExtent>(); });
        QVERIFY(PlayerLaunch::playProject(settings, 42, true, false, nullptr, folder));
        QTRY_VERIFY(QFile::exists(out));
        QCOMPARE(QString::fromUtf8(MdbTest::contentOf(out)),
            QStringLiteral("/preview\n/tpdiaporama\n%1\nProjectKey=42\n").arg(QLatin1String(PlayerHandOff::Token)));
        QCOMPARE(settings.get(SettingNo::DiapoTypeProject).toInt(), PlayerHandOff::ProjectType::Stored);

        QString error;
        QVERIFY(!PlayerLaunch::playFromTray(false, &error, home->path()));
        QCOMPARE(error, langText(3130).arg(home->path() + QStringLiteral("/defilor")));
    }
};

QTEST_GUILESS_MAIN(TestProjectStore)
#include "tst_projectstore.moc"
