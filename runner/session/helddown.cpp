#include "helddown.h"

#include <zendra/nativeinterface.h>

namespace Zendra::Runner
{

void HeldDown::release(NativeInterface& native)
{
    while (!m_buttons.isEmpty())
        native.pointerButton(m_buttons.takeLast(), false, 1);
    while (!m_keys.isEmpty())
        native.sendKeys(m_keys.takeLast(), false);
}

} // namespace Zendra::Runner
