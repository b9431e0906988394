// A host of its own: types a text into the window with the focus, and saves a screenshot.
//
//     host TEXT FILE.png

#include <cstdio>

#include <QCoreApplication>

#include <zendra/nativeinterface.h>
#include <zendra/pluginloader.h>

namespace
{

/// Reports an error text; true if there was one.
bool failed(const QString& errorText)
{
    if (!errorText.isEmpty())
        std::fprintf(stderr, "host: %s\n", qPrintable(errorText));
    return !errorText.isEmpty();
}

} // namespace

int main(int argc, char** argv)
{
    // The plug-in needs Qt's event loop, but no QGuiApplication.
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 3) {
        std::fputs("Usage: host TEXT FILE.png\n", stderr);
        return 2;
    }

    // No display name means $DISPLAY, and no display that the plug-in opens its own connection.
    const Zendra::LoadedPlatform platform = Zendra::loadPlatform(QStringLiteral("xlib"), {});
    if (failed(platform.errorText))
        return 3;
    Zendra::NativeInterface* native = platform.plugin->nativeInterface();

    const QString text = arguments.at(1);
    for (const QChar character : text) {
        if (failed(native->typeCharacter(character, Zendra::NoModifier)))
            return 1;
    }
    // Waits until the X server has processed what was typed.
    native->supressFlush(false);

    const Zendra::Rect wholeScreen {0, 0, -1, -1, -1};
    const Zendra::Screenshot screenshot = native->desktopScreenshot(wholeScreen, 0);
    if (failed(screenshot.errorText))
        return 1;
    if (!screenshot.image.save(arguments.at(2))) {
        std::fprintf(stderr, "host: Cannot write '%s'\n", qPrintable(arguments.at(2)));
        return 1;
    }
    std::printf("%dx%d\n", screenshot.image.width(), screenshot.image.height());
    return 0;
}
