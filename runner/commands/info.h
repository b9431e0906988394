#pragma once

#include "cli/command.h"

namespace Zendra::Runner
{

/// Prints what the display supports, and what is missing.
class Info : public Command
{
public:
    void declare(Arguments&) override { }
    void run(Session& session) const override;
};

} // namespace Zendra::Runner
