#include "startedprograms.h"

#include <algorithm>

#include "program.h"

namespace Zendra::Runner
{

StartedPrograms::StartedPrograms() = default;

StartedPrograms::~StartedPrograms()
{
    while (!m_programs.empty())
        m_programs.pop_back();
}

Program& StartedPrograms::add(std::unique_ptr<Program> program)
{
    m_hasAny = true;
    m_programs.push_back(std::move(program));
    return *m_programs.back();
}

void StartedPrograms::requireNoCrash()
{
    const QString crash = takeCrash();
    if (!crash.isEmpty())
        throw operationFailure(crash);
}

Failure StartedPrograms::explained(const Failure& failure)
{
    const QString crash = takeCrash();
    if (crash.isEmpty())
        return failure;
    Failure explained(failure.status(), QStringLiteral("%1; %2").arg(failure.text(), crash));
    explained.setPlace(failure.place());
    return explained.withDetails(failure.details());
}

Program& StartedPrograms::addUnwatched(std::unique_ptr<Program> program)
{
    m_unwatched.push_back(program.get());
    m_programs.push_back(std::move(program));
    return *m_programs.back();
}

/// A sentence for a crash that was not reported yet; empty if there is none.
QString StartedPrograms::takeCrash()
{
    for (const std::unique_ptr<Program>& program : m_programs) {
        const bool isWatched
            = std::find(m_unwatched.begin(), m_unwatched.end(), program.get()) == m_unwatched.end();
        if (!isWatched || !program->hasCrashed())
            continue;
        m_unwatched.push_back(program.get());
        return QStringLiteral("'%1' %2").arg(program->name(), program->endText());
    }
    return {};
}

} // namespace Zendra::Runner
