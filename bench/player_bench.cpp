// Makes the project that bench/player.sh plays: N slides of the photos given, in the Tapisol.mdb
// and the settings of the current XDG folders, chosen for the player as the assistant chooses it.
//   tapisol-player-bench PHOTO_FOLDER COUNT EXPO_SECONDS
#include "AppPaths.h"
#include "ClsMdb.h"
#include "ClsRegistryBase.h"
#include "PlayerHandOff.h"
#include "ProjectStore.h"

#include <QCoreApplication>
#include <QDir>
#include <QTextStream>

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QTextStream err(stderr);
    const QStringList args = app.arguments();
    if (args.size() != 4) {
        err << "usage: tapisol-player-bench PHOTO_FOLDER COUNT EXPO_SECONDS\n";
        return 2;
    }
    const QDir folder(args[1]);
    const int count = args[2].toInt();
    QList<SlideRow> slides;
    for (int i = 0; i < count; ++i) {
        SlideRow slide;
        slide.Path = folder.absoluteFilePath(QStringLiteral("photo-%1.jpg").arg(i, 4, 10, QLatin1Char('0')));
        slide.Texte = QStringLiteral("Photo %1 / %2").arg(i + 1).arg(count);
        slide.FontSize = 20;
        slide.ForeColor = 0xffffff;
        slide.TexteAlign = 2;
        slide.TexteMarge = 300;
        slides << slide;
    }
    ClsMdb db;
    db.setMdbName(AppPaths::dataDir() + QStringLiteral("Tapisol.mdb"));
    if (!db.MdbInit()) {
        err << "the database could not be made\n";
        return 1;
    }
    ProjectRow project {0, QStringLiteral("Bench"), args[3].toInt(), {}};
    QString error;
    if (!ProjectStore::saveProject(db, project, slides, &error)) {
        err << error << '\n';
        return 1;
    }
    db.close();
    ClsRegistryBase settings;
    settings.set(SettingNo::DiapoProjectKey, project.KeyAuto);
    settings.set(SettingNo::DiapoTypeProject, PlayerHandOff::ProjectType::Stored);
    return settings.sync() ? 0 : 1;
}
