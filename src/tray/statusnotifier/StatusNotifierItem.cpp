#include "StatusNotifierItem.h"

#include "DBusMenuExporter.h"

#include <QCoreApplication>
#include <QDBusAbstractAdaptor>
#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>
#include <QImage>
#include <QtEndian>

namespace {

const QString WatcherService = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString ItemPath = QStringLiteral("/StatusNotifierItem");
const QString MenuPath = QStringLiteral("/MenuBar");

} // namespace

// (iiay): one size of the icon, ARGB32 in network byte order.
struct StatusNotifierPixmap
{
    int width = 0;
    int height = 0;
    QByteArray data;
};
Q_DECLARE_METATYPE(StatusNotifierPixmap)
using StatusNotifierPixmapList = QList<StatusNotifierPixmap>;

// (sa(iiay)ss)
struct StatusNotifierToolTip
{
    QString iconName;
    StatusNotifierPixmapList pixmaps;
    QString title;
    QString text;
};
Q_DECLARE_METATYPE(StatusNotifierToolTip)

QDBusArgument& operator<<(QDBusArgument& argument, const StatusNotifierPixmap& pixmap)
{
    argument.beginStructure();
    argument << pixmap.width << pixmap.height << pixmap.data;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, StatusNotifierPixmap& pixmap)
{
    argument.beginStructure();
    argument >> pixmap.width >> pixmap.height >> pixmap.data;
    argument.endStructure();
    return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const StatusNotifierToolTip& tip)
{
    argument.beginStructure();
    argument << tip.iconName << tip.pixmaps << tip.title << tip.text;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, StatusNotifierToolTip& tip)
{
    argument.beginStructure();
    argument >> tip.iconName >> tip.pixmaps >> tip.title >> tip.text;
    argument.endStructure();
    return argument;
}

namespace {

// The sizes panels draw tray icons at; a host scales the nearest one.
StatusNotifierPixmapList pixmapsOf(const QIcon& icon)
{
    StatusNotifierPixmapList pixmaps;
    if (icon.isNull())
        return pixmaps;
    for (int size : {16, 22, 32, 48}) {
        QImage image = icon.pixmap(QSize(size, size), 1.0).toImage().convertToFormat(QImage::Format_ARGB32);
        if (image.isNull())
            continue;
        StatusNotifierPixmap pixmap {image.width(), image.height(), QByteArray(image.sizeInBytes(), Qt::Uninitialized)};
        // ARGB32 lines are whole 32-bit pixels with no padding: one swap for the whole image.
        qToBigEndian<quint32>(image.constBits(), image.width() * image.height(), pixmap.data.data());
        pixmaps << pixmap;
    }
    return pixmaps;
}

void registerTypes()
{
    static const bool once = [] {
        qDBusRegisterMetaType<StatusNotifierPixmap>();
        qDBusRegisterMetaType<StatusNotifierPixmapList>();
        qDBusRegisterMetaType<StatusNotifierToolTip>();
        qRegisterMetaType<StatusNotifierPixmapList>("StatusNotifierPixmapList"); // as the adaptor names it
        return true;
    }();
    Q_UNUSED(once)
}

} // namespace

// The object the host talks to; it reads the item and hands the host's calls on as signals.
class StatusNotifierItemAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierItem")
    Q_PROPERTY(QString Category READ category)
    Q_PROPERTY(QString Id READ id)
    Q_PROPERTY(QString Title READ title)
    Q_PROPERTY(QString Status READ status)
    Q_PROPERTY(int WindowId READ windowId)
    Q_PROPERTY(QString IconName READ iconName)
    Q_PROPERTY(StatusNotifierPixmapList IconPixmap READ iconPixmap)
    Q_PROPERTY(QString IconThemePath READ iconThemePath)
    Q_PROPERTY(QString OverlayIconName READ none)
    Q_PROPERTY(StatusNotifierPixmapList OverlayIconPixmap READ noPixmap)
    Q_PROPERTY(QString AttentionIconName READ none)
    Q_PROPERTY(StatusNotifierPixmapList AttentionIconPixmap READ noPixmap)
    Q_PROPERTY(QString AttentionMovieName READ none)
    Q_PROPERTY(StatusNotifierToolTip ToolTip READ toolTip)
    Q_PROPERTY(bool ItemIsMenu READ itemIsMenu)
    Q_PROPERTY(QDBusObjectPath Menu READ menu)

public:
    explicit StatusNotifierItemAdaptor(StatusNotifierItem* item)
        : QDBusAbstractAdaptor(item)
        , m_item(item)
    { }

    QString category() const { return QStringLiteral("ApplicationStatus"); }
    QString id() const { return QStringLiteral("tapisol"); }
    QString title() const { return m_item->m_title; }
    QString status() const { return QStringLiteral("Active"); }
    int windowId() const { return 0; }
    QString iconName() const { return m_item->m_iconName; }
    StatusNotifierPixmapList iconPixmap() const { return m_pixmaps; }
    QString iconThemePath() const { return m_item->m_themePath; }
    QString none() const { return {}; }
    StatusNotifierPixmapList noPixmap() const { return {}; }
    bool itemIsMenu() const { return false; } // a click activates; the menu is on the other button
    QDBusObjectPath menu() const { return QDBusObjectPath(MenuPath); }

    StatusNotifierToolTip toolTip() const { return {m_item->m_iconName, {}, m_item->m_toolTip, {}}; }

    StatusNotifierPixmapList m_pixmaps; // made once per icon, read on every host's refresh

public slots:
    // Queued, so that the host has its answer before whatever the program does about it.
    void Activate(int x, int y) { queue(&StatusNotifierItem::activated, QPoint(x, y)); }
    void SecondaryActivate(int x, int y) { queue(&StatusNotifierItem::secondaryActivated, QPoint(x, y)); }
    void ContextMenu(int x, int y) { queue(&StatusNotifierItem::contextMenuRequested, QPoint(x, y)); }
    void Scroll(int delta, const QString& orientation)
    {
        // The wheel over the icon means nothing to this program.
        Q_UNUSED(delta)
        Q_UNUSED(orientation)
    }
    void ProvideXdgActivationToken(const QString& token) { Q_UNUSED(token) }

signals:
    void NewTitle();
    void NewIcon();
    void NewAttentionIcon();
    void NewOverlayIcon();
    void NewToolTip();
    void NewStatus(const QString& status);

private:
    void queue(void (StatusNotifierItem::*signal)(QPoint), QPoint at)
    {
        QMetaObject::invokeMethod(
            m_item, [item = m_item, signal, at] { emit(item->*signal)(at); }, Qt::QueuedConnection);
    }

    StatusNotifierItem* m_item;
};

StatusNotifierItem::StatusNotifierItem(QMenu* menu, QObject* parent)
    : QObject(parent)
    , m_bus(QDBusConnection::sessionBus())
{
    static int count = 0;
    m_service = QStringLiteral("org.kde.StatusNotifierItem-%1-%2").arg(QCoreApplication::applicationPid()).arg(++count);
    registerTypes();
    m_adaptor = new StatusNotifierItemAdaptor(this);
    m_menu = new DBusMenuExporter(menu, this);
    m_exported = m_bus.registerObject(ItemPath, this, QDBusConnection::ExportAdaptors)
        && m_menu->exportAt(m_bus, MenuPath) && m_bus.registerService(m_service);

    // A panel that restarts brings a new watcher, which knows no items: tell it again.
    m_watcher = new QDBusServiceWatcher(WatcherService, m_bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(m_watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
        [this](const QString&, const QString&, const QString& newOwner) {
            if (!newOwner.isEmpty())
                registerWithWatcher();
        });
    if (m_exported)
        registerWithWatcher();
}

StatusNotifierItem::~StatusNotifierItem()
{
    m_bus.unregisterService(m_service);
    m_bus.unregisterObject(ItemPath);
}

void StatusNotifierItem::registerWithWatcher()
{
    if (!m_exported)
        return;
    QDBusMessage call = QDBusMessage::createMethodCall(WatcherService, QStringLiteral("/StatusNotifierWatcher"),
        WatcherService, QStringLiteral("RegisterStatusNotifierItem"));
    call << m_service;
    auto* pending = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* finished) {
        finished->deleteLater();
        emit registrationFinished(finished->isError() ? finished->error().message() : QString());
    });
}

void StatusNotifierItem::setIcon(const QIcon& icon, const QString& name, const QString& themePath)
{
    m_iconName = name;
    m_themePath = themePath;
    m_adaptor->m_pixmaps = pixmapsOf(icon);
    emit m_adaptor->NewIcon();
}

void StatusNotifierItem::setTitle(const QString& title)
{
    if (title == m_title)
        return;
    m_title = title;
    emit m_adaptor->NewTitle();
}

void StatusNotifierItem::setToolTip(const QString& text)
{
    if (text == m_toolTip)
        return;
    m_toolTip = text;
    emit m_adaptor->NewToolTip();
}

#include "StatusNotifierItem.moc"
