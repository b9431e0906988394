#pragma once

#include <QString>

#include "childprocess.h"

namespace Zendra::Runner
{

/// Captures standard error as long as the object lives: libxcb writes there why a server refuses a
/// connection.
class StandardErrorCapture
{
public:
    StandardErrorCapture();
    ~StandardErrorCapture();

    /// `errorText` with what was captured.
    QString explain(const QString& errorText) const;

private:
    Q_DISABLE_COPY(StandardErrorCapture)

    const FileDescriptor m_previous;
    const FileDescriptor m_captured;
};

} // namespace Zendra::Runner
