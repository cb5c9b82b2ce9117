#include "MetafileCodec.h"

#include "ImageLimits.h"
#include "PictureFile.h"

#include <QPainter>
#include <QSvgRenderer>
#include <QtEndian>

#include <emf2svg.h>
#include <libwmf/api.h>
#include <libwmf/gd.h>

#include <cmath>

namespace {

constexpr qint64 kMaxFileBytes = 64LL << 20;
constexpr double kDotsPerInch = 96.0;

QString wmfError(const char* what, wmf_error_t code)
{
    const char* cause = "unexpected error";
    switch (code) {
    case wmf_E_InsMem:
        cause = "out of memory";
        break;
    case wmf_E_BadFile:
        cause = "bad file";
        break;
    case wmf_E_BadFormat:
        cause = "not a metafile it can read";
        break;
    case wmf_E_EOF:
        cause = "the file is cut short";
        break;
    case wmf_E_DeviceError:
        cause = "rendering error";
        break;
    case wmf_E_Glitch:
        cause = "internal error";
        break;
    case wmf_E_Assert:
        cause = "damaged records";
        break;
    default:
        break;
    }
    return QStringLiteral("%1 (libwmf: %2)").arg(QLatin1String(what), QLatin1String(cause));
}

// One libwmf player over the file's bytes, scanned so that its bounding box is known.
class WmfPlayer
{
public:
    ~WmfPlayer()
    {
        if (m_api)
            wmf_api_destroy(m_api);
    }

    bool open(PictureFile& file, QString* error)
    {
        if (!file.readAll(&m_data, kMaxFileBytes, error))
            return false;
        wmfAPI_Options options {};
        options.function = wmf_gd_function;
        wmf_error_t status = wmf_api_create(&m_api, WMF_OPT_FUNCTION | WMF_OPT_IGNORE_NONFATAL, &options);
        if (status != wmf_E_None) {
            *error = wmfError("libwmf could not start; are its fonts (fonts-urw-base35) installed?", status);
            return false;
        }
        status = wmf_mem_open(m_api, reinterpret_cast<unsigned char*>(m_data.data()), long(m_data.size()));
        if (status == wmf_E_None)
            status = wmf_scan(m_api, 0, &m_box);
        if (status != wmf_E_None) {
            *error = wmfError("cannot read the WMF records", status);
            return false;
        }
        unsigned int width = 0, height = 0;
        wmf_display_size(m_api, &width, &height, kDotsPerInch, kDotsPerInch);
        m_size = QSize(int(qMin(width, 1u << 30)), int(qMin(height, 1u << 30)));
        if (m_size.isEmpty()) {
            *error = QStringLiteral("the WMF drawing has no extent");
            return false;
        }
        trimPenMargin();
        return true;
    }

    QSize size() const { return m_size; }

    QImage render(QSize size, QString* error)
    {
        wmf_gd_t* device = WMF_GD_GetData(m_api);
        device->type = wmf_gd_image;
        device->width = unsigned(size.width());
        device->height = unsigned(size.height());
        device->bbox = m_box;
        const wmf_error_t status = wmf_play(m_api, 0, &m_box);
        const int* pixels = device->gd_image ? wmf_gd_image_pixels(device->gd_image) : nullptr;
        if (status != wmf_E_None || !pixels) {
            *error = wmfError("cannot draw the WMF records", status);
            return {};
        }
        // gd keeps 7-bit alpha, 0 opaque to 127 transparent, above 8-bit RGB.
        QImage image(size, QImage::Format_ARGB32);
        for (int y = 0; y < size.height(); ++y) {
            auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
            const int* source = pixels + qsizetype(y) * size.width();
            for (int x = 0; x < size.width(); ++x) {
                const quint32 v = quint32(source[x]);
                const int alpha = 255 - int(((v >> 24) & 0x7F) * 255 / 127);
                line[x] = qRgba(int((v >> 16) & 0xFF), int((v >> 8) & 0xFF), int(v & 0xFF), alpha);
            }
        }
        return image;
    }

private:
    // The scanned box (in points) runs half a pen beyond the drawing on every side, which would
    // leave a white rim once the drawing is enlarged; a small excess over the declared size is
    // that margin and is trimmed evenly.
    void trimPenMargin()
    {
        const auto trim = [](float& low, float& high, double declaredPoints) {
            const double excess = (high - low) - declaredPoints;
            if (excess > 0 && excess <= declaredPoints * 0.05) {
                low += float(excess / 2);
                high -= float(excess / 2);
            }
        };
        trim(m_box.TL.x, m_box.BR.x, m_size.width() * 72.0 / kDotsPerInch);
        trim(m_box.TL.y, m_box.BR.y, m_size.height() * 72.0 / kDotsPerInch);
    }

    wmfAPI* m_api = nullptr;
    QByteArray m_data;
    wmfD_Rect m_box {};
    QSize m_size;
};

// The smallest size with `natural`'s proportions that covers `target`, or the largest that fits
// in it when covering would pass the canvas bound.
QSize proportionalCover(QSize natural, QSize target)
{
    const double sx = double(target.width()) / natural.width();
    const double sy = double(target.height()) / natural.height();
    for (const double scale : {qMax(sx, sy), qMin(sx, sy)}) {
        const QSize size(
            qMax(1, int(std::lround(natural.width() * scale))), qMax(1, int(std::lround(natural.height() * scale))));
        if (ImageLimits::canvasFits(size))
            return size;
    }
    return target;
}

} // namespace

namespace MetafileCodec {

std::optional<QSize> probeWmf(PictureFile& file, QString* error)
{
    WmfPlayer player;
    if (!player.open(file, error))
        return std::nullopt;
    return player.size();
}

QImage decodeWmf(PictureFile& file, QSize target, QString* error)
{
    WmfPlayer player;
    if (!player.open(file, error))
        return {};
    return player.render(target.isValid() ? proportionalCover(player.size(), target) : player.size(), error);
}

std::optional<QSize> probeEmf(PictureFile& file, QString* error)
{
    const QByteArray& head = file.head();
    if (head.size() < 40) {
        *error = QStringLiteral("the EMF header is cut short");
        return std::nullopt;
    }
    const auto field = [&head](int index) { return qFromLittleEndian<qint32>(head.constData() + 8 + 4 * index); };
    // The frame is in hundredths of a millimetre; the bounds, in device pixels, both inclusive.
    const double frameWidth = double(field(6)) - field(4);
    const double frameHeight = double(field(7)) - field(5);
    QSize size(
        int(std::lround(frameWidth * kDotsPerInch / 2540.0)), int(std::lround(frameHeight * kDotsPerInch / 2540.0)));
    if (size.width() <= 0 || size.height() <= 0)
        size = QSize(int(qBound(-1.0, double(field(2)) - field(0) + 1, 1e9)),
            int(qBound(-1.0, double(field(3)) - field(1) + 1, 1e9)));
    if (size.width() <= 0 || size.height() <= 0) {
        *error = QStringLiteral("the EMF drawing has no extent");
        return std::nullopt;
    }
    return size;
}

QImage decodeEmf(PictureFile& file, QSize target, QColor background, QString* error)
{
    QByteArray data;
    if (!file.readAll(&data, kMaxFileBytes, error))
        return {};
    generatorOptions options {};
    options.nameSpace = const_cast<char*>("");
    options.emfplus = true;
    options.svgDelimiter = true;
    char* svgText = nullptr;
    size_t svgLength = 0;
    const int converted = emf2svg(data.data(), size_t(data.size()), &svgText, &svgLength, &options);
    const QByteArray svg(svgText, svgText ? qsizetype(svgLength) : 0);
    free(svgText);
    if (!converted || svg.isEmpty()) {
        *error = QStringLiteral("libemf2svg cannot convert the EMF records");
        return {};
    }
    QSvgRenderer renderer(svg);
    if (!renderer.isValid()) {
        *error = QStringLiteral("the EMF drawing converts to an SVG drawing that Qt Svg cannot read");
        return {};
    }
    QImage canvas(target, QImage::Format_RGB32);
    if (canvas.isNull()) {
        *error = QStringLiteral("not enough memory for a %1 × %2 canvas").arg(target.width()).arg(target.height());
        return {};
    }
    canvas.fill(background);
    QPainter painter(&canvas);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    renderer.render(&painter, QRectF(QPointF(0, 0), QSizeF(target)));
    return canvas;
}

} // namespace MetafileCodec
