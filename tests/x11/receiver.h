#pragma once

#include <cstdio>
#include <fstream>
#include <memory>
#include <tuple>
#include <utility>
#include <vector>

#include <unistd.h>

#include <zendra/binarystream.h>
#include <zendra/responselistener.h>

#include "recording/rledecoder.h"
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
    const QImage& decoded()
    {
        for (const QByteArray& segment : std::exchange(segments, {})) {
            m_decoder.decode(segment.left(5)); // pieces end anywhere
            m_decoder.decode(segment.mid(5));
        }
        return m_decoder.frame();
    }

    std::unique_ptr<BinaryStream> stream;
    std::string errorText;
    std::vector<QByteArray> segments;
    std::vector<unsigned int> ends; ///< the codes

private:
    Runner::RleDecoder m_decoder {[](const Runner::RleUpdate&) {}};
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
