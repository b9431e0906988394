#pragma once

#include <optional>

#include <QString>

#include "recording/recording.h"

namespace Zendra::Runner
{

class Arguments;

/// The options of commands that record while they run.
class RecordingOptions
{
public:
    /// --record FILE, with this help.
    void declare(Arguments& arguments, const char* help);
    /// Throws a Failure of status WrongUsage.
    void check();

    bool isGiven() const { return m_fileName.has_value(); }
    const RecordingSettings& settings() const { return m_settings; }
    bool needsFonts() const { return m_settings.hasCaptions; }

private:
    std::optional<QString> m_fileName;
    bool m_hasNoPointer = false;
    RecordingSettings m_settings;
};

/// --no-pointer and --captions.
void declareAnnotations(Arguments& arguments, bool& hasNoPointer, bool& hasCaptions);
/// Throws a Failure of status WrongUsage when the file cannot have captions, or an area.
void requireAnnotatedMovie(const RecordingSettings& settings);

} // namespace Zendra::Runner
