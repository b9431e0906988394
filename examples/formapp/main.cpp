#include <cstdio>
#include <optional>

#include <QApplication>
#include <QCommandLineParser>

#include "eventlog.h"
#include "formwindow.h"

namespace
{

/// Reads "X,Y,WIDTH,HEIGHT".
std::optional<QRect> parsePlace(const QString& text)
{
    const QStringList parts = text.split(QLatin1Char(','));
    if (parts.size() != 4)
        return std::nullopt;
    int numbers[4];
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        numbers[i] = parts[i].toInt(&ok);
        if (!ok)
            return std::nullopt;
    }
    return QRect(numbers[0], numbers[1], numbers[2], numbers[3]);
}

int fail(const QString& text)
{
    std::fprintf(stderr, "zendra-example-form: %s\n", qPrintable(text));
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("A postcard to fill in; it logs what it receives."));
    parser.addHelpOption();
    const QCommandLineOption log(
        QStringLiteral("log"), QStringLiteral("Write every event received to FILE."), QStringLiteral("FILE"));
    const QCommandLineOption widgets(QStringLiteral("widgets"),
        QStringLiteral("Keep the places of the widgets on screen in FILE, as JSON."), QStringLiteral("FILE"));
    // Not "--geometry": Qt handles that one.
    const QCommandLineOption place(QStringLiteral("place"),
        QStringLiteral("Open the window at X,Y with the inner size W,H."), QStringLiteral("X,Y,W,H"),
        QStringLiteral("420,60,560,400"));
    parser.addOptions({log, widgets, place});
    parser.process(application);

    const std::optional<QRect> rect = parsePlace(parser.value(place));
    if (!rect)
        return fail(QStringLiteral("--place takes four whole numbers: X,Y,WIDTH,HEIGHT"));
    EventLog eventLog(parser.value(log));
    if (!eventLog.isGood())
        return fail(QStringLiteral("Cannot write to '%1'").arg(parser.value(log)));

    // A blinking cursor would change screenshots.
    QApplication::setCursorFlashTime(0);
    FormWindow window(eventLog, parser.value(widgets));
    window.setGeometry(*rect);
    window.show();
    return QApplication::exec();
}
