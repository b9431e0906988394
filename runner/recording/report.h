#pragma once

#include <QString>

#include "recording.h"

namespace Zendra::Runner
{

class Output;

/// Reports a finished recording, as JSON or on a terminal.
void reportRecording(Output& output, const QString& fileName, const RecordingState& state);

/// Shows the progress of a recording on a terminal.
void showProgress(Output& output, const RecordingState& state);

} // namespace Zendra::Runner
