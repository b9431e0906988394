#pragma once

#include <vector>

#include <QString>

#include "connection.h"

namespace Zendra::Runner
{

struct ScreenInfo {
    int width = 0;
    int height = 0;
    int depth = 0;
    int dpi = 0; ///< 0 if the server reports no size in millimetres
};

struct ExtensionInfo {
    const char* name;
    const char* lossWithout; ///< what its absence disables
    bool isPresent = false;
};

/// The properties of a display.
struct DisplayInfo {
    QString name;
    QString vendor;
    int release = 0;
    std::vector<ScreenInfo> screens;
    std::vector<ExtensionInfo> extensions;
    QString model;
    QString layout;
    QString variant;
    bool hasScale = false; ///< whether the resource "Xft.dpi" sets it
    double scale = 1.0;
};

DisplayInfo readDisplayInfo(const ConnectionPointer& connection);

/// The name of the extension that has this major request number; empty for one that is not used here.
QByteArray extensionName(const ConnectionPointer& connection, int majorRequest);

} // namespace Zendra::Runner
