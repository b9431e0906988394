#include "remoteplatform.h"

#include <utility>

#include "peer.h"
#include "remotehighlighter.h"
#include "remotenative.h"

namespace Zendra::Runner
{

RemotePlatform::RemotePlatform(std::unique_ptr<Peer> peer)
    : m_peer(std::move(peer))
    , m_native(std::make_unique<RemoteNative>(*m_peer))
    , m_highlighter(std::make_unique<RemoteHighlighter>(*m_peer))
{
    QObject::connect(m_peer.get(), &Peer::lost, [this] {
        if (m_disconnectListener)
            m_disconnectListener();
    });
}

RemotePlatform::~RemotePlatform() = default;

NativeInterface* RemotePlatform::nativeInterface()
{
    return m_native.get();
}

WidgetHighlighter* RemotePlatform::widgetHighlighter()
{
    return m_highlighter.get();
}

const ApplicationInfo& RemotePlatform::application() const
{
    return m_peer->application();
}

TypedText RemotePlatform::typeText(const QString& text)
{
    return m_native->typeText(text);
}

QString RemotePlatform::synchronize()
{
    return m_peer->call("SuppressFlush", {false}, "b").errorText;
}

bool RemotePlatform::isConnected()
{
    return m_peer->isConnected();
}

bool RemotePlatform::hasEnded() const
{
    return m_peer->hasEnded();
}

QString RemotePlatform::disconnectReason() const
{
    return m_peer->disconnectReason();
}

void RemotePlatform::setDisconnectListener(std::function<void()> listener)
{
    m_disconnectListener = std::move(listener);
}

} // namespace Zendra::Runner
