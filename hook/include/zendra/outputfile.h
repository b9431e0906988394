#pragma once

#include <string>

#include <QByteArray>
#include <QString>

#include <zendra/export.h>

namespace Zendra
{

/// A file, device or pipe that is written without a buffer, so that nothing is lost when the process is
/// killed.
///
/// Failures are thrown as std::runtime_error with a text for users. A file is locked while it is open
/// (flock(2)), so that two recordings do not mix.
class ZENDRA_EXPORT OutputFile
{
public:
    /// Opens the file and empties it, unless another process is writing it.
    explicit OutputFile(const QString& fileName);
    ~OutputFile();

    /// Writes at the current position. After a failure, such as a full disk, a file ends where commit() was
    /// called last, and that is where the next write goes.
    void write(const char* bytes, qint64 count);
    void write(const QByteArray& bytes) { write(bytes.constData(), bytes.size()); }
    /// Marks what was written so far as complete.
    void commit() { m_committed = m_size; }
    bool isSeekable() const { return m_isSeekable; }
    /// See lseek(2); negative with errno after an error.
    qint64 seek(qint64 offset, int whence);
    /// Some file systems report a full disk only now.
    void close();
    qint64 size() const { return m_size; }
    /// The text for a failure.
    std::string errorText(const std::string& reason) const;

private:
    Q_DISABLE_COPY(OutputFile)

    [[noreturn]] void fail(int error) const;

    const QString m_fileName;
    int m_fileDescriptor;
    bool m_isSeekable = false;
    qint64 m_position = 0;
    qint64 m_size = 0;
    qint64 m_committed = 0;
};

} // namespace Zendra
