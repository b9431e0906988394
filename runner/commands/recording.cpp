// Commands that record the screen.

#include <algorithm>
#include <optional>
#include <utility>

#include <QEventLoop>
#include <QFile>
#include <QTimer>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "commands.h"
#include "recording/recording.h"
#include "recording/recordingfile.h"
#include "recording/report.h"
#include "recording/streamwriter.h"
#include "recordingoptions.h"
#include "screenarea.h"
#include "session/session.h"

namespace Zendra::Runner
{

namespace
{

constexpr double longestRecording = 86400.0; ///< seconds
constexpr int progressInterval = 200;        ///< milliseconds
constexpr int firstPictureTimeout = 5000;    ///< milliseconds

class Record : public Command
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.text("FILE", m_settings.fileName, "a .mp4 or .mkv movie, or a lossless .zrle file",
            Completion::FileName);
        arguments.choice<Format>("--format rle|h264", m_format,
            {{"rle", Format::Rle}, {"h264", Format::H264}},
            "capture changed areas (the default), or whole screens");
        arguments.flag("--lossless", m_settings.isLossless, "a lossless .mkv movie");
        arguments.number(
            "--fps N", m_settings.fps, {1, 60}, "maximum number of pictures per second; 25 by default");
        arguments.seconds("--for SECONDS", m_seconds, longestRecording, "how long; by default until Ctrl+C");
        declareAnnotations(arguments, m_hasNoPointer, m_settings.hasCaptions);
        m_area.declareWithTimeout(arguments);
    }

    void check() override
    {
        if (m_settings.isLossless) {
            requireLosslessMovie(m_settings.fileName);
            if (m_format == Format::H264)
                throw usageFailure(
                    QStringLiteral("--lossless needs the format rle; h264 loses detail at the source"));
        }
        m_settings.format = recordingFormat(m_settings.fileName, wantedFormat());
        m_settings.hasPointer = !m_hasNoPointer;
        m_area.check();
        RecordingSettings settings = m_settings;
        if (!m_area.isWholeScreen())
            settings.area = QRect(0, 0, 1, 1); // not known yet
        requireAnnotatedMovie(settings);
    }

    bool needsFonts() const override { return m_settings.hasCaptions; }

    int longestTime() const override
    {
        constexpr int startAndEnd = 10'000; // milliseconds
        return m_seconds < 0.0 ? -1
                               : static_cast<int>(m_seconds * 1000.0) + startAndEnd + m_area.longestTime();
    }

    void run(Session& session) const override
    {
        Output& output = session.output();
        QEventLoop loop;
        QTimer end;
        end.setSingleShot(true);
        end.setTimerType(Qt::PreciseTimer);
        QObject::connect(&end, &QTimer::timeout, &loop, &QEventLoop::quit);
        const auto begun = [this, &end] {
            if (m_seconds >= 0.0)
                end.start(static_cast<int>(m_seconds * 1000.0));
        };
        RecordingSettings settings = m_settings;
        if (!m_area.isWholeScreen()) {
            const Rect area = m_area.find(session);
            settings.area = QRect(area.x, area.y, area.width, area.height);
        }
        NativeInterface& native = session.recordingNative();
        const QByteArray displayName = session.canOpenDisplay() ? session.displayName() : QByteArray();
        Recording recording(native, displayName, settings, {begun, [&loop] { loop.quit(); }});
        QTimer progress;
        QObject::connect(
            &progress, &QTimer::timeout, [&output, &recording] { showProgress(output, recording.state()); });
        progress.start(progressInterval);
        // An application may never send the first picture.
        QTimer noPicture;
        noPicture.setSingleShot(true);
        QObject::connect(&noPicture, &QTimer::timeout, &loop, &QEventLoop::quit);
        if (m_seconds >= 0.0)
            noPicture.start(static_cast<int>(m_seconds * 1000.0) + firstPictureTimeout);
        try {
            session.run(loop);
        } catch (const Failure&) {
            // Keep what the application sent before it ended.
            recording.keep();
            throw;
        }
        reportRecording(output, m_settings.fileName, recording.finish());
    }

private:
    enum class Format { Best, Rle, H264 };

    std::optional<Video::ScreenRecordFormat> wantedFormat() const
    {
        if (m_format == Format::Best)
            return {};
        return m_format == Format::Rle ? Video::RleFormat : Video::H264Format;
    }

    RecordingSettings m_settings;
    bool m_hasNoPointer = false;
    ScreenArea m_area;
    Format m_format = Format::Best;
    double m_seconds = -1.0; ///< negative for no limit
};

class Convert : public Command
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.text("IN.zrle", m_source, "a recording that 'zendra record' made", Completion::FileName);
        arguments.flag("--lossless", m_isLossless, "a lossless .mkv movie");
        arguments.text(
            "OUT", m_target, "an .mp4, .mkv or .gif file, or a folder for PNG files", Completion::FileName);
    }

    void check() override
    {
        if (fileKind(m_source) != FileKind::RleStream)
            throw usageFailure(QStringLiteral("'%1' is not a .zrle file").arg(m_source));
        if (m_isLossless)
            requireLosslessMovie(m_target);
        const FileKind kind = fileKind(m_target);
        if (kind == FileKind::Unknown || kind == FileKind::RleStream) {
            throw usageFailure(
                QStringLiteral("Unsupported file extension of '%1'; use .mp4, .mkv, .gif, or a folder, "
                               "which ends in /")
                    .arg(m_target));
        }
    }

    void run(Session& session) const override
    {
        QFile source(m_source);
        if (!source.open(QIODevice::ReadOnly))
            throw cannotRead(source);
        requireRecording(source);
        try {
            convert(session, source);
        } catch (const Failure&) {
            throw;
        } catch (const std::exception& failure) {
            throw operationFailure(QString::fromUtf8(failure.what()));
        }
    }

private:
    Failure cannotRead(const QFile& source) const
    {
        return operationFailure(
            QStringLiteral("Cannot read the recording '%1': %2").arg(m_source, source.errorString()));
    }

    /// Checks the beginning of the file before another one is overwritten.
    void requireRecording(QFile& source) const
    {
        constexpr qint64 firstMessageSize = 28;
        const QByteArray beginning = source.peek(firstMessageSize);
        if (source.error() != QFileDevice::NoError)
            throw cannotRead(source);
        if (beginning.isEmpty())
            throw operationFailure(QStringLiteral("The recording '%1' is empty").arg(m_source));
        RleDecoder([](const RleUpdate&) {}).decode(beginning);
    }

    void convert(Session& session, QFile& source) const
    {
        qint64 shown = -1;
        const auto advance = [&session, &source, &shown](qint64 offset) {
            session.requireNotInterrupted();
            const qint64 percent = 100 * offset / std::max<qint64>(source.size(), offset);
            if (std::exchange(shown, percent) != percent)
                session.output().progress(QStringLiteral("%1%").arg(percent));
        };
        PictureWriter writer(makeFrameSink(m_target, m_isLossless), advance);
        try {
            copy(source, writer, advance);
        } catch (const Failure&) {
            // Keep what could be read.
            writer.finish(writer.duration());
            throw;
        }
        writer.finish(writer.duration());
        if (writer.frames() == 0)
            throw operationFailure(QStringLiteral("The recording '%1' has no picture").arg(m_source));
        reportRecording(session.output(), m_target, {writer.duration(), writer.frames(), writer.size()});
    }

    template <typename Advance>
    void copy(QFile& source, PictureWriter& writer, Advance advance) const
    {
        constexpr qint64 pieceSize = 1 << 18;
        for (;;) {
            const QByteArray piece = source.read(pieceSize);
            if (source.error() != QFileDevice::NoError)
                throw cannotRead(source);
            if (piece.isEmpty())
                break;
            writer.take(piece, 0);
            advance(writer.offset());
        }
        writer.requireEnd();
    }

    QString m_source;
    QString m_target;
    bool m_isLossless = false;
};

constexpr CommandInfo commands[] = {
    {"record", "records the screen into a file",
        "Ctrl+C and --for both complete the file. If the command is killed, a movie plays up to its last second.\n"
        "A .zrle file is lossless; 'convert' converts it to a movie, a GIF or PNG files.\n"
        "Movies show the pointer, and a ring where a button goes down; .zrle files and the format h264 do not.",
        "zendra record test.mp4\n"
        "zendra record --captions --of 'dialog \"Save As\"' dialog.mp4\n"
        "zendra record --for 10 --fps 30 test.mkv\n"
        "zendra record --lossless test.mkv\n"
        "zendra record test.zrle",
        makeCommand<Record>},
    {"convert", "converts a recording to a movie, a GIF, or a folder of PNG files",
        "A folder is created if necessary, and must be empty. Its files are named by number and time, such as\n"
        "frame-000042-00001680ms.png.",
        "zendra convert test.zrle test.mp4\n"
        "zendra convert test.zrle test.gif\n"
        "zendra convert test.zrle pictures/",
        makeCommand<Convert>},
};

} // namespace

CommandGroup recordingCommands()
{
    return makeGroup("Recording", commands);
}

} // namespace Zendra::Runner
