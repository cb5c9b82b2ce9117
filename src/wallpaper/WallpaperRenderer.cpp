#include "WallpaperRenderer.h"

#include "AppPaths.h"
#include "ClsMonitor.h"
#include "ClsRegistry.h"
#include "ImageDecoder.h"
#include "ImageSaving.h"
#include "Trace.h"
#include "WallpaperBackend.h"

#include <QFile>
#include <QFileInfo>

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
{ }

QString WallpaperRenderer::outputPath()
{
    return AppPaths::dataDir() + QStringLiteral("Tapisol.bmp");
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
    return areas;
}

bool WallpaperRenderer::change(const QString& picture)
{
    TAPISOL_TRACE(QStringLiteral("SY Chg WP Start ") + picture);
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

    const QString output = outputPath();
    std::unique_ptr<PreparedWallpaper> prepared;
    if (!unchanged(picture, *sizing)) {
        if (!writeOutput(picture, *sizing, info->isMetafile(), *areas, &prepared)) {
            TAPISOL_TRACE(QStringLiteral("SY Chg Save Failed"));
            return false;
        }
    }
    TAPISOL_TRACE(output + QStringLiteral(" SY Chg WP Reg "));
    registry().setRawValue(SettingGroup::Desktop, TileValue, sizing->tileWallpaper);
    registry().setRawValue(SettingGroup::Desktop, StyleValue, sizing->wallpaperStyle);
    if (!prepared) {
        // Not rendered now: what goes on screen is still decoded by the helper, never here.
        if (!prepareDecoded(
                output, sizing->target, sizing->tileWallpaper, sizing->wallpaperStyle, *areas, &prepared, &error)) {
            TAPISOL_TRACE(QStringLiteral("SY Chg WP Err ") + error);
            return false;
        }
    }
    if (!(prepared ? showPrepared(*prepared) : applyOutput(sizing->tileWallpaper, sizing->wallpaperStyle, *areas)))
        return false;
    TAPISOL_TRACE(QStringLiteral("SY Chg WP Changed"));
    registry().set(SettingNo::CurrentWallPaper, picture);
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

bool WallpaperRenderer::writeOutput(const QString& picture, const SizingResult& sizing, bool isMetafile,
    const Areas& areas, std::unique_ptr<PreparedWallpaper>* prepared)
{
    const QString output = outputPath();
    QString error;
    bool saved = false;
    if (!sizing.resize && !isMetafile) {
        // The desktop is given a copy, so the user may move or delete the original; what goes on
        // screen is the helper's decoding of it (oriented, any allowed format), checked first so
        // that a file it refuses never replaces the previous wallpaper.
        saved = prepareDecoded(
                    picture, sizing.target, sizing.tileWallpaper, sizing.wallpaperStyle, areas, prepared, &error)
            && ImageSaving::copyFile(picture, output, &error);
        if (!saved)
            prepared->reset();
    } else {
        const QImage image = m_decoder.decode(picture, sizing.target, Qt::black, &error);
        if (!image.isNull()) {
            // The bitmap is written on a second thread while the back end gets the same pixels
            // ready to show; they go on screen only once the file is complete.
            auto saving = std::async(std::launch::async, [image, output] {
                QString cause;
                const bool ok = ImageSaving::saveBitmap(image, output, &cause);
                return std::pair {ok, cause};
            });
            QString notPrepared; // apply() says it again should it matter
            *prepared
                = m_backend.prepare(image, wallpaperStyleFromDesktopValues(sizing.tileWallpaper, sizing.wallpaperStyle),
                    areas.monitor, areas.virtualScreen, &notPrepared);
            std::tie(saved, error) = saving.get();
            if (!saved)
                prepared->reset();
        }
        TAPISOL_TRACE(output + QStringLiteral(" SY Chg WP Resize "));
    }
    if (!saved) {
        TAPISOL_TRACE(QStringLiteral("SY Chg WP Err ") + error);
        return false;
    }
    // The output carries the picture's date, so the same picture twice rewrites nothing.
    QFile file(output);
    if (file.open(QIODevice::ReadWrite))
        file.setFileTime(QFileInfo(picture).lastModified(), QFileDevice::FileModificationTime);
    return true;
}

bool WallpaperRenderer::showPrepared(PreparedWallpaper& prepared)
{
    QString error;
    if (!prepared.show(&error)) {
        TAPISOL_TRACE(QStringLiteral("SY Chg WP Err ") + m_backend.name() + QStringLiteral(": ") + error);
        return false;
    }
    return true;
}

bool WallpaperRenderer::applyOutput(const QString& tile, const QString& style, const Areas& areas)
{
    QString error;
    if (!m_backend.apply(
            outputPath(), wallpaperStyleFromDesktopValues(tile, style), areas.monitor, areas.virtualScreen, &error)) {
        TAPISOL_TRACE(QStringLiteral("SY Chg WP Err ") + m_backend.name() + QStringLiteral(": ") + error);
        return false;
    }
    return true;
}

bool WallpaperRenderer::reapply()
{
    const auto areas = currentAreas();
    if (!areas || !QFileInfo::exists(outputPath()))
        return false;
    const QString tile = desktopValue(TileValue);
    const QString style = desktopValue(StyleValue);
    std::unique_ptr<PreparedWallpaper> prepared;
    QString error;
    if (!prepareDecoded(outputPath(), {}, tile, style, *areas, &prepared, &error)) {
        TAPISOL_TRACE(QStringLiteral("SY Chg WP Err ") + error);
        return false;
    }
    return prepared ? showPrepared(*prepared) : applyOutput(tile, style, *areas);
}

bool WallpaperRenderer::refit()
{
    const QString picture = registry().get(SettingNo::CurrentWallPaper).toString();
    if (!picture.isEmpty() && QFileInfo(picture).isFile())
        return change(picture);
    return reapply();
}

// The helper's decoding of `file` at `size` (its own when empty), made ready by a back end that
// shows pixels itself. Nothing prepared, and true, for a back end that hands the file to the
// desktop; false, with the reason, when the helper refuses the file.
bool WallpaperRenderer::prepareDecoded(const QString& file, QSize size, const QString& tile, const QString& style,
    const Areas& areas, std::unique_ptr<PreparedWallpaper>* prepared, QString* error)
{
    const QImage image = m_decoder.decode(file, size, Qt::black, error);
    if (image.isNull())
        return false;
    QString notPrepared; // apply() says it again should it matter
    *prepared = m_backend.prepare(
        image, wallpaperStyleFromDesktopValues(tile, style), areas.monitor, areas.virtualScreen, &notPrepared);
    return true;
}
