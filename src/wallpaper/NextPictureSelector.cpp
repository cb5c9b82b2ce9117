#include "NextPictureSelector.h"

#include "RandomGenerator.h"
#include "Trace.h"

NextPictureSelector::NextPictureSelector(ShownPictures& shown, RandomGenerator& random)
    : m_shown(shown)
    , m_random(random)
{ }

std::optional<int> NextPictureSelector::next(const CandidateList& list, Order order)
{
    TAPISOL_TRACE(QStringLiteral("SY FNext Start ") + QString::number(int(order)));
    std::optional<int> chosen;
    switch (order) {
    case Order::Random:
        chosen = nextRandom(list);
        break;
    case Order::BackAndForth:
        chosen = nextInOrder(list, true);
        break;
    case Order::TopDown:
    default:
        chosen = nextInOrder(list, false);
        break;
    }
    TAPISOL_TRACE(chosen ? QStringLiteral("SY FNext End Ok") : QStringLiteral("SY FNext End Out"));
    return chosen;
}

bool NextPictureSelector::isShown(const CandidateList& list, int position)
{
    ShownPositions& cache = m_shownPositions;
    const int count = list.count();
    if (cache.list != &list || cache.generation != list.generation() || cache.count != count
        || cache.shownCount != m_shown.count()) {
        cache = {&list, list.generation(), count, m_shown.count(),
            shownPositions(list, [this](const QString& name) { return m_shown.contains(name); })};
    }
    return cache.bits[size_t(position)];
}

std::vector<bool> NextPictureSelector::shownPositions(
    const CandidateList& list, const std::function<bool(const QString&)>& isShownName)
{
    const int count = list.count();
    std::vector<bool> bits(size_t(count) + 1);
    for (int at = 1; at <= count; ++at)
        bits[size_t(at)] = list.isPicture(at) && isShownName(list.key(at));
    return bits;
}

void NextPictureSelector::adoptShownPositions(
    const CandidateList& list, quint64 generation, int shownCount, std::vector<bool> shown)
{
    if (generation != list.generation() || shown.size() != size_t(list.count()) + 1)
        return;
    m_shownPositions = {&list, generation, list.count(), shownCount, std::move(shown)};
}

std::optional<int> NextPictureSelector::nextRandom(const CandidateList& list)
{
    const int count = list.count();
    if (count < 3)
        return std::nullopt;
    // Keep the offset of 4: the first draws never land on the first three entries, which the
    // downward walk reaches only by wrapping.
    int position = int(m_random.uniform01() * (count - 4) + 4);
    position = qBound(1, position, count);
    int last = m_selected;
    int steps = 0;
    int restarts = 0;
    while (true) {
        const bool rejected
            = !list.isPicture(position) || position == last || isShown(list, position) || !list.isAvailable(position);
        if (!rejected)
            break;
        --position;
        ++steps;
        if (position < 1)
            position = count;
        if (steps > count) {
            // Every entry has been looked at: the round is over, a new one begins once.
            if (++restarts > 1)
                return std::nullopt;
            steps = 0;
            m_shown.clear();
            last = m_selected;
        }
    }
    accept(list, position, "Rnd");
    return position;
}

std::optional<int> NextPictureSelector::nextInOrder(const CandidateList& list, bool backAndForth)
{
    const int count = list.count();
    if (count < 1)
        return std::nullopt;
    const int start = m_selected;
    int position = start;
    int steps = 0;
    while (true) {
        const int step = backAndForth ? m_direction : 1;
        int candidate = position + step;
        if (candidate < 1 || candidate > count) {
            if (backAndForth) {
                // Past either end: turn round and walk again from the entry on screen, so the
                // end entry is never shown twice in a row.
                m_direction = -m_direction;
                candidate = start + m_direction;
                if (candidate < 1 || candidate > count)
                    candidate = start - m_direction;
            } else {
                candidate = 1; // top to bottom, then from the top again
            }
        }
        position = candidate;
        if (++steps > count)
            return std::nullopt;
        if (position >= 1 && position <= count && list.isPicture(position)
            && (position == start || list.isAvailable(position)))
            break;
    }
    if (position == start)
        return std::nullopt; // the only picture is the one on screen
    accept(list, position, backAndForth ? "HBBH" : "HB");
    return position;
}

void NextPictureSelector::accept(const CandidateList& list, int position, const char* tag)
{
    m_selected = position;
    TAPISOL_TRACE(QStringLiteral("SY FNext %1 Mod DB").arg(QLatin1String(tag)));
    const bool wasShown = m_shown.contains(list.key(position));
    if (!m_shown.add(list.key(position)) || wasShown)
        return;
    ShownPositions& cache = m_shownPositions;
    if (cache.list == &list && cache.shownCount + 1 == m_shown.count()) {
        cache.bits[size_t(position)] = true;
        cache.shownCount = m_shown.count();
    }
}
