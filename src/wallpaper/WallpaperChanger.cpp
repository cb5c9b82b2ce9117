#include "WallpaperChanger.h"

#include "ClsRegistry.h"
#include "ImageDecoder.h"
#include "RandomGenerator.h"
#include "Trace.h"
#include "WallpaperBackends.h"
#include "WallpaperRenderer.h"

#include <QFileInfo>
#include <QScopedValueRollback>

// The folder's list as the selection walks it.
class WallpaperChanger::Candidates : public CandidateList
{
public:
    explicit Candidates(const PictureSource& source)
        : m_source(source)
    { }
    int count() const override { return m_source.count(); }
    QString key(int position) const override { return m_source.entry(position).key; }
    bool isPicture(int position) const override { return m_source.isPicture(position); }
    quint64 generation() const override { return m_generation; }
    void listChanged() { ++m_generation; }

private:
    const PictureSource& m_source;
    quint64 m_generation = 0;
};

WallpaperChanger::WallpaperChanger(ClsMonitor& monitors, ClsMdb& db, QObject* parent)
    : QObject(parent)
    , m_monitors(monitors)
    , m_shown(db)
    , m_selector(m_shown, appRandom())
    , m_candidates(std::make_unique<Candidates>(m_source))
    , m_decoder(std::make_unique<ImageDecoder>())
{
    QString description;
    m_backend = WallpaperBackends::choose(WallpaperBackends::Session::fromEnvironment(), &description);
    TAPISOL_TRACE(QStringLiteral("SY Fond d'écran : ") + description);
    m_renderer = std::make_unique<WallpaperRenderer>(m_monitors, *m_decoder, *m_backend);
    m_selector.setDirection(registry().get(SettingNo::SensLecture).toInt());
    connect(&m_source, &PictureSource::listReady, this, &WallpaperChanger::onListReady);
    m_source.applySettings(registry());
}

WallpaperChanger::~WallpaperChanger() = default;

void WallpaperChanger::onListReady()
{
    m_candidates->listChanged();
    // The entry on screen is found again in the new list, so the walk goes on from it.
    m_selector.setSelected(m_source.indexOf(registry().get(SettingNo::CurrentWallPaper).toString()));
    if (std::exchange(m_changeWhenReady, false))
        changeNow(); // the list is as fresh as it gets
}

bool WallpaperChanger::changeToNext()
{
    // A new folder in the settings, or a folder whose content changed: the new list first.
    const bool newFolder = m_source.applySettings(registry());
    if (newFolder || m_source.refreshIfChanged() || m_source.isScanning()) {
        // Set before the trace line: writing it lets the event loop in, and the list may be
        // delivered right there.
        m_changeWhenReady = true;
        TAPISOL_TRACE(QStringLiteral("SY FNext attend la liste de ") + m_source.folder());
        return false;
    }
    return changeNow();
}

bool WallpaperChanger::changeNow()
{
    // A trace line lets the event loop in: a timer or a command must not start a second change
    // while the decoder and the renderer are busy with the first.
    if (m_changing) {
        TAPISOL_TRACE(QStringLiteral("SY FNext changement déjà en cours"));
        return false;
    }
    const QScopedValueRollback changing(m_changing, true);
    const auto order = NextPictureSelector::Order(qBound(0, registry().get(SettingNo::SelectRandom).toInt(), 2));
    const int direction = m_selector.direction();
    const auto position = m_selector.next(*m_candidates, order);
    if (m_selector.direction() != direction)
        registry().set(SettingNo::SensLecture, m_selector.direction());
    return position && showPosition(*position);
}

// `AfficheNewImage`.
bool WallpaperChanger::showPosition(int position)
{
    const QString picture = m_source.entry(position).key;
    if (!m_renderer->change(picture))
        return false;
    registry().set(SettingNo::LastImage, position);
    return true;
}

bool WallpaperChanger::applyFile(const QString& path)
{
    if (m_changing)
        return false;
    const QScopedValueRollback changing(m_changing, true);
    const QString absolute = QFileInfo(path).absoluteFilePath();
    if (!m_renderer->change(absolute))
        return false;
    if (const int position = m_source.indexOf(absolute))
        m_selector.setSelected(position);
    return true;
}

void WallpaperChanger::reapply()
{
    if (!m_renderer->reapply())
        TAPISOL_TRACE(QStringLiteral("SY Reapply : pas de fond d'écran rendu"));
}

void WallpaperChanger::monitorsChanged()
{
    reapply();
}

QString WallpaperChanger::currentDescription() const
{
    return QFileInfo(registry().get(SettingNo::CurrentWallPaper).toString()).fileName();
}
