#include "standarderror.h"

#include <algorithm>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace Zendra::Runner
{

StandardErrorCapture::StandardErrorCapture()
    : m_previous(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0))
    , m_captured(memfd_create("stderr", MFD_CLOEXEC))
{
    if (m_previous.number() >= 0 && m_captured.number() >= 0)
        dup2(m_captured.number(), STDERR_FILENO);
}

StandardErrorCapture::~StandardErrorCapture()
{
    if (m_previous.number() >= 0)
        dup2(m_previous.number(), STDERR_FILENO);
}

QString StandardErrorCapture::explain(const QString& errorText) const
{
    char buffer[1000];
    const ssize_t length = pread(m_captured.number(), buffer, sizeof buffer, 0);
    const QString text
        = QString::fromLocal8Bit(buffer, static_cast<int>(std::max<ssize_t>(0, length))).simplified();
    return errorText.isEmpty() || text.isEmpty() ? errorText : errorText + QLatin1String(": ") + text;
}

} // namespace Zendra::Runner
