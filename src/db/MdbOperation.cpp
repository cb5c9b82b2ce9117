#include "MdbOperation.h"

#include <sqlite3.h>

#include <algorithm>

namespace {
constexpr int TextBusy = 2700;
constexpr int TextDiskFull = 2701;
} // namespace

namespace Mdb {

QString passingState(const SQLite::Exception& e)
{
    switch (e.getErrorCode() & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return langText(TextBusy);
    case SQLITE_FULL:
        return langText(TextDiskFull);
    default:
        return {};
    }
}

qsizetype characters(const QString& text)
{
    return text.size() - std::count_if(text.cbegin(), text.cend(), [](QChar c) { return c.isLowSurrogate(); });
}

} // namespace Mdb
