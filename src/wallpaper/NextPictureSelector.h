#pragma once

#include <QString>

#include <functional>
#include <optional>
#include <vector>

class RandomGenerator;

// The entries of the current picture source as the selection walks them: positions from 1 to
// count(); folders and the list's own marker entries are not pictures and are stepped over.
class CandidateList
{
public:
    virtual ~CandidateList() = default;
    virtual int count() const = 0;
    /// The key (full path) of the entry at a 1-based position.
    virtual QString key(int position) const = 0;
    /// Whether the entry at a position is a picture (its marker is empty).
    virtual bool isPicture(int position) const = 0;
    /// Changes whenever the entries change, so that what was learnt about them can be kept.
    virtual quint64 generation() const { return 0; }
    /// Whether the picture at a position can be shown now. One that cannot (its disk unplugged,
    /// its file gone) is stepped over like a folder's entry and not recorded as shown, so it comes
    /// back in this round once it is there again. Asked only of a picture about to be chosen.
    virtual bool isAvailable(int position) const
    {
        Q_UNUSED(position);
        return true;
    }
};

// The pictures shown since the current round began (kept in the database so a round goes on
// across restarts).
class ShownPictures
{
public:
    virtual ~ShownPictures() = default;
    virtual bool contains(const QString& name) = 0;
    /// Records a picture; false (traced by the implementation) when it cannot be kept.
    virtual bool add(const QString& name) = 0;
    /// Empties the list: a new round begins.
    virtual void clear() = 0;
    virtual int count() = 0;
};

// Chooses the next picture of the source in one of three orders: top to bottom ("HB"), top to
// bottom then back up ("HBBH"), or at random among the pictures not shown yet this round ("Rnd").
class NextPictureSelector
{
public:
    enum class Order
    {
        TopDown = 0,
        BackAndForth = 1,
        Random = 2
    };

    NextPictureSelector(ShownPictures& shown, RandomGenerator& random);

    /// `FNext`: the position of the chosen picture, now the selected one, or nothing when the
    /// source cannot give one (the end-out exit).
    std::optional<int> next(const CandidateList& list, Order order);

    /// The entry on screen (0 when none); the walk starts from it.
    int selected() const { return m_selected; }
    void setSelected(int position) { m_selected = position; }

    /// The direction of the back-and-forth walk, +1 or -1, kept between calls (`SensLecture`).
    int direction() const { return m_direction; }
    void setDirection(int direction) { m_direction = direction < 0 ? -1 : 1; }

    /// Which positions of `list` hold a picture for which `isShownName` says yes (index 0 unused).
    /// Only reads, so a worker thread may call it with a list and names of its own.
    static std::vector<bool> shownPositions(
        const CandidateList& list, const std::function<bool(const QString&)>& isShownName);
    /// Takes shownPositions() worked out elsewhere for `list` at its `generation`, when the shown
    /// pictures numbered `shownCount`: the first random pick on a new list then needs no look at
    /// every entry. Kept only while the list and the shown pictures stay as they were.
    void adoptShownPositions(const CandidateList& list, quint64 generation, int shownCount, std::vector<bool> shown);

private:
    // Which positions of the list hold a picture shown this round. Building it looks up every
    // entry once; it is then kept while the list and the shown pictures change only through us,
    // so a pick in a folder of 100,000 pictures costs a walk over bits, not 100,000 look-ups.
    struct ShownPositions
    {
        const CandidateList* list = nullptr;
        quint64 generation = 0;
        int count = -1;
        int shownCount = -1;
        std::vector<bool> bits;
    };

    bool isShown(const CandidateList& list, int position);
    std::optional<int> nextRandom(const CandidateList& list);
    std::optional<int> nextInOrder(const CandidateList& list, bool backAndForth);
    void accept(const CandidateList& list, int position, const char* tag);

    ShownPictures& m_shown;
    RandomGenerator& m_random;
    int m_selected = 0;
    int m_direction = 1;
    ShownPositions m_shownPositions;
};
