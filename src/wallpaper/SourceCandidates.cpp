#include "SourceCandidates.h"

#include "Trace.h"
#include "Volumes.h"

#include <QFileInfo>

bool SourceCandidates::isAvailable(int position) const
{
    if (!m_lookAtFiles)
        return true;
    const QString path = m_list.key(position);
    const quint32 serial = m_list.volumeSerial(position);
    if (serial != 0 && !Volumes::isMounted(serial)) {
        // Once per change: a walk over an unplugged disk's thousand pictures is one line.
        if (!m_reported.contains(serial)) {
            m_reported.insert(serial);
            TAPISOL_TRACE(QStringLiteral("SY FNext volume absent, ses images sont passées : ") + volumeName(serial)
                + QStringLiteral(" (") + path + QLatin1Char(')'));
        }
        return false;
    }
    if (!QFileInfo::exists(path)) {
        TAPISOL_TRACE(QStringLiteral("SY FNext fichier absent, passé : ") + path
            + (serial != 0 ? QStringLiteral(" (volume ") + volumeName(serial) + QLatin1Char(')') : QString()));
        return false;
    }
    return true;
}

void SourceCandidates::setList(const SourceList& list, bool lookAtFiles, const QHash<quint32, VolumeRow>& volumes)
{
    m_list = list;
    m_lookAtFiles = lookAtFiles;
    m_volumes = volumes;
    ++m_generation;
}

QString SourceCandidates::volumeName(quint32 serial) const
{
    VolumeRow unknown;
    unknown.KeyVol = serial;
    return Volumes::describe(m_volumes.value(serial, unknown));
}
