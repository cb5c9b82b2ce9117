#include "PlayerProgram.h"

#include "AppPaths.h"
#include "AudioDirector.h"
#include "ClsRegistryBase.h"
#include "FrmPassword.h"
#include "InterfaceTexts.h"
#include "PictureLoader.h"
#include "PlayerCommandLine.h"
#include "PlayerHandOff.h"
#include "PlayerSettings.h"
#include "PlayerTrace.h"
#include "PlayerWindow.h"
#include "ProjectReader.h"
#include "VideoExport.h"

#include <QApplication>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMessageBox>
#include <QScreen>
#include <QTextStream>

#include <memory>

namespace {

constexpr int TextTitle = 3140;
constexpr int TextPlaceholder = 3146;
constexpr int TextNoProjectChosen = 3147;
constexpr int TextProjectMissing = 3148;
constexpr int TextProjectEmpty = 3149;
constexpr int TextNoDatabase = 3150;
constexpr int TextDatabaseBusy = 3151;
constexpr int TextDatabaseUnreadable = 3152;
constexpr int TextPasswordRefused = 3153;
constexpr int TextProgress = 3159;
constexpr int TextExported = 3160;
constexpr int TextExportFailed = 3161;
constexpr int TextExportPassword = 3162;
constexpr int TextElementsMissing = 3163;
constexpr int TextNoScreen = 3164;
constexpr int TextUsageFirst = 3170;
constexpr int TextUsageLast = 3177;

class Run
{
public:
    explicit Run(const QStringList& arguments)
        : m_arguments(arguments)
    { }

    int exec();

private:
    int fail(int code, const QString& text);
    bool loadSettings();
    int play(const ProjectReader::Project& project);
    int exportVideo(const ProjectReader::Project& project);

    QStringList m_arguments;
    PlayerCommandLine m_line;
    std::unique_ptr<ClsRegistryBase> m_settings;
    PlayerSettings m_playerSettings;
    bool m_headless = false;
};

int Run::fail(int code, const QString& text)
{
    DEFILOR_TRACE(QStringLiteral("DF Err ") + text);
    QTextStream(stderr) << "defilor: " << text << '\n';
    // A user who started the show from the tray or the assistant sees why nothing shows.
    if (m_line.exportFile.isEmpty() && !m_headless && code != PlayerProgram::PasswordRefused)
        QMessageBox::warning(nullptr, langText(TextTitle).arg(QString()).trimmed(), text);
    return code;
}

bool Run::loadSettings()
{
    // The player never makes the settings file: without it, no project was ever chosen.
    if (!QFileInfo::exists(ClsRegistryBase::tapisolFilePath())) {
        interfaceTexts().load(InterfaceTexts::settledCode({}));
        return false;
    }
    m_settings = std::make_unique<ClsRegistryBase>();
    interfaceTexts().load(InterfaceTexts::settledCode(m_settings->get(SettingNo::Langue).toString()));
    m_playerSettings = PlayerSettings::read(*m_settings);
    return true;
}

int Run::exec()
{
    const PlayerArguments switches = parsePlayerArguments(m_arguments);
    if (switches.trace)
        PlayerTrace::start(m_arguments.mid(1).join(QLatin1Char(' ')));
    m_headless = QGuiApplication::platformName() == QLatin1String("offscreen");
    const bool configured = loadSettings();
    m_line = PlayerCommandLine::parse(m_arguments);
    if (m_line.help) {
        QTextStream out(stdout);
        for (int number = TextUsageFirst; number <= TextUsageLast; ++number)
            out << langText(number) << '\n';
        return 0;
    }
    if (!m_line.error.isEmpty()) {
        m_line.exportFile.clear(); // no message box for a typing error in a terminal
        m_headless = true;
        return fail(PlayerProgram::BadCommandLine, m_line.error);
    }
    DEFILOR_TRACE(QStringLiteral("DF Arguments preview=%1 tpdiaporama=%2 token=%3")
                      .arg(m_line.switches.preview)
                      .arg(m_line.switches.tpdiaporama)
                      .arg(m_line.switches.tokenValid));
    if (!configured || m_playerSettings.typeProject != PlayerHandOff::ProjectType::Stored
        || m_playerSettings.projectKey <= 0)
        return fail(PlayerProgram::NoProject, langText(TextNoProjectChosen));

    const QString mdb = AppPaths::dataDir() + QStringLiteral("Tapisol.mdb");
    DEFILOR_TRACE(QStringLiteral("DF Project %1 in %2").arg(m_playerSettings.projectKey).arg(mdb));
    const ProjectReader::Project project = ProjectReader(mdb).read(m_playerSettings.projectKey);
    switch (project.status) {
    case ProjectReader::Status::Ok:
        break;
    case ProjectReader::Status::NoFile:
        return fail(PlayerProgram::DatabaseProblem, langText(TextNoDatabase).arg(mdb));
    case ProjectReader::Status::Busy:
        return fail(PlayerProgram::DatabaseProblem, langText(TextDatabaseBusy).arg(mdb));
    case ProjectReader::Status::Unreadable:
        return fail(PlayerProgram::DatabaseProblem, langText(TextDatabaseUnreadable).arg(mdb, project.error));
    case ProjectReader::Status::NoProject:
        return fail(PlayerProgram::NoProject, langText(TextProjectMissing).arg(m_playerSettings.projectKey));
    }
    if (project.slides.isEmpty())
        return fail(PlayerProgram::NoProject, langText(TextProjectEmpty).arg(project.project.Nom));
    DEFILOR_TRACE(QStringLiteral("DF Project %1, %2 slides").arg(project.project.Nom).arg(project.slides.size()));

    if (!project.project.Paswd.isEmpty()) {
        if (m_headless)
            return fail(PlayerProgram::PasswordRefused, langText(TextExportPassword).arg(project.project.Nom));
        if (!FrmPassword::ask(nullptr, project.project))
            return fail(PlayerProgram::PasswordRefused, langText(TextPasswordRefused).arg(project.project.Nom));
    }
    return m_line.exportFile.isEmpty() ? play(project) : exportVideo(project);
}

int Run::play(const ProjectReader::Project& project)
{
    const QList<QScreen*> screens = QGuiApplication::screens();
    if (screens.isEmpty())
        return fail(PlayerProgram::NoProject, langText(TextNoScreen));
    // The preview's monitor is the assistant's to choose: only a launch by the assistant has it.
    const bool preview = m_line.switches.preview && m_line.switches.tokenValid;
    const int index = m_playerSettings.screenIndex(
        preview, int(screens.size()), int(screens.indexOf(QGuiApplication::primaryScreen())));
    QScreen* screen = screens.value(index, QGuiApplication::primaryScreen());
    DEFILOR_TRACE(QStringLiteral("DF Screen %1 %2x%3")
                      .arg(index)
                      .arg(screen->geometry().width())
                      .arg(screen->geometry().height()));

    const SlideshowPlan plan(project.project, project.slides, m_playerSettings.plan);
    const SlideRenderer renderer(m_playerSettings.render);
    // The loader checks before each slide that the project is still there; a short wait only.
    PictureLoader loader(plan, renderer, screen->geometry().size(),
        std::make_unique<ProjectReader>(AppPaths::dataDir() + QStringLiteral("Tapisol.mdb"), 500),
        project.project.KeyAuto, langText(TextPlaceholder));
    PlayerWindow::Options options;
    options.toolsHide = m_playerSettings.toolsHide;
    options.toolsSeconds = m_playerSettings.toolsSeconds;
    options.cycle = m_playerSettings.cycle;
    options.timings = m_line.timings;
    PlayerWindow window(plan, renderer, loader, options);
    window.setWindowTitle(langText(TextTitle).arg(project.project.Nom));
    QObject::connect(&window, &PlayerWindow::finished, qApp, [](int code) { QCoreApplication::exit(code); });
    window.setScreen(screen);
    window.setGeometry(screen->geometry());
    window.start();
    // The sound back end takes a while to load: it does while the first picture is decoded.
    AudioDirector audio(plan);
    window.setAudio(&audio);
    window.showFullScreen();
    return QApplication::exec();
}

int Run::exportVideo(const ProjectReader::Project& project)
{
    if (const QStringList missing = VideoExport::missingElements(); !missing.isEmpty())
        return fail(PlayerProgram::ExportFailed, langText(TextElementsMissing).arg(missing.join(QStringLiteral(", "))));
    const SlideshowPlan plan(project.project, project.slides, m_playerSettings.plan);
    const SlideRenderer renderer(m_playerSettings.render);
    VideoExport::Options options;
    options.file = QFileInfo(m_line.exportFile).absoluteFilePath();
    options.size = m_line.exportSize;
    options.placeholder = langText(TextPlaceholder);
    DEFILOR_TRACE(QStringLiteral("DF Export %1 %2x%3, %4 ms")
                      .arg(options.file)
                      .arg(options.size.width())
                      .arg(options.size.height())
                      .arg(plan.durationMs()));
    QTextStream err(stderr);
    QString error;
    const bool done = VideoExport(plan, renderer, options)
                          .run(
                              &error,
                              [&](int seconds, int total) {
                                  err << langText(TextProgress).arg(seconds).arg(total) << '\n';
                                  err.flush();
                              },
                              [](const QString& line) { DEFILOR_TRACE(line); });
    if (!done)
        return fail(PlayerProgram::ExportFailed, langText(TextExportFailed).arg(options.file, error));
    const QString text = langText(TextExported).arg(options.file).arg((plan.durationMs() + 999) / 1000);
    DEFILOR_TRACE(QStringLiteral("DF Export done ") + options.file);
    err << text << '\n';
    return 0;
}

} // namespace

namespace PlayerProgram {

int run(const QStringList& arguments)
{
    return Run(arguments).exec();
}

} // namespace PlayerProgram
