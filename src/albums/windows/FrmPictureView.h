#pragma once

#include <QImage>
#include <QPixmap>
#include <QWidget>

#include <atomic>
#include <functional>
#include <memory>

class QThread;
class PictureDecodeWorker;

// A picture of the album shown at the size of the screen, on black, decoded by the decoding helper
// process on a thread of its own (its thumbnail stands in meanwhile). Left and Right (or the
// wheel) step through the pictures of the page in the grid's order, Home and End go to the ends,
// Escape or a double click closes. A picture whose disk is not connected, or whose file is gone,
// is named with the reason instead.
class FrmPictureView : public QWidget
{
    Q_OBJECT

public:
    struct Entry
    {
        QString path;
        QString missingVolume; // the disk's description when it is not connected, else empty
    };

    explicit FrmPictureView(QWidget* parent = nullptr);
    ~FrmPictureView() override;

    /// The pictures to step through, and the one to show first.
    void setPictures(const QList<Entry>& entries, int current);
    int current() const { return m_current; }
    void showAt(int index);

    /// The thumbnail of an entry, shown while the picture is decoded.
    std::function<QPixmap(int index)> placeholder;
    /// Puts the picture on the desktop (the context menu's item); empty text on success, else why.
    std::function<QString(const QString& path)> setAsWallpaper;

    /// The picture decoded for the entry shown, null while it is being decoded or when it could
    /// not be.
    QImage shownImage() const { return m_image; }
    /// What is written instead of the picture, empty when there is nothing to say.
    QString message() const { return m_message; }

signals:
    void currentChanged(int index);
    /// The picture shown has been decoded (or failed to be).
    void settled();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void decoded(quint64 request, const QImage& image, const QString& error);

    QList<Entry> m_entries;
    int m_current = -1;
    QImage m_image;
    QPixmap m_placeholder;
    QString m_message;
    QThread* m_thread = nullptr;
    PictureDecodeWorker* m_worker = nullptr;
    std::shared_ptr<std::atomic<quint64>> m_latest;
};
