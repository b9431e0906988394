#include "foldersink.h"

#include <cerrno>

#include <zendra/outputfile.h>

#include "cli/failure.h"
#include "image/imagefile.h"

namespace Zendra::Runner
{

FolderSink::FolderSink(const QString& folderName)
    : m_folder(folderName)
{
    errno = 0;
    if (!m_folder.mkpath(QStringLiteral(".")))
        throw cannotWrite(folderName, errno != 0 ? qt_error_string(errno) : QStringLiteral("no such folder"));
    // The pictures of two recordings would be mixed.
    if (!m_folder.isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot))
        throw cannotWrite(folderName, QStringLiteral("the folder is not empty"));
}

void FolderSink::show(const QImage& frame, const QRect&, qint64 time)
{
    const QString name = QStringLiteral("frame-%1-%2ms.png")
                             .arg(++m_frames, 6, 10, QLatin1Char('0'))
                             .arg(time, 8, 10, QLatin1Char('0'));
    OutputFile file(m_folder.filePath(name));
    file.write(toPng(frame));
    file.close();
    m_size += file.size();
}

void FolderSink::finish(qint64) { }

} // namespace Zendra::Runner
