#include "screenshot.h"

#include <algorithm>
#include <optional>

#include <QJsonObject>

#include <zendra/nativeinterface.h>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "image/imagefile.h"
#include "session/session.h"
#include "x11/cursorwatch.h"

namespace Zendra::Runner
{

namespace
{

/// Names standard output.
bool isStandardOutput(const QString& fileName)
{
    return fileName == QLatin1String("-");
}

} // namespace

void TakeScreenshot::declare(Arguments& arguments)
{
    arguments.text("FILE", m_fileName, "a .png, .jpg or .bmp file; - writes PNG to standard output",
        Completion::FileName);
    arguments.flag("--pointer", m_hasPointer, "with the pointer");
    m_area.declareWithTimeout(arguments);
}

void TakeScreenshot::check()
{
    if (!isStandardOutput(m_fileName))
        requireImageName(m_fileName);
    m_area.check();
}

void TakeScreenshot::run(Session& session) const
{
    const Rect area = m_area.find(session);
    Screenshot screenshot = session.native().desktopScreenshot(area, 0);
    require(screenshot.errorText);
    if (m_hasPointer) {
        const CursorWatch cursor(session.displayName());
        const QPoint origin = area.width < 0 ? QPoint() : QPoint(std::max(area.x, 0), std::max(area.y, 0));
        if (const std::optional<QPoint> place = cursor.position())
            drawCursor(screenshot.image, cursor.picture(), *place - origin);
    }
    if (isStandardOutput(m_fileName)) {
        session.output().data(toPng(screenshot.image));
        return;
    }
    writeImage(screenshot.image, m_fileName);
    session.output().resultForPrograms(
        {{QStringLiteral("file"), m_fileName}, {QStringLiteral("width"), screenshot.image.width()},
            {QStringLiteral("height"), screenshot.image.height()}});
}

} // namespace Zendra::Runner
