#pragma once

#include <optional>

#include "cli/command.h"
#include "cli/textpattern.h"

namespace Zendra::Runner
{

/// Waits until the clipboard holds a text.
class ExpectClipboard : public Command
{
public:
    void declare(Arguments& arguments) override;
    void check() override;
    bool needsGuiApplication() const override { return true; }
    int longestTime() const override;
    void run(Session& session) const override;

private:
    QString m_text;
    std::optional<TextPattern> m_pattern;
    double m_seconds = 5.0;
};

/// Waits until a file exists, and contains a text.
class ExpectFile : public Command
{
public:
    void declare(Arguments& arguments) override;
    void check() override;
    int longestTime() const override { return static_cast<int>(m_seconds * 1000.0); }
    void run(Session& session) const override;

private:
    bool isMet() const;
    QString complaint() const;

    QString m_path;
    std::optional<QString> m_text;
    std::optional<TextPattern> m_pattern;
    double m_seconds = 5.0;
};

} // namespace Zendra::Runner
