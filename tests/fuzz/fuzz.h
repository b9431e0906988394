#pragma once

#include <cstddef>
#include <cstdint>

#include <QByteArray>

/// Handles one input. Called by libFuzzer, or by replay.cpp for each seed.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace Zendra::Tests
{

inline QByteArray toBytes(const uint8_t* data, size_t size)
{
    return {reinterpret_cast<const char*>(data), static_cast<int>(size)};
}

} // namespace Zendra::Tests
