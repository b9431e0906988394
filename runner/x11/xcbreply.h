#pragma once

#include <cstdlib>
#include <memory>

#include <xcb/xcb.h>

namespace Zendra::Runner
{

struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};

/// The reply to a request; null after an error, as when the window was destroyed.
template <typename Answer>
using Reply = std::unique_ptr<Answer, FreeMemory>;

/// Waits for a reply.
template <typename Answer, typename Cookie>
Reply<Answer> fetch(Answer* (*function)(xcb_connection_t*, Cookie, xcb_generic_error_t**),
    xcb_connection_t* connection, Cookie cookie)
{
    // Without a pointer for it, xcb discards the error.
    return Reply<Answer>(function(connection, cookie, nullptr));
}

} // namespace Zendra::Runner
