#pragma once

#include <memory>

#include <QtGlobal>

namespace Zendra::Runner
{

/// The memory of a file that another process has sent.
class Mapping
{
public:
    /// The first `size` bytes; null where they are not there, or the other process could still take them
    /// away, which would end this one.
    static std::unique_ptr<Mapping> make(int file, qint64 size, int protection, int flags);
    ~Mapping();

    uchar* bytes() const { return m_bytes; }
    qint64 size() const { return m_size; }

private:
    Q_DISABLE_COPY(Mapping)
    Mapping(void* memory, qint64 size);

    uchar* m_bytes;
    qint64 m_size;
};

/// The size of the file; -1 for one that gives no end of bytes, or waits for them.
qint64 fileSize(int file);

} // namespace Zendra::Runner
