#pragma once

#include <QVariantList>

#include <zendra/screenshot.h>

namespace Zendra::Runner
{

/// The types of the answer to DesktopScreenshot.
constexpr char screenshotSignature[] = "hiiid";

/// The picture in an answer of these types, whose numbers may be anything.
Screenshot toScreenshot(const QVariantList& values);

} // namespace Zendra::Runner
