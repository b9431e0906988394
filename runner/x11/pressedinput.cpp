#include "pressedinput.h"

#include <algorithm>

#include "cli/failure.h"
#include "connection.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

namespace Zendra::Runner
{

namespace
{

constexpr int keyCodeCount = 256;
constexpr unsigned int buttonCount = 5; // more have no bit in the core protocol

bool isDown(const PressedInput& pressed, int keyCode)
{
    return (static_cast<unsigned char>(pressed.keys.at(static_cast<std::size_t>(keyCode / 8)))
                   >> (keyCode % 8)
               & 1)
        != 0;
}

PressedInput read(Display* display)
{
    PressedInput pressed;
    XQueryKeymap(display, pressed.keys.data());
    Window window = None;
    int place = 0;
    unsigned int state = 0;
    XQueryPointer(
        display, DefaultRootWindow(display), &window, &window, &place, &place, &place, &place, &state);
    constexpr unsigned int buttonBits = Button1Mask | Button2Mask | Button3Mask | Button4Mask | Button5Mask;
    pressed.buttons = (state & buttonBits) / Button1Mask;
    return pressed;
}

} // namespace

bool PressedInput::isEmpty() const
{
    return buttons == 0 && std::all_of(keys.begin(), keys.end(), [](char byte) { return byte == 0; });
}

PressedInput readPressedInput(const QByteArray& displayName)
{
    return read(openConnection(displayName).get());
}

QStringList toNames(const QByteArray& displayName, const PressedInput& pressed)
{
    const ConnectionPointer connection = openConnection(displayName);
    QStringList names;
    for (int keyCode = 0; keyCode < keyCodeCount; ++keyCode) {
        if (!isDown(pressed, keyCode))
            continue;
        const char* name
            = XKeysymToString(XkbKeycodeToKeysym(connection.get(), static_cast<KeyCode>(keyCode), 0, 0));
        names.append(
            name != nullptr ? QString::fromLatin1(name) : QStringLiteral("key code %1").arg(keyCode));
    }
    for (unsigned int button = 0; button < buttonCount; ++button) {
        if ((pressed.buttons >> button & 1U) != 0)
            names.append(QStringLiteral("button %1").arg(button + 1));
    }
    return names;
}

PressedInput releasePressedInput(const QByteArray& displayName, const PressedInput& except)
{
    const ConnectionPointer connection = openConnection(displayName);
    Display* display = connection.get();
    int number = 0;
    if (XTestQueryExtension(display, &number, &number, &number, &number) == False)
        throw operationFailure(QStringLiteral("XTest extension is missing on the display"));
    XTestGrabControl(display, True); // also where another client has grabbed the server
    PressedInput pressed = read(display);
    pressed.buttons &= ~except.buttons;
    for (unsigned int button = 0; button < buttonCount; ++button) {
        if ((pressed.buttons >> button & 1U) != 0)
            XTestFakeButtonEvent(display, button + 1, False, 0);
    }
    for (std::size_t index = 0; index < pressed.keys.size(); ++index)
        pressed.keys.at(index) = static_cast<char>(pressed.keys.at(index) & ~except.keys.at(index));
    for (int keyCode = 0; keyCode < keyCodeCount; ++keyCode) {
        if (isDown(pressed, keyCode))
            XTestFakeKeyEvent(display, static_cast<unsigned int>(keyCode), False, 0);
    }
    XSync(display, False);
    return pressed;
}

} // namespace Zendra::Runner
