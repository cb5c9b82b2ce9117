#include "HeifCodec.h"

#include "PictureFile.h"

#include <libheif/heif.h>

#include <memory>

namespace {

// A HEIF container is small beside its pixels; anything larger is not a photo.
constexpr qint64 kMaxFileBytes = 512LL << 20;

struct ContextDeleter
{
    void operator()(heif_context* context) const { heif_context_free(context); }
};
struct HandleDeleter
{
    void operator()(heif_image_handle* handle) const { heif_image_handle_release(handle); }
};
using ContextPtr = std::unique_ptr<heif_context, ContextDeleter>;
using HandlePtr = std::unique_ptr<heif_image_handle, HandleDeleter>;

QString heifError(const char* what, const heif_error& error)
{
    return QStringLiteral("%1 (libheif: %2)").arg(QLatin1String(what), QString::fromUtf8(error.message));
}

// The file's bytes and the context reading them: libheif keeps pointing into the bytes.
struct OpenedHeif
{
    QByteArray data;
    ContextPtr context;
    HandlePtr primary;
};

bool openPrimary(PictureFile& file, OpenedHeif* opened, QString* error)
{
    static const bool initialised = [] {
        heif_init(nullptr);
        return true;
    }();
    Q_UNUSED(initialised);
    if (!file.readAll(&opened->data, kMaxFileBytes, error))
        return false;
    opened->context.reset(heif_context_alloc());
    heif_error status = heif_context_read_from_memory_without_copy(
        opened->context.get(), opened->data.constData(), size_t(opened->data.size()), nullptr);
    if (status.code != heif_error_Ok) {
        *error = heifError("cannot read the HEIF container", status);
        return false;
    }
    heif_image_handle* handle = nullptr;
    status = heif_context_get_primary_image_handle(opened->context.get(), &handle);
    if (status.code != heif_error_Ok) {
        *error = heifError("the HEIF file has no primary picture", status);
        return false;
    }
    opened->primary.reset(handle);
    return true;
}

void releaseHeifImage(void* image)
{
    heif_image_release(static_cast<heif_image*>(image));
}

} // namespace

namespace HeifCodec {

std::optional<QSize> probe(PictureFile& file, QString* error)
{
    OpenedHeif opened;
    if (!openPrimary(file, &opened, error))
        return std::nullopt;
    return QSize(heif_image_handle_get_width(opened.primary.get()), heif_image_handle_get_height(opened.primary.get()));
}

QImage decode(PictureFile& file, QString* error)
{
    OpenedHeif opened;
    if (!openPrimary(file, &opened, error))
        return {};
    const bool alpha = heif_image_handle_has_alpha_channel(opened.primary.get());
    std::unique_ptr<heif_decoding_options, void (*)(heif_decoding_options*)> options(
        heif_decoding_options_alloc(), heif_decoding_options_free);
    if (options->version >= 2)
        options->convert_hdr_to_8bit = 1; // 10-bit pictures come out as 8-bit RGB
    heif_image* image = nullptr;
    const heif_error status = heif_decode_image(opened.primary.get(), &image, heif_colorspace_RGB,
        alpha ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB, options.get());
    if (status.code != heif_error_Ok || !image) {
        *error = heifError("cannot decode the HEIF picture", status);
        return {};
    }
    int stride = 0;
    const uint8_t* plane = heif_image_get_plane_readonly(image, heif_channel_interleaved, &stride);
    const int width = heif_image_get_width(image, heif_channel_interleaved);
    const int height = heif_image_get_height(image, heif_channel_interleaved);
    if (!plane || width <= 0 || height <= 0) {
        heif_image_release(image);
        *error = QStringLiteral("libheif returned no pixels");
        return {};
    }
    // The QImage borrows libheif's plane and releases it when the last copy goes.
    return QImage(
        plane, width, height, stride, alpha ? QImage::Format_RGBA8888 : QImage::Format_RGB888, releaseHeifImage, image);
}

} // namespace HeifCodec
