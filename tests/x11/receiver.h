#pragma once

#include <cstdio>
#include <fstream>
#include <memory>
#include <tuple>
#include <utility>
#include <vector>

#include <unistd.h>

#include <QtEndian>

#include <zendra/binarystream.h>
#include <zendra/responselistener.h>

#include "rledecoder.h"
#include "wait.h"

namespace Zendra::Tests
{

/// Asks for a recording, keeps its segments and how it ended.
class Receiver final : public ResponseListener<BinaryStream*>
{
public:
    template <typename Interface>
    Receiver(Interface& interface, unsigned int formats)
    {
        interface.recordScreen(formats, {}, this);
    }

    void response(const Result<BinaryStream*>& result) override
    {
        stream.reset(result.value);
        errorText = text(result.errorText);
        if (!stream)
            return;
        QObject::connect(stream.get(), &BinaryStream::nextSegment,
            [this](const QByteArray& segment) { segments.push_back(segment); });
        QObject::connect(
            stream.get(), &BinaryStream::closed, [this](unsigned int code) { ends.push_back(code); });
    }

    /// What the run-length encoded segments that came since the last call make of the frame.
    const RleDecoder& decoded()
    {
        Pixels words;
        for (const QByteArray& segment : std::exchange(segments, {})) {
            for (int offset = 0; offset < segment.size(); offset += 4)
                words.push_back(qFromBigEndian<quint32>(segment.constData() + offset));
        }
        m_decoder.decode(words);
        return m_decoder;
    }

    std::unique_ptr<BinaryStream> stream;
    std::string errorText;
    std::vector<QByteArray> segments;
    std::vector<unsigned int> ends; ///< the codes

private:
    RleDecoder m_decoder;
};

/// Number, size and mode; 01000 in it marks a segment for removal with its last mapping.
using ShmSegments = std::vector<std::tuple<int, unsigned long, unsigned int>>;

/// The shared memory segments in the system that this process has made.
inline ShmSegments ownSegments()
{
    ShmSegments segments;
    std::ifstream table("/proc/sysvipc/shm");
    std::string line;
    while (std::getline(table, line)) {
        int id = 0;
        unsigned int mode = 0;
        unsigned long size = 0;
        int creator = 0;
        if (std::sscanf(line.c_str(), "%*d %d %o %lu %d", &id, &mode, &size, &creator) == 4
            && creator == getpid())
            segments.emplace_back(id, size, mode);
    }
    return segments;
}

} // namespace Zendra::Tests
