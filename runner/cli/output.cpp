#include "output.h"

#include <cerrno>
#include <cstdio>
#include <utility>

#include <unistd.h>

#include <QJsonDocument>

namespace Zendra::Runner
{

/// Control characters would break the line or reach the terminal.
QString onOneLine(const QString& text)
{
    QString line;
    line.reserve(text.size());
    for (const QChar character : text) {
        if (character == QLatin1Char('\n'))
            line += QLatin1String("\\n");
        else if (character == QLatin1Char('\t'))
            line += QLatin1String("\\t");
        else if (character.category() == QChar::Other_Control)
            line += QStringLiteral("\\x%1").arg(character.unicode(), 2, 16, QLatin1Char('0'));
        else
            line += character;
    }
    return line;
}

namespace
{

QJsonObject toJson(const Failure& failure)
{
    QJsonObject object = failure.details();
    object.insert(QStringLiteral("error"), failure.text());
    object.insert(QStringLiteral("status"), static_cast<int>(failure.status()));
    if (!failure.place().file.isEmpty()) {
        object.insert(QStringLiteral("file"), failure.place().file);
        object.insert(QStringLiteral("line"), failure.place().line);
        object.insert(QStringLiteral("command"), failure.place().command);
    }
    return object;
}

QString toText(const Failure& failure)
{
    QString place;
    if (!failure.place().file.isEmpty())
        place = failure.place().file + QStringLiteral(":%1: ").arg(failure.place().line);
    return QLatin1String("zendra: ") + place + failure.text();
}

} // namespace

QByteArray Output::toLine(QJsonObject object) const
{
    if (!m_place.file.isEmpty()) {
        object.insert(QStringLiteral("line"), m_place.line);
        object.insert(QStringLiteral("command"), m_place.command);
    }
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

void Output::result(const QString& text, const QJsonObject& object)
{
    beginLine();
    writeLine(m_json ? toLine(object) : text.toUtf8());
}

void Output::text(const QString& text, const QJsonObject& object)
{
    if (m_json) {
        writeLine(toLine(object));
        return;
    }
    beginLine();
    data(text.toUtf8());
    m_isLineOpen = !text.isEmpty() && !text.endsWith(QLatin1Char('\n'));
    if (!m_place.file.isEmpty() || isatty(STDOUT_FILENO) != 0)
        beginLine();
}

void Output::data(const QByteArray& bytes)
{
    if (m_json)
        throw usageFailure(
            QStringLiteral("--json cannot be combined with a picture on standard output; name a file"));
    put(bytes);
}

void Output::resultForPrograms(const QJsonObject& object)
{
    if (m_json)
        writeLine(toLine(object));
}

void Output::progress(const QString& line)
{
    if (m_json || isatty(STDERR_FILENO) == 0)
        return;
    std::fprintf(stderr, "\r%s\x1b[K", onOneLine(line).toUtf8().constData());
    m_isProgressOpen = true;
}

void Output::endProgress()
{
    if (std::exchange(m_isProgressOpen, false))
        std::fputc('\n', stderr);
}

int Output::failure(const Failure& failure)
{
    m_place = {}; // the failure has its own
    for (const Failure& earlier : failure.earlier())
        report(earlier);
    return report(failure);
}

int Output::report(const Failure& failure)
{
    endProgress();
    // Keep the order where both streams go to one file.
    std::fflush(stdout);
    if (m_json)
        put(failureLine(failure));
    // As text if the object cannot be written.
    if (!m_json || std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        std::fprintf(stderr, "%s\n", onOneLine(toText(failure)).toUtf8().constData());
    std::fflush(stdout);
    return static_cast<int>(failure.status());
}

QByteArray Output::failureLine(const Failure& failure) const
{
    return (m_json ? toLine(toJson(failure)) : onOneLine(toText(failure)).toUtf8()) + '\n';
}

int Output::failureFileDescriptor() const
{
    return m_json ? STDOUT_FILENO : STDERR_FILENO;
}

void Output::flush()
{
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        const QString reason = qt_error_string(m_error != 0 ? m_error : errno);
        throw operationFailure(QStringLiteral("Cannot write to standard output: %1").arg(reason));
    }
}

void Output::put(const QByteArray& bytes)
{
    const auto size = static_cast<size_t>(bytes.size());
    if (std::fwrite(bytes.constData(), 1, size, stdout) != size && m_error == 0)
        m_error = errno;
}

void Output::writeLine(const QByteArray& line)
{
    put(line + '\n');
}

void Output::beginLine()
{
    if (std::exchange(m_isLineOpen, false))
        std::fputc('\n', stdout);
}

} // namespace Zendra::Runner
