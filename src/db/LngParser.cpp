#include "LngParser.h"

#include <QStringDecoder>

namespace LngParser {

namespace {

// 0x80-0x9F of Windows-1252, the code page older French editors saved in; the five holes keep
// their Latin-1 meaning. Everything else in the byte range is Latin-1 already.
constexpr char16_t kWindows1252High[32] = {
    0x20AC,
    0x0081,
    0x201A,
    0x0192,
    0x201E,
    0x2026,
    0x2020,
    0x2021,
    0x02C6,
    0x2030,
    0x0160,
    0x2039,
    0x0152,
    0x008D,
    0x017D,
    0x008F,
    0x0090,
    0x2018,
    0x2019,
    0x201C,
    0x201D,
    0x2022,
    0x2013,
    0x2014,
    0x02DC,
    0x2122,
    0x0161,
    0x203A,
    0x0153,
    0x009D,
    0x017E,
    0x0178,
};

constexpr int kLanguageNameLimit = 60; // CodeLangue.Langue
constexpr int kCountryNameLimit = 50;  // Pays.Pays
constexpr int kLanguageCodeLimit = 3;  // CodeLangue.Code
constexpr int kCountryCodeLimit = 2;   // Pays.Code and Pays.Langue

QString decodeWindows1252(QByteArrayView bytes)
{
    QString text(bytes.size(), Qt::Uninitialized);
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        text[i] = (byte >= 0x80 && byte < 0xA0) ? QChar(kWindows1252High[byte - 0x80]) : QChar(byte);
    }
    return text;
}

Line decodeLine(QByteArrayView bytes)
{
    QStringDecoder utf8(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
    QString text = utf8.decode(bytes);
    if (!utf8.hasError())
        return {text, false};
    return {decodeWindows1252(bytes), true};
}

// Calls `take(line)` for each line of `view`, whatever the line ends; a final line end does not
// make an extra empty line.
template <typename View, typename Take> void forEachLine(View view, Take take)
{
    const qsizetype size = view.size();
    qsizetype start = 0;
    while (start < size) {
        qsizetype end = start;
        while (end < size && view[end] != u'\n' && view[end] != u'\r')
            ++end;
        take(view.sliced(start, end - start));
        if (end + 1 < size && view[end] == u'\r' && view[end + 1] == u'\n')
            ++end;
        start = end + 1;
    }
}

QList<Line> splitUtf16(const QByteArray& content)
{
    const bool littleEndian = static_cast<unsigned char>(content[0]) == 0xFF;
    QStringDecoder decoder(littleEndian ? QStringConverter::Utf16LE : QStringConverter::Utf16BE);
    QString text = decoder.decode(QByteArrayView(content).sliced(2));
    QList<Line> lines;
    forEachLine(QStringView(text), [&lines](QStringView line) { lines.append({line.toString(), false}); });
    return lines;
}

// Cuts `name` to `limit` characters without splitting a surrogate pair.
QString clipped(QStringView name, int limit)
{
    qsizetype cut = limit;
    if (name.at(cut - 1).isHighSurrogate())
        --cut;
    return name.first(cut).toString();
}

Result invalid(const QString& problem)
{
    Result result;
    result.kind = Result::Kind::Invalid;
    result.problem = problem;
    return result;
}

Result entryOrProblem(Format format, QStringView first, QStringView code, QStringView name)
{
    const int codeLimit = format == Format::Languages ? kLanguageCodeLimit : kCountryCodeLimit;
    if (code.size() > codeLimit)
        return invalid(QStringLiteral("code \"%1\" de plus de %2 caractères").arg(code).arg(codeLimit));
    if (format == Format::Countries && first.isEmpty())
        return invalid(QStringLiteral("langue vide"));
    if (name.isEmpty())
        return invalid(QStringLiteral("nom vide"));
    Result result;
    result.kind = Result::Kind::Entry;
    result.entry.first = first.toString();
    result.entry.code = code.toString();
    const int limit = nameLimit(format);
    result.nameClipped = name.size() > limit;
    result.entry.name = result.nameClipped ? clipped(name, limit) : name.toString();
    return result;
}

} // namespace

int nameLimit(Format format)
{
    return format == Format::Languages ? kLanguageNameLimit : kCountryNameLimit;
}

QList<Line> splitLines(const QByteArray& content)
{
    if (content.startsWith("\xFF\xFE") || content.startsWith("\xFE\xFF"))
        return splitUtf16(content);
    QByteArrayView bytes(content);
    if (bytes.startsWith("\xEF\xBB\xBF"))
        bytes = bytes.sliced(3);
    QList<Line> lines;
    forEachLine(bytes, [&lines](QByteArrayView line) { lines.append(decodeLine(line)); });
    return lines;
}

bool isSkipped(QStringView line)
{
    return line.trimmed().isEmpty() || line.startsWith(u';') || line.startsWith(u'[');
}

Result parse(Format format, QStringView line)
{
    if (isSkipped(line))
        return {};
    if (format == Format::Countries) {
        const QStringView code = line.mid(3, 2).trimmed();
        if (code.isEmpty())
            return {};
        return entryOrProblem(format, line.mid(0, 2).trimmed(), code, line.mid(6).trimmed());
    }
    QStringView code = line.mid(4, 7).trimmed();
    // "fre/fra": bibliographic and terminologic codes; the table keeps the second.
    if (code.size() > kLanguageCodeLimit) {
        const qsizetype slash = code.indexOf(u'/');
        if (slash >= 0) {
            const qsizetype next = code.indexOf(u'/', slash + 1);
            code = code.mid(slash + 1, next < 0 ? -1 : next - slash - 1).trimmed();
        }
    }
    if (code.isEmpty())
        return {};
    return entryOrProblem(format, line.mid(0, 2).trimmed(), code, line.mid(13).trimmed());
}

} // namespace LngParser
