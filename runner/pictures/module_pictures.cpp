// The entry function of the module: template matching by OpenCV.

#include <algorithm>

#include <opencv2/imgproc.hpp>

#include "picturematch.h"

using Zendra::Runner::PictureMatches;

namespace
{

constexpr std::size_t mostPlaces = 100;

cv::Mat toMat(const QImage& image)
{
    // Only read.
    return {image.height(), image.width(), CV_8UC3, const_cast<uchar*>(image.constBits()),
        static_cast<std::size_t>(image.bytesPerLine())};
}

void match(const QImage& screen, const QImage& picture, double similarity, PictureMatches& matches)
{
    if (picture.width() > screen.width() || picture.height() > screen.height())
        return;
    cv::Mat similarities;
    cv::matchTemplate(toMat(screen), toMat(picture), similarities, cv::TM_CCOEFF_NORMED);
    while (matches.places.size() < mostPlaces) {
        double best = 0.0;
        cv::Point place;
        cv::minMaxLoc(similarities, nullptr, &best, nullptr, &place);
        if (!matches.places.empty() && best < similarity)
            return;
        matches.places.push_back({QPoint(place.x, place.y), best});
        // Places that overlap this one by more than half show the same.
        const cv::Point reach(picture.width() / 2, picture.height() / 2);
        const cv::Rect same(place - reach, place + reach + cv::Point(1, 1));
        similarities(same & cv::Rect(cv::Point(), similarities.size())).setTo(-2.0);
    }
}

} // namespace

extern "C" Q_DECL_EXPORT void zendraMatchPicture(
    const QImage& screen, const QImage& picture, double similarity, PictureMatches& matches);

void zendraMatchPicture(
    const QImage& screen, const QImage& picture, double similarity, PictureMatches& matches)
{
    try {
        match(screen, picture, similarity, matches);
    } catch (const cv::Exception& exception) {
        matches.errorText = QString::fromUtf8(exception.what());
    }
}
