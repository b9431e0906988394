#include "socketqueue.h"

#include <array>
#include <vector>

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <linux/sock_diag.h>
#include <linux/unix_diag.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QByteArray>
#include <QDir>
#include <QFile>

namespace Zendra::Keyboard
{

namespace
{

struct SocketState {
    std::uint32_t peer = 0;
    std::uint32_t unread = 0; ///< at both ends
    QByteArray name;
};

/// A netlink socket for diagnostics of local sockets (sock_diag).
class SocketQuery
{
public:
    SocketQuery()
        : m_socket(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG))
    {
    }
    ~SocketQuery()
    {
        if (m_socket >= 0)
            close(m_socket);
    }

    std::optional<SocketState> ask(std::uint32_t inode) const
    {
        struct {
            nlmsghdr head;
            unix_diag_req question;
        } request {};
        request.head.nlmsg_len = sizeof request;
        request.head.nlmsg_type = SOCK_DIAG_BY_FAMILY;
        request.head.nlmsg_flags = NLM_F_REQUEST;
        request.question.sdiag_family = AF_UNIX;
        request.question.udiag_states = ~0U;
        request.question.udiag_ino = inode;
        request.question.udiag_show = UDIAG_SHOW_NAME | UDIAG_SHOW_PEER | UDIAG_SHOW_RQLEN;
        request.question.udiag_cookie[0] = ~0U;
        request.question.udiag_cookie[1] = ~0U;
        alignas(nlmsghdr) std::array<char, 4096> answer {};
        if (m_socket < 0 || send(m_socket, &request, sizeof request, 0) < 0)
            return std::nullopt;
        const ssize_t size = recv(m_socket, answer.data(), answer.size(), 0);
        const auto* head = reinterpret_cast<const nlmsghdr*>(answer.data());
        if (size < 0 || !NLMSG_OK(head, static_cast<std::size_t>(size))
            || head->nlmsg_type != SOCK_DIAG_BY_FAMILY)
            return std::nullopt;
        return read(head);
    }

private:
    Q_DISABLE_COPY(SocketQuery)

    static SocketState read(const nlmsghdr* head)
    {
        SocketState state;
        const auto* message
            = reinterpret_cast<const unix_diag_msg*>(reinterpret_cast<const char*>(head) + NLMSG_HDRLEN);
        auto size = static_cast<int>(head->nlmsg_len - NLMSG_LENGTH(sizeof *message));
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wcast-align" // in RTA_NEXT
        for (const auto* part = reinterpret_cast<const rtattr*>(message + 1); RTA_OK(part, size);
             part = RTA_NEXT(part, size)) {
#pragma GCC diagnostic pop
            const void* data = RTA_DATA(part);
            if (part->rta_type == UNIX_DIAG_NAME)
                state.name = QByteArray(static_cast<const char*>(data), static_cast<int>(RTA_PAYLOAD(part)));
            else if (part->rta_type == UNIX_DIAG_PEER)
                state.peer = *static_cast<const std::uint32_t*>(data);
            else if (part->rta_type == UNIX_DIAG_RQLEN)
                state.unread = static_cast<const unix_diag_rqlen*>(data)->udiag_rqueue
                    + static_cast<const unix_diag_rqlen*>(data)->udiag_wqueue;
        }
        return state;
    }

    int m_socket;
};

std::vector<std::uint32_t> socketInodes(int processId)
{
    std::vector<std::uint32_t> inodes;
    const QString folder = QStringLiteral("/proc/%1/fd/").arg(processId);
    const QStringList names = QDir(folder).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    for (const QString& name : names) {
        std::array<char, 64> target {};
        const QByteArray path = QFile::encodeName(folder + name);
        if (readlink(path.constData(), target.data(), target.size() - 1) <= 0)
            continue;
        const QByteArray link(target.data());
        if (link.startsWith("socket:["))
            inodes.push_back(link.mid(8, link.size() - 9).toUInt());
    }
    return inodes;
}

} // namespace

std::optional<unsigned int> unreadBytes(int processId)
{
    const SocketQuery query;
    std::optional<unsigned int> unread;
    for (const std::uint32_t inode : socketInodes(processId)) {
        const std::optional<SocketState> state = query.ask(inode);
        const std::optional<SocketState> peer
            = state && state->peer != 0 ? query.ask(state->peer) : std::nullopt;
        if (peer && peer->name.contains(".X11-unix/"))
            unread = unread.value_or(0) + state->unread;
    }
    return unread;
}

} // namespace Zendra::Keyboard
