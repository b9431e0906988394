#pragma once

#include <functional>
#include <vector>

#include <QString>
#include <QStringList>

#include <zendra/platformplugin.h>

namespace Zendra::Runner
{

/// What an application says of itself.
struct ApplicationInfo {
    QString name;
    qint64 processId = 0;
    QString variant; ///< "qt" or "pure"; empty while it has not answered
    QString display;
};

/// How far typing got.
struct TypedText {
    int typed = 0; ///< characters, as QString counts them
    QString errorText;
};

/// The platform inside another application.
///
/// Its services are used as those of any plug-in. Once the application is gone, or has not answered in time,
/// each of them fails at once.
class RemotePlatform : public PlatformPlugin
{
public:
    virtual const ApplicationInfo& application() const = 0;
    /// Types a text character by character until one fails, for the price of one call.
    virtual TypedText typeText(const QString& text) = 0;
    /// Waits until the server has carried out all that was done; returns an error text.
    virtual QString synchronize() = 0;
    /// Whether the application has closed the connection.
    virtual bool hasEnded() const = 0;
    /// Why the application cannot be reached any more; empty while it can.
    virtual QString lossText() const = 0;
    /// `listener` is called when the connection is lost while the event loop runs.
    virtual void setLossListener(std::function<void()> listener) = 0;
};

struct RemotePlatformResult {
    RemotePlatform* platform = nullptr; ///< the caller owns and deletes it
    QString errorText;
};

// What the module "zendraremote" exports with C linkage. It is apart from the command because a program that
// links Qt's D-Bus starts more than a millisecond later.

/// Connects to the hook at a D-Bus address; `patience` is in milliseconds. Nothing is waited for long any
/// more once the file `interruption` is readable. Exported as "zendraConnectRemote".
using ConnectRemote = RemotePlatformResult (*)(const QString& address, int patience, int interruption);
/// Asks the hooks at some addresses, all at the same time, what they are in. Those that do not answer in time
/// have no variant. Exported as "zendraAskRemotes".
using AskRemotes = std::vector<ApplicationInfo> (*)(const QStringList& addresses, int patience);

} // namespace Zendra::Runner
