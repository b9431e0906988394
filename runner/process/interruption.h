#pragma once

#include <QtGlobal>

namespace Zendra::Runner
{

/// Notices SIGINT, SIGTERM and SIGHUP, so that a command ends with no key held and no frame left on screen.
///
/// The second signal ends the process at once. There is one object in a process.
class Interruption
{
public:
    Interruption();
    ~Interruption();

    bool happened() const;
    /// Readable from the first signal on.
    int fileDescriptor() const { return m_fileDescriptor; }

private:
    Q_DISABLE_COPY(Interruption)

    int m_fileDescriptor;
};

} // namespace Zendra::Runner
