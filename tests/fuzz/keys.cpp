// Key sequences, key names and texts to type.

#include <zendra/keynames.h>

#include "cli/failure.h"
#include "fuzz.h"
#include "session/keysequence.h"

using namespace Zendra;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString text = QString::fromUtf8(Tests::toBytes(data, size));
    typedTextError(text);
    keyNameError(text, text);
    keyCombinationError(text);
    ourKeyToXKBString(text);
    try {
        for (const Runner::KeyPiece& piece : Runner::splitKeySequence(text)) {
            if (piece.isCombination)
                Runner::combinationNames(piece.text);
        }
        Runner::singleKeyName(text);
    } catch (const Runner::Failure&) {
        return 0;
    }
    return 0;
}
