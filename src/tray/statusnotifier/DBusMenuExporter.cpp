#include "DBusMenuExporter.h"

#include <QAction>
#include <QActionEvent>
#include <QActionGroup>
#include <QBuffer>
#include <QDBusAbstractAdaptor>
#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QMenu>

// The structures of the DBusMenu protocol, as its signatures spell them.

// (ia{sv}av): an item, its properties and the items under it, each in a variant.
struct DBusMenuLayoutItem
{
    int id = 0;
    QVariantMap properties;
    QList<DBusMenuLayoutItem> children;
};
Q_DECLARE_METATYPE(DBusMenuLayoutItem)

// (ia{sv})
struct DBusMenuItemProperties
{
    int id = 0;
    QVariantMap properties;
};
Q_DECLARE_METATYPE(DBusMenuItemProperties)
using DBusMenuItemPropertiesList = QList<DBusMenuItemProperties>;

// (ias)
struct DBusMenuItemKeys
{
    int id = 0;
    QStringList names;
};
Q_DECLARE_METATYPE(DBusMenuItemKeys)
using DBusMenuItemKeysList = QList<DBusMenuItemKeys>;

// (isvu)
struct DBusMenuEvent
{
    int id = 0;
    QString eventId;
    QDBusVariant data;
    uint timestamp = 0;
};
Q_DECLARE_METATYPE(DBusMenuEvent)
using DBusMenuEventList = QList<DBusMenuEvent>;

using DBusMenuShortcut = QList<QStringList>; // aas: one list of key names per chord

QDBusArgument& operator<<(QDBusArgument& argument, const DBusMenuLayoutItem& item)
{
    argument.beginStructure();
    argument << item.id << item.properties;
    argument.beginArray(QMetaType::fromType<QDBusVariant>());
    for (const DBusMenuLayoutItem& child : item.children)
        argument << QDBusVariant(QVariant::fromValue(child));
    argument.endArray();
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, DBusMenuLayoutItem& item)
{
    argument.beginStructure();
    argument >> item.id >> item.properties;
    argument.beginArray();
    item.children.clear();
    while (!argument.atEnd()) {
        QDBusVariant child;
        argument >> child;
        item.children << qdbus_cast<DBusMenuLayoutItem>(child.variant());
    }
    argument.endArray();
    argument.endStructure();
    return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const DBusMenuItemProperties& item)
{
    argument.beginStructure();
    argument << item.id << item.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, DBusMenuItemProperties& item)
{
    argument.beginStructure();
    argument >> item.id >> item.properties;
    argument.endStructure();
    return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const DBusMenuItemKeys& item)
{
    argument.beginStructure();
    argument << item.id << item.names;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, DBusMenuItemKeys& item)
{
    argument.beginStructure();
    argument >> item.id >> item.names;
    argument.endStructure();
    return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const DBusMenuEvent& event)
{
    argument.beginStructure();
    argument << event.id << event.eventId << event.data << event.timestamp;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, DBusMenuEvent& event)
{
    argument.beginStructure();
    argument >> event.id >> event.eventId >> event.data >> event.timestamp;
    argument.endStructure();
    return argument;
}

// The object the host talks to; it hands every call to the exporter.
class DBusMenuAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.canonical.dbusmenu")
    Q_PROPERTY(uint Version READ version)
    Q_PROPERTY(QString TextDirection READ textDirection)
    Q_PROPERTY(QString Status READ status)

public:
    explicit DBusMenuAdaptor(DBusMenuExporter* exporter)
        : QDBusAbstractAdaptor(exporter)
        , m_exporter(exporter)
    { }

    uint version() const { return 3; }
    QString textDirection() const
    {
        return QGuiApplication::layoutDirection() == Qt::RightToLeft ? QStringLiteral("rtl") : QStringLiteral("ltr");
    }
    QString status() const { return QStringLiteral("normal"); }

public slots:
    uint GetLayout(int parentId, int recursionDepth, const QStringList& propertyNames, DBusMenuLayoutItem& layout)
    {
        if (parentId != 0 && !m_exporter->actionOf(parentId)) {
            unknownItem(parentId);
            return 0;
        }
        layout = layoutOf(parentId, recursionDepth, propertyNames);
        return m_exporter->m_revision;
    }

    DBusMenuItemPropertiesList GetGroupProperties(const QList<int>& ids, const QStringList& propertyNames)
    {
        DBusMenuItemPropertiesList items;
        for (int id : ids) {
            if (QAction* action = m_exporter->actionOf(id))
                items << DBusMenuItemProperties {id, m_exporter->propertiesOf(action, propertyNames)};
            else if (id == 0)
                items << DBusMenuItemProperties {0, rootProperties()};
        }
        return items;
    }

    QDBusVariant GetProperty(int id, const QString& name)
    {
        QAction* action = m_exporter->actionOf(id);
        const QVariant value = action ? m_exporter->propertiesOf(action, {name}).value(name) : QVariant();
        if (value.isValid())
            return QDBusVariant(value);
        m_exporter->refuse(QStringLiteral("No property %1 on item %2").arg(name).arg(id));
        return QDBusVariant(QString()); // an empty variant would make a message the bus refuses
    }

    void Event(int id, const QString& eventId, const QDBusVariant& data, uint timestamp)
    {
        Q_UNUSED(data)
        Q_UNUSED(timestamp)
        QAction* action = m_exporter->actionOf(id);
        if (!action) {
            unknownItem(id);
            return;
        }
        // Queued: the host has its answer before the command runs, however long it takes (a
        // modal dialog would otherwise hold the reply until it closes).
        if (eventId == QLatin1String("clicked"))
            QMetaObject::invokeMethod(action, &QAction::trigger, Qt::QueuedConnection);
        else if (eventId == QLatin1String("hovered"))
            QMetaObject::invokeMethod(action, &QAction::hover, Qt::QueuedConnection);
    }

    QList<int> EventGroup(const DBusMenuEventList& events)
    {
        QList<int> idErrors;
        for (const DBusMenuEvent& event : events) {
            if (m_exporter->actionOf(event.id))
                Event(event.id, event.eventId, event.data, event.timestamp);
            else
                idErrors << event.id;
        }
        // The protocol's rule: an error only when none of the events found its item.
        if (!events.isEmpty() && idErrors.size() == events.size())
            m_exporter->refuse(QStringLiteral("No such items"));
        return idErrors;
    }

    bool AboutToShow(int id)
    {
        QMenu* menu = m_exporter->menuOf(id);
        if (!menu)
            return false;
        // The owner fills its menu when it is about to show; whatever it changed, the host
        // must read again.
        const quint64 before = m_exporter->m_changeCount;
        emit menu->aboutToShow();
        return m_exporter->m_changeCount != before;
    }

    QList<int> AboutToShowGroup(const QList<int>& ids, QList<int>& idErrors)
    {
        QList<int> updatesNeeded;
        for (int id : ids) {
            if (!m_exporter->menuOf(id))
                idErrors << id;
            else if (AboutToShow(id))
                updatesNeeded << id;
        }
        return updatesNeeded;
    }

signals:
    void ItemsPropertiesUpdated(
        const DBusMenuItemPropertiesList& updatedProps, const DBusMenuItemKeysList& removedProps);
    void LayoutUpdated(uint revision, int parent);
    void ItemActivationRequested(int id, uint timestamp);

private:
    void unknownItem(int id) { m_exporter->refuse(QStringLiteral("No item %1").arg(id)); }

    QVariantMap rootProperties() const { return {{QStringLiteral("children-display"), QStringLiteral("submenu")}}; }

    DBusMenuLayoutItem layoutOf(int id, int depth, const QStringList& names)
    {
        DBusMenuLayoutItem item;
        item.id = id;
        QAction* action = m_exporter->actionOf(id);
        if (action)
            item.properties = m_exporter->propertiesOf(action, names);
        else if (id == 0)
            item.properties = rootProperties();
        QMenu* menu = m_exporter->menuOf(id);
        if (!menu || depth == 0)
            return item;
        m_exporter->watch(menu);
        for (QAction* child : menu->actions())
            item.children << layoutOf(m_exporter->idOf(child), depth < 0 ? -1 : depth - 1, names);
        return item;
    }

    DBusMenuExporter* m_exporter;
};

namespace {

// The key names DBusMenu uses for modifiers; the other keys keep Qt's portable names.
DBusMenuShortcut shortcutOf(const QKeySequence& sequence)
{
    DBusMenuShortcut chords;
    for (int index = 0; index < sequence.count(); ++index) {
        const QKeyCombination combination = sequence[index];
        QStringList keys;
        const Qt::KeyboardModifiers modifiers = combination.keyboardModifiers();
        if (modifiers & Qt::ControlModifier)
            keys << QStringLiteral("Control");
        if (modifiers & Qt::AltModifier)
            keys << QStringLiteral("Alt");
        if (modifiers & Qt::ShiftModifier)
            keys << QStringLiteral("Shift");
        if (modifiers & Qt::MetaModifier)
            keys << QStringLiteral("Super");
        keys << QKeySequence(combination.key()).toString(QKeySequence::PortableText);
        chords << keys;
    }
    return chords;
}

void registerTypes()
{
    static const bool once = [] {
        qDBusRegisterMetaType<DBusMenuLayoutItem>();
        qDBusRegisterMetaType<DBusMenuItemProperties>();
        qDBusRegisterMetaType<DBusMenuItemPropertiesList>();
        qDBusRegisterMetaType<DBusMenuItemKeys>();
        qDBusRegisterMetaType<DBusMenuItemKeysList>();
        qDBusRegisterMetaType<DBusMenuEvent>();
        qDBusRegisterMetaType<DBusMenuEventList>();
        qDBusRegisterMetaType<DBusMenuShortcut>();
        // The adaptor's signatures name the lists by these names, which QtDBus must know too.
        qRegisterMetaType<DBusMenuItemPropertiesList>("DBusMenuItemPropertiesList");
        qRegisterMetaType<DBusMenuItemKeysList>("DBusMenuItemKeysList");
        qRegisterMetaType<DBusMenuEventList>("DBusMenuEventList");
        return true;
    }();
    Q_UNUSED(once)
}

} // namespace

DBusMenuExporter::DBusMenuExporter(QMenu* menu, QObject* parent)
    : QObject(parent)
    , m_menu(menu)
    , m_connection(QString())
{
    registerTypes();
    m_adaptor = new DBusMenuAdaptor(this);
    m_batch.setSingleShot(true);
    m_batch.setInterval(0);
    connect(&m_batch, &QTimer::timeout, this, &DBusMenuExporter::emitChanges);
    if (m_menu)
        watch(m_menu);
}

DBusMenuExporter::~DBusMenuExporter()
{
    if (!m_path.isEmpty())
        m_connection.unregisterObject(m_path);
}

bool DBusMenuExporter::exportAt(QDBusConnection connection, const QString& path)
{
    if (!connection.registerObject(path, this, QDBusConnection::ExportAdaptors))
        return false;
    m_connection = connection;
    m_path = path;
    return true;
}

QString DBusMenuExporter::dbusLabel(const QString& text)
{
    const QString shown = text.section(QLatin1Char('\t'), 0, 0);
    QString label;
    label.reserve(shown.size() + 2);
    for (qsizetype index = 0; index < shown.size(); ++index) {
        const QChar c = shown[index];
        if (c == QLatin1Char('&')) {
            const bool doubled = index + 1 < shown.size() && shown[index + 1] == QLatin1Char('&');
            label += doubled ? QLatin1Char('&') : QLatin1Char('_');
            index += doubled ? 1 : 0;
        } else if (c == QLatin1Char('_')) {
            label += QLatin1String("__");
        } else {
            label += c;
        }
    }
    return label;
}

int DBusMenuExporter::idOf(QAction* action)
{
    if (const auto found = m_ids.constFind(action); found != m_ids.cend())
        return *found;
    const int id = m_nextId++;
    m_ids.insert(action, id);
    m_actions.insert(id, action);
    return id;
}

QAction* DBusMenuExporter::actionOf(int id) const
{
    return m_actions.value(id);
}

QMenu* DBusMenuExporter::menuOf(int id) const
{
    if (id == 0)
        return m_menu;
    QAction* action = actionOf(id);
    return action ? action->menu<QMenu*>() : nullptr;
}

QVariantMap DBusMenuExporter::propertiesOf(QAction* action, const QStringList& names) const
{
    QVariantMap properties;
    if (action->isSeparator()) {
        properties.insert(QStringLiteral("type"), QStringLiteral("separator"));
    } else {
        properties.insert(QStringLiteral("label"), dbusLabel(action->text()));
        properties.insert(QStringLiteral("enabled"), action->isEnabled());
        if (action->isCheckable()) {
            const bool radio = action->actionGroup() && action->actionGroup()->isExclusive();
            properties.insert(
                QStringLiteral("toggle-type"), radio ? QStringLiteral("radio") : QStringLiteral("checkmark"));
            properties.insert(QStringLiteral("toggle-state"), action->isChecked() ? 1 : 0);
        }
        if (!action->shortcut().isEmpty())
            properties.insert(QStringLiteral("shortcut"), QVariant::fromValue(shortcutOf(action->shortcut())));
        if (!action->icon().isNull()) {
            QBuffer png;
            png.open(QIODevice::WriteOnly);
            action->icon().pixmap(QSize(16, 16), 1.0).save(&png, "PNG");
            properties.insert(QStringLiteral("icon-data"), png.data());
        }
        if (action->menu<QMenu*>())
            properties.insert(QStringLiteral("children-display"), QStringLiteral("submenu"));
    }
    properties.insert(QStringLiteral("visible"), action->isVisible());
    if (names.isEmpty())
        return properties;
    QVariantMap asked;
    for (const QString& name : names) {
        if (properties.contains(name))
            asked.insert(name, properties.value(name));
    }
    return asked;
}

void DBusMenuExporter::watch(QMenu* menu)
{
    menu->removeEventFilter(this); // once per menu, however often its layout is asked for
    menu->installEventFilter(this);
}

bool DBusMenuExporter::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::ActionChanged:
        changed(static_cast<QActionEvent*>(event)->action());
        break;
    case QEvent::ActionAdded:
        changed(nullptr);
        break;
    case QEvent::ActionRemoved:
        if (QAction* action = static_cast<QActionEvent*>(event)->action(); m_ids.contains(action))
            m_actions.remove(m_ids.take(action));
        changed(nullptr);
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

void DBusMenuExporter::changed(QAction* action)
{
    if (action && m_ids.contains(action))
        m_changedIds.insert(m_ids.value(action));
    ++m_changeCount;
    m_batch.start();
}

void DBusMenuExporter::emitChanges()
{
    DBusMenuItemPropertiesList updated;
    for (int id : std::as_const(m_changedIds)) {
        if (QAction* action = actionOf(id))
            updated << DBusMenuItemProperties {id, propertiesOf(action, {})};
    }
    m_changedIds.clear();
    if (!updated.isEmpty())
        emit m_adaptor->ItemsPropertiesUpdated(updated, {});
    // Hosts differ in which of the two they follow; the layout's revision tells them all.
    ++m_revision;
    emit m_adaptor->LayoutUpdated(m_revision, 0);
}

#include "DBusMenuExporter.moc"
