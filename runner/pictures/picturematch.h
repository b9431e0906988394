#pragma once

#include <vector>

#include <QImage>
#include <QPoint>
#include <QString>

namespace Zendra::Runner
{

/// A place where a picture looks like the screen.
struct PictureMatch {
    QPoint topLeft;
    double similarity; ///< up to 1
};

/// What the module `zendrapictures` finds.
struct PictureMatches {
    std::vector<PictureMatch> places; ///< the best first; at least one where the picture is not too large
    QString errorText;
};

/// zendraMatchPicture() of the module. Finds the best place, and others that are at least `similarity`.
/// Both images are of Format_RGB888.
using MatchPicture
    = void (*)(const QImage& screen, const QImage& picture, double similarity, PictureMatches& matches);

} // namespace Zendra::Runner
