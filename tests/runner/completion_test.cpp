// Completion in bash: what the function of the shell suggests for a line.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zendracommand.h"

namespace Zendra::Tests
{

namespace
{

using testing::HasSubstr;
using testing::Not;

/// What bash is told for a line, one suggestion a line. `words` are the line as bash splits it, quoted for
/// the shell, without the command; `begun` is the last one as bash hands it to the function.
std::string suggestions(const std::string& line, const std::string& words, const std::string& begun)
{
    const Outcome outcome = shell("source " ZENDRA_COMPLETION "\n"
                                  "compopt() { echo \"compopt $*\"; }\n"
                                  "COMP_WORDS=(zendra "
        + words + ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\nCOMP_LINE=" + line + "\n_zendra \"$zendra\" "
        + begun + "\nprintf '%s\\n' \"${COMPREPLY[@]}\"");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.error, "");
    return outcome.output;
}

TEST(Completion, OfCommandsAndOptions)
{
    EXPECT_EQ(suggestions("'zendra cli'", "cli", "cli"), "click\nclipboard\n");
    EXPECT_EQ(suggestions("'zendra --d'", "--d", "--d"), "--display\n");
    EXPECT_THAT(suggestions("'zendra drop --'", "drop --", "--"), HasSubstr("--distance\n"));
    EXPECT_EQ(suggestions("'zendra frobnicate '", "frobnicate ''", "''"), "\n");
    EXPECT_EQ(suggestions("'zendra '", "''", "''"), zendra({"--complete", ""}).output);
}

TEST(Completion, OfFixedWords)
{
    EXPECT_EQ(suggestions("'zendra clipboard '", "clipboard ''", "''"), "get\nset\n");
    EXPECT_EQ(suggestions("'zendra mouse --button left d'", "mouse --button left d", "d"), "down\n");
    EXPECT_EQ(suggestions("'zendra click --button=f'", "click --button = f", "f"), "forward\n");
    EXPECT_EQ(suggestions("'zendra move '", "move ''", "''"), "\n");
}

TEST(Completion, BehindTheOptionsOfTheProgram)
{
    EXPECT_EQ(suggestions("'zendra --display :0 cli'", "--display : 0 cli", "cli"), "click\nclipboard\n");
    EXPECT_EQ(
        suggestions("'zendra --headless=800x600 --json mouse u'", "--headless = 800x600 --json mouse u", "u"),
        "up\n");
}

TEST(Completion, OfFilesIsLeftToBash)
{
    EXPECT_EQ(suggestions("'zendra script lo'", "script lo", "lo"), "compopt -o default\n\n");
    EXPECT_EQ(suggestions("'zendra convert a.zrle b'", "convert a.zrle b", "b"), "compopt -o default\n\n");
}

TEST(Completion, OfKeys)
{
    EXPECT_EQ(suggestions("'zendra press capsl'", "press capsl", "capsl"), "CapsLock\n");
    // The word at the cursor begins with a quote that is not closed.
    EXPECT_EQ(suggestions("\"zendra keys 'a<Ctrl+CapsL\"", "keys \"'a<Ctrl+CapsL\"", "'a<Ctrl+CapsL'"),
        "a<Ctrl+CapsLock+\na<Ctrl+CapsLock>\n");
    EXPECT_THAT(suggestions("\"zendra keys a 'b<\"", "keys a \"'b<\"", "'b<'"),
        testing::AllOf(HasSubstr("b<Ctrl\n"), HasSubstr("b<Esc\n"), Not(HasSubstr("<Ctrl>"))));
    EXPECT_EQ(suggestions("'zendra keys hel'", "keys hel", "hel"), "\n");
}

} // namespace

} // namespace Zendra::Tests
