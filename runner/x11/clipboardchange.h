#pragma once

#include "connection.h"

namespace Zendra::Runner
{

/// Watches over a text that the program xsel puts on the clipboard: it arrives whole, and in time.
class ClipboardChange
{
public:
    /// To be made before the program starts.
    explicit ClipboardChange(const QByteArray& displayName);

    /// Waits until the clipboard has changed hands, a second at the most.
    ///
    /// The process that keeps the text takes the clipboard only after its parent has ended, but what follows,
    /// Ctrl+V for instance, wants the new text. A clipboard manager may hide the change by taking the
    /// clipboard back at once, and so no change is no failure.
    void await() const;

private:
    unsigned long owner() const;

    const ConnectionPointer m_connection;
    unsigned long m_clipboard;
    unsigned long m_ownerBefore;
};

} // namespace Zendra::Runner
