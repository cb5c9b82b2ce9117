#pragma once

#include <QDBusConnection>
#include <QDBusContext>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QTimer>

class QAction;
class QMenu;

// Exports an existing QMenu as com.canonical.dbusmenu, for a StatusNotifierItem host that draws
// the menu itself. The menu stays its owner's: the exporter only reads its actions, follows
// their changes and triggers them when the host says they were clicked.
class DBusMenuExporter : public QObject, protected QDBusContext
{
    Q_OBJECT

public:
    explicit DBusMenuExporter(QMenu* menu, QObject* parent = nullptr);
    ~DBusMenuExporter() override;

    /// Puts the menu on `connection` at `path`; false when the path is taken.
    bool exportAt(QDBusConnection connection, const QString& path);

    /// The layout's revision, one higher after each batch of changes to the menu's actions.
    uint revision() const { return m_revision; }

    /// An action's text as DBusMenu labels it: '_' marks the mnemonic, a literal '_' is doubled,
    /// and what follows a tab (a shortcut shown as text) is left out.
    static QString dbusLabel(const QString& text);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    friend class DBusMenuAdaptor;

    /// Answers the host's current call with an error (QtDBus gives an adaptor's context to its object).
    void refuse(const QString& message) { sendErrorReply(QDBusError::InvalidArgs, message); }
    int idOf(QAction* action);
    QAction* actionOf(int id) const;
    QMenu* menuOf(int id) const;
    QVariantMap propertiesOf(QAction* action, const QStringList& names) const;
    void watch(QMenu* menu);
    void changed(QAction* action);
    void emitChanges();

    QPointer<QMenu> m_menu;
    QDBusConnection m_connection;
    QString m_path;
    class DBusMenuAdaptor* m_adaptor = nullptr;
    QHash<QAction*, int> m_ids;
    QHash<int, QPointer<QAction>> m_actions;
    int m_nextId = 1; // 0 is the menu itself
    uint m_revision = 1;
    QSet<int> m_changedIds;
    quint64 m_changeCount = 0;
    QTimer m_batch; // one signal for the many changes a refresh of the menu makes
};
