#pragma once

#include <QImage>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QSize>
#include <QString>
#include <QWaitCondition>

#include <functional>
#include <vector>

class QThread;

// Decodes the assistant's pictures, small, on a worker thread of its own through the decoding
// helper (the user's files are untrusted: a picture that crashes or hangs a decoder costs that
// picture only). The newest request is served first, so the slides on screen fill before those
// scrolled past; a request already waiting for the same file and size is not queued twice.
class SlideThumbnailer
{
public:
    using Delivery = std::function<void(const QString& path, QSize size, const QImage& image, const QString& error)>;

    /// `deliver` runs in `receiver`'s thread, never after `receiver` is gone.
    SlideThumbnailer(QObject* receiver, Delivery deliver);
    ~SlideThumbnailer();
    SlideThumbnailer(const SlideThumbnailer&) = delete;
    SlideThumbnailer& operator=(const SlideThumbnailer&) = delete;

    /// Asks for `path` fitted into `box` (its proportions kept, never enlarged).
    void request(const QString& path, QSize box);

private:
    struct Request
    {
        QString path;
        QSize box;
    };
    void run();

    QPointer<QObject> m_receiver;
    Delivery m_deliver;
    QThread* m_thread = nullptr;
    QMutex m_mutex;
    QWaitCondition m_wake;
    std::vector<Request> m_waiting; // a stack: the back is served first
    bool m_stop = false;
};
