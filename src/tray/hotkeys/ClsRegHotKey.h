#pragma once

#include "HotkeyBackend.h"

#include <QHash>
#include <QObject>

#include <memory>

// The program's global hot keys: named bindings made through a back end, each press reported by
// name. A second registration of a name replaces the first.
class ClsRegHotKey : public QObject
{
    Q_OBJECT

public:
    static constexpr int MaxNameLength = 32;
    static inline const QString NameTooLong = QStringLiteral("Key Name too long (max 32 characters).");

    explicit ClsRegHotKey(std::unique_ptr<HotkeyBackend> backend, QObject* parent = nullptr);
    ~ClsRegHotKey() override;

    /// Registers `name` for the pair; a code of 0 only forgets an earlier binding. False, with
    /// `error` set, for a name over 32 characters or a pair the system refuses.
    bool registerKey(const QString& name, int virtualKey, int modifiers, QString* error = nullptr);

    /// Releases every key (the tray's unload).
    void unregisterAll();

    /// Whether `name` holds an active binding.
    bool isActive(const QString& name) const;

    HotkeyBackend& backend() { return *m_backend; }

signals:
    void hotKeyPressed(const QString& name);

private:
    struct Record
    {
        QString name;
        int virtualKey = 0;
        int modifiers = 0;
    };
    void onPressed(int id);

    std::unique_ptr<HotkeyBackend> m_backend;
    QHash<int, Record> m_records; // by identifier
    int m_nextId = 1;
};
