#pragma once

#include <QObject>
#include <QSet>
#include <QSize>
#include <QString>
#include <QStringList>

#include <memory>

class ClsImage;

// Makes the thumbnails of many pictures at once (a folder added to a page): two decoding helpers
// work side by side, so both cores decode. Names are handed out here, in the owner's thread, one
// at a time, and held as reserved until their file is written, so the naming rule holds with two
// writers. Results come back in the owner's thread, one per picture, in the order they finish;
// cancel() stops handing out pictures and lets the two in progress finish.
class ThumbnailBatch : public QObject
{
    Q_OBJECT

public:
    struct Result
    {
        QString picture;
        QString thumbnail; // empty on failure
        QString error;     // why, naming the file
    };

    ThumbnailBatch(const ClsImage& images, QSize box, QObject* parent = nullptr);
    ~ThumbnailBatch() override;

    /// Number of helpers working side by side (2 by default, at most the number of cores).
    void setWorkers(int workers);

    /// Starts on `pictures`; returns at once.
    void start(const QStringList& pictures);
    void cancel();
    bool isRunning() const;
    bool isCancelled() const;

signals:
    void pictureDone(const ThumbnailBatch::Result& result);
    void progress(int done, int total);
    /// Every picture done, or the batch cancelled and its work in progress finished.
    void finished();

private:
    struct Private;
    std::unique_ptr<Private> d;
};
