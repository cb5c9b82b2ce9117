#include "SettingsFileGuard.h"

#include "Trace.h"

#include <QFile>
#include <QSaveFile>
#include <QSettings>
#include <QStringDecoder>
#include <algorithm>

namespace {

const QByteArray kUtf8Bom("\xEF\xBB\xBF");

bool isUtf8(const QByteArray& bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(bytes);
    Q_UNUSED(text);
    return !decoder.hasError();
}

// Text in a single-byte encoding has no control bytes besides tabs and line ends.
bool looksLikeText(const QByteArray& bytes)
{
    return std::none_of(bytes.cbegin(), bytes.cend(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r';
    });
}

bool keepBadCopy(const QString& path, const QString& why)
{
    const QString bad = SettingsFileGuard::badCopyPath(path);
    QFile::remove(bad);
    const bool copied = QFile::copy(path, bad);
    TAPISOL_TRACE(
        QStringLiteral("REG Settings file %1 %2; %3")
            .arg(path, why, copied ? QStringLiteral("copy kept as ") + bad : QStringLiteral("no copy could be kept")));
    return copied;
}

bool rewrite(const QString& path, const QByteArray& bytes)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        TAPISOL_TRACE(QStringLiteral("REG Settings file %1 could not be rewritten: %2").arg(path, file.errorString()));
        return false;
    }
    return true;
}

} // namespace

namespace SettingsFileGuard {

QString badCopyPath(const QString& path)
{
    return path + QStringLiteral(".bad");
}

bool repairEncoding(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    QByteArray bytes = file.readAll();
    file.close();
    const bool bom = bytes.startsWith(kUtf8Bom);
    if (bom)
        bytes.remove(0, kUtf8Bom.size());
    if (isUtf8(bytes)) {
        return bom && keepBadCopy(path, QStringLiteral("starts with a byte-order mark, removed"))
            && rewrite(path, bytes);
    }
    if (!looksLikeText(bytes))
        return keepBadCopy(path, QStringLiteral("is not text"));
    const bool kept = keepBadCopy(path, QStringLiteral("is not UTF-8, read as Latin-1"));
    if (kept)
        rewrite(path, QString::fromLatin1(bytes).toUtf8());
    return kept;
}

void checkStatus(const QSettings& settings, bool alreadyKept)
{
    switch (settings.status()) {
    case QSettings::NoError:
        break;
    case QSettings::FormatError:
        if (!alreadyKept)
            keepBadCopy(settings.fileName(), QStringLiteral("has unreadable lines, which the next write drops"));
        break;
    case QSettings::AccessError:
        TAPISOL_TRACE(QStringLiteral("REG Settings file %1 cannot be read").arg(settings.fileName()));
        break;
    }
}

} // namespace SettingsFileGuard
