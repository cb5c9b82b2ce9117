#include "InterfaceTexts.h"

#include "AppPaths.h"
#include "Trace.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QLocale>
#include <QScopeGuard>
#include <QStringConverter>
#include <QTranslator>

#include <memory>

namespace {

// The language of an interface code, for the words Qt itself shows (standard buttons, the file
// dialog, key names in menus); C for a language Qt has no name for here.
QLocale::Language qtLanguageOf(const QString& code)
{
    static const QHash<QString, QLocale::Language> languages {
        {QStringLiteral("FRA"), QLocale::French},
        {QStringLiteral("ENG"), QLocale::English},
        {QStringLiteral("DEU"), QLocale::German},
        {QStringLiteral("ESP"), QLocale::Spanish},
        {QStringLiteral("ITA"), QLocale::Italian},
        {QStringLiteral("NLD"), QLocale::Dutch},
        {QStringLiteral("PTG"), QLocale::Portuguese},
    };
    return languages.value(code, QLocale::C);
}

// Puts Qt's own texts in the interface language, so that a French window does not show "Cancel"
// or "Del". Without Qt's translation files (or for English) Qt keeps its English words.
void followWithQtTexts(const QString& code)
{
    static std::unique_ptr<QTranslator> installed;
    if (!QCoreApplication::instance())
        return;
    // Installing or removing a translation posts a language change to the windows alive when it
    // is delivered; delivered at once, it reaches only the windows open now, never one (or a
    // message box) made in between, which would lose the texts we give its standard buttons.
    const auto deliverNow = qScopeGuard([] {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::LanguageChange);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::LanguageChange); // the windows' own
    });
    if (installed) {
        QCoreApplication::removeTranslator(installed.get());
        installed.reset();
    }
    const QLocale::Language language = qtLanguageOf(code);
    if (language == QLocale::C || language == QLocale::English)
        return;
    auto translator = std::make_unique<QTranslator>();
    if (translator->load(QLocale(language), QStringLiteral("qtbase"), QStringLiteral("_"),
            QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
        QCoreApplication::installTranslator(translator.get());
        installed = std::move(translator);
    } else {
        TAPISOL_TRACE(QStringLiteral("M1 Langue: pas de traduction de Qt pour ") + code);
    }
}

QString unescape(QStringView text)
{
    QString out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (c != QLatin1Char('\\') || i + 1 == text.size()) {
            out += c;
            continue;
        }
        const QChar next = text[++i];
        if (next == QLatin1Char('n'))
            out += QLatin1Char('\n');
        else if (next == QLatin1Char('t'))
            out += QLatin1Char('\t');
        else
            out += next;
    }
    return out;
}

QString decode(const QByteArray& content, const QString& sourceName)
{
    QStringDecoder utf8(QStringDecoder::Utf8);
    QString text = utf8.decode(content);
    if (!utf8.hasError())
        return text;
    // An editor that saved in Latin-1 should not cost the user every accented text.
    TAPISOL_TRACE(QStringLiteral("M1 Langue ") + sourceName + QStringLiteral(" n'est pas en UTF-8, lu en Latin-1"));
    return QString::fromLatin1(content);
}

} // namespace

QString InterfaceTexts::languageFile(const QString& code)
{
    return AppPaths::languageDir() + code.trimmed().toUpper() + QStringLiteral(".lng");
}

bool InterfaceTexts::languageExists(const QString& code)
{
    const QString trimmed = code.trimmed();
    if (trimmed.size() != 3 || !QFileInfo(languageFile(trimmed)).isFile())
        return false;
    InterfaceTexts probe;
    return probe.load(trimmed);
}

QString InterfaceTexts::settledCode(const QString& configured)
{
    const QString code = configured.trimmed().toUpper();
    if (code.isEmpty() || !languageExists(code)) {
        TAPISOL_TRACE(
            QStringLiteral("M1 Langue '") + configured + QStringLiteral("' absente ou illisible, FRA utilisée"));
        return QStringLiteral("FRA");
    }
    return code;
}

bool InterfaceTexts::load(const QString& code)
{
    m_code = code.trimmed().toUpper();
    m_texts.clear();
    QFile file(languageFile(m_code));
    if (!file.open(QIODevice::ReadOnly)) {
        TAPISOL_TRACE(
            QStringLiteral("M1 Langue ") + file.fileName() + QStringLiteral(" illisible: ") + file.errorString());
        return false;
    }
    if (parse(file.readAll(), file.fileName()) == 0) {
        TAPISOL_TRACE(QStringLiteral("M1 Langue ") + file.fileName() + QStringLiteral(" sans aucun texte"));
        m_texts.clear();
        return false;
    }
    followWithQtTexts(m_code);
    return true;
}

int InterfaceTexts::parse(const QByteArray& content, const QString& sourceName)
{
    QString text = decode(content, sourceName);
    if (text.startsWith(QChar(0xFEFF)))
        text.remove(0, 1);
    int lineNumber = 0;
    int read = 0;
    for (QStringView line : QStringView(text).split(QLatin1Char('\n'))) {
        ++lineNumber;
        if (line.endsWith(QLatin1Char('\r')))
            line.chop(1);
        const QStringView trimmed = line.trimmed();
        if (trimmed.isEmpty() || trimmed.startsWith(QLatin1Char(';')) || trimmed.startsWith(QLatin1Char('#'))
            || trimmed.startsWith(QLatin1Char('[')))
            continue;
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        bool ok = false;
        const int number = eq > 0 ? line.left(eq).trimmed().toInt(&ok) : 0;
        if (!ok || number < 0) {
            TAPISOL_TRACE(QStringLiteral("M1 Langue %1 ligne %2 ignorée").arg(sourceName).arg(lineNumber));
            continue;
        }
        if (m_texts.contains(number)) {
            TAPISOL_TRACE(QStringLiteral("M1 Langue %1 ligne %2 : texte %3 en double ignoré")
                              .arg(sourceName)
                              .arg(lineNumber)
                              .arg(number));
            continue;
        }
        m_texts.insert(number, unescape(line.mid(eq + 1)));
        ++read;
    }
    return read;
}

QString InterfaceTexts::text(int number) const
{
    const auto it = m_texts.constFind(number);
    if (it != m_texts.constEnd())
        return *it;
    TAPISOL_TRACE(QStringLiteral("M1 Langue ") + m_code + QStringLiteral(" texte manquant ") + QString::number(number));
    return QLatin1Char('#') + QString::number(number);
}

InterfaceTexts& interfaceTexts()
{
    static InterfaceTexts texts;
    return texts;
}

QString langText(int number)
{
    return interfaceTexts().text(number);
}
