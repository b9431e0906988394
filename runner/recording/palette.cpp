#include "palette.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

namespace Zendra::Runner
{

namespace
{

constexpr QRgb colourMask = 0xffffff;
constexpr std::size_t binCount = std::size_t(1) << 18;

/// Colours with the same upper six bits of red, green and blue share a bin.
std::size_t binOf(QRgb pixel)
{
    return ((pixel >> 18 & 0x3fU) << 12) | ((pixel >> 10 & 0x3fU) << 6) | (pixel >> 2 & 0x3fU);
}

} // namespace

/// How often the colours of a bin occur, and the sums of their reds, greens and blues.
struct Palette::Bin {
    std::size_t number = 0;
    std::int64_t count = 0;
    std::array<std::int64_t, 3> sums {};

    std::int64_t average(std::size_t channel) const { return sums[channel] / count; }
};

namespace
{

template <typename Iterator>
struct Box {
    Iterator first;
    Iterator last;
    std::size_t channel = 0;     ///< in which the colours differ most
    std::int64_t importance = 0; ///< how much they differ there, and in how many pixels; 0 when not at all

    Box(Iterator begin, Iterator end)
        : first(begin)
        , last(end)
    {
        std::int64_t count = 0;
        std::array<std::int64_t, 3> least {255, 255, 255};
        std::array<std::int64_t, 3> most {};
        for (Iterator bin = first; bin != last; ++bin) {
            count += bin->count;
            for (std::size_t index = 0; index < 3; ++index) {
                least[index] = std::min(least[index], bin->average(index));
                most[index] = std::max(most[index], bin->average(index));
            }
        }
        for (std::size_t index = 0; index < 3; ++index) {
            const std::int64_t range = most[index] - least[index];
            if (range * range * count > importance) {
                importance = range * range * count;
                channel = index;
            }
        }
    }

    /// Cuts the box in the middle of its pixels; returns where.
    Iterator cut() const
    {
        std::sort(first, last, [this](const auto& left, const auto& right) {
            return left.average(channel) < right.average(channel);
        });
        std::int64_t count = 0;
        for (Iterator bin = first; bin != last; ++bin)
            count += bin->count;
        Iterator middle = first;
        for (std::int64_t before = 0; before * 2 < count && middle != last - 1; ++middle)
            before += middle->count;
        return std::max(middle, first + 1);
    }
};

} // namespace

Palette::Palette(std::size_t most)
    : m_most(most)
{
}

Palette::~Palette() = default;

void Palette::build()
{
    endRun();
    if (!m_bins.empty())
        buildAverages();
}

unsigned char Palette::indexOf(QRgb pixel) const
{
    return m_exact.empty() ? m_indexOfBin[binOf(pixel)] : m_exact.at(pixel & colourMask);
}

/// Counts each colour until there are too many, and their bins from then on.
void Palette::endRun()
{
    const QRgb colour = m_runPixel & colourMask;
    const std::int64_t count = std::exchange(m_run, 0);
    if (count == 0)
        return;
    if (m_bins.empty()) {
        const auto found = m_exact.find(colour);
        if (found != m_exact.end()) {
            m_counts[found->second] += count;
            return;
        }
        if (m_colours.size() < m_most) {
            m_exact.emplace(colour, static_cast<unsigned char>(m_colours.size()));
            m_colours.push_back(colour);
            m_counts.push_back(count);
            return;
        }
        m_bins.resize(binCount);
        for (std::size_t index = 0; index < m_colours.size(); ++index)
            addToBin(m_colours[index], m_counts[index]);
        m_exact.clear();
        m_colours.clear();
    }
    addToBin(colour, count);
}

void Palette::addToBin(QRgb colour, std::int64_t count)
{
    const std::size_t number = binOf(colour);
    Bin& bin = m_bins[number];
    bin.number = number;
    bin.count += count;
    bin.sums[0] += qRed(colour) * count;
    bin.sums[1] += qGreen(colour) * count;
    bin.sums[2] += qBlue(colour) * count;
}

/// Median cut (Heckbert 1982): the box with the largest error is split until there are enough.
void Palette::buildAverages()
{
    std::vector<Bin>& bins = m_bins;
    bins.erase(
        std::remove_if(bins.begin(), bins.end(), [](const Bin& bin) { return bin.count == 0; }), bins.end());

    using Iterator = std::vector<Bin>::iterator;
    const auto isLessImportant = [](const Box<Iterator>& left, const Box<Iterator>& right) {
        return left.importance < right.importance;
    };
    std::vector<Box<Iterator>> boxes {{bins.begin(), bins.end()}};
    while (boxes.size() < m_most && boxes.front().importance > 0) {
        std::pop_heap(boxes.begin(), boxes.end(), isLessImportant);
        const Box<Iterator> box = boxes.back();
        const Iterator middle = box.cut();
        boxes.back() = {box.first, middle};
        std::push_heap(boxes.begin(), boxes.end(), isLessImportant);
        boxes.push_back({middle, box.last});
        std::push_heap(boxes.begin(), boxes.end(), isLessImportant);
    }

    m_indexOfBin.resize(binCount);
    for (const Box<Iterator>& box : boxes) {
        Bin all;
        for (Iterator bin = box.first; bin != box.last; ++bin) {
            m_indexOfBin[bin->number] = static_cast<unsigned char>(m_colours.size());
            all.count += bin->count;
            for (std::size_t channel = 0; channel < 3; ++channel)
                all.sums[channel] += bin->sums[channel];
        }
        m_colours.push_back(static_cast<QRgb>(all.average(0) << 16 | all.average(1) << 8 | all.average(2)));
    }
}

} // namespace Zendra::Runner
