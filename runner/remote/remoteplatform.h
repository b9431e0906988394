#pragma once

#include <functional>
#include <memory>

#include <QString>

#include <zendra/platformplugin.h>

namespace Zendra::Runner
{

class Peer;
class RemoteHighlighter;
class RemoteNative;

/// The properties that an application reports.
struct ApplicationInfo {
    QString name;
    qint64 processId = 0;
    QString variant; ///< "qt" or "pure"; empty without a reply
    QString display;
};

/// How far typing got.
struct TypedText {
    int typed = 0; ///< UTF-16 code units, as QString counts
    QString errorText;
};

/// The platform inside another application.
///
/// Its services are used as those of any plug-in. After a disconnect or a timeout every call fails at once.
class RemotePlatform : public PlatformPlugin
{
public:
    explicit RemotePlatform(std::unique_ptr<Peer> peer);
    ~RemotePlatform() override;

    QString name() const override { return QStringLiteral("remote"); }
    NativeInterface* nativeInterface() override;
    WidgetHighlighter* widgetHighlighter() override;
    WindowManagerResult windowManager() override { return {}; }

    const ApplicationInfo& application() const;
    /// Types a text character by character until one fails, in one call.
    TypedText typeText(const QString& text);
    /// Waits until the server has processed all requests; returns an error text.
    QString synchronize();
    /// Reads pending messages, which also detects the application's end.
    bool isConnected();
    /// Whether the application has closed the connection.
    bool hasEnded() const;
    /// Why the application cannot be reached any more; empty while it can.
    QString disconnectReason() const;
    /// `listener` is called when the connection is lost while the event loop runs.
    void setDisconnectListener(std::function<void()> listener);

private:
    Q_DISABLE_COPY(RemotePlatform)

    const std::unique_ptr<Peer> m_peer;
    const std::unique_ptr<RemoteNative> m_native;
    const std::unique_ptr<RemoteHighlighter> m_highlighter;
    std::function<void()> m_disconnectListener;
};

} // namespace Zendra::Runner
