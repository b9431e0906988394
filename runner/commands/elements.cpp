// Commands that find elements and tell about them.

#include "commands.h"

#include <algorithm>

#include <QJsonArray>
#include <QJsonObject>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "elementactions.h"
#include "elementtext.h"
#include "session/session.h"
#include "target.h"
#include "x11/desktopwindows.h"

namespace Zendra::Runner
{

namespace
{

constexpr int allLevels = 1000;

/// The visible windows of programs that do not describe their elements, as "'TITLE' (process 12)".
QStringList silentWindows(Session& session, const ElementTree& tree)
{
    QStringList texts;
    DesktopWindows desktop(session.displayName());
    for (const DesktopWindow& window : desktop.read()) {
        const bool isKnown = std::any_of(tree.applications().begin(), tree.applications().end(),
            [&window](
                const AccessibleApplication& application) { return application.process == window.process; });
        if (!isKnown && window.isVisible) {
            texts.append(
                QStringLiteral("'%1' (process %2)")
                    .arg(onOneLine(window.title),
                        window.process > 0 ? QString::number(window.process) : QStringLiteral("unknown")));
        }
    }
    return texts;
}

class Tree : public Command
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.text("[LOCATOR]", m_text, "only this element and those inside", Completion::Locator);
        arguments.number("--depth N", m_depth, {0, allLevels}, "how many levels; all by default");
        m_search.declare(arguments);
    }

    void check() override
    {
        if (m_text)
            m_locator.emplace(*m_text);
    }

    void run(Session& session) const override
    {
        Elements& elements = m_search.elements(session);
        ElementTree& tree = elements.tree();
        std::vector<int> roots;
        if (m_locator) {
            roots.push_back(
                elements.find(*m_locator, Elements::Need::Reading, {}, m_search.deadline()).index);
            std::vector<int> inside = roots;
            for (std::size_t index = 0; index < inside.size(); ++index) {
                const std::vector<int>& children = tree.at(inside[index]).children;
                inside.insert(inside.end(), children.begin(), children.end());
            }
            loadPrinted(tree, inside);
        } else {
            elements.read(searchedProperties);
            std::vector<int> all(tree.elements().size());
            for (std::size_t index = 0; index < all.size(); ++index)
                all[index] = static_cast<int>(index);
            loadPrinted(tree, all);
            for (const AccessibleApplication& application : tree.applications())
                roots.push_back(application.element);
        }
        print(session, tree, roots);
    }

private:
    void print(Session& session, const ElementTree& tree, const std::vector<int>& roots) const
    {
        const QStringList silent = m_locator ? QStringList() : silentWindows(session, tree);
        QString text;
        QJsonArray objects;
        for (const int root : roots) {
            text += toText(tree, root, m_depth);
            objects.append(toJson(tree, root, m_depth));
        }
        for (const QString& window : silent)
            text += QStringLiteral("The window %1 does not describe its elements\n").arg(window);
        if (tree.isTruncated())
            text += QStringLiteral("There are more elements than this command reads\n");
        text.chop(1);
        session.output().result(text,
            {{QStringLiteral("elements"), objects},
                {QStringLiteral("withoutElements"), QJsonArray::fromStringList(silent)}});
    }

    std::optional<QString> m_text;
    std::optional<Locator> m_locator;
    int m_depth = allLevels;
    ElementSearch m_search;
};

class Get : public Command
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.text("LOCATOR", m_text, "the element", Completion::Locator);
        arguments.choice<What>("text|value|name|states|rect|count", m_what,
            {{"text", What::Text}, {"value", What::Value}, {"name", What::Name}, {"states", What::States},
                {"rect", What::Rect}, {"count", What::Count}},
            "what to print");
        m_search.declare(arguments);
    }

    void check() override { m_locator.emplace(m_text); }

    void run(Session& session) const override
    {
        Elements& elements = m_search.elements(session);
        ElementTree& tree = elements.tree();
        if (m_what == What::Count) {
            elements.waitUntil(m_search.deadline(), [&] {
                elements.read(searchedProperties);
                return elements.silentText().isEmpty();
            });
            elements.requireAnswers();
            const auto count = static_cast<int>(findElements(tree, *m_locator, Visibility::Showing).size());
            session.output().result(QString::number(count), {{QStringLiteral("count"), count}});
            return;
        }
        const int index = elements.find(*m_locator, Elements::Need::Reading, {}, m_search.deadline()).index;
        loadPrinted(tree, {index});
        const Element& element = tree.at(index);
        Output& output = session.output();
        switch (m_what) {
        case What::Text: {
            const QString text = contentOf(tree, index);
            output.result(text, {{QStringLiteral("text"), text}});
            return;
        }
        case What::Value: {
            const QString value = valueOf(tree, index);
            if (value.isEmpty())
                throw operationFailure(QStringLiteral("%1 has no value").arg(describe(tree, index)));
            output.result(value, {{QStringLiteral("value"), *tree.at(index).value}});
            return;
        }
        case What::Name: {
            const QString name = tree.effectiveName(index);
            output.result(name, {{QStringLiteral("name"), name}});
            return;
        }
        case What::States: {
            const QStringList names = toNames(element.states);
            output.result(names.join(QLatin1Char(' ')),
                {{QStringLiteral("states"), QJsonArray::fromStringList(names)}});
            return;
        }
        case What::Rect:
        case What::Count:
            output.result(rectText(element.rect), {{QStringLiteral("rect"), toJson(element.rect)}});
        }
    }

private:
    enum class What { Text, Value, Name, States, Rect, Count };

    QString m_text;
    What m_what = What::Text;
    std::optional<Locator> m_locator;
    ElementSearch m_search;
};

/// Waits until an element is as expected.
class Expect : public Command
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.text("LOCATOR", m_text, "the element", Completion::Locator);
        arguments.text("--text T", m_content, "its text; * matches any text, and /REGEX/ is possible");
        arguments.text("--value V", m_value, "its value, a number, or a text as with --text");
        const auto state = [&](const char* wanted, const char* unwanted, int number, const char* help,
                               const char* opposite) {
            m_states.push_back({number, false, false});
            arguments.flag(wanted, m_states.back().isWanted, help);
            if (unwanted != nullptr)
                arguments.flag(unwanted, m_states.back().isUnwanted, opposite);
        };
        m_states.reserve(4);
        state("--checked", "--unchecked", State::Checked, "it is checked", "it is not checked");
        state("--enabled", "--disabled", State::Enabled, "it is enabled", "it is greyed out");
        state("--focused", nullptr, State::Focused, "it has the keyboard focus", nullptr);
        state("--selected", nullptr, State::Selected, "it is selected", nullptr);
        arguments.number("--count N", m_count, {0, 1'000'000}, "so many elements are showing");
        arguments.flag("--gone", m_isGone, "no such element is showing");
        m_search.declare(arguments);
    }

    void check() override
    {
        m_locator.emplace(m_text);
        for (const Expected& expected : m_states) {
            if (expected.isWanted && expected.isUnwanted) {
                throw usageFailure(QStringLiteral("An element cannot be %1 and not be so")
                                       .arg(stateNames().at(expected.state)));
            }
        }
        const bool isAboutOne = m_content || m_value
            || std::any_of(m_states.begin(), m_states.end(),
                [](const Expected& expected) { return expected.isWanted || expected.isUnwanted; });
        if (static_cast<int>(m_isGone) + static_cast<int>(m_count.has_value()) + static_cast<int>(isAboutOne)
            > 1)
            throw usageFailure(
                QStringLiteral("--gone and --count exclude each other and expectations of one element"));
        if (m_content)
            m_contentPattern.emplace(*m_content);
        if (m_value)
            m_valuePattern.emplace(*m_value);
    }

    void run(Session& session) const override
    {
        Elements& elements = m_search.elements(session);
        const QDeadlineTimer deadline = m_search.deadline();
        QString missing;
        if (!elements.waitUntil(deadline, [&] { return isMet(elements, missing); }))
            throw operationFailure(QStringLiteral("%1, after %2 s")
                                       .arg(missing.isEmpty() ? elements.whyNotOne(*m_locator) : missing)
                                       .arg(m_search.seconds()));
    }

private:
    struct Expected {
        int state;
        bool isWanted;
        bool isUnwanted;
    };

    bool isMet(Elements& elements, QString& missing) const
    {
        ElementTree& tree = elements.read(searchedProperties);
        const std::vector<int> found = findElements(tree, *m_locator, Visibility::Showing);
        if (m_isGone || m_count) {
            const int wanted = m_count.value_or(0);
            const auto count = static_cast<int>(found.size());
            missing = elements.silentText();
            if (missing.isEmpty()) {
                missing = m_isGone ? QStringLiteral("%1 is still showing").arg(m_locator->text())
                                   : QStringLiteral("There are %1 elements %2, not %3")
                                         .arg(count)
                                         .arg(m_locator->text())
                                         .arg(wanted);
                return count == wanted;
            }
            return false;
        }
        missing.clear();
        return found.size() == 1 && isAsExpected(tree, found.front(), missing);
    }

    bool isAsExpected(ElementTree& tree, int index, QString& missing) const
    {
        const QString name = describe(tree, index);
        loadPrinted(tree, {index});
        for (const Expected& expected : m_states) {
            const bool has = isInState(tree.at(index).states, expected.state);
            if ((expected.isWanted && !has) || (expected.isUnwanted && has)) {
                missing = QStringLiteral("%1 is %2%3")
                              .arg(name, has ? QString() : QStringLiteral("not "),
                                  stateNames().at(expected.state));
                return false;
            }
        }
        if (m_contentPattern && !m_contentPattern->matches(contentOf(tree, index))) {
            missing = QStringLiteral("%1 has the text '%2', not '%3'")
                          .arg(name, onOneLine(contentOf(tree, index)), *m_content);
            return false;
        }
        if (m_valuePattern && !hasValue(tree, index)) {
            missing
                = QStringLiteral("%1 has the value '%2', not '%3'").arg(name, valueOf(tree, index), *m_value);
            return false;
        }
        return true;
    }

    bool hasValue(ElementTree& tree, int index) const
    {
        bool isNumber = false;
        const double wanted = m_value->toDouble(&isNumber);
        const QString actual = valueOf(tree, index);
        if (isNumber && !actual.isEmpty())
            return qFuzzyCompare(1.0 + wanted, 1.0 + *tree.at(index).value);
        return m_valuePattern->matches(actual);
    }

    QString m_text;
    std::optional<Locator> m_locator;
    std::optional<QString> m_content;
    std::optional<QString> m_value;
    std::optional<TextPattern> m_contentPattern;
    std::optional<TextPattern> m_valuePattern;
    std::vector<Expected> m_states;
    std::optional<int> m_count;
    bool m_isGone = false;
    ElementSearch m_search;
};

constexpr CommandInfo commands[] = {
    {"tree", "prints the elements of programs: their roles, names, states, values and places",
        "Roles and names are what locators are made of. Only programs that describe their elements by AT-SPI are\n"
        "listed; the windows of the others are named at the end.",
        "zendra tree\n"
        "zendra tree --in 'Calculator' --depth 3\n"
        "zendra --json tree 'dialog \"Save As\"'",
        makeCommand<Tree>},
    {"get", "prints the text, the value or another property of an element", "",
        "zendra get 'field \"Name\"' text\n"
        "zendra get 'slider \"Volume\"' value\n"
        "zendra get 'table > row [selected]' count",
        makeCommand<Get>},
    {"expect", "waits until an element is as expected",
        "Without an option it waits until exactly one such element is showing.",
        "zendra expect 'label \"Saved\"'\n"
        "zendra expect 'field \"Name\"' --text 'A*'\n"
        "zendra expect 'checkbox \"Wrap lines\"' --checked --enabled\n"
        "zendra expect 'dialog \"Save As\"' --gone",
        makeCommand<Expect>},
    {"fill", "replaces the text of a field",
        "It clicks the field, selects what is in it, types TEXT, and checks that the field holds it.",
        "zendra fill 'field \"Name\"' 'Ada Lovelace'\n"
        "zendra fill --in 'Save As' '\"Name:\"' letter.txt",
        makeCommand<Fill>},
    {"choose", "chooses an entry of a combo box or list",
        "It opens the combo box, scrolls to the entry, and clicks it.",
        "zendra choose 'combo \"Colour\"' 'Green'\n"
        "zendra choose 'list \"Files\"' 'letter.txt'",
        makeCommand<Choose>},
    {"menu", "opens menus and clicks an entry",
        "Levels are separated by >. An ellipsis may be written as three dots.",
        "zendra menu 'File > Save As…'\n"
        "zendra menu --in 'Editor' 'View > Word Wrap'",
        makeCommand<Menu>},
    {"check", "checks a check box, or what else can be checked, unless it is",
        "It clicks only where that is needed, and waits until the element is checked.",
        "zendra check 'checkbox \"Wrap lines\"'", makeCommand<Check>},
    {"uncheck", "unchecks a check box, or what else can be checked, if it is checked",
        "It clicks only where that is needed, and waits until the element is not checked.",
        "zendra uncheck 'checkbox \"Wrap lines\"'", makeCommand<Uncheck>},
    {"scroll-to", "scrolls until an element is in view", "", "zendra scroll-to 'cell \"Zürich\"'",
        makeCommand<ScrollTo>},
    {"pick", "prints the shortest locator of the element that one clicks",
        "The click goes to no program. With --at nothing needs to be clicked.",
        "zendra pick\n"
        "zendra pick --at 200,100",
        makeCommand<Pick>},
};

} // namespace

CommandGroup elementCommands()
{
    return makeGroup("Elements", commands);
}

} // namespace Zendra::Runner
