#include "recordingoptions.h"

#include "cli/arguments.h"
#include "cli/failure.h"
#include "recording/recordingfile.h"
#include "x11/threads.h"

namespace Zendra::Runner
{

void RecordingOptions::declare(Arguments& arguments, const char* help)
{
    arguments.text("--record FILE", m_fileName, help, Completion::FileName);
    declareAnnotations(arguments, m_hasNoPointer, m_settings.hasCaptions);
}

void RecordingOptions::check()
{
    if (!m_fileName) {
        if (m_hasNoPointer || m_settings.hasCaptions)
            throw usageFailure(QStringLiteral("--no-pointer and --captions need --record"));
        return;
    }
    m_settings.fileName = *m_fileName;
    m_settings.format = recordingFormat(*m_fileName, std::nullopt);
    m_settings.hasPointer = !m_hasNoPointer;
    requireAnnotatedMovie(m_settings);
    allowThreads();
}

void declareAnnotations(Arguments& arguments, bool& hasNoPointer, bool& hasCaptions)
{
    arguments.flag("--no-pointer", hasNoPointer, "a movie without the pointer and its clicks");
    arguments.flag("--captions", hasCaptions, "show keys, and the step of a script, in a movie");
}

void requireAnnotatedMovie(const RecordingSettings& settings)
{
    const char* option = settings.hasCaptions ? "--captions" : "--area and --of";
    if (!settings.hasCaptions && settings.area.isNull())
        return;
    if (settings.format == Video::H264Format) {
        throw usageFailure(
            QStringLiteral("%1 cannot be combined with --format h264").arg(QLatin1String(option)));
    }
    if (fileKind(settings.fileName) == FileKind::RleStream) {
        throw usageFailure(QStringLiteral("A .zrle file holds the screen as it is; use .mp4 or .mkv with %1")
                               .arg(QLatin1String(option)));
    }
}

} // namespace Zendra::Runner
