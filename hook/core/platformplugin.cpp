#include <zendra/platformplugin.h>

namespace Zendra
{

PlatformPlugin::~PlatformPlugin() = default;

NullPlatformPlugin::NullPlatformPlugin(const QString& errorText)
    : m_errorText(errorText)
{
}

NullPlatformPlugin::~NullPlatformPlugin() = default;

QString NullPlatformPlugin::name() const
{
    return QStringLiteral("null");
}

NativeInterface* NullPlatformPlugin::nativeInterface()
{
    return nullptr;
}

WidgetHighlighter* NullPlatformPlugin::widgetHighlighter()
{
    return nullptr;
}

WindowManagerResult NullPlatformPlugin::windowManager()
{
    return {nullptr, m_errorText};
}

} // namespace Zendra
