// A .zrle recording in two pieces, with pictures and without.

#include "cli/failure.h"
#include "fuzz.h"
#include "recording/rledecoder.h"

using namespace Zendra::Runner;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes = Zendra::Tests::toBytes(data, size);
    for (const auto wanted : {RleDecoder::Wanted::Pictures, RleDecoder::Wanted::Times}) {
        try {
            RleDecoder decoder([](const RleUpdate&) {}, wanted);
            decoder.decode(bytes.left(bytes.size() / 2));
            decoder.decode(bytes.mid(bytes.size() / 2));
            decoder.requireEnd();
        } catch (const Failure&) {
            continue;
        }
    }
    return 0;
}
