#include "inputrecord.h"

#include <cstring>
#include <utility>

#include <xkbcommon/xkbcommon.h>

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xproto.h>
#include <X11/Xutil.h>
#include <X11/extensions/record.h>
#include <X11/keysym.h>

namespace Zendra::Runner
{

namespace
{

InputEvent toInputEvent(const xEvent& event)
{
    InputEvent::Kind kind = InputEvent::Kind::Motion;
    if (event.u.u.type == KeyPress)
        kind = InputEvent::Kind::Key;
    else if (event.u.u.type == ButtonPress)
        kind = InputEvent::Kind::Press;
    else if (event.u.u.type == ButtonRelease)
        kind = InputEvent::Kind::Release;
    const auto& fields = event.u.keyButtonPointer;
    return {kind, QPoint(fields.rootX, fields.rootY), fields.root, event.u.u.detail, fields.state};
}

struct KeyName {
    KeySym keysym;
    const char* name;
};
constexpr KeyName keyNames[] = {
    {XK_Return, "Enter"},
    {XK_KP_Enter, "Enter"},
    {XK_BackSpace, "Backspace"},
    {XK_Escape, "Esc"},
    {XK_Delete, "Del"},
    {XK_ISO_Left_Tab, "Tab"},
    {XK_Prior, "PageUp"},
    {XK_Next, "PageDown"},
    {XK_space, "Space"},
};

QString nameOf(KeySym keysym)
{
    for (const KeyName& key : keyNames) {
        if (key.keysym == keysym)
            return QLatin1String(key.name);
    }
    const char* name = XKeysymToString(keysym);
    return name != nullptr ? QLatin1String(name) : QString();
}

} // namespace

struct InputRecordCallback {
    static void take(XPointer self, XRecordInterceptData* data)
    {
        constexpr unsigned long wordsInEvent = sizeof(xEvent) / 4;
        if (data->category == XRecordFromServer) {
            for (unsigned long word = 0; word + wordsInEvent <= data->data_len; word += wordsInEvent) {
                xEvent event;
                std::memcpy(&event, data->data + 4 * word, sizeof event);
                const int type = event.u.u.type;
                if (type != KeyRelease && type >= KeyPress && type <= MotionNotify)
                    reinterpret_cast<InputRecord*>(self)->m_events.push_back(toInputEvent(event));
            }
        }
        XRecordFreeData(data);
    }
};

InputRecord::InputRecord() = default;

std::unique_ptr<InputRecord> InputRecord::open(const QByteArray& displayName, Wanted wanted)
{
    std::unique_ptr<InputRecord> record(new InputRecord);
    record->m_control = openConnection(displayName);
    int major = 0;
    int minor = 0;
    if (XRecordQueryVersion(record->m_control.get(), &major, &minor) == 0)
        return nullptr;
    record->m_data = openConnection(displayName);
    std::unique_ptr<XRecordRange, decltype(&XFree)> range(XRecordAllocRange(), &XFree);
    range->device_events.first = wanted == Wanted::PointerAndKeys ? KeyPress : ButtonPress;
    range->device_events.last = MotionNotify;
    XRecordRange* ranges = range.get();
    XRecordClientSpec clients = XRecordAllClients;
    record->m_context = XRecordCreateContext(record->m_control.get(), 0, &clients, 1, &ranges, 1);
    XSync(record->m_control.get(), False);
    if (record->m_context == 0
        || XRecordEnableContextAsync(record->m_data.get(), record->m_context, &InputRecordCallback::take,
               reinterpret_cast<XPointer>(record.get()))
            == 0)
        return nullptr;
    return record;
}

InputRecord::~InputRecord()
{
    if (m_context == 0)
        return;
    // Closing the other connection waits for a reply.
    XRecordDisableContext(m_control.get(), m_context);
    XSync(m_control.get(), False);
}

int InputRecord::fileDescriptor() const
{
    return ConnectionNumber(m_data.get());
}

std::vector<InputEvent> InputRecord::take()
{
    XRecordProcessReplies(m_data.get());
    return std::exchange(m_events, {});
}

QString InputRecord::keyText(const InputEvent& key)
{
    // Xlib reads the keymap again if the server has sent a change of it.
    XSync(m_control.get(), True);
    unsigned int consumed = 0;
    KeySym keysym = NoSymbol;
    XkbLookupKeySym(m_control.get(), static_cast<KeyCode>(key.detail), key.state, &consumed, &keysym);
    if (keysym == NoSymbol || IsModifierKey(keysym) != 0
        || (keysym >= XK_ISO_Lock && keysym <= XK_ISO_Last_Group_Lock))
        return {};
    const bool hasControl = (key.state & ControlMask) != 0;
    const bool hasAlt = (key.state & Mod1Mask) != 0;
    const bool hasSuper = (key.state & Mod4Mask) != 0;
    const unsigned int character = xkb_keysym_to_utf32(static_cast<xkb_keysym_t>(keysym));
    const bool isPrintable = character >= ' ' && character != 0x7f;
    const QString text = isPrintable ? QString::fromUcs4(&character, 1) : QString();
    if (isPrintable && !hasControl && !hasAlt && !hasSuper)
        return text;
    QString name = isPrintable && character != ' ' ? text : nameOf(keysym);
    if (name.isEmpty() || name.startsWith(QLatin1String("dead_")))
        return {};
    if ((key.state & ShiftMask) != 0 && !isPrintable)
        name.prepend(QLatin1String("Shift+"));
    if (hasSuper)
        name.prepend(QLatin1String("Win+"));
    if (hasAlt)
        name.prepend(QLatin1String("Alt+"));
    if (hasControl)
        name.prepend(QLatin1String("Ctrl+"));
    return QLatin1Char('<') + name + QLatin1Char('>');
}

} // namespace Zendra::Runner
