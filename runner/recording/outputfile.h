#pragma once

#include <QByteArray>
#include <QString>

#include "pages.h"

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

    /// Writes at once, in the place of what is held.
    void write(const QByteArray& bytes);
    /// Keeps bytes in memory that may follow what was written.
    void hold(const QByteArray& bytes);
    /// Writes of what is held until the file has this size, past the page cache where that pays.
    void writeHeld(qint64 end);
    /// Some file systems tell only now that there was no room.
    void close();
    qint64 size() const { return m_size; }

private:
    Q_DISABLE_COPY(OutputFile)

    char* held(qint64 position) { return m_held.data() + (position - m_heldStart); }
    void put(const char* bytes, qint64 count);
    void putDirectly(qint64 end);
    [[noreturn]] void refuse() const;

    QString m_fileName;
    int m_fileDescriptor;
    qint64 m_size = 0;
    Pages m_held;           ///< the bytes of the file from m_heldStart on, of which m_size are written
    qint64 m_heldStart = 0; ///< the start of a block
    qint64 m_heldEnd = 0;
    bool m_mayWriteDirectly = false;
    qint64 m_lag = 0; ///< microseconds that direct writes are behind what is expected of a disk
};

} // namespace Zendra::Runner
