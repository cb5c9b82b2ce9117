#pragma once

#include <QCollator>
#include <QLatin1StringView>
#include <QLocale>
#include <QString>

#include <memory>
#include <vector>

// The order of file names within a folder: natural ("img2" before "img10", leading zeros not
// counted) and case-insensitive, as QCollator orders them for the locale, with names that compare
// equal that way ordered by their UTF-16 code units so that the result never depends on the order
// they were read in.
//
// Collation keys from ICU cost a few hundred nanoseconds and two allocations a name, which made
// them the largest part of a scan. Most file names are plain ASCII, and for those the collator's
// order reduces to one weight per character plus digit runs compared by value, so a key of one
// byte per character gives the same order at a fraction of the cost. That shortcut is derived
// from the collator itself and checked against it on a sample when first needed for a locale;
// a locale whose rules do not reduce that way (letters that combine, as "ch" in Czech) keeps the
// collator for every name.
class NameOrder
{
public:
    /// One name to order: printable ASCII bytes in `ascii`, or else the decoded name in `text`.
    struct Item
    {
        QLatin1StringView ascii;
        const QString* text = nullptr;
    };

    /// The order of the default locale (English when that is the C locale, which would order by
    /// code points).
    NameOrder();
    explicit NameOrder(const QLocale& locale);

    /// The positions of `items` in sorted order. `allowShortcut` false forces the collator.
    std::vector<qsizetype> order(const std::vector<Item>& items, bool allowShortcut = true) const;

    /// True when ASCII names take the shortcut for this locale.
    bool hasAsciiShortcut() const;

    /// True when every byte of the name is printable ASCII (0x20 to 0x7E).
    static bool isPrintableAscii(const char* name, size_t length);

    // The shortcut's weights; defined in the source file.
    class AsciiWeights;

private:
    QCollator m_collator;
    std::shared_ptr<const AsciiWeights> m_weights; // null when the locale has no shortcut
};
