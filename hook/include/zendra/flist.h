#pragma once

#include <list>

namespace Zendra
{

/// A doubly linked list in insertion order: elements are appended at the end, and erasing one leaves the
/// iterators to all others valid, so that an iteration survives changes.
template <typename T>
using FList = std::list<T>;

} // namespace Zendra
