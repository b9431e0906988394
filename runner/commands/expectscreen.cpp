#include "expectscreen.h"

#include <algorithm>

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonObject>

#include <zendra/nativeinterface.h>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "cli/standardinput.h"
#include "image/imagedifference.h"
#include "image/imagefile.h"
#include "session/session.h"

namespace Zendra::Runner
{

namespace
{

/// Milliseconds between two pictures; fetching a large screen takes about ten.
constexpr int pause = 50;

constexpr char ending[] = ".png";
constexpr char actualEnding[] = "-actual.png";
constexpr char differenceEnding[] = "-difference.png";

QString sizeText(const QSize& size)
{
    return QStringLiteral("%1x%2").arg(size.width()).arg(size.height());
}

} // namespace

void ExpectScreen::declare(Arguments& arguments)
{
    arguments.text("REFERENCE", m_reference, "the .png file with the expected picture", Completion::FileName);
    m_area.declare(arguments);
    arguments.number("--tolerance N", m_tolerance, {0, 255},
        "by how much red, green or blue of a pixel may differ; 0 by default");
    arguments.timeout(m_seconds, "the timeout in seconds; 5 by default");
}

void ExpectScreen::check()
{
    if (!m_reference.endsWith(QLatin1String(ending), Qt::CaseInsensitive)) {
        throw usageFailure(QStringLiteral("The reference must be a .png file, which is lossless, not '%1'")
                               .arg(m_reference));
    }
    m_area.check();
    if (!QFileInfo::exists(m_reference)) {
        throw operationFailure(
            QStringLiteral("There is no reference '%1'; create it with 'zendra screenshot %2%1'")
                .arg(m_reference, m_area.givenOptions()));
    }
    // Decoded later: a script may have many references.
    const QByteArray signature("\x89PNG\r\n\x1a\n");
    if (!readFile(m_reference, QStringLiteral("the reference")).startsWith(signature))
        throw operationFailure(QStringLiteral("The reference '%1' is not a PNG picture").arg(m_reference));
}

int ExpectScreen::longestTime() const
{
    constexpr int others
        = 8000; // milliseconds to wait for a window, and to write the two pictures of a failure
    return static_cast<int>(m_seconds * 1000.0) + others;
}

void ExpectScreen::run(Session& session) const
{
    const QImage reference = readReference();
    const auto timeout = static_cast<qint64>(m_seconds * 1000.0);
    QElapsedTimer timer;
    timer.start();
    const Rect area = m_area.find(session, QDeadlineTimer(timeout));
    for (;;) {
        const QImage actual = takePicture(session, area, reference.size());
        const ImageDifference difference = compareImages(actual, reference, m_tolerance);
        if (difference.pixels == 0)
            break;
        const qint64 left = timeout - timer.elapsed();
        if (left <= 0)
            fail(actual, reference, difference, area);
        session.wait(static_cast<int>(std::min<qint64>(left, pause)));
        session.requireNotInterrupted();
    }
    removePictures();
    session.output().resultForPrograms(
        {{QStringLiteral("reference"), m_reference}, {QStringLiteral("differing"), 0},
            {QStringLiteral("width"), reference.width()}, {QStringLiteral("height"), reference.height()}});
}

QImage ExpectScreen::readReference() const
{
    return fromPng(readFile(m_reference, QStringLiteral("the reference")), m_reference);
}

QImage ExpectScreen::takePicture(Session& session, const Rect& place, const QSize& expected) const
{
    const Screenshot screenshot = session.native().desktopScreenshot(place, 0);
    require(screenshot.errorText);
    const QSize size = screenshot.image.size();
    if (size != expected) {
        throw operationFailure(
            QStringLiteral("The reference '%1' has %2 pixels, but the %3 has %4")
                .arg(m_reference, sizeText(expected),
                    place.width < 0 ? QStringLiteral("screen") : QStringLiteral("area on the screen"),
                    sizeText(size)));
    }
    return screenshot.image;
}

/// "login-actual.png" for "login.png".
QString ExpectScreen::besideReference(const char* newEnding) const
{
    return m_reference.chopped(static_cast<int>(sizeof ending) - 1) + QLatin1String(newEnding);
}

/// Removes the pictures of an earlier failure.
void ExpectScreen::removePictures() const
{
    for (const char* const left : {actualEnding, differenceEnding}) {
        const QString name = besideReference(left);
        if (QFileInfo(name).isFile())
            QFile::remove(name);
    }
}

void ExpectScreen::fail(
    const QImage& actual, const QImage& reference, const ImageDifference& difference, const Rect& place) const
{
    // In coordinates of the screen.
    const QRect area = difference.area.translated(std::max(0, place.x), std::max(0, place.y));
    QJsonObject details {{QStringLiteral("reference"), m_reference},
        {QStringLiteral("differing"), difference.pixels}, {QStringLiteral("x"), area.x()},
        {QStringLiteral("y"), area.y()}, {QStringLiteral("width"), area.width()},
        {QStringLiteral("height"), area.height()}};
    const QString actualName = besideReference(actualEnding);
    const QString differenceName = besideReference(differenceEnding);
    QString pictures = QStringLiteral("see '%1' and '%2'").arg(actualName, differenceName);
    try {
        writeImage(actual, actualName);
        writeImage(differencePicture(actual, reference, m_tolerance, difference), differenceName);
        details.insert(QStringLiteral("actual"), actualName);
        details.insert(QStringLiteral("difference"), differenceName);
    } catch (const Failure& failure) {
        pictures = failure.text();
    }
    const QString count = difference.pixels == 1 ? QStringLiteral("one pixel")
                                                 : QStringLiteral("%1 pixels").arg(difference.pixels);
    const QString shownArea
        = QStringLiteral("%1,%2,%3,%4").arg(area.x()).arg(area.y()).arg(area.width()).arg(area.height());
    throw operationFailure(QStringLiteral("The screen differs from '%1' in %2, within %3; %4")
                               .arg(m_reference, count, shownArea, pictures))
        .withDetails(details);
}

} // namespace Zendra::Runner
