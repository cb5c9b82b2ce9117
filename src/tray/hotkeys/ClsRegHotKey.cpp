#include "ClsRegHotKey.h"

#include "Trace.h"

ClsRegHotKey::ClsRegHotKey(std::unique_ptr<HotkeyBackend> backend, QObject* parent)
    : QObject(parent)
    , m_backend(std::move(backend))
{
    m_backend->setOnPressed([this](int id) { onPressed(id); });
}

ClsRegHotKey::~ClsRegHotKey()
{
    unregisterAll();
}

bool ClsRegHotKey::registerKey(const QString& name, int virtualKey, int modifiers, QString* error)
{
    if (name.size() > MaxNameLength) {
        if (error)
            *error = NameTooLong;
        return false;
    }
    for (auto it = m_records.begin(); it != m_records.end(); ++it) {
        if (it->name == name) {
            m_backend->release(it.key());
            m_records.erase(it);
            break;
        }
    }
    if (virtualKey == 0)
        return true;
    const int id = m_nextId++;
    QString why;
    if (!m_backend->bind(id, name, virtualKey, modifiers, &why)) {
        // A key another program holds stays inactive; the program goes on.
        TAPISOL_TRACE(QStringLiteral("SY HotKey %1 inactive: %2").arg(name, why));
        if (error)
            *error = why;
        return false;
    }
    m_records.insert(id, {name, virtualKey, modifiers});
    return true;
}

void ClsRegHotKey::unregisterAll()
{
    m_backend->releaseAll();
    m_records.clear();
}

bool ClsRegHotKey::isActive(const QString& name) const
{
    return std::any_of(m_records.cbegin(), m_records.cend(), [&name](const Record& r) { return r.name == name; });
}

void ClsRegHotKey::onPressed(int id)
{
    const auto it = m_records.constFind(id);
    if (it == m_records.cend()) {
        TAPISOL_TRACE(QStringLiteral("SY HotKey Unknown HotKey"));
        return;
    }
    emit hotKeyPressed(it->name);
}
