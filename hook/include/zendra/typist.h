#pragma once

#include <memory>

#include <QByteArray>
#include <QString>

#include <zendra/export.h>

namespace Zendra
{

struct TypingOptions {
    bool keepModifiers = false; ///< locked and held modifiers stay, and change what is typed
    int delay = 0;              ///< between characters, in milliseconds
    int interruption = -1;      ///< a file descriptor that ends typing when it is readable
};

/// How much of a text was typed, in UTF-16 code units, and what stopped it.
struct TypingResult {
    int typed = 0;
    QString errorText;
};

/// Types any text on an X display, on a connection of its own: with the keys of the layout in any of its
/// groups, and with key codes that the layout leaves free and that get the missing characters for as long as
/// it takes; where there are none, with dead keys or Compose. The keyboard is afterwards as it was.
class ZENDRA_EXPORT Typist
{
public:
    /// Null where the display cannot be opened, or lacks XKB or XTEST.
    static std::unique_ptr<Typist> connect(const QByteArray& displayName);
    virtual ~Typist();

    /// Key codes without symbols, and how many characters they take at a time.
    struct SpareKeys {
        int codes = 0;
        int characters = 0;
    };
    virtual SpareKeys spareKeys() = 0;
    /// The index among the characters of `text` of the first that cannot be typed; -1 when all can.
    virtual int firstUntypable(const QString& text) = 0;
    virtual TypingResult type(const QString& text, const TypingOptions& options) = 0;
    /// A number that changes when another client changes the keymap, or when the effective group is
    /// another.
    virtual int layoutVersion() = 0;
    /// Whether the connection to the display still exists.
    virtual bool isConnected() const = 0;
    /// Restores the keyboard if a process was killed while it typed. Returns an error text.
    virtual QString recover() = 0;

protected:
    Typist() = default;

private:
    Q_DISABLE_COPY(Typist)
};

} // namespace Zendra
