#pragma once

#include <QString>

#include "recording.h"

namespace Zendra::Runner
{

class Output;

/// Tells programs what became of a recording, and people at a terminal.
void reportRecording(Output& output, const QString& fileName, const RecordingState& state);

/// Shows people at a terminal how far a recording is.
void showProgress(Output& output, const RecordingState& state);

} // namespace Zendra::Runner
