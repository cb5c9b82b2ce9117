#include "NameOrder.h"

#include <QCollatorSortKey>
#include <QHash>
#include <QMutex>

#include <algorithm>
#include <cstring>
#include <numeric>

namespace {

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

QLocale usableLocale(const QLocale& locale)
{
    return locale.language() == QLocale::C ? QLocale(QLocale::English) : locale;
}

// Names equal to the collator: UTF-16 code unit order (byte order, for two ASCII names).
int compareExactly(const NameOrder::Item& a, const NameOrder::Item& b)
{
    if (a.text == nullptr && b.text == nullptr) {
        const int bytes = memcmp(a.ascii.data(), b.ascii.data(), size_t(std::min(a.ascii.size(), b.ascii.size())));
        return bytes != 0 ? bytes : int(a.ascii.size() - b.ascii.size());
    }
    if (a.text != nullptr && b.text != nullptr)
        return QString::compare(*a.text, *b.text, Qt::CaseSensitive);
    return a.text != nullptr ? QString::compare(*a.text, b.ascii, Qt::CaseSensitive)
                             : -QString::compare(*b.text, a.ascii, Qt::CaseSensitive);
}

std::vector<qsizetype> identity(size_t count)
{
    std::vector<qsizetype> order(count);
    std::iota(order.begin(), order.end(), qsizetype(0));
    return order;
}

std::vector<qsizetype> sortWithCollator(const QCollator& collator, const std::vector<NameOrder::Item>& items)
{
    std::vector<QCollatorSortKey> keys;
    keys.reserve(items.size());
    for (const NameOrder::Item& item : items)
        keys.push_back(collator.sortKey(item.text != nullptr ? *item.text : QString(item.ascii)));
    std::vector<qsizetype> order = identity(items.size());
    std::sort(order.begin(), order.end(), [&](qsizetype a, qsizetype b) {
        const int byCollation = keys[size_t(a)].compare(keys[size_t(b)]);
        return byCollation != 0 ? byCollation < 0 : compareExactly(items[size_t(a)], items[size_t(b)]) < 0;
    });
    return order;
}

} // namespace

class NameOrder::AsciiWeights
{
public:
    // Ranks the 95 printable characters with the collator; characters it finds equal ('a' and 'A'
    // when case is ignored) share a weight.
    explicit AsciiWeights(const QCollator& collator)
    {
        std::vector<char> characters;
        for (char c = 0x20; c < 0x7F; ++c)
            characters.push_back(c);
        const auto text = [](char c) { return QString(QLatin1Char(c)); };
        std::stable_sort(characters.begin(), characters.end(),
            [&](char a, char b) { return collator.compare(text(a), text(b)) < 0; });
        char weight = 1;
        for (size_t i = 0; i < characters.size(); ++i) {
            if (i > 0 && collator.compare(text(characters[i - 1]), text(characters[i])) != 0)
                ++weight;
            m_weights[size_t(characters[i])] = weight;
        }
        m_valid = sortWithCollator(collator, sampleItems()) == sort(sampleItems());
    }

    bool valid() const { return m_valid; }

    // One byte per character; a run of digits becomes the digits' weight, its length without
    // leading zeros, then those digits, so that byte order is numeric order.
    void appendKey(QLatin1StringView name, std::string& key) const
    {
        const char* s = name.data();
        const qsizetype size = name.size();
        for (qsizetype i = 0; i < size;) {
            if (!isDigit(s[i])) {
                key += m_weights[size_t(s[i]) & 0x7F];
                ++i;
                continue;
            }
            qsizetype end = i;
            while (end < size && isDigit(s[end]))
                ++end;
            while (i < end - 1 && s[i] == '0')
                ++i;
            key += m_weights[size_t('0')];
            key += char(std::min<qsizetype>(end - i, 255));
            key.append(s + i, size_t(end - i));
            i = end;
        }
    }

    std::vector<qsizetype> sort(const std::vector<Item>& items) const
    {
        std::string keys;
        std::vector<std::pair<size_t, size_t>> spans; // offset and length of each item's key
        spans.reserve(items.size());
        for (const Item& item : items) {
            const size_t start = keys.size();
            appendKey(item.ascii, keys);
            spans.emplace_back(start, keys.size() - start);
        }
        std::vector<qsizetype> order = identity(items.size());
        std::sort(order.begin(), order.end(), [&](qsizetype a, qsizetype b) {
            const auto [offsetA, lengthA] = spans[size_t(a)];
            const auto [offsetB, lengthB] = spans[size_t(b)];
            int byWeight = memcmp(keys.data() + offsetA, keys.data() + offsetB, std::min(lengthA, lengthB));
            if (byWeight == 0)
                byWeight = lengthA < lengthB ? -1 : lengthA > lengthB ? 1 : 0;
            return byWeight != 0 ? byWeight < 0 : compareExactly(items[size_t(a)], items[size_t(b)]) < 0;
        });
        return order;
    }

private:
    // Every character alone, every pair of letters (letters that combine in a language show up
    // there), digit runs with and without leading zeros, and seeded random names.
    std::vector<Item> sampleItems()
    {
        if (m_sample.empty()) {
            for (char c = 0x20; c < 0x7F; ++c)
                m_sample.emplace_back(1, c);
            for (char a = 'a'; a <= 'z'; ++a)
                for (char b = 'a'; b <= 'z'; ++b)
                    m_sample.push_back({a, b});
            for (const char* fixed : {"0", "00", "01", "1", "001", "10", "9", "a1", "a01", "a10", "a9", "1a", "a 1",
                     "a-1", "a_1", "a.1", "1.5", "1.10", "x0", "x", "Ch", "cH", "LL", "Aa", "aA"})
                m_sample.emplace_back(fixed);
            quint32 state = 20240611;
            const auto next = [&state](quint32 bound) {
                state = state * 1664525u + 1013904223u;
                return (state >> 8) % bound;
            };
            for (int n = 0; n < 1500; ++n) {
                std::string name;
                for (quint32 length = 1 + next(10); length > 0; --length)
                    name += next(3) == 0 ? char('0' + next(10)) : char(0x20 + next(95));
                m_sample.push_back(std::move(name));
            }
        }
        std::vector<Item> items;
        for (const std::string& name : m_sample)
            items.push_back({QLatin1StringView(name.data(), qsizetype(name.size())), nullptr});
        return items;
    }

    std::array<char, 128> m_weights {};
    bool m_valid = false;
    std::vector<std::string> m_sample;
};

NameOrder::NameOrder()
    : NameOrder(QLocale())
{ }

NameOrder::NameOrder(const QLocale& locale)
    : m_collator(usableLocale(locale))
{
    m_collator.setNumericMode(true);
    m_collator.setCaseSensitivity(Qt::CaseInsensitive);
    m_collator.setIgnorePunctuation(false);

    // Built and checked once per locale for the whole program, then shared by every scan.
    static QMutex mutex;
    static QHash<QString, std::shared_ptr<const AsciiWeights>> byLocale;
    const QMutexLocker lock(&mutex);
    const QString name = m_collator.locale().bcp47Name();
    auto found = byLocale.find(name);
    if (found == byLocale.end()) {
        auto weights = std::make_shared<const AsciiWeights>(m_collator);
        found = byLocale.insert(name, weights->valid() ? weights : nullptr);
    }
    m_weights = *found;
}

std::vector<qsizetype> NameOrder::order(const std::vector<Item>& items, bool allowShortcut) const
{
    if (items.size() < 2)
        return identity(items.size());
    const bool allAscii = std::all_of(items.begin(), items.end(), [](const Item& item) { return !item.text; });
    return allowShortcut && allAscii && m_weights ? m_weights->sort(items) : sortWithCollator(m_collator, items);
}

bool NameOrder::hasAsciiShortcut() const
{
    return m_weights != nullptr;
}

bool NameOrder::isPrintableAscii(const char* name, size_t length)
{
    return std::all_of(name, name + length, [](char c) { return c >= 0x20 && c < 0x7F; });
}
