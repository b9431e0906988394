#pragma once

#include <QList>
#include <QStringList>

#include <zendra/input.h>

namespace Zendra
{
class NativeInterface;
} // namespace Zendra

namespace Zendra::Runner
{

/// Keys and buttons that commands have pressed but not released, so that a script that fails can release
/// them.
class HeldDown
{
public:
    void noteKey(const QString& keys, bool press) { note(m_keys, keys, press); }
    void noteButton(MouseButton::Value button, bool press) { note(m_buttons, button, press); }

    bool hasKeys() const { return !m_keys.isEmpty(); }
    bool isEmpty() const { return m_keys.isEmpty() && m_buttons.isEmpty(); }
    /// Releases all, in reverse order.
    void release(NativeInterface& native);

private:
    template <typename List, typename Item>
    static void note(List& list, const Item& item, bool press)
    {
        list.removeAll(item);
        if (press)
            list.append(item);
    }

    QStringList m_keys; ///< in the syntax of NativeInterface::sendKeys()
    QList<MouseButton::Value> m_buttons;
};

} // namespace Zendra::Runner
