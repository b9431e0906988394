#pragma once

#include <vector>

#include <QString>

#include "testrunner.h"

namespace Zendra::Runner
{

/// Writes results in the XML format of JUnit, as CI systems read it. Throws a Failure.
void writeJUnit(const QString& fileName, const std::vector<TestResult>& results, double seconds);

} // namespace Zendra::Runner
