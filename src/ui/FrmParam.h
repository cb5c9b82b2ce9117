#pragma once

#include <QDialog>
#include <QHash>
#include <QImage>
#include <QPointer>
#include <QVariant>

#include <functional>
#include <memory>
#include <optional>

class ClsMonitor;
class ImageDecoder;
class QLabel;
class QTabWidget;
class SettingBinder;
class SettingsSession;
class PreviewView;

// The settings dialog: the settings grouped as a user thinks of them, previewed live while the
// dialog is open (the program sees the unsaved values), written by OK and Apply, dropped by
// Cancel. One instance; the tray brings it forward when it is open already.
class FrmParam : public QDialog
{
    Q_OBJECT

public:
    // What the dialog asks of the rest of the program.
    struct Services
    {
        ClsMonitor* monitors = nullptr;
        std::function<qint64()> secondsLeft;         // before the next change, -1 when auto mode is off
        std::function<QList<int>()> counter;         // shown, count, direction, end-out (0/1)
        std::function<QString(int, int)> hotkeyText; // a stored hot key as the menu shows it
        // Captures a hot key for an action: (parent, action, modifiers, code, who holds a pair).
        std::function<std::optional<std::pair<int, int>>(
            QWidget*, const QString&, int, int, const std::function<QString(int, int)>&)>
            captureHotkey;
        std::function<bool()> autoMode; // the tray's automatic change
        std::function<void(bool)> setAutoMode;
        std::function<void(const QList<int>&)> valuesChanged; // what the dialog previewed or wrote
        std::function<void(const QList<int>&)> applied;       // what the dialog wrote
        std::function<void()> refitWallpaper;                 // render the wallpaper again with the stored values
        QString detectedBackend;                              // the desktop back end in use
        QStringList backendNames;                             // every back end that can be forced
        bool lockScreenKept = false;                          // the desktop has a lock-screen picture
    };

    explicit FrmParam(Services services, QWidget* parent = nullptr);
    ~FrmParam() override;

    /// Called each second by the tray: the countdown and the counter follow.
    void refreshStatus();

    /// A wallpaper was applied while the dialog is open (with its unsaved values, maybe).
    void wallpaperApplied();

    /// Builds every text again, in the interface language now loaded.
    void retranslate();

    /// The program wrote the source settings (quick access, the album window): the dialog shows
    /// and previews these values, in place of its own unsaved choice of them.
    void sourceSwitched(const QHash<int, QVariant>& values);

    /// The names of the tabs, for tests and help.
    QTabWidget* tabs() const { return m_tabs; }

    void done(int result) override;

protected:
    bool event(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    static QList<std::pair<QString, QString>> countriesByName();
    void build();
    void nameButtons();
    QWidget* wallpaperTab();
    void buildSourceChoice(class QVBoxLayout* layout, QWidget* folderPage);
    QWidget* fittingTab();
    QWidget* previewTab();
    QWidget* soundsTab();
    QWidget* hotkeysTab();
    void fillHotkeys();
    void editHotkey(int row);
    QWidget* notesTab();
    QWidget* generalTab();
    bool applyEdits();
    void endSession();
    void cancelEdits();
    void askAboutOutsideChange();
    void updatePreview();
    void loadPreviewPicture();
    void playSound(const QString& file);
    void chooseFolder();
    void chooseSound();

    Services m_services;
    std::unique_ptr<SettingsSession> m_session;
    SettingBinder* m_binder = nullptr;
    QTabWidget* m_tabs = nullptr;
    class QDialogButtonBox* m_buttons = nullptr;
    PreviewView* m_preview = nullptr;
    QList<QLabel*> m_statistics; // scale, deformation, ratio, width, height, coverage
    QLabel* m_countdown = nullptr;
    QLabel* m_counter = nullptr;
    QLabel* m_direction = nullptr;
    QLabel* m_endOut = nullptr;
    QLabel* m_notesSample = nullptr;
    class QTableWidget* m_hotkeys = nullptr;
    std::unique_ptr<ImageDecoder> m_decoder;
    QImage m_previewPicture; // the wallpaper's picture, decoded once at a small size
    QSize m_previewPictureSize;
    bool m_previewMetafile = false;
    bool m_appliedWhileEditing = false;
};
