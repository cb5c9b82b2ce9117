#pragma once

#include "SlideRenderer.h"

#include <QImage>
#include <QMutex>
#include <QObject>
#include <QSet>
#include <QSize>
#include <QThread>

class ProjectReader;

// Makes the layers of the slides on a thread of its own, so that the screen never waits for a
// decode: the picture goes through the decoding helper at the size it shows (a large JPEG is
// decoded at reduced size), then is composed with its caption. Before each picture it makes sure
// the project still exists, so a project deleted while it plays ends the show at the next slide.
class PictureLoader : public QObject
{
    Q_OBJECT

public:
    /// `reader` is used on the loader's thread only; `placeholder` is the notice shown instead of a
    /// picture that cannot be read ("%1" is the file).
    PictureLoader(const SlideshowPlan& plan, const SlideRenderer& renderer, QSize screen,
        std::unique_ptr<ProjectReader> reader, qint64 projectKey, QString placeholder);
    ~PictureLoader() override;

    /// Asks for the layer of `slide`. Only the slides in `wanted` are made: a request for a slide
    /// that is no longer wanted when its turn comes is dropped.
    void request(int slide);
    /// The slides worth making from now on.
    void setWanted(const QSet<int>& wanted);

signals:
    /// The layer of `slide`; `error` says why the picture could not be shown (the layer then shows
    /// the placeholder).
    void loaded(int slide, const QImage& layer, const QString& error);
    /// The project was found deleted before `slide` was made.
    void projectGone(int slide);

private:
    class Worker;
    QThread m_thread;
    Worker* m_worker;
    QMutex m_mutex;
    QSet<int> m_wanted;

    friend class Worker;
    bool isWanted(int slide);
};
