#include "FrmPictureView.h"

#include "AlbumWindowTexts.h"
#include "ClsImage.h"
#include "ImageDecoder.h"

#include <QContextMenuEvent>
#include <QFileInfo>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QScreen>
#include <QThread>

using AlbumWindowTexts::withTip;

namespace {

constexpr int TextMissingFile = 3080;
constexpr int TextMissingVolume = 3081;
constexpr int TextPosition = 3082;
constexpr int TextSetWallpaper = 3026;
constexpr int TextClose = 3046;
constexpr int TextTitle = 3094;

} // namespace

// Decodes on its own thread with a decoder of its own: an ImageDecoder belongs to the thread that
// made it. Requests overtaken by a newer one are skipped, so stepping fast through a page decodes
// only the picture the user stops on.
class PictureDecodeWorker : public QObject
{
    Q_OBJECT

public:
    explicit PictureDecodeWorker(std::shared_ptr<std::atomic<quint64>> latest)
        : m_latest(std::move(latest))
    { }

public slots:
    void decode(quint64 request, const QString& path, QSize box)
    {
        if (request != m_latest->load())
            return;
        if (!m_decoder)
            m_decoder = std::make_unique<ImageDecoder>();
        QString error;
        QImage image;
        if (const std::optional<PictureInfo> info = m_decoder->probe(path, &error)) {
            // Never enlarged: a small picture is shown at its own size, in the middle.
            const QSize fitted = ClsImage::fittedSize(info->size, box);
            if (request == m_latest->load())
                image = m_decoder->decode(path, fitted, Qt::black, &error);
        }
        emit decoded(request, image, error);
    }

signals:
    void decoded(quint64 request, const QImage& image, const QString& error);

private:
    std::shared_ptr<std::atomic<quint64>> m_latest;
    std::unique_ptr<ImageDecoder> m_decoder;
};

FrmPictureView::FrmPictureView(QWidget* parent)
    : QWidget(parent, Qt::Window)
    , m_latest(std::make_shared<std::atomic<quint64>>(0))
{
    setObjectName(QStringLiteral("FrmPictureView"));
    setAttribute(Qt::WA_DeleteOnClose);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setWindowTitle(langText(TextTitle));
    setCursor(Qt::BlankCursor);
    m_thread = new QThread; // ends on its own time, see the destructor
    m_thread->setObjectName(QStringLiteral("PictureView"));
    m_worker = new PictureDecodeWorker(m_latest);
    m_worker->moveToThread(m_thread);
    connect(m_worker, &PictureDecodeWorker::decoded, this, &FrmPictureView::decoded);
    m_thread->start();
}

FrmPictureView::~FrmPictureView()
{
    // A decode under way is not waited for: its result is dropped, then the worker (with its
    // decoder, which belongs to that thread) is deleted there and the thread ends.
    m_latest->store(0);
    disconnect(m_worker, nullptr, this, nullptr);
    QThread* thread = m_thread;
    connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    QMetaObject::invokeMethod(
        m_worker,
        [worker = m_worker, thread] {
            delete worker;
            thread->quit();
        },
        Qt::QueuedConnection);
}

void FrmPictureView::setPictures(const QList<Entry>& entries, int current)
{
    m_entries = entries;
    m_current = -1;
    showAt(current);
}

void FrmPictureView::showAt(int index)
{
    if (m_entries.isEmpty())
        return;
    index = qBound(0, index, int(m_entries.size()) - 1);
    if (index == m_current && (!m_image.isNull() || !m_message.isEmpty()))
        return;
    m_current = index;
    m_image = QImage();
    m_message.clear();
    m_placeholder = placeholder ? placeholder(index) : QPixmap();
    const Entry& entry = m_entries.at(index);
    setWindowTitle(langText(TextPosition).arg(index + 1).arg(m_entries.size()).arg(QFileInfo(entry.path).fileName()));
    const quint64 request = m_latest->load() + 1;
    m_latest->store(request);
    if (!entry.missingVolume.isEmpty())
        m_message = langText(TextMissingVolume).arg(entry.missingVolume);
    else if (!QFileInfo::exists(entry.path))
        m_message = langText(TextMissingFile).arg(entry.path);
    if (m_message.isEmpty()) {
        const QScreen* on = screen() ? screen() : QGuiApplication::primaryScreen();
        const QSize box = (on ? on->size() : QSize(1920, 1080)) * (on ? on->devicePixelRatio() : 1.0);
        QMetaObject::invokeMethod(m_worker, "decode", Qt::QueuedConnection, Q_ARG(quint64, request),
            Q_ARG(QString, entry.path), Q_ARG(QSize, box));
    }
    update();
    emit currentChanged(index);
    if (!m_message.isEmpty())
        emit settled();
}

void FrmPictureView::decoded(quint64 request, const QImage& image, const QString& error)
{
    if (request != m_latest->load())
        return;
    m_image = image;
    m_message = image.isNull() ? error : QString();
    update();
    emit settled();
}

void FrmPictureView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
    const auto centred = [this](QSize size) {
        const QSize shown = size.width() > width() || size.height() > height()
            ? size.scaled(this->size(), Qt::KeepAspectRatio)
            : size;
        return QRect(QPoint((width() - shown.width()) / 2, (height() - shown.height()) / 2), shown);
    };
    if (!m_image.isNull()) {
        const QSize logical = m_image.size() / m_image.devicePixelRatio() / devicePixelRatioF();
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(centred(logical), m_image);
    } else if (!m_placeholder.isNull()) {
        // The thumbnail, enlarged, says which picture is coming.
        const QSize big = m_placeholder.size().scaled(size() / 2, Qt::KeepAspectRatio);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.setOpacity(m_message.isEmpty() ? 0.6 : 0.3);
        painter.drawPixmap(centred(big), m_placeholder);
        painter.setOpacity(1.0);
    }
    if (!m_message.isEmpty()) {
        QFont font = painter.font();
        font.setPointSizeF(font.pointSizeF() * 1.4);
        painter.setFont(font);
        painter.setPen(Qt::white);
        painter.drawText(rect().adjusted(48, 48, -48, -48), Qt::AlignCenter | Qt::TextWordWrap, m_message);
    }
}

void FrmPictureView::keyPressEvent(QKeyEvent* event)
{
    switch (event->key()) {
    case Qt::Key_Escape:
        close();
        return;
    case Qt::Key_Right:
    case Qt::Key_Down:
    case Qt::Key_PageDown:
    case Qt::Key_Space:
        showAt(m_current + 1);
        return;
    case Qt::Key_Left:
    case Qt::Key_Up:
    case Qt::Key_PageUp:
    case Qt::Key_Backspace:
        showAt(m_current - 1);
        return;
    case Qt::Key_Home:
        showAt(0);
        return;
    case Qt::Key_End:
        showAt(int(m_entries.size()) - 1);
        return;
    default:
        QWidget::keyPressEvent(event);
    }
}

void FrmPictureView::wheelEvent(QWheelEvent* event)
{
    const int steps = event->angleDelta().y() / 120;
    if (steps != 0)
        showAt(m_current - steps);
    event->accept();
}

void FrmPictureView::mouseDoubleClickEvent(QMouseEvent*)
{
    close();
}

void FrmPictureView::contextMenuEvent(QContextMenuEvent* event)
{
    unsetCursor();
    QMenu menu(this);
    QAction* wallpaper = withTip(menu.addAction(langText(TextSetWallpaper)), TextSetWallpaper + 1);
    wallpaper->setEnabled(bool(setAsWallpaper) && m_current >= 0 && m_entries.at(m_current).missingVolume.isEmpty());
    QAction* closing = menu.addAction(langText(TextClose));
    closing->setShortcut(Qt::Key_Escape);
    QAction* chosen = menu.exec(event->globalPos());
    setCursor(Qt::BlankCursor);
    if (chosen == closing) {
        close();
    } else if (chosen == wallpaper) {
        const QString why = setAsWallpaper(m_entries.at(m_current).path);
        if (!why.isEmpty()) {
            m_message = why;
            update();
        }
    }
}

#include "FrmPictureView.moc"
