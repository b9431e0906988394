#include "receiver.h"

#include <algorithm>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>

#include "socketqueue.h"

#include <xcb/res.h>

namespace Zendra::Keyboard
{

namespace
{

/// For a busy program, in milliseconds.
constexpr int handlingTimeout = 20'000;
/// How often a window is looked at that may have gone.
constexpr int existenceInterval = 200;
/// For programs that neither answer pings nor run on this machine, in milliseconds: four times what was
/// measured for 300 characters, which are the most between two changes. xterm had handled them after 60 to
/// 90, a Tk window after 110 to 230.
constexpr int blindPause = 1000;
/// A program that does not run between so many looks has nothing left to do.
constexpr int stillLooks = 4;
constexpr int asleepLooks = 20;
constexpr int lookInterval = 10;
constexpr int restlessTimeout = 1000;
constexpr int deepestWindow = 64;

const QString interrupted = QStringLiteral("Interrupted");
const QString noAnswer = QStringLiteral("The program with the focus has not handled its keys for %1 seconds")
                             .arg(handlingTimeout / 1000);

/// The state of a thread and how often it has run, as the kernel prints them; empty when it is gone.
QByteArray activity(const QString& thread)
{
    QFile file(thread + QStringLiteral("/status"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QByteArray found;
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith("State:") || line.contains("_ctxt_switches:"))
            found += line + '\n';
    }
    return found;
}

struct ProcessActivity {
    QByteArray mainThread;
    QByteArray allThreads;
};

ProcessActivity processActivity(int processId)
{
    const QString process = QStringLiteral("/proc/%1").arg(processId);
    ProcessActivity found {activity(process), {}};
    const QStringList threads
        = QDir(process + QStringLiteral("/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& thread : threads)
        found.allThreads += activity(process + QStringLiteral("/task/") + thread);
    return found;
}

/// Counts the looks one after the other at which threads slept, and at which they had not even run since the
/// one before.
class SleepWatch
{
public:
    void look(const QByteArray& now)
    {
        const bool isAsleep
            = now.contains("State:\tS") && !now.contains("State:\tR") && !now.contains("State:\tD");
        m_asleep = isAsleep ? m_asleep + 1 : 0;
        m_still = isAsleep && now == m_last ? m_still + 1 : 0;
        m_last = now;
    }
    int asleep() const { return m_asleep; }
    int still() const { return m_still; }

private:
    QByteArray m_last;
    int m_asleep = 0;
    int m_still = 0;
};

} // namespace

Receiver::Receiver(Server& server)
    : m_server(server)
    , m_focus(focusWindow())
{
    xcb_window_t window = m_focus;
    for (int depth = 0; depth < deepestWindow && window != XCB_NONE && window != server.root(); ++depth) {
        if (answersPings(window)) {
            m_pinged = window;
            return;
        }
        window = parent(window);
    }
}

xcb_window_t Receiver::focusWindow() const
{
    const Reply<xcb_get_input_focus_reply_t> focus(
        xcb_get_input_focus_reply(m_server, xcb_get_input_focus(m_server), nullptr));
    if (focus == nullptr)
        return XCB_NONE;
    if (focus->focus != XCB_INPUT_FOCUS_POINTER_ROOT)
        return focus->focus;
    // The keys go to the window under the pointer.
    xcb_window_t window = m_server.root();
    for (int depth = 0; depth < deepestWindow; ++depth) {
        const Reply<xcb_query_pointer_reply_t> pointer(
            xcb_query_pointer_reply(m_server, xcb_query_pointer(m_server, window), nullptr));
        if (pointer == nullptr || pointer->child == XCB_NONE)
            break;
        window = pointer->child;
    }
    return window;
}

xcb_window_t Receiver::parent(xcb_window_t window) const
{
    const Reply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(m_server, xcb_query_tree(m_server, window), nullptr));
    return tree != nullptr ? tree->parent : xcb_window_t(XCB_NONE);
}

bool Receiver::answersPings(xcb_window_t window) const
{
    constexpr std::uint32_t mostProtocols = 64;
    const Reply<xcb_get_property_reply_t> property(xcb_get_property_reply(m_server,
        xcb_get_property(m_server, 0, window, m_server.atom("WM_PROTOCOLS"), XCB_ATOM_ATOM, 0, mostProtocols),
        nullptr));
    if (property == nullptr || property->format != 32)
        return false;
    const auto* protocols = static_cast<const xcb_atom_t*>(xcb_get_property_value(property.get()));
    const auto* end = protocols + xcb_get_property_value_length(property.get()) / 4;
    return std::find(protocols, end, m_server.atom("_NET_WM_PING")) != end;
}

bool Receiver::exists(xcb_window_t window) const
{
    return Reply<xcb_get_geometry_reply_t>(
               xcb_get_geometry_reply(m_server, xcb_get_geometry(m_server, window), nullptr))
        != nullptr;
}

/// 0 where it is unknown, for instance that of a program on another machine.
int Receiver::processId() const
{
    const xcb_res_client_id_spec_t wanted {m_focus, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(m_server, &xcb_res_id);
    if (extension == nullptr || extension->present == 0)
        return 0;
    const Reply<xcb_res_query_client_ids_reply_t> reply(
        xcb_res_query_client_ids_reply(m_server, xcb_res_query_client_ids(m_server, 1, &wanted), nullptr));
    if (reply == nullptr)
        return 0;
    const auto ids = xcb_res_query_client_ids_ids_iterator(reply.get());
    const bool hasId = ids.rem > 0 && xcb_res_client_id_value_value_length(ids.data) == 1;
    return hasId ? static_cast<int>(*xcb_res_client_id_value_value(ids.data)) : 0;
}

QString Receiver::awaitHandling(int interruption) const
{
    if (m_focus == XCB_NONE || m_focus == m_server.root())
        return {};
    m_server.synchronize();
    if (m_pinged != XCB_NONE)
        return awaitPong(interruption);
    const int process = processId();
    if (process > 0 && !processActivity(process).mainThread.isEmpty())
        return awaitSleep(process, interruption);
    return m_server.pause(blindPause, interruption) ? QString() : interrupted;
}

QString Receiver::awaitPong(int interruption) const
{
    const xcb_atom_t ping = m_server.atom("_NET_WM_PING");
    // Toolkits send the answer to different masks.
    const std::uint32_t events = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(m_server, m_server.root(), XCB_CW_EVENT_MASK, &events);
    xcb_client_message_event_t message {};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = m_pinged;
    message.type = m_server.atom("WM_PROTOCOLS");
    message.data.data32[0] = ping;
    message.data.data32[1] = xcb_generate_id(m_server); // what nobody else sends
    message.data.data32[2] = m_pinged;
    xcb_send_event(m_server, 0, m_pinged, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&message));
    QElapsedTimer clock;
    clock.start();
    QString errorText = noAnswer;
    while (errorText == noAnswer && clock.elapsed() < handlingTimeout && m_server.isConnected()) {
        if (!m_server.wait(existenceInterval, interruption))
            errorText = interrupted;
        while (const Reply<xcb_generic_event_t> event = m_server.takeEvent()) {
            const auto* pong = reinterpret_cast<const xcb_client_message_event_t*>(event.get());
            if ((event->response_type & 0x7F) == XCB_CLIENT_MESSAGE && pong->data.data32[0] == ping
                && pong->data.data32[1] == message.data.data32[1])
                errorText.clear();
        }
        if (errorText == noAnswer && !exists(m_pinged))
            errorText.clear(); // it is gone, on account of a key perhaps
    }
    const std::uint32_t none = 0;
    xcb_change_window_attributes(m_server, m_server.root(), XCB_CW_EVENT_MASK, &none);
    return errorText;
}

/// The kernel counts a process as running from the moment that it may read an event, also while it waits for
/// a processor.
QString Receiver::awaitSleep(int processId, int interruption) const
{
    SleepWatch mainThread;
    SleepWatch allThreads;
    QElapsedTimer clock;
    clock.start();
    int emptyLooks = 0;
    // One that has read all events and whose requests the server has read works through them until it sleeps.
    // The round trip lets the server answer a request: the answer is unread then. Where the queues are not
    // known a program that does not run at all is done; one with a timer is never still, and has to be asleep
    // at more looks.
    const auto isDone = [&] {
        return emptyLooks >= stillLooks || allThreads.still() >= stillLooks
            || (clock.elapsed() > restlessTimeout && mainThread.asleep() >= asleepLooks);
    };
    while (!isDone()) {
        m_server.synchronize();
        const ProcessActivity now = processActivity(processId);
        if (now.mainThread.isEmpty())
            return {};
        mainThread.look(now.mainThread);
        const bool isEmpty = unreadBytes(processId) == 0U;
        emptyLooks = isEmpty && mainThread.asleep() > 0 ? emptyLooks + 1 : 0;
        allThreads.look(now.allThreads);
        if (!m_server.pause(lookInterval, interruption))
            return interrupted;
        if (clock.elapsed() > handlingTimeout)
            return noAnswer;
    }
    return {};
}

} // namespace Zendra::Keyboard
