#pragma once

#include <QDBusConnection>
#include <QIcon>
#include <QObject>
#include <QPoint>

class DBusMenuExporter;
class QDBusServiceWatcher;
class QMenu;

// A tray icon of our own on the session bus, as org.kde.StatusNotifierItem with its menu over
// DBusMenu. Qt decides once per process whether its tray icon is such an item; a panel that
// shows nothing else and starts after the program gets this one instead.
class StatusNotifierItem : public QObject
{
    Q_OBJECT

public:
    /// Exports the item and `menu` (its owner keeps the actions current) under a name of its own,
    /// and registers with the StatusNotifierWatcher now and whenever the watcher changes hands.
    explicit StatusNotifierItem(QMenu* menu, QObject* parent = nullptr);
    ~StatusNotifierItem() override;

    /// False when the bus refused the name or an object path; the item is then of no use.
    bool isExported() const { return m_exported; }
    /// The bus name the item is registered under, unique to this process and item.
    QString serviceName() const { return m_service; }

    /// The icon, sent as pixmaps; `name` lets a host take it from the icon theme, found also
    /// in `themePath` when that is given.
    void setIcon(const QIcon& icon, const QString& name, const QString& themePath = {});
    void setTitle(const QString& title);
    /// The tool tip, all of it as the tip's title, as hosts show Qt's own items' tips.
    void setToolTip(const QString& text);

signals:
    /// The host's primary activation (a click on the icon); `at` is where, when the host says.
    void activated(QPoint at);
    /// A middle click.
    void secondaryActivated(QPoint at);
    /// The host asks the program to show its menu itself.
    void contextMenuRequested(QPoint at);
    /// The watcher answered a registration; `error` is empty when it took it.
    void registrationFinished(const QString& error);

private:
    friend class StatusNotifierItemAdaptor;

    void registerWithWatcher();

    QDBusConnection m_bus;
    QString m_service;
    bool m_exported = false;
    class StatusNotifierItemAdaptor* m_adaptor = nullptr;
    DBusMenuExporter* m_menu = nullptr;
    QDBusServiceWatcher* m_watcher = nullptr;
    QString m_iconName;
    QString m_themePath;
    QString m_title;
    QString m_toolTip;
};
