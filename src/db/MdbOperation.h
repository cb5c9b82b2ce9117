#pragma once

#include "InterfaceTexts.h"
#include "Trace.h"

#include <QString>

#include <SQLiteCpp/Exception.h>

#include <exception>

// The frame of one operation of a store on the database (albums, slideshow projects): its trace
// lines ("ClsMdb <Name>", then ", Ok" or ", Err <cause>"), and every failure turned into the empty
// result of its type (false, nothing, an empty list) with words for the user.
namespace Mdb {

/// What an operation refuses before or instead of writing, in the user's words.
struct Refusal
{
    QString text;
};

[[noreturn]] inline void refuse(const QString& text)
{
    throw Refusal {text};
}

/// A lock held by another program or a full disk: passing states, said as such (in the words the
/// notes use). Empty for any other failure.
QString passingState(const SQLite::Exception& e);

/// Characters as SQLite's length() counts them (not UTF-16 units).
qsizetype characters(const QString& text);

/// Runs `body`. `describe` words a failed statement; `notSavedText` is the store's "could not be
/// saved: %1" for anything else.
template <typename Body>
auto operation(const char* name, QString* error, QString (*describe)(const SQLite::Exception&), int notSavedText,
    Body&& body) -> decltype(body())
{
    using Result = decltype(body());
    const QString label = QStringLiteral("ClsMdb ") + QLatin1String(name);
    TAPISOL_TRACE(label);
    QString words;
    QString reason;
    try {
        Result result = body();
        TAPISOL_TRACE(label + QStringLiteral(", Ok"));
        return result;
    } catch (const Refusal& refusal) {
        words = reason = refusal.text;
    } catch (const SQLite::Exception& e) {
        words = describe(e);
        reason = QString::fromUtf8(e.what());
    } catch (const std::exception& e) {
        reason = QString::fromUtf8(e.what());
        words = langText(notSavedText).arg(reason);
    }
    TAPISOL_TRACE(label + QStringLiteral(", Err ") + reason);
    if (error)
        *error = words;
    return Result {};
}

} // namespace Mdb
