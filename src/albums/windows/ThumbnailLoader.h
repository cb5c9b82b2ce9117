#pragma once

#include <QImage>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QWaitCondition>

#include <functional>
#include <vector>

class QThread;

// Reads thumbnail files on a worker thread. Requests are served newest first: the rows a view
// asks for last are the ones on screen now. A new generation (another page shown) drops every
// request of the older ones still waiting. Results come back in the receiver's thread.
class ThumbnailLoader
{
public:
    struct Request
    {
        quint64 generation = 0;
        qint64 key = 0;
        QString file;
        bool grey = false; // a picture whose volume is missing
    };
    using Delivery = std::function<void(quint64 generation, qint64 key, const QImage& image, const QString& error)>;

    /// `deliver` runs in `receiver`'s thread, never after `receiver` is gone.
    ThumbnailLoader(QObject* receiver, Delivery deliver);
    ~ThumbnailLoader();
    ThumbnailLoader(const ThumbnailLoader&) = delete;
    ThumbnailLoader& operator=(const ThumbnailLoader&) = delete;

    void request(Request request);
    /// Drops the waiting requests of generations before `generation`.
    void setGeneration(quint64 generation);

    /// One thumbnail file read as a 32-bit image (faded to grey when asked); a null image and
    /// the reason when it cannot be read. A file far larger than a thumbnail is read scaled down.
    static QImage read(const QString& file, bool grey, QString* error);

private:
    void run();

    QPointer<QObject> m_receiver;
    Delivery m_deliver;
    QThread* m_thread = nullptr;
    QMutex m_mutex;
    QWaitCondition m_wake;
    std::vector<Request> m_waiting; // a stack: the back is served first
    quint64 m_generation = 0;
    bool m_stop = false;
};
