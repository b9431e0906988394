#include "elementactions.h"

#include <algorithm>

#include <QJsonObject>

#include <zendra/nativeinterface.h>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "elements/elementpicker.h"
#include "elementtext.h"
#include "ranges.h"
#include "rectangle.h"
#include "session/session.h"
#include "x11/clickwatch.h"

namespace Zendra::Runner
{

namespace
{

void press(Session& session, const QString& keys)
{
    const CommandPointer command = parseCommand({QStringLiteral("keys"), keys});
    command->checkKeyboard(session);
    command->run(session);
    session.synchronize();
}

QPoint awaitClick(Session& session)
{
    constexpr int interval = 60'000; // milliseconds; clicks and interruptions end the wait
    ClickWatch watch(session.displayName());
    for (;;) {
        if (const std::optional<QPoint> place = watch.take())
            return *place;
        session.wait(interval, watch.fileDescriptor());
        session.requireNotInterrupted();
    }
}

void clickAt(Session& session, const QPoint& place)
{
    session.movePointer(place);
    NativeInterface& native = session.native();
    require(native.pointerButton(MouseButton::Left, true, 1));
    require(native.pointerButton(MouseButton::Left, false, 1));
    session.waitForRelease(MouseButton::Left);
}

const QStringList menuRoles {QStringLiteral("menu"), QStringLiteral("item")};
const QStringList entryRoles {QStringLiteral("item"), QStringLiteral("row"), QStringLiteral("cell"),
    QStringLiteral("radio-menu-item"), QStringLiteral("list-item")};

/// A locator for the entry of a list; wildcards in the name count.
Locator entryLocator(QString name)
{
    name.replace(QLatin1Char('"'), QLatin1String("\\\""));
    return Locator(QLatin1Char('"') + name + QLatin1Char('"')).withRoles(entryRoles);
}

} // namespace

void ElementCommand::declare(Arguments& arguments)
{
    arguments.text("LOCATOR", m_text, "the element", Completion::Locator);
    m_search.declare(arguments);
}

void ElementCommand::check()
{
    m_locator.emplace(m_text);
}

FoundElement ElementCommand::click(
    Session& session, const Locator& locator, const QDeadlineTimer& deadline) const
{
    const FoundElement found
        = m_search.elements(session).find(locator, Elements::Need::EnabledPointer, {}, deadline);
    clickAt(session, found.rect.center());
    return found;
}

void Fill::declare(Arguments& arguments)
{
    ElementCommand::declare(arguments);
    arguments.text("TEXT", m_content, "the text that the field holds afterwards");
}

void Fill::check()
{
    ElementCommand::check();
    if (!locator().steps().back().roles)
        setLocator(locator().withRoles({QStringLiteral("field")}));
    if (!m_content.isEmpty())
        m_typing = parseCommand({QStringLiteral("type"), QStringLiteral("--"), m_content});
}

void Fill::checkKeyboard(Session& session) const
{
    if (m_typing)
        m_typing->checkKeyboard(session);
}

/// Clicks into the field until it has the focus. A window that has just appeared can lose a click: its
/// manager still moves it, or has not activated it yet.
FoundElement Fill::focus(Session& session, const QDeadlineTimer& deadline) const
{
    Elements& elements = search().elements(session);
    ElementTree& tree = elements.tree();
    for (int interval = 1000;; interval *= 2) {
        const FoundElement found = elements.find(locator(), Elements::Need::EnabledPointer, {}, deadline);
        tree.load(found.index, Property::Role);
        // Not on the arrows, which are at the end in some toolkits and in the middle of narrow fields.
        const bool isSpin = tree.at(found.index).role == Role::SpinButton;
        clickAt(session,
            isSpin ? QPoint(found.rect.left() + std::min(10, found.rect.width() / 4), found.rect.center().y())
                   : found.rect.center());
        const auto hasFocus = [&] {
            tree.reload(found.index, Property::States);
            return hasState(tree.at(found.index).states, State::Focused);
        };
        if (elements.waitUntil(std::min(QDeadlineTimer(interval), deadline), hasFocus))
            return found;
        if (deadline.hasExpired())
            throw operationFailure(
                QStringLiteral("%1 did not get the focus").arg(describe(tree, found.index)));
    }
}

void Fill::run(Session& session) const
{
    checkKeyboard(session);
    const QDeadlineTimer deadline = search().deadline();
    Elements& elements = search().elements(session);
    ElementTree& tree = elements.tree();
    const FoundElement found = focus(session, deadline);
    const QString name = describe(tree, found.index);
    const bool isSpin = tree.at(found.index).role == Role::SpinButton;
    press(session, QStringLiteral("<Ctrl+a>"));
    if (m_typing)
        m_typing->run(session);
    else
        press(session, QStringLiteral("<Del>"));
    session.synchronize();
    if (isSpin) // a number counts when the field is left
        press(session, QStringLiteral("<Tab>"));
    const bool isSecret = tree.at(found.index).role == Role::PasswordText;
    const auto holds = [&] {
        tree.reload(found.index, Property::Text);
        const QString& text = tree.at(found.index).text;
        // Fields of several lines may add a line feed of their own.
        return isSecret ? text.size() == m_content.size()
                        : text == m_content || text == m_content + QLatin1Char('\n');
    };
    if (!elements.waitUntil(deadline, holds)) {
        throw operationFailure(isSecret
                ? QStringLiteral("%1 does not hold as many characters as were typed").arg(name)
                : QStringLiteral("%1 holds '%2' after '%3' was typed")
                      .arg(name, onOneLine(tree.at(found.index).text), onOneLine(m_content)));
    }
}

void Choose::declare(Arguments& arguments)
{
    ElementCommand::declare(arguments);
    arguments.text("ITEM", m_item, "the whole name of the entry; * matches any text");
}

void Choose::check()
{
    ElementCommand::check();
    if (m_item.isEmpty())
        throw usageFailure(QStringLiteral("ITEM is empty"));
}

void Choose::run(Session& session) const
{
    const QDeadlineTimer deadline = search().deadline();
    Elements& elements = search().elements(session);
    ElementTree& tree = elements.tree();
    const FoundElement owner = elements.find(locator(), Elements::Need::EnabledPointer, {}, deadline);
    tree.load(owner.index, Property::Role);
    const QString ownerName = describe(tree, owner.index);
    const AccessibleRef ownerRef = tree.at(owner.index).ref;
    const bool isCombo = tree.at(owner.index).role == Role::ComboBox;
    const TextPattern wanted(m_item);
    const auto isChosen = [&] {
        elements.read(searchedProperties);
        const int index = tree.indexOf(ownerRef);
        if (index < 0)
            return false;
        if (wanted.matches(contentOf(tree, index)) || wanted.matches(tree.effectiveName(index)))
            return true;
        std::vector<int> inside
            = findElements(tree, entryLocator(m_item).inside(locator()), Visibility::OutOfView);
        tree.load(inside, Property::States);
        return std::any_of(inside.begin(), inside.end(),
            [&](int entry) { return hasState(tree.at(entry).states, State::Selected); });
    };
    if (isCombo && isChosen())
        return;
    // The arrow of one with an entry is at its end.
    if (isCombo)
        clickAt(
            session, {owner.rect.right() - std::min(12, owner.rect.width() / 4), owner.rect.center().y()});
    const Locator entry = entryLocator(m_item);
    try {
        const FoundElement found = elements.find(
            isCombo ? entry : entry.inside(locator()), Elements::Need::EnabledPointer, {}, deadline);
        clickAt(session, found.rect.center());
    } catch (const Failure&) {
        if (isCombo)
            press(session, QStringLiteral("<Esc>"));
        throw;
    }
    if (!elements.waitUntil(deadline, isChosen))
        throw operationFailure(QStringLiteral("%1 did not take '%2'").arg(ownerName, m_item));
}

void Menu::declare(Arguments& arguments)
{
    arguments.text("PATH", m_path, "the names of the menus and the entry, separated by >");
    m_search.declare(arguments);
}

void Menu::check()
{
    for (const QString& name : m_path.split(QLatin1Char('>'))) {
        if (name.trimmed().isEmpty())
            throw usageFailure(QStringLiteral("'%1' is not a path such as 'File > Save'").arg(m_path));
        // A menu can be behind a button.
        const QStringList roles
            = m_levels.empty() ? menuRoles + QStringList {QStringLiteral("button")} : menuRoles;
        m_levels.push_back(Locator(quotedName(name.trimmed())).withRoles(roles));
    }
}

void Menu::run(Session& session) const
{
    const QDeadlineTimer deadline = m_search.deadline();
    std::size_t level = 0;
    try {
        for (; level < m_levels.size(); ++level) {
            const FoundElement found = m_search.elements(session).find(
                m_levels[level], Elements::Need::EnabledPointer, {}, deadline);
            clickAt(session, found.rect.center());
        }
    } catch (const Failure&) {
        for (; level > 0; --level)
            press(session, QStringLiteral("<Esc>"));
        throw;
    }
}

void Check::run(Session& session) const
{
    const QDeadlineTimer deadline = search().deadline();
    Elements& elements = search().elements(session);
    ElementTree& tree = elements.tree();
    const auto isDone = [&](int index) {
        tree.load(index, Property::States);
        const StateSet states = tree.at(index).states;
        return (hasState(states, State::Checked) || hasState(states, State::Pressed)) == m_isWanted;
    };
    if (isDone(elements.find(locator(), Elements::Need::Showing, {}, deadline).index))
        return;
    const FoundElement found = click(session, locator(), deadline);
    const QString name = describe(tree, found.index);
    const auto isNow = [&] {
        tree.reload(found.index, Property::States);
        return isDone(found.index);
    };
    if (!elements.waitUntil(deadline, isNow)) {
        throw operationFailure(m_isWanted ? QStringLiteral("%1 was clicked, but is not checked").arg(name)
                                          : QStringLiteral("%1 was clicked, but is still checked").arg(name));
    }
}

void ScrollTo::run(Session& session) const
{
    search().elements(session).find(locator(), Elements::Need::Pointer, {}, search().deadline());
}

void Pick::declare(Arguments& arguments)
{
    arguments.text("--at X,Y", m_at, "the element at this position, without a click");
    m_search.declare(arguments);
}

void Pick::check()
{
    if (m_at)
        m_place = toPoint(*m_at, QStringLiteral("The position"));
}

void Pick::run(Session& session) const
{
    Elements& elements = m_search.elements(session);
    const QString locator = pickLocator(elements, m_place ? *m_place : awaitClick(session));
    session.output().result(locator, {{QStringLiteral("locator"), locator}});
}

} // namespace Zendra::Runner
