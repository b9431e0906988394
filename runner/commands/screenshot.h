#pragma once

#include <zendra/geometry.h>

#include "cli/command.h"
#include "screenarea.h"

namespace Zendra::Runner
{

/// Writes a picture of the screen, or of a part of it, to a file.
class TakeScreenshot : public Command
{
public:
    void declare(Arguments& arguments) override;
    void check() override;
    int longestTime() const override { return m_area.longestTime(); }
    void run(Session& session) const override;

private:
    QString m_fileName;
    bool m_hasPointer = false;
    ScreenArea m_area;
};

} // namespace Zendra::Runner
