// Locators and the commands that take them, with real programs of three toolkits.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include "zendracommand.h"

namespace Zendra::Tests
{

namespace
{

using testing::HasSubstr;

/// Runs a script beside a program, on a screen and an accessibility bus of their own.
class Elements : public testing::Test
{
protected:
    Outcome run(const std::string& script, Words program = {ZENDRA_EXAMPLE_FORM})
    {
        const std::string name = path("script.zs");
        std::ofstream(name) << script;
        Words words {"run", "--headless", "--script", name, "--"};
        words.insert(words.end(), program.begin(), program.end());
        return zendra(words);
    }

    /// Runs a shell script while the example program runs, whose process is $form.
    Outcome beside(const std::string& script)
    {
        const EnvironmentVariable form("FORM", ZENDRA_EXAMPLE_FORM);
        const EnvironmentVariable file("SCRIPT", path("script.sh"));
        std::ofstream(path("script.sh")) << "$FORM & form=$!\n$zendra expect window\n"
                                         << script << "\nkill -KILL $form\n";
        // What is started first brings the buses along.
        return shell(
            "printf \"start sleep infinity\\nexec 'zendra=$zendra bash $SCRIPT'\\n\" | $zendra --headless script -");
    }

    std::string path(const char* name) const
    {
        return m_folder.filePath(QString::fromUtf8(name)).toStdString();
    }

private:
    const QTemporaryDir m_folder;
    /// Qt prints a warning when the registry takes long to answer.
    const EnvironmentVariable m_rules {"QT_LOGGING_RULES", "default.warning=false"};
    const EnvironmentVariable m_home {"HOME", m_folder.path().toStdString()};
    const EnvironmentVariable m_configuration {"XDG_CONFIG_HOME", m_folder.path().toStdString()};
    const EnvironmentVariable m_data {"XDG_DATA_HOME", m_folder.path().toStdString()};
    const EnvironmentVariable m_runtime {"XDG_RUNTIME_DIR", m_folder.path().toStdString()};
};

TEST_F(Elements, AreFilledChosenAndScrolledToInQt)
{
    const Outcome outcome = run(R"(expect 'window "Postcard"' --timeout 20
fill 'field "Whom*"' 'Ada Łovelace'
fill 'field #2' "two
lines"
expect 'field #1' --text 'Ada*' --enabled
get 'field #2' text
choose list 'Oa?'
expect 'row "Oak"' --selected
scroll-to 'row "Anemone"'
expect 'row "Anemone"'
expect 'row "Oak"' --gone
get 'list > row' count
get 'list > row [!showing]' count
pick --at 450,290
click 'row "Beech"' --offset 5,5
expect 'row "Beech" [selected]' --count 1
menu 'Card > New'
expect 'field #1' --text ''
)");
    expectDone(outcome, "two\nlines\n5\n15\n\"Anemone\"\n");
}

TEST_F(Elements, SayWhatIsMissing)
{
    const Outcome outcome = beside(R"(
$zendra click 'button "Pots"' --timeout 0.1
$zendra click 'list > row' --timeout 0.1
$zendra menu 'Card > Print' --timeout 0.3
$zendra expect 'row "Oak"' --timeout 0.1
$zendra expect 'field #1' --text No --timeout 0.1
$zendra expect 'field #1' --disabled --timeout 0.1
$zendra get 'button "Post"' value
xterm -T cover -geometry 100x50+300+0 2>/dev/null & cover=$!
$zendra wait-window cover
$zendra click 'button "Post"' --timeout 0.3
kill $cover)");
    for (const char* const text :
        {R"(There is no button "Pots"; similar: button "Post" (after)",
            R"(There are 5 elements list > row; say more, or append #1: window "Postcard" > row "Anemone" at)",
            R"(There is no "Print")", R"(row "Oak" is not in view)", "has the text '', not 'No'",
            "is enabled", R"(button "Post" has no value)",
            R"(button "Post" is covered by the window 'cover' of process)"})
        EXPECT_THAT(outcome.error, HasSubstr(text));
}

TEST(Locators, TeachTheirGrammar)
{
    const std::pair<const char*, const char*> wrong[]
        = {{"buton", "unknown role 'buton'; did you mean 'button'?"}, {"OK", "a name stands in quotes"},
            {"button \"OK", "the quote is not closed"}, {"button [enabeld]", "did you mean 'enabled'?"},
            {"button > ", "a step is empty"}, {"button #0", "a number from 1"},
            {"button link", "a second role in one step"}, {"/(/", "Invalid regular expression /(/"},
            {"button ]", "unexpected ']'"}};
    for (const auto& [locator, text] : wrong)
        expectFailure(zendra({"click", locator}), 2, text);
    expectFailure(zendra({"click", "button", "OK"}), 2, "a locator is one word");
    expectFailure(zendra({"drop", "10", "20", "button"}), 3, "There is no display");
}

TEST_F(Elements, OfAStoppedOrKilledApplicationAreErrors)
{
    const Outcome outcome = beside(R"(
kill -STOP $form
$zendra click 'button "Post"' --timeout 0.5
$zendra expect 'button "Post"' --gone --timeout 0.5
$zendra --json get button count --timeout 0.5
kill -CONT $form
{ $zendra expect 'button "Nothing"' --in $form --timeout 30; echo status $?; } & waiting=$!
$zendra expect 'button "Post"' --timeout 20
kill -KILL $form
wait $waiting)");
    EXPECT_THAT(outcome.error, HasSubstr("does not answer (after"));
    EXPECT_THAT(outcome.error, HasSubstr("does not answer, after"));
    EXPECT_THAT(outcome.output, HasSubstr("Cannot read all elements"));
    EXPECT_THAT(outcome.output, HasSubstr("status 4"));
}

/// Each element of `array` and those inside, with the role.
int countRole(const QJsonArray& array, const QString& role)
{
    int count = 0;
    for (const QJsonValue& value : array) {
        count += value.toObject().value(QStringLiteral("role")) == role ? 1 : 0;
        count += countRole(value.toObject().value(QStringLiteral("children")).toArray(), role);
    }
    return count;
}

TEST_F(Elements, AreTreesAsTextAndJson)
{
    const Outcome text = run("expect window --timeout 20\ntree 'menu-bar > item \"Card\"'\n");
    expectDone(text,
        "menu-item \"Card\" 426,60,39,22\n  popup-menu [!showing]\n    menu-item \"New\" [!showing]\n"
        "    menu-item \"Post\" [!showing]\n    separator [!enabled] [!showing]\n"
        "    menu-item \"Quit\" [!showing]\n");
    const std::string script = path("script.zs");
    std::ofstream(script) << "expect window --timeout 20\ntree\n";
    const Outcome json
        = zendra({"--json", "run", "--headless", "--script", script, "--", ZENDRA_EXAMPLE_FORM});
    const QList<QByteArray> lines = QByteArray::fromStdString(json.output).split('\n');
    const QJsonObject object = QJsonDocument::fromJson(lines.at(0)).object();
    const QJsonArray elements = object.value(QStringLiteral("elements")).toArray();
    EXPECT_EQ(countRole(elements, QStringLiteral("list-item")), 20) << json.output;
    EXPECT_EQ(elements.at(0).toObject().value(QStringLiteral("name")), QStringLiteral("zendra-example-form"));
}

TEST_F(Elements, OfGtkAreFilledAndClicked)
{
    const std::string file = path("Grüße.txt");
    expectDone(run("expect 'frame \"Untitled*\"' --timeout 30\nfill 'text' 'Hello wörld'\n"
                   "menu 'File > Save As...'\nfill '\"Name:\"' '"
            + file + "'\nclick 'dialog \"Save As\" > button \"Save\"'\nexpect 'dialog \"Save As\"' --gone\n"
            + "expect 'frame \"*Gr??e.txt*\"'\n",
        {"bash", "-c", "exec mousepad --disable-server 2>/dev/null"}));
    QFile saved(QString::fromStdString(file));
    EXPECT_TRUE(saved.open(QIODevice::ReadOnly));
    EXPECT_EQ(saved.readAll(), "Hello wörld");
    const Words zenity {
        "zenity", "--forms", "--add-entry=First name", "--add-entry=Last name", "--add-password=Password"};
    expectDone(run("expect 'dialog' --timeout 30\nfill 'field #1' Ada\nfill 'field #2' Łovelace\n"
                   "fill 'password-text' geheim\nclick 'button \"OK\"'\n",
                   zenity),
        "Ada|Łovelace|geheim\n");
}

TEST_F(Elements, AreMissedInProgramsThatDescribeNone)
{
    const Words xterm {"bash", "-c", "exec xterm -T xterm 2>/dev/null"};
    expectFailure(run("wait-window 'xterm*' --timeout 20\nclick 'button \"OK\"' --timeout 0.2\n", xterm), 1,
        "no program on this display describes its elements");
    const Outcome tree = run("wait-window 'xterm*' --timeout 20\ntree\n", xterm);
    EXPECT_THAT(tree.output,
        testing::MatchesRegex("The window 'xterm' .process [0-9]+. does not describe its elements\n"));
}

TEST_F(Elements, WithoutDescriptionAreFoundByTheirPictures)
{
    std::ofstream(path("w.tcl")) << R"(wm title . Tk; wm geometry . 200x140+100+100
foreach {name y text} {a 10 Apply b 50 Cancel c 90 Apply} {
    button .$name -text $text -command "wm title . $name"
    place .$name -x 20 -y $y -width 90 -height 30
})";
    const Outcome outcome = shell("cd " + path("") + R"(; exec $zendra run --headless -- bash -c '
wish w.tcl & wish=$!
$zendra wait-window Tk --timeout 20 && $zendra wait-stable --for 100 --timeout 20
$zendra screenshot --window Tk --area 24,14,82,22 apply.png
$zendra screenshot --window Tk --area 24,54,82,22 cancel.png
$zendra wait-stable --of image:cancel.png --for 20
$zendra screenshot --of "image:apply.png #2" second.png && cmp apply.png second.png
$zendra expect-screen apply.png --of "image:apply.png #2"
$zendra click image:cancel.png && $zendra wait-window b
$zendra click image:apply.png --timeout 0.1 || echo $?
$zendra click "image:apply.png #2" --in b && $zendra wait-window c
$zendra click "image:apply.png #3" --timeout 0.1
$zendra move image:cancel.png --offset 500,0 --similarity 1.5
kill $wish')");
    EXPECT_EQ(outcome.output, "1\n");
    EXPECT_THAT(outcome.error,
        AllOf(HasSubstr("There are 2 places image:apply.png; append #1: "),
            HasSubstr("There are only 2 places image:apply.png: "), HasSubstr("not a number from 0.1 to 1")));
}

} // namespace

} // namespace Zendra::Tests
