#include "WallpaperRenderer.h"

#include "AppPaths.h"
#include "ClsMonitor.h"
#include "ClsRegistry.h"
#include "ImageDecoder.h"
#include "ImageSaving.h"
#include "Trace.h"
#include "WallpaperBackend.h"
#include "WallpaperBackends.h"

#include "PictureFormat.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QPainter>
#include <QSaveFile>
#include <QtConcurrent>

#include <malloc.h>

#include <future>
#include <tuple>

namespace {

// The desktop's own values of the wallpaper (what the system's desktop key holds elsewhere).
const QString TileValue = QStringLiteral("TileWallpaper");
const QString StyleValue = QStringLiteral("WallpaperStyle");

QString desktopValue(const QString& name)
{
    return registry().rawValue(SettingGroup::Desktop, name).toString();
}

} // namespace

WallpaperRenderer::WallpaperRenderer(ClsMonitor& monitors, ImageDecoder& decoder, WallpaperBackend& backend)
    : m_monitors(monitors)
    , m_decoder(decoder)
    , m_backend(backend)
{
    m_worker.setMaxThreadCount(1);
    m_worker.setExpiryTimeout(30000);
}

WallpaperRenderer::~WallpaperRenderer() = default;

QString WallpaperRenderer::outputPath()
{
    return AppPaths::dataDir() + QStringLiteral("Tapisol.bmp");
}

QStringList WallpaperRenderer::desktopCopies()
{
    QStringList copies;
    const QDir folder(AppPaths::dataDir());
    for (const QString& name : folder.entryList({QStringLiteral("Tapisol-[12].*")}, QDir::Files, QDir::Time))
        copies << folder.filePath(name);
    return copies; // the newest first
}

SizingSettings WallpaperRenderer::settingsFromRegistry()
{
    ClsRegistry& settings = registry();
    SizingSettings sizing;
    sizing.sizingMode = settings.get(SettingNo::SizingMode).toInt();
    sizing.bandeZoom = settings.get(SettingNo::BandeZoom).toInt() != 0;
    sizing.agranMaxi = settings.get(SettingNo::AgranMaxi).toInt() != 0;
    sizing.tauxTaille = settings.get(SettingNo::TauxTaille).toDouble();
    sizing.tauxDeformation = settings.get(SettingNo::TauxDeformation).toInt();
    sizing.tauxCouverture = settings.get(SettingNo::TauxCouverture).toInt();
    sizing.centrerMosaique = settings.get(SettingNo::CentrerMosaique).toInt();
    return sizing;
}

std::optional<WallpaperRenderer::Areas> WallpaperRenderer::currentAreas()
{
    m_monitors.refresh();
    const int number = m_monitors.currentMonitor();
    const auto monitor = m_monitors.monitorSize(number);
    if (!monitor)
        return std::nullopt;
    Areas areas;
    areas.monitor = QRect(monitor->left, monitor->top, monitor->width, monitor->height);
    // One monitor: the work area, taken up to its right and bottom edges (a panel along the top
    // or left edge leaves the picture the full height or width); several: the whole monitor.
    const auto work = m_monitors.count() == 1 ? m_monitors.workAreaSize(number) : monitor;
    areas.workArea = work ? QSize(work->left - monitor->left + work->width, work->top - monitor->top + work->height)
                          : areas.monitor.size();
    const ClsMonitor::Size all = m_monitors.virtualScreen();
    areas.virtualScreen = QRect(all.left, all.top, all.width, all.height);
    areas.monitorName = m_monitors.monitorName(number);
    areas.monitorIndex = number - 1;
    return areas;
}

bool WallpaperRenderer::change(const QString& picture)
{
    TAPISOL_TRACE(QStringLiteral("SY Chg WP Start ") + picture);
    if (m_pending.isRunning()) {
        TAPISOL_TRACE(QStringLiteral("SY Chg WP Err ") + m_backend.name()
            + QStringLiteral(": the desktop has not answered the previous change yet"));
        return false;
    }
    const auto areas = currentAreas();
    QString error;
    const auto info = areas ? m_decoder.probe(picture, &error) : std::nullopt;
    if (!info) {
        TAPISOL_TRACE(QStringLiteral("SY Chg WP Err ") + (areas ? error : QStringLiteral("no monitor")));
        return false;
    }
    const auto sizing = computeSizing(info->size.width(), info->size.height(), info->isMetafile(),
        areas->monitor.size(), areas->workArea, settingsFromRegistry());
    if (!sizing) {
        TAPISOL_TRACE(QStringLiteral("SY Chg WP Err ") + picture + QStringLiteral(": unusable size"));
        return false;
    }
    TAPISOL_TRACE(sizingStatsLine(*sizing));

    const WallpaperTarget target = targetOf(*areas, sizing->tileWallpaper, sizing->wallpaperStyle);
    Shown shown;
    std::unique_ptr<PreparedWallpaper> prepared;
    if (!render(picture, *sizing, *info, &shown, &prepared, target))
        return false;
    TAPISOL_TRACE(outputPath() + QStringLiteral(" SY Chg WP Reg "));
    registry().setRawValue(SettingGroup::Desktop, TileValue, sizing->tileWallpaper);
    registry().setRawValue(SettingGroup::Desktop, StyleValue, sizing->wallpaperStyle);
    if (!show(shown, std::move(prepared), target))
        return false;
    TAPISOL_TRACE(QStringLiteral("SY Chg WP Changed"));
    registry().set(SettingNo::CurrentWallPaper, picture);
    malloc_trim(0); // the picture's memory goes back to the system until the next change
    return true;
}

// Brings Tapisol.bmp up to date (unless it already is) and gives what goes on screen: always
// the helper's decoding, never a decoding in this process.
bool WallpaperRenderer::render(const QString& picture, const SizingResult& sizing, const PictureInfo& info,
    Shown* shown, std::unique_ptr<PreparedWallpaper>* prepared, const WallpaperTarget& target)
{
    const QString output = outputPath();
    QString error;
    const bool ownSize = !sizing.resize && !info.isMetafile();
    if (unchanged(picture, sizing)) {
        shown->image = m_decoder.decode(output, sizing.target, Qt::black, &error);
        shown->ownBytes = ownSize;
        shown->ownFormat = int(info.format);
        if (shown->image.isNull()) {
            TAPISOL_TRACE(QStringLiteral("SY Chg WP Err ") + error);
            return false;
        }
        return true;
    }
    // Decoded first, so that a file the helper refuses never replaces the previous wallpaper.
    shown->image = m_decoder.decode(picture, sizing.target, Qt::black, &error);
    bool saved = !shown->image.isNull();
    if (saved && ownSize) {
        // The desktop is given a copy, so the user may move or delete the original.
        shown->ownBytes = true;
        shown->ownFormat = int(info.format);
        saved = ImageSaving::copyFile(picture, output, &error);
    } else if (saved) {
        // The bitmap is written on a second thread while the back end gets the same pixels
        // ready to show; they go on screen only once the file is complete.
        const QImage image = shown->image;
        auto saving = std::async(std::launch::async, [image, output] {
            QString cause;
            const bool ok = ImageSaving::saveBitmap(image, output, &cause);
            return std::pair {ok, cause};
        });
        QString notPrepared; // apply() says it again should it matter
        *prepared = m_backend.prepare(image, target, &notPrepared);
        std::tie(saved, error) = saving.get();
        TAPISOL_TRACE(output + QStringLiteral(" SY Chg WP Resize "));
    }
    if (!saved) {
        prepared->reset();
        TAPISOL_TRACE(QStringLiteral("SY Chg WP Err ") + error);
        TAPISOL_TRACE(QStringLiteral("SY Chg Save Failed"));
        return false;
    }
    // The output carries the picture's date, so the same picture twice rewrites nothing.
    QFile file(output);
    if (file.open(QIODevice::ReadWrite))
        file.setFileTime(QFileInfo(picture).lastModified(), QFileDevice::FileModificationTime);
    return true;
}

bool WallpaperRenderer::unchanged(const QString& picture, const SizingResult& sizing) const
{
    const QFileInfo output(outputPath());
    if (!output.exists() || registry().get(SettingNo::CurrentWallPaper).toString() != picture
        || QFileInfo(picture).lastModified() != output.lastModified() || desktopValue(TileValue) != sizing.tileWallpaper
        || desktopValue(StyleValue) != sizing.wallpaperStyle)
        return false;
    // The size too: a bitmap made before a change of resolution fits the old screen.
    const auto rendered = m_decoder.probe(outputPath());
    return rendered && rendered->size == sizing.target;
}

WallpaperTarget WallpaperRenderer::targetOf(const Areas& areas, const QString& tile, const QString& style) const
{
    WallpaperTarget target;
    target.file = outputPath();
    target.style = wallpaperStyleFromDesktopValues(tile, style);
    target.monitor = areas.monitor;
    target.virtualScreen = areas.virtualScreen;
    target.monitorName = areas.monitorName;
    target.monitorIndex = areas.monitorIndex;
    target.lockScreen = registry().get(SettingNo::FondEcranVerrouillage).toInt() != 0;
    return target;
}

// The picture laid on a canvas of the monitor's size as the desktop would lay it, with the overlay
// over it: the desktop then gets an image that covers the monitor exactly.
WallpaperRenderer::Shown WallpaperRenderer::withOverlay(const Shown& plain, const WallpaperTarget& target) const
{
    Shown shown;
    shown.image = QImage(target.monitor.size(), QImage::Format_RGB32);
    shown.image.fill(Qt::black);
    QPainter painter(&shown.image);
    const QRect area = shown.image.rect();
    switch (target.style) {
    case WallpaperStyle::Stretched:
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(area, plain.image);
        break;
    case WallpaperStyle::Tiled:
        painter.drawTiledPixmap(area, QPixmap::fromImage(plain.image));
        break;
    case WallpaperStyle::Centered:
        painter.drawImage(area.center() - plain.image.rect().center(), plain.image);
        break;
    }
    painter.setRenderHint(QPainter::Antialiasing);
    m_overlay(painter, area);
    return shown;
}

bool WallpaperRenderer::show(const Shown& plain, std::unique_ptr<PreparedWallpaper> prepared, WallpaperTarget target)
{
    Shown shown = plain;
    if (m_overlay && !plain.image.isNull() && !target.monitor.isEmpty()) {
        shown = withOverlay(plain, target);
        prepared.reset(); // it holds the plain picture
        target.style = WallpaperStyle::Centered;
    }
    QString error;
    if (!prepared && !m_backend.handsOverFile())
        prepared = m_backend.prepare(shown.image, target, &error);
    if (prepared) {
        if (prepared->show(&error))
            return true;
        TAPISOL_TRACE(QStringLiteral("SY Chg WP Err ") + m_backend.name() + QStringLiteral(": ") + error);
        return false;
    }
    if (m_backend.handsOverFile()) {
        target.file = writeDesktopCopy(shown, &error);
        if (target.file.isEmpty()) {
            TAPISOL_TRACE(QStringLiteral("SY Chg WP Err ") + error);
            return false;
        }
    }
    return applyBounded(target);
}

// The file a desktop reads: the rendered bitmap, or the picture's own bytes with its own
// extension, where the desktop reads that format; a PNG of what goes on screen otherwise (a
// format it cannot read, or an orientation it might not apply). Under the name not used last
// time, the older copy of that name removed first: never more than two copies.
QString WallpaperRenderer::writeDesktopCopy(const Shown& shown, QString* error)
{
    const auto format = PictureFormat(shown.ownFormat);
    QString extension = QStringLiteral("png");
    if (!shown.ownBytes && m_backend.readsBmp())
        extension = QStringLiteral("bmp");
    else if (shown.ownBytes && format == PictureFormat::Png)
        extension = QStringLiteral("png");
    else if (shown.ownBytes && format == PictureFormat::Bmp && m_backend.readsBmp())
        extension = QStringLiteral("bmp");
    const bool copyBytes = extension == QLatin1String("bmp") || (shown.ownBytes && format == PictureFormat::Png);

    const QStringList copies = desktopCopies();
    const QString newest = copies.isEmpty() ? QString() : QFileInfo(copies.first()).completeBaseName();
    const QString base
        = newest == QLatin1String("Tapisol-1") ? QStringLiteral("Tapisol-2") : QStringLiteral("Tapisol-1");
    for (const QString& copy : copies) {
        if (QFileInfo(copy).completeBaseName() == base)
            QFile::remove(copy);
    }
    const QString path = AppPaths::dataDir() + base + QLatin1Char('.') + extension;
    if (copyBytes)
        return ImageSaving::copyFile(outputPath(), path, error) ? path : QString();
    QSaveFile file(path);
    // Fast compression: a wallpaper is written once and read once.
    if (file.open(QIODevice::WriteOnly) && shown.image.save(&file, "PNG", 80) && file.commit())
        return path;
    *error = path + QStringLiteral(": ") + file.errorString();
    return {};
}

// The back end's apply() on the worker thread, the event loop running meanwhile.
bool WallpaperRenderer::applyBounded(const WallpaperTarget& target)
{
    WallpaperBackend* backend = &m_backend;
    m_pending = QtConcurrent::run(&m_worker, [backend, target] {
        QString error;
        const bool applied = backend->apply(target, &error);
        return std::pair {applied, error};
    });
    QFutureWatcher<std::pair<bool, QString>> watcher;
    QEventLoop loop;
    QObject::connect(&watcher, &QFutureWatcherBase::finished, &loop, &QEventLoop::quit);
    watcher.setFuture(m_pending);
    // Every back end bounds its own calls; this bound is for one that does not come back at all.
    QTimer::singleShot(WallpaperBackend::CallTimeoutMs * 3, &loop, &QEventLoop::quit);
    if (!m_pending.isFinished())
        loop.exec();
    if (!m_pending.isFinished()) {
        TAPISOL_TRACE(QStringLiteral("SY Chg WP Err ") + m_backend.name()
            + QStringLiteral(": the desktop did not answer in time"));
        return false;
    }
    const auto [applied, error] = m_pending.result();
    if (const auto* chain = dynamic_cast<const WallpaperBackends::BackendChain*>(&m_backend)) {
        for (const QString& failure : chain->lastFailures())
            TAPISOL_TRACE(QStringLiteral("SY Chg WP Err ") + failure);
    } else if (!applied) {
        TAPISOL_TRACE(QStringLiteral("SY Chg WP Err ") + m_backend.name() + QStringLiteral(": ") + error);
    }
    return applied;
}

bool WallpaperRenderer::reapply()
{
    const auto areas = currentAreas();
    if (!areas || !QFileInfo::exists(outputPath()) || m_pending.isRunning())
        return false;
    const QString tile = desktopValue(TileValue);
    const QString style = desktopValue(StyleValue);
    QString error;
    Shown shown;
    shown.image = m_decoder.decode(outputPath(), {}, Qt::black, &error);
    if (shown.image.isNull()) {
        TAPISOL_TRACE(QStringLiteral("SY Chg WP Err ") + error);
        return false;
    }
    if (const auto info = m_decoder.probe(outputPath()); info && info->format != PictureFormat::Bmp) {
        shown.ownBytes = true; // a picture used at its own size
        shown.ownFormat = int(info->format);
    }
    return show(shown, nullptr, targetOf(*areas, tile, style));
}

bool WallpaperRenderer::refit()
{
    const QString picture = registry().get(SettingNo::CurrentWallPaper).toString();
    if (!picture.isEmpty() && QFileInfo(picture).isFile())
        return change(picture);
    return reapply();
}
