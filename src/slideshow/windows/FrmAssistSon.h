#pragma once

#include "ProjectTypes.h"

#include <QImage>
#include <QWidget>

#include <memory>

class ClsMdb;
class CommentRecorder;
class ProjectEditing;
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QFontComboBox;
class QLabel;
class QLineEdit;
class QListView;
class QPlainTextEdit;
class QPushButton;
class QSpinBox;
class QToolButton;
class QTreeWidget;
class SlideStripModel;
class SlideThumbnailer;

// The slideshow project assistant (command 5): the projects on the left, the open project's slides
// as a filmstrip, and under it the selected slide's sound and caption with a preview drawn as the
// player draws it. What it edits lives in ProjectEditing until Save; switching project or closing
// asks about unsaved changes.
class FrmAssistSon : public QWidget
{
    Q_OBJECT

public:
    explicit FrmAssistSon(ClsMdb& db, QWidget* parent = nullptr);
    ~FrmAssistSon() override;

    ProjectEditing& editing() { return *m_editing; }
    /// Opens project `key` (asking its password), after settling the open one's changes.
    bool openProject(qint64 key);
    /// Starts a new project named `nom`; false when the open one's changes were not settled.
    bool newProject(const QString& nom);
    /// Adds the pictures of `folder` after the selected slide; how many.
    int addFolder(const QString& folder);
    /// Saves the open project; false (and said) when the store refuses.
    bool save();
    /// The program is ending: unsaved changes are saved without asking, then the window closes.
    void closeForExit();
    /// The comment file the recorder would write next for the open project.
    QString nextCommentFile() const;
    /// The preview as last drawn.
    QImage previewImage() const { return m_previewImage; }

protected:
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void build();
    QWidget* buildProjects();
    QWidget* buildSlides();
    QWidget* buildSound();
    QWidget* buildCaption();
    void reloadProjects();
    qint64 selectedProject() const;
    bool settleChanges();
    void projectActivated();
    void askNewProject();
    void renameProject();
    void duplicateProject();
    void deleteProject();
    void addPictures();
    void askFolder();
    void addAlbumPage();
    void addPaths(const QStringList& paths, int row);
    void removeSlides();
    void stepSlide(int delta);
    QList<int> selectedRows() const;
    void selectRows(const QList<int>& rows);
    int currentRow() const;
    void showSlide();
    void storeSlide();
    void chooseFile(QLineEdit* edit, bool comment);
    void chooseColour(bool fore);
    void updatePreview();
    void previewDecoded(const QString& path, const QImage& image);
    void playPreview();
    void toggleRecording();
    /// Plays the music or the comment file of the slide at its volume; a second press stops it.
    void toggleListening(QLineEdit* edit, QSpinBox* volume);
    void updateListenButtons();
    static QString pictureFolder();
    /// Stops the sound started by a listen button, and only that one.
    void stopListening();
    void recordingEnded(const QString& file, const QString& error);
    void updateActions();
    void updateTitle();

    ClsMdb& m_db;
    ProjectEditing* m_editing = nullptr;
    SlideStripModel* m_strip = nullptr;
    std::unique_ptr<SlideThumbnailer> m_previewLoader;
    CommentRecorder* m_recorder = nullptr;
    bool m_loading = false; // the fields are being filled from a slide: not an edit

    QTreeWidget* m_projects = nullptr;
    QPushButton* m_open = nullptr;
    QPushButton* m_rename = nullptr;
    QPushButton* m_duplicate = nullptr;
    QPushButton* m_delete = nullptr;
    QSpinBox* m_expo = nullptr;
    QLabel* m_projectName = nullptr;
    QListView* m_view = nullptr;
    QWidget* m_slideButtons = nullptr;
    QPushButton* m_remove = nullptr;
    QWidget* m_fields = nullptr;

    QLineEdit* m_music = nullptr;
    QSpinBox* m_volMusic = nullptr;
    QSpinBox* m_volMusicComment = nullptr;
    QCheckBox* m_repetMusic = nullptr;
    QCheckBox* m_rehausMusic = nullptr;
    QLineEdit* m_comment = nullptr;
    QSpinBox* m_volComment = nullptr;
    QCheckBox* m_repetComment = nullptr;
    QPushButton* m_record = nullptr;
    QToolButton* m_listenMusic = nullptr;
    QToolButton* m_listenComment = nullptr;
    QString m_listening; // the file a listen button started
    QLabel* m_recordState = nullptr;

    QPlainTextEdit* m_text = nullptr;
    QComboBox* m_align = nullptr;
    QSpinBox* m_margin = nullptr;
    QFontComboBox* m_font = nullptr;
    QDoubleSpinBox* m_fontSize = nullptr;
    QCheckBox* m_bold = nullptr;
    QCheckBox* m_italic = nullptr;
    QCheckBox* m_underline = nullptr;
    QPushButton* m_foreColour = nullptr;
    QPushButton* m_backColour = nullptr;
    QCheckBox* m_backStyle = nullptr;
    qint32 m_fore = 0x00ffffff;
    qint32 m_back = 0;

    QLabel* m_preview = nullptr;
    QImage m_previewImage;
    QString m_previewPath;   // the picture m_previewPicture shows
    QImage m_previewPicture; // decoded at a moderate size, reused while only the caption changes
    QPushButton* m_play = nullptr;
    QPushButton* m_save = nullptr;
};
