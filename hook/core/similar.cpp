#include "similar.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <vector>

namespace Zendra
{

namespace
{

/// The optimal string alignment distance: insertions, deletions, substitutions and swaps of neighbours.
int editDistance(const QString& left, const QString& right)
{
    using Row = std::vector<int>;
    const auto cell = [](int column) { return static_cast<std::size_t>(column); };
    Row twoBack;
    Row previous;
    Row current(cell(right.size() + 1));
    std::iota(current.begin(), current.end(), 0);
    for (int i = 1; i <= left.size(); ++i) {
        twoBack = std::exchange(previous, current);
        current[0] = i;
        for (int j = 1; j <= right.size(); ++j) {
            const int replaced = previous[cell(j - 1)] + (left.at(i - 1) == right.at(j - 1) ? 0 : 1);
            current[cell(j)] = std::min({previous[cell(j)] + 1, current[cell(j - 1)] + 1, replaced});
            const bool swapped
                = i > 1 && j > 1 && left.at(i - 1) == right.at(j - 2) && left.at(i - 2) == right.at(j - 1);
            if (swapped)
                current[cell(j)] = std::min(current[cell(j)], twoBack[cell(j - 2)] + 1);
        }
    }
    return current.back();
}

} // namespace

QString mostSimilar(const QString& word, const QStringList& candidates)
{
    QString best;
    int bestDistance = 3;
    for (const QString& candidate : candidates) {
        // The distance is at least the difference of the lengths, and untrusted words can be long.
        if (std::abs(word.size() - candidate.size()) >= bestDistance)
            continue;
        const int distance = editDistance(word.toLower(), candidate.toLower());
        if (distance < bestDistance && 2 * distance < candidate.size()) {
            best = candidate;
            bestDistance = distance;
        }
    }
    return best;
}

} // namespace Zendra
