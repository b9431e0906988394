// A D-Bus message from an application: its values, the properties of the hook, and a screenshot.

#include <protocol/dbusmessage.h>

#include "fuzz.h"
#include "remote/peer.h"
#include "remote/remotescreenshot.h"

using namespace Zendra;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    DBusMessage* message
        = dbus_message_demarshal(reinterpret_cast<const char*>(data), static_cast<int>(size), nullptr);
    if (message == nullptr)
        return 0;
    const DBus::Message copy(message);
    const QVariantList values = copy.arguments();
    Runner::toApplicationInfo(copy);
    if (copy.signature() == QLatin1String(Runner::screenshotSignature))
        Runner::toScreenshot(values);
    return 0;
}
