#pragma once

#include <QImage>
#include <QString>
#include <QTransform>

namespace Zendra
{

/// A picture of an area of the screen.
struct Screenshot {
    QImage image;         ///< Format_RGB32; null when `errorText` is not empty
    QTransform transform; ///< maps screen coordinates to pixels of `image`
    double scale = 1.0;   ///< the display's scale factor (1.0 is 96 dots per inch)
    QString errorText;
};

} // namespace Zendra
