#pragma once

#include <fstream>
#include <limits>
#include <tuple>
#include <vector>

#include <unistd.h>

namespace Zendra::Tests
{

/// Number, size, and whether the segment goes with its last user.
using ShmSegments = std::vector<std::tuple<int, unsigned long, bool>>;

/// The shared memory segments in the system that this process has made.
inline ShmSegments ownSegments()
{
    ShmSegments segments;
    std::ifstream table("/proc/sysvipc/shm");
    table.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    long key = 0;
    int id = 0;
    unsigned int mode = 0;
    unsigned long size = 0;
    int creator = 0;
    while (table >> key >> id >> std::oct >> mode >> std::dec >> size >> creator) {
        if (creator == getpid())
            segments.emplace_back(id, size, (mode & 01000U) != 0);
        table.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    return segments;
}

} // namespace Zendra::Tests
