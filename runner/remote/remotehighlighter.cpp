#include "remotehighlighter.h"

namespace Zendra::Runner
{

RemoteHighlighter::RemoteHighlighter(Peer& peer)
    : m_peer(peer)
{
}

void RemoteHighlighter::setGeometry(const Rect& rect)
{
    m_peer.send("HighlightSetGeometry", {rect.x, rect.y, rect.width, rect.height, rect.screen});
}

void RemoteHighlighter::setToolTip(const QString& text)
{
    m_peer.send("HighlightSetToolTip", {text});
}

void RemoteHighlighter::updateToolTip()
{
    // One at a time: a busy application may be slower than the timer that calls this.
    if (m_update && !m_peer.hasReply(*m_update))
        return;
    if (m_update)
        m_peer.waitForReply(*m_update);
    if (!m_peer.disconnectReason().isEmpty())
        return;
    sendToolTipMode();
    m_update = m_peer.sendWithReply("HighlightUpdateToolTip", {});
}

void RemoteHighlighter::show()
{
    sendToolTipMode();
    m_peer.send("HighlightShow", {});
    m_isVisible = true;
}

void RemoteHighlighter::hide()
{
    m_peer.send("HighlightHide", {});
    m_isVisible = false;
}

void RemoteHighlighter::sendToolTipMode()
{
    if (m_sentMode == toolTipMode())
        return;
    m_sentMode = toolTipMode();
    m_peer.send("HighlightSetToolTipMode", {m_sentMode});
}

} // namespace Zendra::Runner
