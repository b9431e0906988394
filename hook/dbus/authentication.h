#pragma once

#include <QByteArray>

namespace Zendra::DBus
{

/// The lines that the two sides of a connection exchange before their first messages
/// (https://dbus.freedesktop.org/doc, "Authentication Protocol").
///
/// The one way in is EXTERNAL: the system itself says whose process is at the other end.
class Authentication
{
public:
    virtual ~Authentication() = default;

    /// Takes whole lines from the beginning of `input` as long as they belong here; returns what to answer.
    /// Throws Malformed when the other side cannot be talked to.
    QByteArray take(QByteArray& input);
    /// Messages follow.
    bool isDone() const { return m_isDone; }
    bool passesFileDescriptors() const { return m_passesFileDescriptors; }

protected:
    Authentication() = default;
    /// Returns the answer to a line, with its end, or nothing.
    virtual QByteArray takeLine(const QByteArray& line) = 0;

    bool m_isDone = false;
    bool m_passesFileDescriptors = false;

private:
    Q_DISABLE_COPY(Authentication)
};

/// The side that connects. It does not wait for answers: whoever is there understands the next line, or
/// closes the connection.
class ClientAuthentication final : public Authentication
{
public:
    /// What to send first; messages may follow at once.
    static QByteArray greeting();

protected:
    QByteArray takeLine(const QByteArray& line) override;

private:
    bool m_isAccepted = false;
};

/// The side that listens. It lets in its own user and root.
class ServerAuthentication final : public Authentication
{
public:
    explicit ServerAuthentication(int socket);

protected:
    QByteArray takeLine(const QByteArray& line) override;

private:
    QByteArray authorize(const QByteArray& identity);
    QByteArray reject();

    const int m_socket;
    bool m_isFirst = true;
    bool m_isAccepted = false;
    int m_rejections = 0;
};

} // namespace Zendra::DBus
