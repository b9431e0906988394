#include "platform.h"

#include <utility>

#include <zendra/pluginloader.h>

namespace Zendra::Agent
{

Platform::Platform(Variant variant, QByteArray displayName)
    : m_variant(variant)
    , m_displayName(std::move(displayName))
{
}

Platform::~Platform()
{
    // Its windows would stay: a Qt application keeps the connection.
    if (m_plugin != nullptr && m_highlightOwner != nullptr)
        highlighter().hide();
}

QString Platform::load()
{
    if (m_plugin != nullptr)
        return {};
    if (m_screens == nullptr || m_screens->count() == 0)
        m_screens = std::make_unique<Screens>(m_displayName);
    PlatformPluginParameters parameters;
    parameters.displayName = m_displayName.constData();
    parameters.isQtApplication = m_variant == Variant::Qt;
    LoadedPlatform loaded = loadPlatform(QStringLiteral("xlib"), parameters);
    m_plugin = std::move(loaded.plugin);
    return loaded.errorText;
}

/// Made once: its connection is not closed with it.
std::shared_ptr<NativeInterface> Platform::threadSafeCopy()
{
    if (m_copy == nullptr)
        m_copy.reset(native().threadSafeCopy());
    return m_copy;
}

void Platform::setFlushSuppressed(bool suppressed)
{
    if (std::exchange(m_isFlushSuppressed, suppressed) == suppressed)
        return;
    if (suppressed)
        native().supressFlush(true);
    else
        synchronize();
}

void Platform::synchronize()
{
    native().supressFlush(false);
    // The round trip may have read events of a recording into Xlib's queue, which the socket notifier does
    // not see. This operation dispatches them.
    if (m_variant == Variant::Pure)
        native().pointerPosition();
}

void Platform::forget(const Caller* caller)
{
    if (m_plugin == nullptr)
        return;
    setFlushSuppressed(false);
    if (m_highlightOwner != caller)
        return;
    m_highlightOwner = nullptr;
    highlighter().hide();
}

} // namespace Zendra::Agent
