#pragma once

#include <QByteArray>
#include <QString>

namespace Zendra::Runner
{

/// What is needed for clients to receive a keysym, given the locks and the type of the key.
struct KeyPrediction {
    enum class Need {
        Nothing,         ///< it arrives as it is
        NumLockToggled,  ///< Num Lock has to be toggled during the key press
        ControlWithBase, ///< Control and the key's first keysym yield it
        Impossible,
    };
    Need need = Need::Nothing;
    QString base;    ///< the name of the key's first keysym
    QString arrives; ///< what clients receive otherwise; for Impossible
};

/// Whether what clients receive for a keysym depends on more than the level that the keymap has it on: the
/// keypad's keysyms, and Break.
bool dependsOnKeyType(const QString& keysymName);

/// Looks the keysym up in the server's keymap and state, as the plug-in finds it. Nothing is needed where the
/// keymap lacks it, or where there is no XKB. `heldModifiers` are those of the combination, as X masks.
KeyPrediction predictKey(
    const QByteArray& displayName, const QString& keysymName, unsigned int heldModifiers);

} // namespace Zendra::Runner
