// What the command is made of: key sequences, words of a script's line, arguments.

#include <gtest/gtest.h>

#include <QStringList>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "cli/shellwords.h"
#include "cli/textpattern.h"
#include "session/keysequence.h"

namespace Zendra::Runner
{

void PrintTo(const KeyPiece& piece, std::ostream* stream)
{
    *stream << (piece.isCombination ? "combination " : "text ") << piece.text.toStdString();
}

namespace
{

using Pieces = std::vector<KeyPiece>;

KeyPiece text(const char* content)
{
    return {QString::fromUtf8(content), false};
}

KeyPiece combination(const char* content)
{
    return {QString::fromUtf8(content), true};
}

Pieces split(const char* sequence)
{
    return splitKeySequence(QString::fromUtf8(sequence));
}

/// The text of the failure that `action` must end in.
template <typename Action>
std::string failureOf(Action action)
{
    try {
        action();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status(), ExitStatus::WrongUsage);
        return failure.text().toStdString();
    }
    return "no failure";
}

TEST(KeySequence, TextAndCombinationsAlternate)
{
    EXPECT_EQ(split("hello"), Pieces {text("hello")});
    EXPECT_EQ(split("<Ctrl+Shift+a>"), Pieces {combination("<Ctrl+Shift+a>")});
    EXPECT_EQ(split("a<Del><ctrl+B>é\n"),
        (Pieces {text("a"), combination("<Del>"), combination("<ctrl+B>"), text("é\n")}));
}

TEST(KeySequence, SignsOfTheSyntaxAreKeysToo)
{
    EXPECT_EQ(split("a>b+c"), Pieces {text("a>b+c")});
    EXPECT_EQ(split("1<less>2"), (Pieces {text("1"), combination("<less>"), text("2")}));
    EXPECT_EQ(split("<Ctrl++>"), Pieces {combination("<Ctrl++>")});
    EXPECT_EQ(split("<++>"), Pieces {combination("<++>")});
    EXPECT_EQ(split("<Ctrl+>>"), Pieces {combination("<Ctrl+>>")});
    EXPECT_EQ(split("<Ctrl+<>"), Pieces {combination("<Ctrl+<>")});
    EXPECT_EQ(split("<Ctrl++>>"), (Pieces {combination("<Ctrl++>"), text(">")}));
}

TEST(KeySequence, InvalidSequencesAreRefused)
{
    const std::pair<const char*, const char*> cases[] = {
        {"", "empty sequence"},
        {"a<b", "'<' at character 2 of 'a<b' is not closed"},
        {"<>", "'<>' does not name a key"},
        {"<+>", "write + without brackets"},
        {"<Ctrl++a>", "'<Ctrl++a>' has a '+' without a key beside it"},
        {"<Ctrl+>", "'<Ctrl+>' has a '+' without a key beside it"},
        {"<+a>", "'<+a>' has a '+' without a key beside it"},
        {"ok<Crtl+a>", "Unknown key 'Crtl' in '<Crtl+a>'; did you mean 'Ctrl'?"},
        {"<qwertzuiop>", "Unknown key 'qwertzuiop' in '<qwertzuiop>'; 'zendra --help'"},
    };
    for (const auto& [sequence, expected] : cases)
        EXPECT_NE(failureOf([s = sequence] { split(s); }).find(expected), std::string::npos) << sequence;
}

TEST(KeySequence, OneKeyWithOrWithoutBrackets)
{
    for (const char* argument : {"Shift", "<Shift>"})
        EXPECT_EQ(singleKeyName(QLatin1String(argument)), QStringLiteral("Shift"));
    for (const char* argument : {"a", "<", ">", "+"})
        EXPECT_EQ(singleKeyName(QLatin1String(argument)), QLatin1String(argument));
    EXPECT_EQ(singleKeyName(QStringLiteral("<+>")), QStringLiteral("+"));
    EXPECT_NE(
        failureOf([] { singleKeyName(QStringLiteral("<Ctrl+a>")); }).find("combination"), std::string::npos);
    EXPECT_NE(
        failureOf([] { singleKeyName(QStringLiteral("<>")); }).find("No key is named"), std::string::npos);
}

TEST(ShellWords, QuotesCommentsAndBackslashes)
{
    const std::pair<const char*, QStringList> cases[] = {
        {"", {}},
        {" \t # only a comment", {}},
        {"keys a  b", {QStringLiteral("keys"), QStringLiteral("a"), QStringLiteral("b")}},
        {"keys 'a  \"b\\' # rest", {QStringLiteral("keys"), QStringLiteral("a  \"b\\")}},
        {R"("a \"b\" \\ \n $x")", {QStringLiteral("a \"b\" \\ \\n $x")}},
        {R"(a\ b\#c#d)", {QStringLiteral("a b#c#d")}},
        {"a'b'\"c\"d", {QStringLiteral("abcd")}},
        {"'' \"\"", {QString(), QString()}},
    };
    for (const auto& [line, words] : cases)
        EXPECT_EQ(splitShellWords(QLatin1String(line)), words) << line;
}

TEST(ShellWords, UnbalancedQuotesSayWhere)
{
    const auto failureIn
        = [](const char* line) { return failureOf([line] { splitShellWords(QLatin1String(line)); }); };
    EXPECT_EQ(failureIn("keys 'abc"), "The quote ' at character 6 is not closed");
    EXPECT_EQ(failureIn("keys \"a\\\""), "The quote \" at character 6 is not closed");
    EXPECT_EQ(failureIn("keys a\\"), "The line ends in a backslash; lines cannot be continued");
}

TEST(TextPattern, IsExactOrHasWildcardsOrIsAnExpression)
{
    const std::tuple<const char*, const char*, bool> cases[] = {{"a.b", "a.b", true}, {"a.b", "axb", false},
        {"a*", "a\nb", true}, {"a?", "a", false}, {"\\*a", "*a", true}, {"\\*a", "ba", false},
        {"/b/", "abc", true}, {"/^b/", "abc", false}, {"/", "/", true}, {"//", "//", true}};
    for (const auto& [pattern, text, matches] : cases)
        EXPECT_EQ(TextPattern(QLatin1String(pattern)).matches(QLatin1String(text)), matches)
            << pattern << ' ' << text;
    EXPECT_NE(failureOf([] { TextPattern(QStringLiteral("/a(/")); }).find("/a(/"), std::string::npos);
}

TEST(Arguments, TextsStayAsTheyAre)
{
    QStringList texts;
    Arguments arguments(QStringLiteral("test"));
    arguments.texts("TEXT...", texts, "");
    // Each of these means something to the parser underneath.
    const QStringList words {QStringLiteral("++"), QStringLiteral("[a,b]"), QStringLiteral("{}"), QString(),
        QStringLiteral("-"), QStringLiteral("-5"), QStringLiteral("%%")};
    EXPECT_TRUE(arguments.parse(words));
    EXPECT_EQ(texts, words);
}

} // namespace

} // namespace Zendra::Runner
