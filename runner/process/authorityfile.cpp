#include "authorityfile.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QRandomGenerator>

#include <protocol/socketfolder.h>

#include "cli/failure.h"
#include "processtree.h"

#include <X11/Xauth.h>

namespace Zendra::Runner
{

namespace
{

const QString prefix = QStringLiteral("xauthority-");

void removeStaleFiles(const QDir& folder)
{
    const QStringList names = folder.entryList({prefix + QLatin1Char('*')}, QDir::Files | QDir::Hidden);
    for (const QString& name : names) {
        bool isNumber = false;
        const pid_t process = name.mid(prefix.size()).toInt(&isNumber);
        if (isNumber && kill(process, 0) != 0 && errno == ESRCH)
            QFile::remove(folder.filePath(name));
    }
}

QByteArray newFileName()
{
    const QString errorText = Protocol::createSocketFolder();
    if (!errorText.isEmpty())
        throw Failure(ExitStatus::Unreachable, errorText);
    const QDir folder(Protocol::socketFolder());
    removeStaleFiles(folder);
    return QFile::encodeName(folder.filePath(prefix + QString::number(getpid())));
}

/// False when the file cannot be written; errno says why.
bool writeCookie(int fileDescriptor)
{
    const std::unique_ptr<FILE, decltype(&std::fclose)> file(fdopen(fileDescriptor, "w"), &std::fclose);
    quint32 cookie[4];
    QRandomGenerator::system()->fillRange(cookie);
    QByteArray protocol("MIT-MAGIC-COOKIE-1");
    Xauth entry {};
    entry.family = FamilyWild;
    entry.name = protocol.data();
    entry.name_length = static_cast<unsigned short>(protocol.size());
    entry.data = reinterpret_cast<char*>(cookie);
    entry.data_length = sizeof cookie;
    return file != nullptr && XauWriteAuth(file.get(), &entry) != 0 && std::fflush(file.get()) == 0;
}

} // namespace

AuthorityFile::AuthorityFile()
    : m_name(newFileName())
    , m_file(m_name)
{
    unlink(m_name.constData());
    const int file = open(m_name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (file < 0 || !writeCookie(file)) {
        throw Failure(ExitStatus::Unreachable,
            QStringLiteral("Cannot write '%1': %2").arg(QFile::decodeName(m_name), qt_error_string(errno)));
    }
}

void useAuthorityOf(qint64 processId)
{
    const QByteArray file = environmentVariable(processId, "XAUTHORITY");
    if (!file.isNull())
        qputenv("XAUTHORITY", file);
}

} // namespace Zendra::Runner
