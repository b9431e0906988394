#include "picturelocator.h"

#include <algorithm>
#include <memory>
#include <optional>

#include <QElapsedTimer>
#include <QFileInfo>
#include <QImage>
#include <QRegularExpression>

#include <module.h>
#include <zendra/nativeinterface.h>

#include "cli/failure.h"
#include "cli/standardinput.h"
#include "image/imagefile.h"
#include "pictures/picturematch.h"
#include "session/session.h"
#include "x11/damagewatch.h"

namespace Zendra::Runner
{

namespace
{

/// Places whose similarities differ by less are equal: OpenCV computes with floats.
constexpr double equality = 0.01;
/// A picture must not change for so long, in milliseconds: a frame.
constexpr int frameTime = 17;
/// How often the screen is looked at although nothing has changed, in milliseconds.
constexpr int lookInterval = 500;
/// The same where changes cannot be watched.
constexpr int pollInterval = 100;
constexpr std::size_t mostShown = 4; ///< places in a message

MatchPicture loadModule()
{
    const ModuleFunction found
        = loadModuleFunction(QStringLiteral("picture module"), QStringLiteral("zendrapictures"),
            moduleRoot() + QStringLiteral("/modules/zendrapictures.so"), "zendraMatchPicture");
    if (!found.errorText.isEmpty())
        throw operationFailure(found.errorText);
    return reinterpret_cast<MatchPicture>(found.function);
}

QImage takePicture(Session& session, const Rect& area)
{
    const Screenshot screenshot = session.native().desktopScreenshot(area, 0);
    require(screenshot.errorText);
    return screenshot.image.convertToFormat(QImage::Format_RGB888);
}

bool hasOneColour(const QImage& image)
{
    const QRgb first = image.pixel(0, 0);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixel(x, y) != first)
                return false;
        }
    }
    return true;
}

/// The places that are as similar as the best one, in reading order.
std::vector<PictureMatch> equalPlaces(std::vector<PictureMatch> places, double similarity)
{
    const double least = std::max(similarity, places.empty() ? 1.0 : places.front().similarity - equality);
    places.erase(std::remove_if(places.begin(), places.end(),
                     [least](const PictureMatch& match) { return match.similarity < least; }),
        places.end());
    std::sort(places.begin(), places.end(), [](const PictureMatch& left, const PictureMatch& right) {
        return std::make_pair(left.topLeft.y(), left.topLeft.x())
            < std::make_pair(right.topLeft.y(), right.topLeft.x());
    });
    return places;
}

QString placeText(const QPoint& place)
{
    return QStringLiteral("%1,%2").arg(place.x()).arg(place.y());
}

} // namespace

bool PictureLocator::isOne(const QString& text)
{
    return text.trimmed().startsWith(QLatin1String("image:"));
}

PictureLocator::PictureLocator(const QString& text)
    : m_text(text.trimmed())
{
    static const QRegularExpression form(QStringLiteral("^image:(.*?)(?:\\s+#([0-9]{1,3}))?$"));
    const QRegularExpressionMatch match = form.match(m_text);
    m_fileName = match.captured(1);
    m_number = match.captured(2).toInt();
    if (!m_fileName.endsWith(QLatin1String(".png"), Qt::CaseInsensitive)
        || (!match.captured(2).isEmpty() && m_number == 0)) {
        throw usageFailure(
            QStringLiteral("Invalid picture '%1'; it is written image:FILE.png, or 'image:FILE.png #2'")
                .arg(m_text));
    }
    if (!QFileInfo::exists(m_fileName))
        throw usageFailure(QStringLiteral("There is no picture '%1'").arg(m_fileName));
}

QRect PictureLocator::find(
    Session& session, const Rect& area, double similarity, const QDeadlineTimer& deadline) const
{
    const QImage picture = fromPng(readFile(m_fileName, QStringLiteral("the picture")), m_fileName)
                               .convertToFormat(QImage::Format_RGB888);
    if (hasOneColour(picture))
        throw operationFailure(QStringLiteral("The picture '%1' has only one colour").arg(m_fileName));
    const MatchPicture match = loadModule();
    session.synchronize();
    const bool isWatched = session.canOpenDisplay();
    const auto watch = isWatched ? std::make_unique<DamageWatch>(session.displayName()) : nullptr;
    QElapsedTimer timer;
    timer.start();
    // The screenshot is clipped to the screen.
    const QPoint origin(std::max(area.x, 0), std::max(area.y, 0));
    QString missing;
    for (;;) {
        if (watch)
            watch->take();
        const QImage screen = takePicture(session, area);
        PictureMatches matches;
        match(screen, picture, similarity, matches);
        if (!matches.errorText.isEmpty())
            throw operationFailure(
                QStringLiteral("Cannot search for '%1': %2").arg(m_text, matches.errorText));
        const std::vector<PictureMatch> places = equalPlaces(matches.places, similarity);
        const std::size_t wanted = static_cast<std::size_t>(std::max(m_number, 1));
        if (places.size() >= wanted && (m_number > 0 || places.size() == 1)) {
            const QRect inside(places[wanted - 1].topLeft, picture.size());
            const QRect found = inside.translated(origin);
            session.wait(frameTime);
            session.requireNotInterrupted();
            const QImage again
                = takePicture(session, {found.x(), found.y(), found.width(), found.height(), area.screen});
            if (again == screen.copy(inside))
                return found;
            missing = QStringLiteral("%1 at %2 does not stand still").arg(m_text, placeText(found.topLeft()));
        } else if (places.empty()) {
            missing = QStringLiteral("%1 is not there").arg(m_text);
            if (!matches.places.empty()) {
                const PictureMatch& best = matches.places.front();
                missing
                    += QStringLiteral("; the most similar place is at %1, with %2")
                           .arg(placeText(best.topLeft + origin), QString::number(best.similarity, 'f', 2));
            }
        } else {
            QStringList shown;
            for (std::size_t index = 0; index < std::min(places.size(), mostShown); ++index)
                shown.append(placeText(places[index].topLeft + origin));
            missing = m_number > 0 ? QStringLiteral("There are only %1 places %2: %3")
                                   : QStringLiteral("There are %1 places %2; append #1: %3");
            missing = missing.arg(places.size())
                          .arg(m_number > 0 ? QStringLiteral("image:") + m_fileName : m_text,
                              shown.join(QLatin1String("; ")));
        }
        if (deadline.hasExpired()) {
            throw operationFailure(
                QStringLiteral("%1 (after %2 s)")
                    .arg(missing, QString::number(static_cast<double>(timer.elapsed()) / 1000.0, 'f', 1)));
        }
        const auto left = static_cast<int>(std::min<qint64>(deadline.remainingTime(), lookInterval));
        if (watch)
            session.wait(left, watch->fileDescriptor());
        else
            session.wait(std::min(left, pollInterval));
        session.requireNotInterrupted();
    }
}

} // namespace Zendra::Runner
