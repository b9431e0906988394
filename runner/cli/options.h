#pragma once

#include <optional>

#include <QString>

namespace Zendra::Runner
{

struct ScreenSize {
    int width = 1280;
    int height = 1024;
    int depth = 24;
};

/// The options of all commands: where they act and how they report.
struct Options {
    std::optional<QString> display;
    std::optional<ScreenSize> headless;
    std::optional<QString> app;      ///< process id or D-Bus address of an application with the hook
    std::optional<QString> platform; ///< name or file of another platform plug-in than X11's
    bool json = false;
};

} // namespace Zendra::Runner
