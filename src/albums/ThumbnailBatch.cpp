#include "ThumbnailBatch.h"

#include "ClsImage.h"
#include "ImageDecoder.h"

#include <QThread>

#include <algorithm>

namespace {

// One worker thread's side: its own decoder (an ImageDecoder belongs to the thread that made it,
// and so does the helper process it starts), one picture at a time.
class ThumbnailWorker : public QObject
{
    Q_OBJECT

public:
    ThumbnailWorker(const ClsImage& images, QSize box)
        : m_images(images)
        , m_box(box)
    { }

    void make(const QString& picture, const QString& thumbnail)
    {
        if (!m_decoder)
            m_decoder = std::make_unique<ImageDecoder>();
        QString error;
        const bool ok = m_images.writeThumbnail(*m_decoder, picture, m_box, thumbnail, &error);
        emit made(picture, thumbnail, ok, error);
    }

signals:
    void made(const QString& picture, const QString& thumbnail, bool ok, const QString& error);

private:
    const ClsImage m_images;
    const QSize m_box;
    std::unique_ptr<ImageDecoder> m_decoder;
};

} // namespace

struct ThumbnailBatch::Private
{
    struct Lane
    {
        QThread* thread = nullptr;
        ThumbnailWorker* worker = nullptr;
        bool busy = false;
    };

    ThumbnailBatch* q = nullptr;
    ClsImage images;
    QSize box;
    int workers = 2;
    QList<Lane> lanes;
    QStringList queue;
    qsizetype next = 0;
    int done = 0;
    QSet<QString> reserved; // names handed out whose file is not written yet
    bool running = false;
    bool cancelled = false;

    Private(ThumbnailBatch* owner, const ClsImage& folder, QSize size)
        : q(owner)
        , images(folder)
        , box(size)
    { }

    void startThreads();
    void stopThreads();
    void dispatch(int index);
    void finishWhenIdle();
    void onMade(int index, const QString& picture, const QString& thumbnail, bool ok, const QString& error);
};

void ThumbnailBatch::Private::startThreads()
{
    const bool busy = std::any_of(lanes.cbegin(), lanes.cend(), [](const Lane& lane) { return lane.busy; });
    if (lanes.size() == workers || busy) // a new number of workers waits for an idle moment
        return;
    stopThreads();
    for (int i = 0; i < workers; ++i) {
        Lane lane;
        lane.thread = new QThread(q);
        lane.thread->setObjectName(QStringLiteral("Thumbnails %1").arg(i + 1));
        lane.worker = new ThumbnailWorker(images, box);
        lane.worker->moveToThread(lane.thread);
        // The worker, and with it its decoder, goes in its own thread once that thread ends.
        QObject::connect(lane.thread, &QThread::finished, lane.worker, &QObject::deleteLater);
        QObject::connect(lane.worker, &ThumbnailWorker::made, q,
            [this, i](const QString& picture, const QString& thumbnail, bool ok, const QString& error) {
                onMade(i, picture, thumbnail, ok, error);
            });
        lane.thread->start();
        lanes << lane;
    }
}

void ThumbnailBatch::Private::stopThreads()
{
    for (const Lane& lane : std::as_const(lanes)) {
        lane.thread->quit();
        lane.thread->wait();
        delete lane.thread;
    }
    lanes.clear();
}

void ThumbnailBatch::Private::dispatch(int index)
{
    Lane& lane = lanes[index];
    if (cancelled || next >= queue.size()) {
        lane.busy = false;
        finishWhenIdle();
        return;
    }
    const QString picture = queue.at(next++);
    // Handed out here, one at a time: a name stays reserved until its file is written or has
    // failed, so two writers never get the same name and the folder's count stays the start.
    const QString thumbnail = images.nextThumbnailName([this](const QString& path) { return reserved.contains(path); });
    reserved.insert(thumbnail);
    lane.busy = true;
    ThumbnailWorker* worker = lane.worker;
    QMetaObject::invokeMethod(
        worker, [worker, picture, thumbnail] { worker->make(picture, thumbnail); }, Qt::QueuedConnection);
}

void ThumbnailBatch::Private::finishWhenIdle()
{
    if (!running)
        return;
    for (const Lane& lane : std::as_const(lanes)) {
        if (lane.busy)
            return;
    }
    if (!cancelled && next < queue.size())
        return;
    running = false;
    queue.clear();
    next = 0;
    emit q->finished();
}

void ThumbnailBatch::Private::onMade(
    int index, const QString& picture, const QString& thumbnail, bool ok, const QString& error)
{
    reserved.remove(thumbnail);
    ++done;
    emit q->pictureDone(Result {picture, ok ? thumbnail : QString(), ok ? QString() : error});
    emit q->progress(done, int(queue.size()));
    if (index < lanes.size())
        dispatch(index);
}

ThumbnailBatch::ThumbnailBatch(const ClsImage& images, QSize box, QObject* parent)
    : QObject(parent)
    , d(std::make_unique<Private>(this, images, box))
{ }

ThumbnailBatch::~ThumbnailBatch()
{
    // The pictures in progress finish (each within the decoder's time limit); nothing more starts.
    d->cancelled = true;
    d->running = false;
    d->stopThreads();
}

void ThumbnailBatch::setWorkers(int workers)
{
    d->workers = qBound(1, workers, qMax(1, QThread::idealThreadCount()));
}

void ThumbnailBatch::start(const QStringList& pictures)
{
    if (d->running) {
        // More for a batch under way, or for one cancelled whose last pictures are still in
        // progress: the new pictures follow them (the cancelled ones are dropped).
        if (d->cancelled)
            d->queue.resize(d->next);
    } else {
        d->queue.clear();
        d->next = 0;
        d->done = 0;
    }
    d->queue += pictures;
    d->cancelled = false;
    d->running = true;
    QString error;
    if (!d->images.ensureFolder(&error)) {
        // Every picture would fail the same way: said once per picture, then the batch ends.
        QMetaObject::invokeMethod(
            this,
            [this, error] {
                while (d->next < d->queue.size()) {
                    ++d->done;
                    emit pictureDone(Result {d->queue.at(d->next++), QString(), error});
                    emit progress(d->done, int(d->queue.size()));
                }
                d->finishWhenIdle();
            },
            Qt::QueuedConnection);
        return;
    }
    d->startThreads();
    for (int i = 0; i < d->lanes.size(); ++i) {
        if (!d->lanes[i].busy)
            d->dispatch(i);
    }
}

void ThumbnailBatch::cancel()
{
    if (!d->running || d->cancelled)
        return;
    d->cancelled = true;
    // When no picture is in progress, the end is said from the event loop, as it would have been.
    QMetaObject::invokeMethod(
        this, [this] { d->finishWhenIdle(); }, Qt::QueuedConnection);
}

bool ThumbnailBatch::isRunning() const
{
    return d->running;
}

bool ThumbnailBatch::isCancelled() const
{
    return d->cancelled;
}

#include "ThumbnailBatch.moc"
