#include "junit.h"

#include <algorithm>

#include <QSaveFile>
#include <QXmlStreamWriter>

#include "cli/failure.h"

namespace Zendra::Runner
{

namespace
{

QString secondsText(double seconds)
{
    return QString::number(seconds, 'f', 3);
}

/// XML 1.0 has no other control characters, not even escaped.
QString withoutControls(const QString& text)
{
    QString kept;
    kept.reserve(text.size());
    for (const QChar character : text) {
        const ushort code = character.unicode();
        const bool isAllowed = code >= 0x20 ? code < 0xFFFE : code == '\t' || code == '\n';
        kept += isAllowed ? character : QChar(QChar::ReplacementCharacter);
    }
    return kept;
}

void writeCase(QXmlStreamWriter& xml, const TestResult& result)
{
    xml.writeStartElement(QStringLiteral("testcase"));
    const int slash = result.test.name.lastIndexOf(QLatin1Char('/'));
    xml.writeAttribute(QStringLiteral("classname"),
        slash < 0
            ? QStringLiteral("zendra")
            : withoutControls(result.test.name.left(slash)).replace(QLatin1Char('/'), QLatin1Char('.')));
    xml.writeAttribute(QStringLiteral("name"), withoutControls(result.test.name.mid(slash + 1)));
    xml.writeAttribute(QStringLiteral("time"), secondsText(result.seconds));
    if (!result.isGood()) {
        xml.writeStartElement(QStringLiteral("failure"));
        xml.writeAttribute(QStringLiteral("type"), toText(result.status));
        xml.writeAttribute(QStringLiteral("message"), withoutControls(result.message));
        xml.writeCharacters(withoutControls(result.message));
        xml.writeEndElement();
    }
    if (result.status == TestStatus::Flaky || !result.output.isEmpty()) {
        QString output = QString::fromUtf8(result.output);
        if (result.status == TestStatus::Flaky)
            output.prepend(QStringLiteral("Flaky: passed at attempt %1\n").arg(result.attempts));
        xml.writeTextElement(QStringLiteral("system-out"), withoutControls(output));
    }
    xml.writeEndElement();
}

} // namespace

void writeJUnit(const QString& fileName, const std::vector<TestResult>& results, double seconds)
{
    QSaveFile file(fileName);
    if (!file.open(QIODevice::WriteOnly))
        throw cannotWrite(fileName, file.errorString());
    const auto failures = std::count_if(
        results.begin(), results.end(), [](const TestResult& result) { return !result.isGood(); });
    QXmlStreamWriter xml(&file);
    xml.setAutoFormatting(true);
    xml.writeStartDocument();
    const auto writeTotals = [&] {
        xml.writeAttribute(QStringLiteral("name"), QStringLiteral("zendra"));
        xml.writeAttribute(QStringLiteral("tests"), QString::number(results.size()));
        xml.writeAttribute(QStringLiteral("failures"), QString::number(failures));
        xml.writeAttribute(QStringLiteral("errors"), QStringLiteral("0"));
        xml.writeAttribute(QStringLiteral("time"), secondsText(seconds));
    };
    xml.writeStartElement(QStringLiteral("testsuites"));
    writeTotals();
    xml.writeStartElement(QStringLiteral("testsuite"));
    writeTotals();
    for (const TestResult& result : results)
        writeCase(xml, result);
    xml.writeEndDocument();
    if (!file.commit())
        throw cannotWrite(fileName, file.errorString());
}

} // namespace Zendra::Runner
