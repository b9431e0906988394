#pragma once

#include <zendra/geometry.h>

#include "cli/command.h"
#include "screenarea.h"

namespace Zendra::Runner
{

/// Waits until the screen, or a part of it, has not changed for some time.
class WaitStable : public Command
{
public:
    void declare(Arguments& arguments) override;
    void check() override;
    int longestTime() const override;
    void run(Session& session) const override;

private:
    ScreenArea m_area;
    int m_quietTime = 300; ///< milliseconds; a cursor blinks more slowly
    double m_seconds = 5.0;
};

} // namespace Zendra::Runner
