#pragma once

#include <QByteArray>

#include "lastresort.h"

namespace Zendra::Runner
{

/// A file with a new MIT-MAGIC-COOKIE-1 for an X server, which only this user can read; removed with the
/// object.
///
/// Its entry is for every display, since the server chooses its number after it has read the file.
class AuthorityFile
{
public:
    /// In the folder of the sockets, where it removes those that killed processes left. Throws a Failure of
    /// status Unreachable.
    AuthorityFile();

    const QByteArray& name() const { return m_name; }

private:
    Q_DISABLE_COPY(AuthorityFile)

    const QByteArray m_name;
    const MortalFile m_file;
};

/// Lets this process connect to the display of another process of this user, by the XAUTHORITY of its
/// environment.
void useAuthorityOf(qint64 processId);

} // namespace Zendra::Runner
