#include "report.h"

#include <QJsonObject>
#include <QLocale>

#include "cli/output.h"

namespace Zendra::Runner
{

namespace
{

QString toText(const RecordingState& state)
{
    return QStringLiteral("%1 s, %2, %3")
        .arg(static_cast<double>(state.milliseconds) / 1000.0, 0, 'f', 1)
        .arg(state.frames == 1 ? QStringLiteral("1 frame") : QStringLiteral("%1 frames").arg(state.frames))
        .arg(QLocale::c().formattedDataSize(state.size, 1, QLocale::DataSizeSIFormat));
}

} // namespace

void reportRecording(Output& output, const QString& fileName, const RecordingState& state)
{
    output.progress(QStringLiteral("%1: %2").arg(fileName, toText(state)));
    output.endProgress();
    output.resultForPrograms({{QStringLiteral("file"), fileName},
        {QStringLiteral("seconds"), static_cast<double>(state.milliseconds) / 1000.0},
        {QStringLiteral("frames"), state.frames}, {QStringLiteral("bytes"), state.size}});
}

void showProgress(Output& output, const RecordingState& state)
{
    output.progress(QStringLiteral("Recording: %1 (Ctrl+C ends it)").arg(toText(state)));
}

} // namespace Zendra::Runner
