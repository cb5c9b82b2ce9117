#include "SlideThumbnailer.h"

#include "ImageDecoder.h"

#include <QThread>

#include <algorithm>

SlideThumbnailer::SlideThumbnailer(QObject* receiver, Delivery deliver)
    : m_receiver(receiver)
    , m_deliver(std::move(deliver))
{
    m_thread = QThread::create([this] { run(); });
    m_thread->start(QThread::LowPriority);
}

SlideThumbnailer::~SlideThumbnailer()
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

void SlideThumbnailer::request(const QString& path, QSize box)
{
    {
        QMutexLocker lock(&m_mutex);
        std::erase_if(m_waiting, [&](const Request& r) { return r.path == path && r.box == box; });
        m_waiting.push_back(Request {path, box});
    }
    m_wake.wakeOne();
}

void SlideThumbnailer::run()
{
    // An ImageDecoder belongs to the thread that made it.
    ImageDecoder decoder;
    for (;;) {
        Request next;
        {
            QMutexLocker lock(&m_mutex);
            while (!m_stop && m_waiting.empty())
                m_wake.wait(&m_mutex);
            if (m_stop)
                return;
            next = std::move(m_waiting.back());
            m_waiting.pop_back();
        }
        QString error;
        QImage image;
        if (const auto info = decoder.probe(next.path, &error)) {
            QSize size = info->size;
            if (size.width() > next.box.width() || size.height() > next.box.height())
                size = size.scaled(next.box, Qt::KeepAspectRatio);
            image = decoder.decode(next.path, size.expandedTo(QSize(1, 1)), Qt::black, &error);
        }
        QObject* receiver = m_receiver.data();
        if (!receiver)
            continue;
        QMetaObject::invokeMethod(
            receiver,
            [this, receiver = QPointer<QObject>(receiver), next, image, error] {
                if (receiver)
                    m_deliver(next.path, next.box, image, error);
            },
            Qt::QueuedConnection);
    }
}
