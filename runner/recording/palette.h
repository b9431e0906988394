#pragma once

#include <unordered_map>
#include <vector>

#include <QRgb>

namespace Zendra::Runner
{

/// A palette for a picture: its colours if there are few enough, else averages of similar ones.
class Palette
{
public:
    /// `pixels` are 0xRRGGBB; the top byte is ignored. `most` is at least 1.
    Palette(const std::vector<QRgb>& pixels, std::size_t most);

    const std::vector<QRgb>& colours() const { return m_colours; }
    /// The index of the colour for one of the pixels.
    unsigned char indexOf(QRgb pixel) const;

private:
    struct Bin;

    bool takeExactly(const std::vector<QRgb>& pixels, std::size_t most);
    void takeAverages(const std::vector<QRgb>& pixels, std::size_t most);

    std::vector<QRgb> m_colours;
    std::unordered_map<QRgb, unsigned char> m_exact; ///< empty if the colours are averages
    std::vector<unsigned char> m_indexOfBin;
};

} // namespace Zendra::Runner
