#pragma once

#include <memory>
#include <vector>

#include "cli/failure.h"

namespace Zendra::Runner
{

class Program;

/// The programs that a script has started. They end with the object, the last one first.
class StartedPrograms
{
public:
    StartedPrograms();
    ~StartedPrograms();

    /// Whether add() was called.
    bool hasAny() const { return m_hasAny; }
    Program& add(std::unique_ptr<Program> program);
    /// One whose crash is the caller's to report.
    Program& addUnwatched(std::unique_ptr<Program> program);
    /// Throws if a signal has ended one of them, the first time.
    void requireNoCrash();
    /// `failure`, which also names a program that a signal has ended.
    Failure explained(const Failure& failure);

private:
    Q_DISABLE_COPY(StartedPrograms)

    QString takeCrash();

    std::vector<std::unique_ptr<Program>> m_programs;
    bool m_hasAny = false;
    std::vector<Program*> m_unwatched; ///< also those that were reported
};

} // namespace Zendra::Runner
