#include "ProjectRows.h"

#include "JetValues.h"

#include <SQLiteCpp/Column.h>
#include <SQLiteCpp/Statement.h>

ProjectRow ProjectRows::readProject(const SQLite::Statement& row)
{
    ProjectRow project;
    project.KeyAuto = row.getColumn("KeyAuto").getInt64();
    project.Nom = Jet::textOf(row.getColumn("Nom"));
    project.ExpoTime = int(Jet::longOf(row.getColumn("ExpoTime")));
    project.Paswd = Jet::textOf(row.getColumn("Paswd"));
    return project;
}

SlideRow ProjectRows::readSlide(const SQLite::Statement& row)
{
    const SlideRow d;
    SlideRow s;
    auto number = [&](const char* column, long long ifNull) { return Jet::longOf(row.getColumn(column), ifNull); };
    auto flag = [&](const char* column, bool ifNull) { return Jet::boolOf(row.getColumn(column), ifNull); };
    s.KeyAuto = row.getColumn("KeyAuto").getInt64();
    s.KeyDescrip = row.getColumn("KeyDescrip").getInt64();
    s.Ordre = int(number("Ordre", d.Ordre));
    s.Path = Jet::textOf(row.getColumn("Path"));
    s.PathMusic = Jet::textOf(row.getColumn("PathMusic"));
    s.VolMusic = int(number("VolMusic", d.VolMusic));
    s.VolMusicComment = int(number("VolMusicComment", d.VolMusicComment));
    s.RehausMusic = flag("RehausMusic", d.RehausMusic);
    s.RepetMusic = flag("RepetMusic", d.RepetMusic);
    s.PathComment = Jet::textOf(row.getColumn("PathComment"));
    s.VolComment = int(number("VolComment", d.VolComment));
    s.RepetComment = flag("RepetComment", d.RepetComment);
    s.Texte = Jet::textOf(row.getColumn("Texte"));
    s.TexteAlign = int(number("TexteAlign", d.TexteAlign));
    s.TexteMarge = int(number("TexteMarge", d.TexteMarge));
    s.FontName = Jet::textOf(row.getColumn("FontName"));
    s.FontSize = float(Jet::doubleOf(row.getColumn("FontSize"), d.FontSize));
    s.FontBold = flag("FontBold", d.FontBold);
    s.FontItalic = flag("FontItalic", d.FontItalic);
    s.FontUnderline = flag("FontUnderline", d.FontUnderline);
    s.ForeColor = qint32(number("ForeColor", d.ForeColor));
    s.BackColor = qint32(number("BackColor", d.BackColor));
    s.BackStyle = int(number("BackStyle", d.BackStyle));
    return s;
}
