#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include <QRgb>

namespace Zendra::Runner
{

/// A palette for a picture: its colours if there are few enough, else averages of similar ones.
class Palette
{
public:
    /// For at most `most` colours, at least 1.
    explicit Palette(std::size_t most);
    ~Palette();

    /// Adds a pixel 0xRRGGBB; the top byte is ignored.
    void add(QRgb pixel)
    {
        if (m_run > 0 && pixel != m_runPixel)
            endRun();
        m_runPixel = pixel;
        ++m_run;
    }
    /// Makes the palette of all pixels added.
    void build();

    const std::vector<QRgb>& colours() const { return m_colours; }
    /// The index of the colour for one of the pixels.
    unsigned char indexOf(QRgb pixel) const;

private:
    struct Bin;

    void endRun();
    void addToBin(QRgb colour, std::int64_t count);
    void buildAverages();

    const std::size_t m_most;
    QRgb m_runPixel = 0;
    std::int64_t m_run = 0; ///< equal pixels that were added last
    std::vector<QRgb> m_colours;
    std::vector<std::int64_t> m_counts;              ///< of the colours
    std::unordered_map<QRgb, unsigned char> m_exact; ///< empty if the colours are averages
    std::vector<Bin> m_bins;                         ///< empty unless there are too many colours
    std::vector<unsigned char> m_indexOfBin;
};

} // namespace Zendra::Runner
