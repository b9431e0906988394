#include "testsuite.h"

#include <algorithm>
#include <random>
#include <set>

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QRegularExpression>

#include "cli/failure.h"

namespace Zendra::Runner
{

namespace
{

const QString suffix = QStringLiteral(".zs");

QString withoutSuffix(const QString& name)
{
    return name.endsWith(suffix) ? name.chopped(suffix.size()) : name;
}

void addFolder(const QString& folder, std::vector<TestCase>& tests)
{
    const QDir root(folder);
    QDirIterator files(folder, {QLatin1Char('*') + suffix}, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString file = files.next();
        tests.push_back({withoutSuffix(root.relativeFilePath(QFileInfo(file).absoluteFilePath())), file});
    }
}

} // namespace

Shard toShard(const QString& text)
{
    static const QRegularExpression form(QStringLiteral("\\A([0-9]{1,4})/([0-9]{1,4})\\z"));
    const QRegularExpressionMatch match = form.match(text);
    const Shard shard {match.captured(1).toInt(), match.captured(2).toInt()};
    if (!match.hasMatch() || shard.number < 1 || shard.number > shard.count)
        throw usageFailure(
            QStringLiteral("--shard needs I/N, such as 1/4 for the first of four parts, not '%1'").arg(text));
    return shard;
}

std::vector<TestCase> findTests(const QStringList& paths)
{
    std::vector<TestCase> tests;
    for (const QString& path : paths) {
        const QFileInfo info(path);
        if (info.isDir())
            addFolder(path, tests);
        else if (info.exists())
            tests.push_back({withoutSuffix(info.fileName()), path});
        else
            throw usageFailure(QStringLiteral("There is no test '%1'").arg(path));
    }
    const auto isBefore = [](const TestCase& one, const TestCase& other) {
        return std::tie(one.name, one.fileName) < std::tie(other.name, other.fileName);
    };
    std::sort(tests.begin(), tests.end(), isBefore);
    const auto isSame = [](const TestCase& one, const TestCase& other) {
        return QFileInfo(one.fileName) == QFileInfo(other.fileName);
    };
    tests.erase(std::unique(tests.begin(), tests.end(), isSame), tests.end());
    // Of different folders.
    std::set<QString> names;
    for (TestCase& test : tests) {
        if (!names.insert(test.name).second) {
            test.name = withoutSuffix(test.fileName);
            names.insert(test.name);
        }
    }
    if (tests.empty()) {
        throw usageFailure(QStringLiteral("There are no tests in '%1': their names end in .zs")
                               .arg(paths.join(QStringLiteral("', '"))));
    }
    return tests;
}

std::vector<TestCase> filtered(const std::vector<TestCase>& tests, const QString& pattern)
{
    // Not wildcardToRegularExpression(), in which a star does not match a slash.
    QString expression = QRegularExpression::escape(pattern);
    expression.replace(QLatin1String("\\*"), QLatin1String(".*"))
        .replace(QLatin1String("\\?"), QLatin1String("."));
    const QRegularExpression matching(QRegularExpression::anchoredPattern(expression));
    std::vector<TestCase> found;
    std::copy_if(tests.begin(), tests.end(), std::back_inserter(found),
        [&matching](const TestCase& test) { return matching.match(test.name).hasMatch(); });
    return found;
}

/// Every N-th test, so that a folder of slow tests is spread.
std::vector<TestCase> ofShard(const std::vector<TestCase>& tests, const Shard& shard)
{
    std::vector<TestCase> found;
    for (std::size_t index = static_cast<std::size_t>(shard.number - 1); index < tests.size();
         index += static_cast<std::size_t>(shard.count))
        found.push_back(tests[index]);
    return found;
}

void shuffle(std::vector<TestCase>& tests, unsigned int seed)
{
    // std::shuffle() may differ between libraries.
    std::mt19937 random(seed);
    for (std::size_t left = tests.size(); left > 1; --left)
        std::swap(tests[left - 1], tests[random() % left]);
}

} // namespace Zendra::Runner
