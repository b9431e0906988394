#pragma once

#include <QDir>

#include "framesink.h"

namespace Zendra::Runner
{

/// Writes each picture into a folder as a PNG file, named after its number and its time.
class FolderSink : public FrameSink
{
public:
    /// Creates the folder. Throws if it is not empty.
    explicit FolderSink(const QString& folderName);

    void show(const QImage& frame, const QRect& changed, qint64 time) override;
    void finish(qint64 endTime) override;
    qint64 size() const override { return m_size; }

private:
    QDir m_folder;
    int m_frames = 0;
    qint64 m_size = 0;
};

} // namespace Zendra::Runner
