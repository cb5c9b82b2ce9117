#include "PlayerCommandLine.h"

#include "InterfaceTexts.h"

#include <QRegularExpression>

namespace {

constexpr int TextUnknownOption = 3155;
constexpr int TextValueMissing = 3156;
constexpr int TextBadSize = 3157;
constexpr int TextNoFileName = 3158;

// The largest frame the export accepts: a 4K screen.
constexpr int MaxExportSide = 4096;

} // namespace

PlayerCommandLine PlayerCommandLine::parse(const QStringList& arguments)
{
    PlayerCommandLine line;
    line.switches = parsePlayerArguments(arguments);
    // "--option value" or "--option=value".
    auto valueOf = [&](qsizetype& i, const QString& option, QString* value) {
        const QString& argument = arguments.at(i);
        if (argument == option) {
            if (i + 1 >= arguments.size()) {
                line.error = langText(TextValueMissing).arg(option);
                return true;
            }
            *value = arguments.at(++i);
            return true;
        }
        if (argument.startsWith(option + QLatin1Char('='))) {
            *value = argument.mid(option.size() + 1);
            return true;
        }
        return false;
    };
    QString size;
    bool sizeGiven = false;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments.at(i);
        if (argument == QLatin1String("--help") || argument == QLatin1String("-h"))
            line.help = true;
        else if (argument == QLatin1String("--timings"))
            line.timings = true;
        else if (valueOf(i, QStringLiteral("--export"), &line.exportFile))
            continue;
        else if (valueOf(i, QStringLiteral("--size"), &size))
            sizeGiven = true;
        else if (argument.startsWith(QLatin1String("--")))
            line.error = langText(TextUnknownOption).arg(argument);
    }
    if (line.error.isEmpty() && !line.exportFile.isEmpty() && line.exportFile.trimmed().isEmpty())
        line.error = langText(TextNoFileName);
    if (line.error.isEmpty() && sizeGiven) {
        static const QRegularExpression pattern(QStringLiteral("^(\\d{1,5})[xX](\\d{1,5})$"));
        const QRegularExpressionMatch match = pattern.match(size);
        const int width = match.captured(1).toInt();
        const int height = match.captured(2).toInt();
        // The video encoder wants even sides.
        if (!match.hasMatch() || width < 16 || height < 16 || width > MaxExportSide || height > MaxExportSide
            || width % 2 || height % 2)
            line.error = langText(TextBadSize).arg(size).arg(MaxExportSide);
        else
            line.exportSize = QSize(width, height);
    }
    return line;
}
