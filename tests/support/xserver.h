#pragma once

#include <string>
#include <vector>

#include <QProcess>

struct _XDisplay;

namespace Zendra::Tests
{

/// An X server of the test's own (Xvfb), on a free display number, for as long as the object lives.
///
/// Keys do not repeat on it, so that a slow machine sees the same events as a fast one. A server that cannot
/// be started throws, which fails the test with the reason.
class XServer
{
public:
    struct Options {
        std::vector<std::string> screens {"800x600x24"}; ///< width x height x depth
        std::vector<std::string> arguments;              ///< for instance "-extension", "XTEST"
        std::string layout; ///< for setxkbmap, for instance "us,ru"; empty: as it starts
    };

    XServer();
    explicit XServer(const Options& options);
    ~XServer();
    XServer(const XServer&) = delete;
    XServer& operator=(const XServer&) = delete;

    const std::string& displayName() const { return m_displayName; }
    /// Loads a keyboard layout. Connections that are open already may keep the old one in their caches.
    void setLayout(const std::string& layout);

private:
    /// Dies with the test.
    class Process final : public QProcess
    {
    protected:
        void setupChildProcess() override;
    };

    Process m_process;
    std::string m_displayName;
};

XServer::Options withLayout(const std::string& layout);
XServer::Options withScreens(std::vector<std::string> screens, std::vector<std::string> arguments = {});
/// The RECORD extension goes together with "XTEST".
XServer::Options withoutExtension(const std::string& extension);

/// A client's connection to a test server.
class Connection
{
public:
    explicit Connection(const XServer& server);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    _XDisplay* get() const { return m_display; }
    operator _XDisplay*() const { return m_display; }
    void sync() const;
    /// The children of a root window, bottom first.
    std::vector<unsigned long> windows(int screen = 0) const;
    /// How many of them the first screen shows.
    int visibleWindows() const;
    /// Whether the first screen shows more than one colour in its upper left corner, as a window does once it
    /// is painted.
    bool isPainted() const;
    /// Fills a part of the root window of the first screen.
    void fill(unsigned long colour, int x, int y, unsigned int width, unsigned int height) const;

private:
    _XDisplay* m_display;
};

} // namespace Zendra::Tests
