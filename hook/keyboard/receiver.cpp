#include "receiver.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include <sys/syscall.h>
#include <unistd.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>

#include "socketqueue.h"

#include <xcb/res.h>

namespace Zendra::Keyboard
{

namespace
{

/// Timeout for a program to handle its keys, in milliseconds, and the addition for each character.
constexpr int handlingTimeout = 20'000;
constexpr int characterTimeout = 100;
/// Interval between checks whether the window still exists.
constexpr int existenceInterval = 200;
/// For programs that neither answer pings nor run on this machine, in milliseconds: four times what was
/// measured for 300 characters, which are the most between two changes. xterm had handled them after 60 to
/// 90, a Tk window after 110 to 230.
constexpr int blindPause = 1000;
/// A program that is idle in this many samples is done.
constexpr int idleSamples = 4;
constexpr int asleepSamples = 20;
constexpr int sampleInterval = 10;
constexpr int restlessTimeout = 1000;
/// For a program to read a new keymap.
constexpr int noticeTimeout = 200;
constexpr int noticeSamples = 2;
constexpr int deepestWindow = 64;

const QString interrupted = QStringLiteral("Interrupted");

QString noAnswer(int timeout)
{
    return QStringLiteral("The program with the focus has not handled its keys for %1 seconds")
        .arg(timeout / 1000);
}

QByteArray contentOf(const QString& fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The state of a thread and its number of context switches from /proc; empty if it has ended.
QByteArray activity(const QString& thread)
{
    QByteArray found;
    const QList<QByteArray> lines = contentOf(thread + QStringLiteral("/status")).split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith("State:") || line.contains("_ctxt_switches:"))
            found += line + '\n';
    }
    return found;
}

bool isRunning(const QByteArray& activities)
{
    return activities.contains("State:\tR") || activities.contains("State:\tD");
}

bool isAsleep(const QByteArray& activities)
{
    return activities.contains("State:\tS") && !isRunning(activities);
}

/// What a sleeping main thread waits for.
enum class Wait { Events, Otherwise, Unknown };

struct ProcessActivity {
    QByteArray mainThread;
    QByteArray allThreads;
    Wait wait = Wait::Unknown;
};

ProcessActivity processActivity(int processId)
{
    const QString process = QStringLiteral("/proc/%1").arg(processId);
    const QString ownThread = QString::number(syscall(SYS_gettid)); // the receiver may be this process
    ProcessActivity found {activity(process), {}, Wait::Unknown};
    bool doesThreadPoll = false;
    bool doesMainThreadWait = false;
    const QStringList threads
        = QDir(process + QStringLiteral("/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& thread : threads) {
        if (thread == ownThread)
            continue;
        const QString folder = process + QStringLiteral("/task/") + thread;
        found.allThreads += activity(folder);
        const QByteArray function = contentOf(folder + QStringLiteral("/wchan"));
        const bool doesPoll = function.contains("poll") || function.contains("select");
        doesThreadPoll = doesThreadPoll || doesPoll;
        if (thread.toInt() != processId || function.isEmpty() || function == "0")
            continue;
        found.wait = doesPoll ? Wait::Events : Wait::Otherwise;
        doesMainThreadWait = function.contains("futex");
    }
    // Tk waits for another thread that polls.
    if (doesMainThreadWait && doesThreadPoll && !isRunning(found.allThreads))
        found.wait = Wait::Events;
    return found;
}

/// Counts the consecutive samples in which threads slept, and in which they had not even run since the
/// previous one.
class SleepWatch
{
public:
    void add(const QByteArray& now)
    {
        m_asleep = isAsleep(now) ? m_asleep + 1 : 0;
        m_still = isAsleep(now) && now == m_last ? m_still + 1 : 0;
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

QString Receiver::awaitHandling(std::size_t characters, int interruption) const
{
    if (m_focus == XCB_NONE || m_focus == m_server.root())
        return {};
    const int timeout = handlingTimeout + characterTimeout * static_cast<int>(characters);
    m_server.synchronize();
    if (m_pinged != XCB_NONE)
        return awaitPong(timeout, interruption);
    const int process = processId();
    if (process > 0 && !processActivity(process).mainThread.isEmpty())
        return awaitIdle(process, timeout, interruption);
    return m_server.pause(blindPause, interruption) ? QString() : interrupted;
}

/// Chromium takes its keys from one connection and reads the keymap on another, that of GTK: it may handle a
/// key before it notices a change of the keymap.
void Receiver::awaitKeymap() const
{
    const int process = processId();
    if (process <= 0)
        return;
    QElapsedTimer clock;
    clock.start();
    for (int samples = 0; samples < noticeSamples && clock.elapsed() < noticeTimeout;) {
        m_server.synchronize();
        const ProcessActivity now = processActivity(process);
        const bool isIdle = isAsleep(now.mainThread) && now.wait != Wait::Otherwise
            && unreadBytes(process).value_or(0) == 0;
        samples = isIdle ? samples + 1 : 0;
        m_server.pause(1, -1);
    }
}

QString Receiver::awaitPong(int timeout, int interruption) const
{
    const xcb_atom_t ping = m_server.atom("_NET_WM_PING");
    // Toolkits reply with different event masks.
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
    const QString late = noAnswer(timeout);
    QString errorText = late;
    while (errorText == late && clock.elapsed() < timeout && m_server.isConnected()) {
        if (!m_server.wait(existenceInterval, interruption))
            errorText = interrupted;
        while (const Reply<xcb_generic_event_t> event = m_server.takeEvent()) {
            const auto* pong = reinterpret_cast<const xcb_client_message_event_t*>(event.get());
            if ((event->response_type & 0x7F) == XCB_CLIENT_MESSAGE && pong->data.data32[0] == ping
                && pong->data.data32[1] == message.data.data32[1])
                errorText.clear();
        }
        if (errorText == late && !exists(m_pinged))
            errorText.clear(); // the window was destroyed, possibly by a key
    }
    const std::uint32_t none = 0;
    xcb_change_window_attributes(m_server, m_server.root(), XCB_CW_EVENT_MASK, &none);
    return errorText;
}

/// An event that programs ignore, for their connection to have something to read.
void Receiver::sendProbe() const
{
    union {
        xcb_gravity_notify_event_t event;
        std::array<char, 32> bytes;
    } probe {};
    probe.event.response_type = XCB_GRAVITY_NOTIFY;
    probe.event.event = m_focus;
    probe.event.window = m_focus;
    xcb_send_event(m_server, 0, m_focus, XCB_EVENT_MASK_NO_EVENT, probe.bytes.data());
    m_server.synchronize();
    m_server.synchronize(); // the server may send the reply before the event
}

/// The kernel counts a process as running from the moment that it may read an event, also while it waits for
/// a processor. So a program that waits for events has handled those that the server has sent: the round trip
/// lets the server answer it, too.
///
/// One that sleeps elsewhere may be handling a key, or pausing between two frames. Xlib and xcb read their
/// connection when they have handed out all events that they had, so it is done when it keeps reading.
QString Receiver::awaitIdle(int processId, int timeout, int interruption) const
{
    SleepWatch mainThread;
    SleepWatch allThreads;
    QElapsedTimer clock;
    clock.start();
    std::optional<unsigned int> unread;
    std::optional<unsigned int> fewestUnread;
    int idle = 0;
    int probes = 0; ///< that it has read
    bool isProbeUnread = false;
    const auto isDone = [&](const ProcessActivity& now) {
        const bool hasUnknownQueue = !unread && now.wait == Wait::Unknown;
        return idle >= idleSamples || probes >= idleSamples
            || (hasUnknownQueue && allThreads.still() >= idleSamples)
            || (!unread && clock.elapsed() > restlessTimeout && mainThread.asleep() >= asleepSamples);
    };
    while (clock.elapsed() < timeout) {
        m_server.synchronize();
        const ProcessActivity now = processActivity(processId);
        if (now.mainThread.isEmpty())
            return {};
        mainThread.add(now.mainThread);
        allThreads.add(now.allThreads);
        const std::optional<unsigned int> before = std::exchange(unread, unreadBytes(processId));
        const bool sleeps = mainThread.asleep() > 0;
        // A connection that the program does not wait for keeps what is unread.
        const bool isRead = !unread || *unread == 0 || unread == before;
        idle = sleeps && now.wait == Wait::Events && isRead ? idle + 1 : 0;
        if (unread && (!fewestUnread || *unread < *fewestUnread)) {
            fewestUnread = unread;
            probes = 0;
            isProbeUnread = false;
        }
        if (sleeps && now.wait != Wait::Events && unread && unread == fewestUnread) {
            probes += isProbeUnread ? 1 : 0;
            sendProbe();
            // A full socket takes no more.
            isProbeUnread = unreadBytes(processId) > fewestUnread;
        }
        if (isDone(now))
            return {};
        if (!m_server.pause(sampleInterval, interruption))
            return interrupted;
    }
    return noAnswer(timeout);
}

} // namespace Zendra::Keyboard
