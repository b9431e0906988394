#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include <QString>
#include <QStringList>

namespace CLI
{
class App;
class Option;
} // namespace CLI

namespace Zendra::Runner
{

struct Range {
    int least;
    int most;
};

/// The names that an argument accepts, with their values.
template <typename T>
using Choices = std::vector<std::pair<const char*, T>>;

/// How a shell completes a text.
enum class Completion { None, FileName, KeyName, KeySequence, Locator, ProcessId, WindowTitle };

/// Declares a command's arguments, reads them into variables, and reports what is wrong with them.
///
/// The name says what an argument is: "X" must be given, "[X]" may be given, "-- X" follows "--", "--json" is
/// a flag, "--screen N" an option with a value. parse() sets the variables; those of arguments that are not
/// given keep their values.
class Arguments
{
public:
    /// `command` is empty for the options of the program itself.
    explicit Arguments(QString command);
    ~Arguments();

    void flag(const char* name, bool& value, const char* help);
    /// A flag that also takes a value after an equals sign; `value` is empty when it was given without.
    void flagWithValue(const char* name, std::optional<QString>& value, const char* help);
    void text(const char* name, QString& value, const char* help, Completion completion = Completion::None);
    void text(const char* name, std::optional<QString>& value, const char* help,
        Completion completion = Completion::None);
    /// One or more texts of any form.
    void texts(
        const char* name, QStringList& values, const char* help, Completion completion = Completion::None);
    /// An option that may be given several times.
    void list(const char* name, QStringList& values, const char* help);
    void number(const char* name, int& value, Range range, const char* help);
    void number(const char* name, std::optional<int>& value, Range range, const char* help);
    void seconds(const char* name, double& value, double most, const char* help);
    /// The option --timeout. Without it `value` is that of the environment variable ZENDRA_TIMEOUT, if it is
    /// set.
    void timeout(double& value, const char* help);

    template <typename T>
    void choice(const char* name, T& value, Choices<T> choices, const char* help)
    {
        QStringList names;
        for (const auto& choice : choices)
            names.append(QLatin1String(choice.first));
        argument(name, help, [name, names, choices = std::move(choices), &value](const QString& given) {
            value = choices[choiceIndex(names, given, name)].second;
        });
        m_declared.back().choices = names;
    }

    /// Reads all words; returns false if help was requested. Throws a Failure of status WrongUsage.
    bool parse(const QStringList& words);
    /// Reads options up to the first word that is not one; `rest` gets the words from there on.
    bool parseOptions(const QStringList& words, QStringList& rest);

    /// The arguments for a usage line: options in brackets, then the others.
    QString usage() const;
    /// The name and help of each argument.
    std::vector<std::pair<QString, QString>> descriptions() const;
    /// A line for each argument, with its help.
    QString help() const;

    /// Completions for the last of the words, which may be incomplete. "FILE" means the
    /// names of files. Titles of windows are those on `display`, if there is one.
    QStringList suggestions(const QStringList& words, const std::optional<QString>& display) const;
    /// The first word that is neither an option nor an option's value; -1 when there is none.
    int firstPlainWord(const QStringList& words) const;

private:
    Q_DISABLE_COPY(Arguments)

    using Take = std::function<void(const QString&)>;
    struct Declared {
        QString name;
        const char* help;
        CLI::Option* option;
        QStringList choices = {};
        Completion completion = Completion::None;
    };

    static std::size_t choiceIndex(const QStringList& names, const QString& given, const char* argument);

    CLI::Option* argument(const char* name, const char* help, Take take);
    bool run(std::vector<std::string>& reversedWords);
    bool isPlainWord(const QString& word, const Declared*& optionBefore) const;
    const Declared* positional(int number) const;
    QStringList optionNames() const;
    void refuseUnknownOptions(const QStringList& words) const;
    [[noreturn]] void refuse(const QString& word) const;
    void requireAll() const;

    QString m_command;
    std::unique_ptr<CLI::App> m_app;
    std::vector<Declared> m_declared;
    double* m_timeout = nullptr;
};

/// The seconds that the environment variable ZENDRA_TIMEOUT sets for commands that are given no --timeout, or
/// `standard`. Throws a Failure of status WrongUsage.
double timeoutFromEnvironment(double standard);

/// Turns a whole number within `range` into an int; throws a Failure that names `what`.
int toNumber(const QString& text, Range range, const QString& what);

/// The words that begin with `prefix`, in upper or lower case.
QStringList withPrefix(const QString& prefix, const QStringList& words);

} // namespace Zendra::Runner
