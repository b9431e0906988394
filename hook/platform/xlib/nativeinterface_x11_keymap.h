#pragma once

#include <QString>

#include "types_x11.h"

namespace Zendra
{

/// The key and modifier state that produce a keysym.
struct KeyStroke {
    unsigned int keyCode = 0; ///< X key code; 0 on failure
    int state = 0;            ///< X modifier mask: ShiftMask and Mod5Mask select the level; 0 on failure
    QString errorText;        ///< empty on success
};

/// The X modifier state that selects a shift level.
struct LevelState {
    int state = 0;
    QString errorText;
};

/// Levels 0 to 3 are none, Shift, Mod5 and Shift+Mod5. Any other level is an error.
LevelState stateFromGroup(int level);

/// An object with an intrusive, non-atomic reference count. Dropping the last reference deletes it.
class Shared
{
public:
    Shared() = default;
    virtual ~Shared();

    void ref() { ++m_refCount; }
    void deref()
    {
        if (--m_refCount == 0)
            delete this;
    }

private:
    Q_DISABLE_COPY(Shared)

    int m_refCount = 0;
};

/// Holds one reference on a Shared object, or none.
template <typename T>
class SharedRef
{
public:
    SharedRef() = default;
    explicit SharedRef(T* object) { reset(object); }
    ~SharedRef() { reset(nullptr); }

    void reset(T* object)
    {
        if (object != nullptr)
            object->ref();
        if (m_object != nullptr)
            m_object->deref();
        m_object = object;
    }

    T* get() const { return m_object; }
    T* operator->() const { return m_object; }

private:
    Q_DISABLE_COPY(SharedRef)

    T* m_object = nullptr;
};

/// Maps keysyms to keys and modifier states. A snapshot: later changes of the keyboard layout are not
/// followed.
class KeyMap : public Shared
{
public:
    virtual KeyStroke keyCodeAndStateFromSym(XKeySym keysym) const = 0;
};

/// The map of the core protocol (GetKeyboardMapping), for servers without XKB.
class X11KeyMap : public KeyMap
{
public:
    /// Throws std::runtime_error when the server gives no mapping.
    explicit X11KeyMap(Display* display);
    ~X11KeyMap() override;
    KeyStroke keyCodeAndStateFromSym(XKeySym keysym) const override;

private:
    int columnInRow(int row, XKeySym keysym) const;
    bool isNumLockLit() const;

    XKeySym* m_keysyms = nullptr;
    int m_minimumKeyCode = 0;
    int m_maximumKeyCode = 0;
    int m_keysymsPerKeyCode = 0;
    Display* m_display;
};

/// The map of the XKB extension, in the group that was active when the map was built.
class XkbKeyMap : public KeyMap
{
public:
    /// Throws std::runtime_error when the server gives no map.
    explicit XkbKeyMap(Display* display);
    ~XkbKeyMap() override;
    KeyStroke keyCodeAndStateFromSym(XKeySym keysym) const override;

private:
    struct Position {
        int keyCode = -1; ///< -1 when not found
        int level = 0;
    };

    Position find(XKeySym keysym) const;
    bool isNumLockOn() const;

    _XkbDesc* m_description;
    int m_group = 0;
    Display* m_display;
};

/// Replaces a map that could not be built. Every lookup returns the error.
class NullKeyMap : public KeyMap
{
public:
    explicit NullKeyMap(const QString& errorText);
    ~NullKeyMap() override;
    KeyStroke keyCodeAndStateFromSym(XKeySym keysym) const override;

private:
    QString m_errorText;
};

} // namespace Zendra
