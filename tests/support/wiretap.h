#pragma once

#include <map>

#include "eventwindow.h"

namespace Zendra::Tests
{

/// Records the requests that another client sends, in the order in which the server processes them (RECORD
/// extension, which servers without XTest lack too). Recording starts with the constructor.
///
/// The lines read "XTestGetVersion", "FakeKeyPress 38", "FakeMotion 10,20 root=none after 20 ms", "MapWindow
/// w1". The client's own windows are w1, w2, … in the order of their first use; root windows are root0,
/// root1. QueryExtension is left out: whether it is sent depends on Xlib's cache.
class WireTap
{
public:
    /// Listens to the client with this connection.
    WireTap(const XServer& server, _XDisplay* client);
    ~WireTap();
    WireTap(const WireTap&) = delete;
    WireTap& operator=(const WireTap&) = delete;

    /// Flushes the client's requests, and returns all requests so far.
    Lines finish();
    /// Returns the requests that the client has flushed itself.
    Lines finishUnflushed();

    /// For the extension's callback: one request as it is on the wire.
    void append(const unsigned char* request);
    void setState(int category);

private:
    Lines stop();
    bool isSecondRun(const std::vector<unsigned char>& request);
    std::string describe(const unsigned char* request);
    std::string describeCore(const unsigned char* request);
    std::string windowName(unsigned long id);
    bool waitForState(int category);
    bool disable();

    _XDisplay* m_client;
    Connection m_control;
    Connection m_data;
    unsigned long m_context = 0;
    int m_state = -1;
    bool m_isDelayPending = false;
    int m_xtest = 0;
    int m_xkb = 0;
    int m_genericEvents = 0;
    std::map<unsigned long, std::string> m_names;
    int m_ownWindows = 0;
    std::vector<std::vector<unsigned char>> m_requests;
};

} // namespace Zendra::Tests
