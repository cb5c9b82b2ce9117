#pragma once

#include <QObject>
#include <QStringList>

class QMediaPlayer;

// The program's one place for playing sounds: a list of files played one after the other at a
// volume from 0 to 100. Quiet-all stops everything at once and keeps new sounds silent until it
// is lifted. Without a sound output, playing does nothing.
class SoundService : public QObject
{
    Q_OBJECT

public:
    static SoundService& instance();

    /// Plays `files` in turn from the one at `startIndex`; false when muted or nothing to play.
    /// A file that is missing, empty or not audio is traced once and skipped, in silence.
    bool play(const QStringList& files, int startIndex = 0, int volume = 100);

    /// Plays item `item` (from 1) of a tab-separated list of files ("first\tsecond").
    bool playItem(const QString& tabSeparated, int item, int volume = 100);

    /// Why a file cannot be played, or empty when it can.
    static QString unplayable(const QString& file);

    /// Stops every sound playing now.
    void stopAll();

    void setQuietAll(bool quiet);
    /// The file playing now, empty when none.
    QString currentFile() const;
    bool quietAll() const { return m_quietAll; }
    bool isPlaying() const;

signals:
    /// The last file of a list played to its end.
    void finished();

private:
    SoundService() = default;
    void playNext();

    QMediaPlayer* m_player = nullptr;
    QStringList m_queue;
    QString m_current;
    bool m_quietAll = false;
};
