#pragma once

#include <QString>

namespace Zendra::Runner
{

class Arguments;

/// The page zendra(1) for man, with a section for each command, from the descriptions that --help prints.
QString manualPage(const Arguments& options);

} // namespace Zendra::Runner
