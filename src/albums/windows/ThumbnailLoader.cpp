#include "ThumbnailLoader.h"

#include <QImageReader>
#include <QPainter>
#include <QThread>

namespace {

// Thumbnails are at most 160 × 120; a file much larger than that is not one of ours, and is read
// small enough to cost no more than one.
constexpr QSize LargestRead(640, 480);

} // namespace

ThumbnailLoader::ThumbnailLoader(QObject* receiver, Delivery deliver)
    : m_receiver(receiver)
    , m_deliver(std::move(deliver))
{
    m_thread = QThread::create([this] { run(); });
    m_thread->setObjectName(QStringLiteral("ThumbnailLoader"));
    m_thread->start(QThread::LowPriority);
}

ThumbnailLoader::~ThumbnailLoader()
{
    {
        QMutexLocker lock(&m_mutex);
        m_stop = true;
        m_waiting.clear();
    }
    m_wake.wakeAll();
    m_thread->wait();
    delete m_thread;
}

void ThumbnailLoader::request(Request request)
{
    {
        QMutexLocker lock(&m_mutex);
        if (request.generation < m_generation)
            return;
        m_waiting.push_back(std::move(request));
    }
    m_wake.wakeOne();
}

void ThumbnailLoader::setGeneration(quint64 generation)
{
    QMutexLocker lock(&m_mutex);
    m_generation = generation;
    std::erase_if(m_waiting, [generation](const Request& waiting) { return waiting.generation < generation; });
}

void ThumbnailLoader::run()
{
    for (;;) {
        Request next;
        {
            QMutexLocker lock(&m_mutex);
            while (m_waiting.empty() && !m_stop)
                m_wake.wait(&m_mutex);
            if (m_stop)
                return;
            next = std::move(m_waiting.back());
            m_waiting.pop_back();
        }
        QString error;
        const QImage image = read(next.file, next.grey, &error);
        QMetaObject::invokeMethod(
            m_receiver.data(),
            [this, next, image, error] {
                if (m_deliver)
                    m_deliver(next.generation, next.key, image, error);
            },
            Qt::QueuedConnection);
    }
}

QImage ThumbnailLoader::read(const QString& file, bool grey, QString* error)
{
    if (file.isEmpty()) {
        if (error)
            error->clear();
        return {};
    }
    QImageReader reader(file);
    reader.setDecideFormatFromContent(true);
    reader.setAutoTransform(false); // our thumbnails are written upright
    const QSize declared = reader.size();
    if (declared.isValid() && (declared.width() > LargestRead.width() || declared.height() > LargestRead.height()))
        reader.setScaledSize(declared.scaled(LargestRead, Qt::KeepAspectRatio));
    QImage image = reader.read();
    if (image.isNull()) {
        if (error)
            *error = reader.errorString();
        return {};
    }
    image = image.convertToFormat(QImage::Format_RGB32);
    if (grey) {
        // Faded grey: plainly "not available now", yet still recognisable.
        image = image.convertToFormat(QImage::Format_Grayscale8).convertToFormat(QImage::Format_RGB32);
        QPainter painter(&image);
        painter.setOpacity(0.55);
        painter.fillRect(image.rect(), Qt::white);
    }
    return image;
}
