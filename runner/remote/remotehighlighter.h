#pragma once

#include <optional>

#include <zendra/widgethighlighter.h>

#include "peer.h"

namespace Zendra::Runner
{

/// The highlighter of another application. Its functions return no errors, so that none waits for a reply.
class RemoteHighlighter : public WidgetHighlighter
{
public:
    /// `peer` must live longer.
    explicit RemoteHighlighter(Peer& peer);

    void setGeometry(const Rect& rect) override;
    void setToolTip(const QString& text) override;
    void updateToolTip() override;
    bool isVisible() const override { return m_isVisible; }
    void show() override;
    void hide() override;

private:
    void sendToolTipMode();

    Peer& m_peer;
    std::optional<unsigned int> m_update; ///< serial number of the last update
    int m_sentMode = -1;
    bool m_isVisible = false;
};

} // namespace Zendra::Runner
