#pragma once

#include <zendra/geometry.h>

#include "cli/command.h"
#include "windoworigin.h"

namespace Zendra::Runner
{

/// Writes a picture of the screen, or of a part of it, to a file.
class TakeScreenshot : public Command
{
public:
    void declare(Arguments& arguments) override;
    void check() override;
    void run(Session& session) const override;

private:
    QString m_areaText;
    QString m_fileName;
    Rect m_area {0, 0, -1, -1, -1};
    WindowOrigin m_origin;
};

} // namespace Zendra::Runner
