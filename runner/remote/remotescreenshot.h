#pragma once

#include <QVariantList>

#include <zendra/screenshot.h>

namespace Zendra::Runner
{

/// The types of the reply to DesktopScreenshot.
constexpr char screenshotSignature[] = "hiiid";

/// The picture in a reply of these types, whose numbers are not trusted.
Screenshot toScreenshot(const QVariantList& values);

} // namespace Zendra::Runner
