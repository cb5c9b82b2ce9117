#pragma once

#include <QString>
#include <QtGlobal>

// Rows of the slideshow tables as the project store reads and writes them. Keys are the tables'
// counters; 0 means "no row". Members carry the column names so that the assistant, the player and
// the store speak of the same thing.

/// A slideshow project (`DiaporamaDesc`).
struct ProjectRow
{
    qint64 KeyAuto = 0;
    QString Nom;      // unique, case ignored (ASCII)
    int ExpoTime = 0; // how long each slide shows
    QString Paswd;    // kept as typed; empty when the project is open to all
};

/// One slide of a project (`Diaporama`), with the defaults of its columns. A column that holds
/// Null reads as the value below.
struct SlideRow
{
    qint64 KeyAuto = 0;
    qint64 KeyDescrip = 0; // the project's KeyAuto
    int Ordre = 0;         // position in the project, slides read in ascending order
    QString Path;          // the picture; never empty
    QString PathMusic;     // music started on this slide; empty: the music in force goes on
    int VolMusic = 100;
    int VolMusicComment = 100; // the music's volume while the comment plays
    bool RehausMusic = false;
    bool RepetMusic = false;
    QString PathComment; // spoken comment; empty for none
    int VolComment = 100;
    bool RepetComment = false;
    QString Texte; // caption
    int TexteAlign = 0;
    int TexteMarge = 0;
    QString FontName;
    float FontSize = 0;
    bool FontBold = false;
    bool FontItalic = false;
    bool FontUnderline = false;
    qint32 ForeColor = 0; // 0x00BBGGRR
    qint32 BackColor = 0;
    int BackStyle = 0;

    friend bool operator==(const SlideRow&, const SlideRow&) = default;
};
