#pragma once

#include <optional>

#include <QString>
#include <QStringList>

#include "cli/command.h"
#include "target.h"

namespace Zendra::Runner
{

/// A command that acts on one element with pointer and keys.
class ElementCommand : public InputCommand
{
public:
    void declare(Arguments& arguments) override;
    void check() override;

protected:
    const Locator& locator() const { return *m_locator; }
    void setLocator(const Locator& locator) { m_locator = locator; }
    const ElementSearch& search() const { return m_search; }
    /// Waits until the element can be clicked, and clicks it.
    FoundElement click(Session& session, const Locator& locator, const QDeadlineTimer& deadline) const;

private:
    QString m_text;
    std::optional<Locator> m_locator;
    ElementSearch m_search;
};

class Fill : public ElementCommand
{
public:
    void declare(Arguments& arguments) override;
    void check() override;
    void checkKeyboard(Session& session) const override;
    void run(Session& session) const override;

private:
    FoundElement focus(Session& session, const QDeadlineTimer& deadline) const;

    QString m_content;
    CommandPointer m_typing;
};

class Choose : public ElementCommand
{
public:
    void declare(Arguments& arguments) override;
    void check() override;
    void run(Session& session) const override;

private:
    QString m_item;
};

class Menu : public InputCommand
{
public:
    void declare(Arguments& arguments) override;
    void check() override;
    void run(Session& session) const override;

private:
    FoundElement open(Session& session, std::size_t level, const QDeadlineTimer& deadline) const;

    QString m_path;
    std::vector<Locator> m_levels;
    ElementSearch m_search;
};

class Check : public ElementCommand
{
public:
    Check()
        : Check(true)
    {
    }
    void run(Session& session) const override;

protected:
    explicit Check(bool isWanted)
        : m_isWanted(isWanted)
    {
    }

private:
    const bool m_isWanted;
};

class Uncheck : public Check
{
public:
    Uncheck()
        : Check(false)
    {
    }
};

class ScrollTo : public ElementCommand
{
public:
    void run(Session& session) const override;
};

class Pick : public Command
{
public:
    void declare(Arguments& arguments) override;
    void check() override;
    void run(Session& session) const override;

private:
    std::optional<QString> m_at;
    std::optional<QPoint> m_place;
    ElementSearch m_search;
};

} // namespace Zendra::Runner
