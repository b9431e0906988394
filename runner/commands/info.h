#pragma once

#include "cli/command.h"

namespace Zendra::Runner
{

/// Tells what the display offers, and what is missing there.
class Info : public Command
{
public:
    void declare(Arguments&) override { }
    void run(Session& session) const override;
};

} // namespace Zendra::Runner
