#pragma once

#include <map>
#include <memory>
#include <utility>

#include <dbus/connection.h>

#include "recording.h"

namespace Zendra::Agent
{

/// One client's connection and what belongs to it. Calls hold on to it, so that it outlives the connection.
struct Caller {
    explicit Caller(std::shared_ptr<DBus::Connection> client)
        : connection(std::move(client))
    {
    }

    const std::shared_ptr<DBus::Connection> connection;
    bool isConnected = true;
    bool suppressesFlush = false;
    int waitingCalls = 0;
    std::map<int, std::unique_ptr<Recording, DeleteLater>> recordings; ///< by number
};

} // namespace Zendra::Agent
