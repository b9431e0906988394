#include "operation.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <zendra/video/screenrecordformat.h>

#include "agent/callerror.h"

namespace Zendra::Agent
{

namespace
{

// The limits of X coordinates.
constexpr int lowestCoordinate = -32768;
constexpr int highestCoordinate = 32767;

Rect rectangle(const Context& context, int smallest)
{
    const QVariantList& arguments = context.arguments;
    return {number(arguments[0], lowestCoordinate, highestCoordinate, "coordinate"),
        number(arguments[1], lowestCoordinate, highestCoordinate, "coordinate"),
        number(arguments[2], smallest, highestCoordinate, "width"),
        number(arguments[3], smallest, highestCoordinate, "height"), screen(context, 4)};
}

[[noreturn]] void failWithErrno(const char* what)
{
    throw operationFailed(
        QStringLiteral("%1: %2").arg(QLatin1String(what), QString::fromLocal8Bit(strerror(errno))));
}

void writeAll(int file, const uchar* bytes, size_t size)
{
    while (size > 0) {
        const ssize_t count = write(file, bytes, size);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            failWithErrno("Cannot send the picture");
        bytes += count;
        size -= static_cast<size_t>(count);
    }
}

/// A memfd with the image's pixels, sealed so that receivers can map it.
DBus::UnixFd toFile(const QImage& image)
{
    const int file = memfd_create("zendra-screenshot", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (file < 0)
        failWithErrno("Cannot send the picture");
    DBus::UnixFd result(file);
    writeAll(file, image.constBits(), static_cast<size_t>(image.sizeInBytes()));
    lseek(file, 0, SEEK_SET); // receivers share the position
    fcntl(file, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL);
    return result;
}

Results desktopScreenshot(Context& context)
{
    const Rect area = rectangle(context, lowestCoordinate);
    if (!context.caller->connection->canSendUnixFds())
        throw operationFailed(QStringLiteral("The connection does not pass file descriptors"));
    const Screenshot picture = context.platform.native().desktopScreenshot(area, 0);
    failIf(picture.errorText);
    return QVariantList {QVariant::fromValue(toFile(picture.image)), picture.image.width(),
        picture.image.height(), static_cast<int>(picture.image.bytesPerLine()), picture.scale};
}

/// Takes ownership of the stream.
class RecordScreenListener final : public ResponseListener<BinaryStream*>
{
public:
    void response(const Result<BinaryStream*>& result) override
    {
        m_stream.reset(result.value);
        m_errorText = result.errorText;
    }
    std::unique_ptr<BinaryStream> take()
    {
        failIf(m_errorText);
        if (m_stream == nullptr)
            throw operationFailed(QStringLiteral("The recording has no stream"));
        return std::move(m_stream);
    }

private:
    std::unique_ptr<BinaryStream> m_stream;
    QString m_errorText;
};

Results recordScreen(Context& context)
{
    constexpr unsigned int all = Video::RleFormat | Video::H264Format;
    const auto formats = static_cast<unsigned int>(number(context.arguments[0], 1, all, "set of formats"));
    const auto options = context.arguments[1].toMap();
    RecordScreenListener listener;
    context.platform.native().recordScreen(formats, options, &listener);
    std::unique_ptr<BinaryStream> stream = listener.take();
    // The plug-in ignores the options of a new stream.
    const QString errorText = stream->configure(options);
    if (!errorText.isEmpty())
        throw invalidArguments(errorText);

    static int lastNumber = 0;
    const int own = ++lastNumber;
    const QString path = QLatin1String(Protocol::recordingPathPrefix) + QString::number(own);
    Caller& caller = *context.caller;
    auto* recording = new RecordingObject(caller.connection, path, std::move(stream));
    caller.recordings[own].reset(recording);
    const std::weak_ptr<Caller> owner = context.caller;
    QObject::connect(recording, &RecordingObject::ended, [owner, own] {
        if (const std::shared_ptr<Caller> alive = owner.lock())
            alive->recordings.erase(own);
    });
    // As the plug-in chooses: the lossless format first.
    const unsigned int format = (formats & Video::RleFormat) != 0 ? Video::RleFormat : Video::H264Format;
    return QVariantList {QVariant::fromValue(DBus::ObjectPath {path}), format};
}

Results getClipboardText(Context& context)
{
    const ClipboardText clipboard = context.platform.native().getClipboardText();
    failIf(clipboard.errorText);
    constexpr int longestText = 32 << 20; // characters of up to three bytes
    if (clipboard.text.size() > longestText)
        throw operationFailed(QStringLiteral("The clipboard's text is too long to be sent"));
    return QVariantList {clipboard.text};
}

/// An operation on the frame, which belongs to its last caller.
template <typename Function>
Results onFrame(Context& context, Function function)
{
    context.platform.setHighlightOwner(context.caller.get());
    function(context.platform.highlighter());
    return QVariantList();
}

} // namespace

const Operation screenOperations[] = {
    {"GetClipboardText", "", &getClipboardText},
    {"SetClipboardText", "s",
        [](Context& context) {
            return done(context.platform.native().setClipboardText(context.arguments[0].toString()));
        }},
    {"DesktopScreenshot", "iiiii", &desktopScreenshot},
    {"RecordScreen", "ua{sv}", &recordScreen},
    {"HighlightSetGeometry", "iiiii",
        [](Context& context) {
            const Rect rect = rectangle(context, 1);
            return onFrame(context, [&](WidgetHighlighter& frame) { frame.setGeometry(rect); });
        }},
    {"HighlightSetToolTip", "s",
        [](Context& context) {
            const QString text = context.arguments[0].toString().left(10'000);
            return onFrame(context, [&](WidgetHighlighter& frame) { frame.setToolTip(text); });
        }},
    {"HighlightSetToolTipMode", "i",
        [](Context& context) {
            const int mode = number(context.arguments[0], WidgetHighlighter::NoToolTip,
                WidgetHighlighter::FixedToolTip, "tooltip mode");
            return onFrame(context, [&](WidgetHighlighter& frame) { frame.setToolTipMode(mode); });
        }},
    {"HighlightUpdateToolTip", "",
        [](Context& context) {
            return onFrame(context, [](WidgetHighlighter& frame) { frame.updateToolTip(); });
        }},
    {"HighlightShow", "",
        [](Context& context) { return onFrame(context, [](WidgetHighlighter& frame) { frame.show(); }); }},
    {"HighlightHide", "",
        [](Context& context) { return onFrame(context, [](WidgetHighlighter& frame) { frame.hide(); }); }},
    {nullptr, nullptr, nullptr},
};

} // namespace Zendra::Agent
