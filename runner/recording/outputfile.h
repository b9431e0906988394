#pragma once

#include <QByteArray>
#include <QString>

namespace Zendra::Runner
{

/// A file, device or pipe that is written from its beginning: what was written is there whatever ends the
/// process.
class OutputFile
{
public:
    /// Opens the file and empties it. Throws a Failure, as the others do.
    explicit OutputFile(const QString& fileName);
    ~OutputFile();

    void write(const QByteArray& bytes) { write(bytes.constData(), bytes.size()); }
    void write(const char* bytes, qint64 count);
    /// Some file systems tell only now that there was no room.
    void close();
    qint64 size() const { return m_size; }

private:
    Q_DISABLE_COPY(OutputFile)

    [[noreturn]] void refuse() const;

    QString m_fileName;
    int m_fileDescriptor;
    qint64 m_size = 0;
};

} // namespace Zendra::Runner
