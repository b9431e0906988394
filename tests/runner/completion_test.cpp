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

TEST(Completion, OfCommandsOptionsAndFixedWords)
{
    const char* const files = "compopt -o default\n\n"; // left to bash
    const struct {
        const char* line;
        const char* words;
        const char* begun;
        const char* suggestions;
    } rows[] = {{"cli", "cli", "cli", "click\nclipboard\n"}, {"--d", "--d", "--d", "--display\n"},
        {"drop --d", "drop --d", "--d", "--distance\n"}, {"frobnicate ", "frobnicate ''", "''", "\n"},
        {"clipboard ", "clipboard ''", "''", "get\nset\n"}, {"move bu", "move bu", "bu", "button\n"},
        {"drop 1 2 check-m", "drop 1 2 check-m", "check-m", "check-menu-item\n"},
        {"screenshot --of sli", "screenshot --of sli", "sli", "slider\n"},
        {"mouse --button left d", "mouse --button left d", "d", "down\n"},
        {"click --button=f", "click --button = f", "f", "forward\n"},
        {"--display :0 cli", "--display : 0 cli", "cli", "click\nclipboard\n"},
        {"--headless=800x600 --json mouse u", "--headless = 800x600 --json mouse u", "u", "up\n"},
        {"script lo", "script lo", "lo", files}, {"convert a.zrle b", "convert a.zrle b", "b", files}};
    for (const auto& row : rows) {
        EXPECT_EQ(
            suggestions(std::string("'zendra ") + row.line + "'", row.words, row.begun), row.suggestions)
            << row.line;
    }
    EXPECT_EQ(suggestions("'zendra '", "''", "''"), zendra({"--complete", ""}).output);
}

TEST(Completion, OfRoles)
{
    expectDone(zendra({"--complete", "click", "window \"A\" > rad"}),
        "window \"A\" > radio\nwindow \"A\" > radio-button\nwindow \"A\" > radio-menu-item\n");
    expectDone(zendra({"--complete", "click", "button \"S"}), "\n");
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
