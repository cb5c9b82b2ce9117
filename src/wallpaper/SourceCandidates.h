#pragma once

#include "AlbumTypes.h"
#include "NextPictureSelector.h"
#include "SourceList.h"

#include <QHash>
#include <QSet>

// The list of the source as the selection walks it. The list is shared, not copied, so a worker
// thread may hold a copy of its own (and only reads it there).
//
// An album's or a project's pictures lie anywhere, on disks that come and go: each one is looked
// at before it is chosen, and one whose volume is not mounted, or whose file is gone, is passed
// with a trace line that names the volume. It is not recorded as shown, so it comes back in the
// round when its disk does. A folder's pictures are not looked at: its list is scanned again when
// one of its folders changes.
class SourceCandidates : public CandidateList
{
public:
    int count() const override { return m_list.count(); }
    QString key(int position) const override { return m_list.key(position); }
    bool isPicture(int position) const override { return m_list.isPicture(position); }
    quint64 generation() const override { return m_generation; }
    bool isAvailable(int position) const override;

    /// Takes a new list: `lookAtFiles` for an album's or a project's, with the volumes its
    /// pictures name as the database knows them (for the trace).
    void setList(const SourceList& list, bool lookAtFiles, const QHash<quint32, VolumeRow>& volumes = {});
    const SourceList& list() const { return m_list; }

    /// A new change begins: each missing volume is traced once more.
    void beginChange() { m_reported.clear(); }

private:
    QString volumeName(quint32 serial) const;

    SourceList m_list;
    bool m_lookAtFiles = false;
    QHash<quint32, VolumeRow> m_volumes;
    mutable QSet<quint32> m_reported;
    quint64 m_generation = 0;
};
