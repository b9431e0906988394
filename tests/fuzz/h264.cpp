// The H.264 stream of a recording, in one piece and in two.

#include "cli/failure.h"
#include "fuzz.h"
#include "recording/h264stream.h"

using namespace Zendra::Runner;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes = Zendra::Tests::toBytes(data, size);
    for (const int first : {bytes.size(), bytes.size() / 2}) {
        try {
            H264Stream stream({[](const QSize&) {}, [](const QByteArray&, bool) {}});
            stream.parse(bytes.left(first));
            stream.parse(bytes.mid(first));
        } catch (const Failure&) {
            continue;
        }
    }
    return 0;
}
