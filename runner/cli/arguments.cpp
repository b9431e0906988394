#include "arguments.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <CLI/CLI.hpp>

#include <QRegularExpression>

#include <zendra/keynames.h>

#include <similar.h>

#include "candidates.h"
#include "failure.h"

namespace Zendra::Runner
{

namespace
{

/// Prefix of every word that is not an option: CLI11 would interpret some texts ("++", "[a,b]", "{}").
constexpr char shield = '\x1f';

QString unshielded(const std::string& word)
{
    const bool isShielded = !word.empty() && word.front() == shield;
    return QString::fromStdString(isShielded ? word.substr(1) : word);
}

/// Negative numbers and "-" are not options.
bool looksLikeOption(const QString& word)
{
    return word.size() > 1 && word.at(0) == QLatin1Char('-') && !word.at(1).isDigit();
}

/// The words in CLI11's order, last first, shielded unless they are options. After "--" there are no options.
std::vector<std::string> shieldedReversed(const QStringList& words)
{
    std::vector<std::string> reversed;
    bool optionsEnded = false;
    for (const QString& word : words) {
        if (!optionsEnded && word == QLatin1String("--"))
            optionsEnded = true;
        else if (!optionsEnded && looksLikeOption(word))
            reversed.push_back(word.toStdString());
        else
            reversed.push_back(shield + word.toStdString());
    }
    std::reverse(reversed.begin(), reversed.end());
    return reversed;
}

bool isOption(const QString& name)
{
    return name.startsWith(QLatin1Char('-')) && !name.startsWith(QLatin1String("-- "));
}

bool isRequired(const QString& name)
{
    return !isOption(name) && !name.startsWith(QLatin1Char('['));
}

/// "--screen" of "--screen N", "X" of "[X]".
QString plainName(const char* name)
{
    QString plain = QString::fromLatin1(name).section(QLatin1Char(' '), 0, 0).section(QLatin1Char('='), 0, 0);
    return plain.remove(QLatin1Char('[')).remove(QLatin1Char(']'));
}

/// Completions for a combination that is open at the end of the sequence.
QStringList keySequences(const QString& begun)
{
    const int opening = begun.lastIndexOf(QLatin1Char('<'));
    if (opening <= begun.lastIndexOf(QLatin1Char('>')))
        return {};
    const int nameStart = std::max<int>(opening, begun.lastIndexOf(QLatin1Char('+'))) + 1;
    QStringList names = withPrefix(begun.mid(nameStart), keyNames());
    // With two completions the shell does not append a space.
    if (names.size() == 1)
        names = QStringList {names.first() + QLatin1Char('+'), names.first() + QLatin1Char('>')};
    for (QString& name : names)
        name.prepend(begun.left(nameStart));
    return names;
}

constexpr double longestTimeout = 86'400.0; ///< seconds

double toSeconds(const QString& text, const QString& name, double most)
{
    bool isNumber = false;
    const double number = text.toDouble(&isNumber);
    if (!isNumber || !(number >= 0.0 && number <= most)) {
        throw usageFailure(
            QStringLiteral("%1 must be a number of seconds from 0 to %2, such as 2.5, not '%3'")
                .arg(name)
                .arg(most, 0, 'f', 0)
                .arg(text));
    }
    return number;
}

} // namespace

Arguments::Arguments(QString command)
    : m_command(std::move(command))
    , m_app(std::make_unique<CLI::App>())
{
    m_app->set_help_flag("-h,--help");
}

Arguments::~Arguments() = default;

void Arguments::flag(const char* name, bool& value, const char* help)
{
    const auto take = [name, &value](const QString& given) {
        if (given != QLatin1String("true"))
            throw usageFailure(QStringLiteral("%1 takes no value").arg(plainName(name)));
        value = true;
    };
    argument(name, help, take)->expected(0);
}

void Arguments::flagWithValue(const char* name, std::optional<QString>& value, const char* help)
{
    // CLI11 passes "true" for a flag without a value.
    const auto take
        = [&value](const QString& given) { value = given == QLatin1String("true") ? QString() : given; };
    argument(name, help, take)->expected(0);
}

void Arguments::text(const char* name, QString& value, const char* help, Completion completion)
{
    argument(name, help, [&value](const QString& given) { value = given; });
    m_declared.back().completion = completion;
}

void Arguments::text(const char* name, std::optional<QString>& value, const char* help, Completion completion)
{
    argument(name, help, [&value](const QString& given) { value = given; });
    m_declared.back().completion = completion;
}

void Arguments::texts(const char* name, QStringList& values, const char* help, Completion completion)
{
    argument(name, help, [&values](const QString& given) { values.append(given); })
        ->expected(1, CLI::detail::expected_max_vector_size)
        ->allow_extra_args();
    m_declared.back().completion = completion;
}

void Arguments::list(const char* name, QStringList& values, const char* help)
{
    argument(name, help, [&values](const QString& given) { values.append(given); })
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->expected(1);
}

void Arguments::number(const char* name, int& value, Range range, const char* help)
{
    argument(name, help,
        [name, range, &value](const QString& given) { value = toNumber(given, range, plainName(name)); });
}

void Arguments::number(const char* name, std::optional<int>& value, Range range, const char* help)
{
    argument(name, help,
        [name, range, &value](const QString& given) { value = toNumber(given, range, plainName(name)); });
}

void Arguments::seconds(const char* name, double& value, double most, const char* help)
{
    argument(name, help,
        [name, most, &value](const QString& given) { value = toSeconds(given, plainName(name), most); });
}

void Arguments::timeout(double& value, const char* help)
{
    seconds("--timeout SECONDS", value, longestTimeout, help);
    m_timeout = &value;
}

double timeoutFromEnvironment(double standard)
{
    const char* const name = "ZENDRA_TIMEOUT";
    return qEnvironmentVariableIsEmpty(name)
        ? standard
        : toSeconds(qEnvironmentVariable(name), QLatin1String(name), longestTimeout);
}

bool Arguments::parse(const QStringList& words)
{
    if (m_timeout != nullptr)
        *m_timeout = timeoutFromEnvironment(*m_timeout);
    refuseUnknownOptions(words);
    std::vector<std::string> reversed = shieldedReversed(words);
    m_app->allow_extras();
    if (!run(reversed))
        return false;
    const std::vector<std::string> unexpected = m_app->remaining();
    if (!unexpected.empty())
        refuse(unshielded(unexpected.front()));
    requireAll();
    return true;
}

/// Must come first: the value of an unknown option would be taken for another argument.
void Arguments::refuseUnknownOptions(const QStringList& words) const
{
    QStringList known {QStringLiteral("-h"), QStringLiteral("--help")};
    for (const Declared& declared : m_declared)
        known.append(plainName(declared.name.toLatin1().constData()));
    for (const QString& word : words) {
        if (word == QLatin1String("--"))
            return;
        if (looksLikeOption(word) && !known.contains(word.section(QLatin1Char('='), 0, 0)))
            refuse(word);
    }
}

bool Arguments::parseOptions(const QStringList& words, QStringList& rest)
{
    std::vector<std::string> reversed;
    std::transform(words.crbegin(), words.crend(), std::back_inserter(reversed),
        [](const QString& word) { return word.toStdString(); });
    m_app->prefix_command();
    if (!run(reversed))
        return false;
    for (const std::string& word : m_app->remaining())
        rest.append(QString::fromStdString(word));
    if (!rest.isEmpty() && isOption(rest.first()))
        refuse(rest.first());
    return true;
}

QString Arguments::usage() const
{
    QStringList options;
    QStringList others;
    for (const Declared& declared : m_declared) {
        if (isOption(declared.name))
            options.append(QLatin1Char('[') + declared.name + QLatin1Char(']'));
        else
            others.append(declared.name);
    }
    // Adjacent optional arguments are given together: "[X Y]".
    const QString last = others.join(QLatin1Char(' ')).replace(QLatin1String("] ["), QLatin1String(" "));
    return (options << last).join(QLatin1Char(' '));
}

std::vector<std::pair<QString, QString>> Arguments::descriptions() const
{
    std::vector<std::pair<QString, QString>> descriptions;
    for (const Declared& declared : m_declared)
        descriptions.emplace_back(declared.name, QString::fromUtf8(declared.help));
    return descriptions;
}

QString Arguments::help() const
{
    int width = 0;
    for (const Declared& declared : m_declared)
        width = std::max<int>(width, declared.name.size());
    QString lines;
    for (const Declared& declared : m_declared) {
        lines += QStringLiteral("  %1  %2\n")
                     .arg(declared.name.leftJustified(width), QString::fromUtf8(declared.help));
    }
    return lines;
}

QStringList Arguments::suggestions(const QStringList& words, const std::optional<QString>& display) const
{
    int plainWords = 0;
    const Declared* declared = nullptr;
    for (const QString& word : words.mid(0, words.size() - 1))
        plainWords += isPlainWord(word, declared) ? 1 : 0;
    const QString& begun = words.last();
    if (declared == nullptr && begun.startsWith(QLatin1Char('-')))
        return withPrefix(begun, optionNames() << QStringLiteral("--help"));
    if (declared == nullptr)
        declared = positional(plainWords);
    if (declared == nullptr)
        return {};
    switch (declared->completion) {
    case Completion::FileName:
        return {QStringLiteral("FILE")};
    case Completion::KeyName:
        return withPrefix(begun, keyNames());
    case Completion::KeySequence:
        return keySequences(begun);
    case Completion::Locator:
        return locators(begun);
    case Completion::ProcessId:
        return withPrefix(begun, listeningProcessIds());
    case Completion::WindowTitle:
        return withPrefix(begun, display ? windowTitles(*display) : QStringList());
    case Completion::None:
        break;
    }
    return withPrefix(begun, declared->choices);
}

int Arguments::firstPlainWord(const QStringList& words) const
{
    const Declared* optionBefore = nullptr;
    for (int index = 0; index < words.size(); ++index) {
        if (isPlainWord(words.at(index), optionBefore))
            return index;
    }
    return -1;
}

/// Whether a word is neither an option nor the value of `optionBefore`, which becomes the word if that is an
/// option with a value.
bool Arguments::isPlainWord(const QString& word, const Declared*& optionBefore) const
{
    if (std::exchange(optionBefore, nullptr) != nullptr)
        return false;
    if (!looksLikeOption(word))
        return true;
    // With the value at the cursor, "--option=" is the word before it.
    const QString start = (word.endsWith(QLatin1Char('=')) ? word.chopped(1) : word) + QLatin1Char(' ');
    const auto found = std::find_if(m_declared.begin(), m_declared.end(), [&start](const Declared& declared) {
        return isOption(declared.name) && declared.name.startsWith(start);
    });
    if (found != m_declared.end())
        optionBefore = &*found;
    return false;
}

/// The argument that takes the plain word of this number; the last one may take many.
const Arguments::Declared* Arguments::positional(int number) const
{
    const Declared* last = nullptr;
    for (const Declared& declared : m_declared) {
        if (isOption(declared.name))
            continue;
        if (number-- == 0)
            return &declared;
        last = &declared;
    }
    const bool isSeveral = last != nullptr
        && (last->name.endsWith(QLatin1String("...")) || last->name.contains(QLatin1Char(' ')));
    return isSeveral ? last : nullptr;
}

QStringList Arguments::optionNames() const
{
    QStringList names;
    for (const Declared& declared : m_declared) {
        if (isOption(declared.name))
            names.append(plainName(declared.name.toLatin1().constData()));
    }
    return names;
}

std::size_t Arguments::choiceIndex(const QStringList& names, const QString& given, const char* argument)
{
    const int index = names.indexOf(given);
    if (index < 0) {
        const QString place
            = isOption(plainName(argument)) ? plainName(argument) + QLatin1Char(' ') : QString();
        throw usageFailure(
            QStringLiteral("%1'%2' is not one of %3").arg(place, given, names.join(QLatin1String(", "))));
    }
    return static_cast<std::size_t>(index);
}

CLI::Option* Arguments::argument(const char* name, const char* help, Take take)
{
    const QString shownName = QLatin1String(name);
    // CLI11 restricts the names of positional arguments; this one is not shown.
    const std::string parserName
        = isOption(shownName) ? plainName(name).toStdString() : "word" + std::to_string(m_declared.size());
    CLI::Option* option = m_app->add_option(
        parserName, CLI::callback_t([take = std::move(take)](const CLI::results_t& words) {
            for (const std::string& word : words)
                take(unshielded(word));
            return true;
        }));
    if (isOption(shownName))
        option->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    m_declared.push_back({shownName, help, option});
    return option;
}

bool Arguments::run(std::vector<std::string>& reversedWords)
{
    const QString last = reversedWords.empty() ? QString() : unshielded(reversedWords.front());
    try {
        m_app->parse(reversedWords);
    } catch (const CLI::CallForHelp&) {
        return false;
    } catch (const CLI::ArgumentMismatch&) {
        // Any other option takes the next word as its value.
        throw usageFailure(QStringLiteral("%1 needs a value").arg(last));
    } catch (const CLI::Error& error) {
        throw usageFailure(QString::fromUtf8(error.what()));
    }
    return true;
}

void Arguments::refuse(const QString& word) const
{
    const QString help = m_command.isEmpty() ? QStringLiteral("'zendra --help'")
                                             : QStringLiteral("'zendra %1 --help'").arg(m_command);
    if (!looksLikeOption(word))
        throw usageFailure(QStringLiteral("Unexpected argument '%1'; see %2").arg(word, help));

    const QString similar = mostSimilar(word.section(QLatin1Char('='), 0, 0), optionNames());
    if (!similar.isEmpty())
        throw usageFailure(QStringLiteral("Unknown option '%1'; did you mean %2?").arg(word, similar));
    QString hint;
    if (!m_command.isEmpty()) {
        hint = word.startsWith(QLatin1String("--"))
            ? QStringLiteral(" (options of zendra itself go before '%1')").arg(m_command)
            : QStringLiteral(" (write -- before a text that begins with a dash)");
    }
    throw usageFailure(QStringLiteral("Unknown option '%1'; see %2%3").arg(word, help, hint));
}

void Arguments::requireAll() const
{
    QStringList missing;
    for (const Declared& declared : m_declared) {
        if (isRequired(declared.name) && declared.option->count() == 0)
            missing.append(declared.name);
    }
    if (!missing.isEmpty()) {
        throw usageFailure(QStringLiteral("'%1' needs %2; see 'zendra %1 --help'")
                               .arg(m_command, missing.join(QLatin1String(" and "))));
    }
}

int toNumber(const QString& text, Range range, const QString& what)
{
    bool isNumber = false;
    const qlonglong number = text.toLongLong(&isNumber);
    if (!isNumber || number < range.least || number > range.most) {
        throw usageFailure(QStringLiteral("%1 must be a whole number from %2 to %3, not '%4'")
                               .arg(what)
                               .arg(range.least)
                               .arg(range.most)
                               .arg(text));
    }
    return static_cast<int>(number);
}

QStringList withPrefix(const QString& prefix, const QStringList& words)
{
    return words.filter(QRegularExpression(
        QLatin1Char('^') + QRegularExpression::escape(prefix), QRegularExpression::CaseInsensitiveOption));
}

} // namespace Zendra::Runner
