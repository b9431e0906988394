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

    bool isEmpty() const { return m_programs.empty(); }
    Program& add(std::unique_ptr<Program> program);
    /// Throws if a signal has ended one of them, the first time.
    void requireNoCrash();
    /// `failure`, which also names a program that a signal has ended.
    Failure explained(const Failure& failure);

private:
    Q_DISABLE_COPY(StartedPrograms)

    QString takeCrash();

    std::vector<std::unique_ptr<Program>> m_programs;
    std::vector<Program*> m_reported;
};

} // namespace Zendra::Runner
