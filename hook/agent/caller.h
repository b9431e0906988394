#pragma once

#include <map>
#include <memory>
#include <utility>

#include <protocol/dbusconnection.h>

#include "recordingobject.h"

namespace Zendra::Agent
{

/// One client's connection and what belongs to it. Shared with its calls, which may outlive the connection.
struct Caller {
    explicit Caller(std::shared_ptr<DBus::Connection> client)
        : connection(std::move(client))
    {
    }

    const std::shared_ptr<DBus::Connection> connection;
    bool isConnected = true;
    bool suppressesFlush = false;
    std::map<int, std::unique_ptr<RecordingObject, DeleteLater>> recordings; ///< by number
};

} // namespace Zendra::Agent
