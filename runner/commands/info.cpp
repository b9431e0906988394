#include "info.h"

#include <algorithm>
#include <array>
#include <exception>

#include <QJsonArray>
#include <QJsonObject>

#include <zendra/pluginloader.h>
#include <zendra/typist.h>
#include <zendra/video/moviewriter.h>

#include "cli/failure.h"
#include "cli/output.h"
#include "process/accessibilitybus.h"
#include "session/session.h"
#include "x11/connection.h"
#include "x11/displayinfo.h"
#include "x11/pressedinput.h"

namespace Zendra::Runner
{

namespace
{

QString row(const QString& title, const QString& text)
{
    return title.leftJustified(12) + onOneLine(text) + QLatin1Char('\n');
}

QString screenText(const ScreenInfo& screen)
{
    const QString size
        = QStringLiteral("%1x%2 pixels, depth %3").arg(screen.width).arg(screen.height).arg(screen.depth);
    return screen.dpi > 0 ? size + QStringLiteral(", %1 dpi").arg(screen.dpi)
                          : size + QStringLiteral(", size in millimetres unknown");
}

QString keyboardText(const DisplayInfo& info)
{
    if (info.layout.isEmpty())
        return QStringLiteral("unknown (the server names no layout)");
    QString text = info.layout;
    if (!info.variant.isEmpty())
        text += QStringLiteral(", variant %1").arg(info.variant);
    if (!info.model.isEmpty())
        text += QStringLiteral(", model %1").arg(info.model);
    return text;
}

QString toText(const DisplayInfo& info)
{
    QString text = row(QStringLiteral("Display"), info.name);
    text
        += row(QStringLiteral("Server"), QStringLiteral("%1, release %2").arg(info.vendor).arg(info.release));
    for (std::size_t number = 0; number < info.screens.size(); ++number)
        text += row(QStringLiteral("Screen %1").arg(number), screenText(info.screens[number]));
    text += row(QStringLiteral("Scale"),
        info.hasScale ? QString::number(info.scale) : QStringLiteral("1 (the resource Xft.dpi is not set)"));
    text += row(QStringLiteral("Keyboard"), keyboardText(info));
    for (const ExtensionInfo& extension : info.extensions) {
        text += row(QLatin1String(extension.name),
            extension.isPresent ? QStringLiteral("present")
                                : QStringLiteral("missing: %1").arg(QLatin1String(extension.lossWithout)));
    }
    return text;
}

QJsonObject toJson(const DisplayInfo& info)
{
    QJsonArray screens;
    for (const ScreenInfo& screen : info.screens) {
        screens.append(QJsonObject {{QStringLiteral("width"), screen.width},
            {QStringLiteral("height"), screen.height}, {QStringLiteral("depth"), screen.depth},
            {QStringLiteral("dpi"), screen.dpi > 0 ? QJsonValue(screen.dpi) : QJsonValue()}});
    }
    QJsonObject extensions;
    for (const ExtensionInfo& extension : info.extensions)
        extensions.insert(QLatin1String(extension.name), extension.isPresent);
    return {{QStringLiteral("display"), info.name}, {QStringLiteral("vendor"), info.vendor},
        {QStringLiteral("release"), info.release}, {QStringLiteral("screens"), screens},
        {QStringLiteral("scale"), info.scale},
        {QStringLiteral("keyboard"),
            QJsonObject {{QStringLiteral("layout"), info.layout}, {QStringLiteral("variant"), info.variant},
                {QStringLiteral("model"), info.model}}},
        {QStringLiteral("extensions"), extensions}};
}

/// How the screen can be recorded.
struct RecordingInfo {
    QStringList formats;
    QString encoder; ///< empty if there is none
    QString loss;    ///< what is missing, and what that disables
};

RecordingInfo readRecordingInfo(const DisplayInfo& display)
{
    RecordingInfo info;
    QStringList missing;
    for (const ExtensionInfo& extension : display.extensions) {
        constexpr std::array<const char*, 3> needed {"DAMAGE", "XFIXES", "MIT-SHM"};
        const auto isThis
            = [&extension](const char* name) { return QLatin1String(name) == QLatin1String(extension.name); };
        if (!extension.isPresent && std::any_of(needed.begin(), needed.end(), isThis))
            missing.append(QLatin1String(extension.name));
    }
    if (!missing.isEmpty()) {
        info.loss = QStringLiteral("%1 missing").arg(missing.join(QLatin1String(", ")));
        return info;
    }
    info.formats.append(QStringLiteral("rle"));
    try {
        info.encoder = Video::encoderName();
        info.formats.append(QStringLiteral("h264"));
    } catch (const std::exception& error) {
        info.loss = QStringLiteral("no movies: %1").arg(QString::fromUtf8(error.what()));
    }
    return info;
}

QString toText(const RecordingInfo& info)
{
    if (info.formats.isEmpty())
        return QStringLiteral("not possible: %1").arg(info.loss);
    const QString formats = info.formats.join(QLatin1String(", "));
    return info.loss.isEmpty() ? QStringLiteral("%1; movies with %2").arg(formats, info.encoder)
                               : QStringLiteral("%1; %2").arg(formats, info.loss);
}

QJsonObject toJson(const RecordingInfo& info)
{
    return {{QStringLiteral("formats"), QJsonArray::fromStringList(info.formats)},
        {QStringLiteral("encoder"), info.encoder.isEmpty() ? QJsonValue() : QJsonValue(info.encoder)}};
}

/// The spare key codes. Also restores the keyboard map after a command that was killed.
QString spareKeysText(Session& session, QJsonObject& object)
{
    Typist* typist = session.typist();
    if (typist == nullptr)
        return QStringLiteral("none (they need XKEYBOARD and XTEST)");
    const QString errorText = typist->recover();
    if (!errorText.isEmpty())
        throw operationFailure(errorText);
    const Typist::SpareKeys spare = typist->spareKeys();
    object.insert(QStringLiteral("spareKeyCodes"), spare.codes);
    return QStringLiteral("%1 key codes, for %2 characters at a time").arg(spare.codes).arg(spare.characters);
}

QString toText(const AccessibilityInfo& info)
{
    if (!info.address.isEmpty()) {
        const bool isOn = info.isEnabled && info.hasScreenReader;
        return isOn || !info.hasSessionBus
            ? QStringLiteral("accessibility bus present")
            : QStringLiteral("accessibility bus present; org.a11y.Status.%1 is false, so that some programs "
                             "do not use it")
                  .arg(info.isEnabled ? QStringLiteral("ScreenReaderEnabled") : QStringLiteral("IsEnabled"));
    }
    if (!info.isInstalled)
        return QStringLiteral("no accessibility bus: the package at-spi2-core is missing");
    return info.hasSessionBus
        ? QStringLiteral("no accessibility bus: at-spi-bus-launcher does not start")
        : QStringLiteral("no accessibility bus: there is no session bus; 'zendra run' starts both");
}

QJsonObject toJson(const AccessibilityInfo& info)
{
    return {{QStringLiteral("bus"),
                info.address.isEmpty() ? QJsonValue() : QJsonValue(QString::fromUtf8(info.address))},
        {QStringLiteral("installed"), info.isInstalled}, {QStringLiteral("sessionBus"), info.hasSessionBus},
        {QStringLiteral("enabled"), info.isEnabled}, {QStringLiteral("screenReader"), info.hasScreenReader}};
}

/// Whether the platform plug-in is in an application or in this process.
QString placeRow(Session& session, QJsonObject& object)
{
    if (const ApplicationInfo* application = session.application()) {
        object.insert(QStringLiteral("application"),
            QJsonObject {{QStringLiteral("name"), application->name},
                {QStringLiteral("pid"), application->processId},
                {QStringLiteral("variant"), application->variant}});
        return row(QStringLiteral("Application"),
            QStringLiteral("%1 (%2), variant %3")
                .arg(application->name, QString::number(application->processId), application->variant));
    }
    const QString pluginFile = QStringLiteral("%1/%2.so").arg(platformFolder(), session.platform().name());
    object.insert(QStringLiteral("plugin"), pluginFile);
    return row(QStringLiteral("Plug-in"), pluginFile);
}

} // namespace

void Info::run(Session& session) const
{
    session.platform();
    const DisplayInfo info = readDisplayInfo(openConnection(session.displayName()));
    QJsonObject object = toJson(info);
    const RecordingInfo recording = readRecordingInfo(info);
    object.insert(QStringLiteral("recording"), toJson(recording));
    const QStringList pressed = toNames(session.displayName(), readPressedInput(session.displayName()));
    object.insert(QStringLiteral("pressed"), QJsonArray::fromStringList(pressed));
    const QString spareKeys = spareKeysText(session, object);
    const AccessibilityInfo accessibility = findAccessibilityBus(session.displayName(),
        session.application() != nullptr ? static_cast<pid_t>(session.application()->processId) : 0);
    object.insert(QStringLiteral("accessibility"), toJson(accessibility));
    const QString place = placeRow(session, object);
    session.output().result(toText(info) + row(QStringLiteral("Spare keys"), spareKeys)
            + row(QStringLiteral("Held down"),
                pressed.isEmpty()
                    ? QStringLiteral("nothing")
                    : pressed.join(QLatin1String(", ")) + QLatin1String("; 'zendra release --all' lifts it"))
            + row(QStringLiteral("Elements"), toText(accessibility))
            + row(QStringLiteral("Recording"), toText(recording)) + place.trimmed(),
        object);
}

} // namespace Zendra::Runner
