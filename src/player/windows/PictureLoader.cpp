#include "PictureLoader.h"

#include "ImageDecoder.h"
#include "ProjectReader.h"

#include <QFileInfo>

class PictureLoader::Worker : public QObject
{
public:
    Worker(PictureLoader& owner, const SlideshowPlan& plan, const SlideRenderer& renderer, QSize screen,
        std::unique_ptr<ProjectReader> reader, qint64 projectKey, QString placeholder)
        : m_owner(owner)
        , m_plan(plan)
        , m_renderer(renderer)
        , m_screen(screen)
        , m_reader(std::move(reader))
        , m_projectKey(projectKey)
        , m_placeholder(std::move(placeholder))
    { }

    void make(int slide)
    {
        if (!m_owner.isWanted(slide))
            return;
        // A lock or a file being replaced says nothing: only a project certainly gone ends the show.
        if (m_reader && m_reader->exists(m_projectKey) == std::optional<bool>(false)) {
            emit m_owner.projectGone(slide);
            return;
        }
        if (!m_decoder)
            m_decoder = std::make_unique<ImageDecoder>();
        const PlannedSlide& planned = m_plan.slide(slide);
        QString error;
        QImage picture;
        if (const auto info = m_decoder->probe(planned.picture, &error)) {
            const QSize shown = SlideRenderer::shownSize(info->size, m_screen);
            picture = m_decoder->decode(planned.picture, shown, m_renderer.options().background, &error);
        }
        const bool failed = picture.isNull();
        if (failed && error.isEmpty())
            error = planned.picture;
        const QString notice = m_placeholder.arg(QFileInfo(planned.picture).fileName());
        QImage layer = m_renderer.composeSlide(picture, planned, m_screen, notice);
        picture = QImage(); // only the layer stays in memory
        emit m_owner.loaded(slide, layer, failed ? error : QString());
    }

private:
    PictureLoader& m_owner;
    const SlideshowPlan& m_plan;
    const SlideRenderer m_renderer;
    const QSize m_screen;
    std::unique_ptr<ProjectReader> m_reader;
    const qint64 m_projectKey;
    const QString m_placeholder;
    std::unique_ptr<ImageDecoder> m_decoder; // made on this thread: a decoder belongs to its thread
};

PictureLoader::PictureLoader(const SlideshowPlan& plan, const SlideRenderer& renderer, QSize screen,
    std::unique_ptr<ProjectReader> reader, qint64 projectKey, QString placeholder)
    : m_worker(new Worker(*this, plan, renderer, screen, std::move(reader), projectKey, std::move(placeholder)))
{
    m_worker->moveToThread(&m_thread);
    connect(&m_thread, &QThread::finished, m_worker, &QObject::deleteLater);
    m_thread.setObjectName(QStringLiteral("PictureLoader"));
    m_thread.start();
}

PictureLoader::~PictureLoader()
{
    setWanted({});
    m_thread.quit();
    m_thread.wait();
}

void PictureLoader::request(int slide)
{
    QMetaObject::invokeMethod(
        m_worker, [worker = m_worker, slide] { worker->make(slide); }, Qt::QueuedConnection);
}

void PictureLoader::setWanted(const QSet<int>& wanted)
{
    QMutexLocker lock(&m_mutex);
    m_wanted = wanted;
}

bool PictureLoader::isWanted(int slide)
{
    QMutexLocker lock(&m_mutex);
    return m_wanted.contains(slide);
}
