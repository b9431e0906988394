#pragma once

#include <memory>
#include <optional>
#include <vector>

#include <QByteArray>
#include <QPoint>
#include <QString>

#include "connection.h"

namespace Zendra::Runner
{

/// An event of the pointer or the keyboard, as the server has processed it.
struct InputEvent {
    enum class Kind { Motion, Press, Release, Key };

    Kind kind;
    QPoint place;
    unsigned long root; ///< of the screen that `place` is on; 0 for that of the motion before
    int detail;         ///< the number of the button, or the key code
    unsigned int state; ///< buttons and modifiers before the event
};

/// Watches the input of the whole display (RECORD), whichever program sends or gets it.
class InputRecord
{
public:
    enum class Wanted { Pointer, PointerAndKeys };

    /// Null where the server does not support RECORD.
    static std::unique_ptr<InputRecord> open(const QByteArray& displayName, Wanted wanted);
    ~InputRecord();

    /// Readable when take() may return events.
    int fileDescriptor() const;
    std::vector<InputEvent> take();
    /// What a key gives: a character, or in angle brackets as in key sequences; empty for modifiers.
    QString keyText(const InputEvent& key);

private:
    InputRecord();
    Q_DISABLE_COPY(InputRecord)

    std::vector<InputEvent> m_events; ///< also while the connection is closed
    unsigned long m_context = 0;
    ConnectionPointer m_control;
    ConnectionPointer m_data; ///< the server reads no requests from it

    friend struct InputRecordCallback;
};

} // namespace Zendra::Runner
