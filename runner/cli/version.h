#pragma once

#include <QJsonObject>

namespace Zendra::Runner
{

/// What 'zendra --version --json' prints: what this build was made with, and which files it uses.
QJsonObject versionDetails();

} // namespace Zendra::Runner
