#include "accessibilitybus.h"

#include <cerrno>
#include <csignal>

#include <poll.h>
#include <unistd.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QStandardPaths>

#include <protocol/dbusconnection.h>
#include <protocol/logging.h>
#include <protocol/socketfolder.h>

#include "processtree.h"
#include "sessionbus.h"
#include "x11/connection.h"
#include "x11/rootproperty.h"

namespace Zendra::Runner
{

namespace
{

constexpr int startTimeout = 5000; ///< milliseconds; a start takes about thirty
constexpr int callTimeout = 2000;  ///< milliseconds
constexpr char busService[] = "org.a11y.Bus";
constexpr char busPath[] = "/org/a11y/bus";
const QString folderPrefix = QStringLiteral("a11y-");

/// The program in the service file of org.a11y.Bus, whose folder differs between distributions; empty
/// without at-spi2-core.
QByteArray launcherProgram()
{
    const QString fileName = QStandardPaths::locate(
        QStandardPaths::GenericDataLocation, QStringLiteral("dbus-1/services/org.a11y.Bus.service"));
    QFile file(fileName);
    if (fileName.isEmpty() || !file.open(QIODevice::ReadOnly))
        return {};
    for (const QByteArray& line : file.readAll().split('\n')) {
        if (line.startsWith("Exec="))
            return line.mid(5).trimmed().split(' ').first();
    }
    return {};
}

/// A connection to a message bus.
class BusClient
{
public:
    explicit BusClient(const QByteArray& address)
    {
        QString errorText;
        if (!address.isEmpty())
            m_connection = DBus::Connection::openBus(QString::fromUtf8(address), callTimeout, errorText);
    }

    bool isConnected() const { return m_connection != nullptr; }

    DBus::Message call(const char* service, const char* path, const char* interface, const char* member,
        const QVariantList& arguments = {}, bool startService = false)
    {
        const DBus::Message message = DBus::Message::call(path, interface, member, arguments).to(service);
        dbus_message_set_auto_start(message.get(), startService ? 1 : 0);
        return m_connection->call(message, callTimeout);
    }

    /// Empty without an accessibility bus.
    QByteArray accessibilityBus(bool startService)
    {
        const DBus::Message reply = call(busService, busPath, "org.a11y.Bus", "GetAddress", {}, startService);
        return reply.isReply() ? reply.arguments().value(0).toString().toUtf8() : QByteArray();
    }

private:
    std::unique_ptr<DBus::Connection> m_connection;
};

/// A variable of a process, or of this one if it is 0.
QByteArray variableOf(pid_t process, const char* name)
{
    return process == 0 ? qgetenv(name) : environmentVariable(process, name);
}

QByteArray sessionBusAddress(pid_t process)
{
    const QByteArray address = variableOf(process, "DBUS_SESSION_BUS_ADDRESS");
    const QByteArray folder = variableOf(process, "XDG_RUNTIME_DIR");
    if (!address.isEmpty() || folder.isEmpty() || !QFile::exists(QFile::decodeName(folder + "/bus")))
        return address;
    return "unix:path=" + folder + "/bus";
}

} // namespace

/// The XDG_RUNTIME_DIR of the launcher, which always uses the same name for the socket of its bus.
class AccessibilityBus::Folder
{
public:
    Folder()
        : m_folder(newName())
        , m_own(m_folder)
        , m_inner(m_folder + "/at-spi")
        , m_socket(m_folder + "/at-spi/bus")
    {
        QDir().mkdir(QFile::decodeName(m_folder));
        QFile::setPermissions(QFile::decodeName(m_folder),
            QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    }

    const QByteArray& name() const { return m_folder; }

private:
    /// Also removes what killed processes have left.
    static QByteArray newName()
    {
        Protocol::createSocketFolder();
        const QDir parent(Protocol::socketFolder());
        for (const QString& name : parent.entryList({folderPrefix + QLatin1Char('*')}, QDir::Dirs)) {
            bool isNumber = false;
            const pid_t process = name.mid(folderPrefix.size()).toInt(&isNumber);
            if (isNumber && kill(process, 0) != 0 && errno == ESRCH)
                QDir(parent.filePath(name)).removeRecursively();
        }
        return QFile::encodeName(parent.filePath(folderPrefix + QString::number(getpid())));
    }

    const QByteArray m_folder;
    const MortalFile m_own; ///< removed last
    const MortalFile m_inner;
    const MortalFile m_socket;
};

std::unique_ptr<AccessibilityBus> AccessibilityBus::start(const QByteArray& sessionBus)
{
    const QByteArray launcher = launcherProgram();
    const QString env = QStandardPaths::findExecutable(QStringLiteral("env"));
    if (launcher.isEmpty() || env.isEmpty() || access(launcher.constData(), X_OK) != 0)
        return nullptr;
    std::unique_ptr<AccessibilityBus> bus(new AccessibilityBus);
    bus->m_sessionBus = sessionBus;
    bus->m_folder = std::make_unique<Folder>();
    // Its settings would be written to the user's. On the display of another bus it would end at once.
    const std::vector<QByteArray> words {env.toUtf8(), "-u", "DISPLAY", "GSETTINGS_BACKEND=memory",
        "XDG_RUNTIME_DIR=" + bus->m_folder->name(), "DBUS_SESSION_BUS_ADDRESS=" + sessionBus, launcher,
        "--launch-immediately", "--a11y=1", "--screen-reader=1"};
    bus->m_launcher = std::make_unique<ChildProcess>(words);
    return bus;
}

AccessibilityBus::~AccessibilityBus()
{
    // A launcher that is ended while it starts its bus leaves that behind.
    address();
}

const QByteArray& AccessibilityBus::address()
{
    if (!m_address.isEmpty())
        return m_address;
    BusClient sessionBus(m_sessionBus);
    QElapsedTimer timer;
    timer.start();
    while (sessionBus.isConnected() && m_address.isEmpty() && !m_launcher->hasEnded()
        && timer.elapsed() < startTimeout) {
        m_address = sessionBus.accessibilityBus(false);
        if (m_address.isEmpty())
            poll(nullptr, 0, 1);
    }
    qCDebug(processLog, "The accessibility bus is '%s'", m_address.constData());
    return m_address;
}

AccessibilityInfo findAccessibilityBus(const QByteArray& displayName, pid_t application)
{
    AccessibilityInfo info;
    info.isInstalled = !launcherProgram().isEmpty();
    info.address = variableOf(application, "AT_SPI_BUS_ADDRESS");
    if (info.address.isEmpty() && !displayName.isEmpty())
        info.address = readRootProperty(openConnection(displayName).get(), "AT_SPI_BUS");
    BusClient sessionBus(sessionBusAddress(application));
    info.hasSessionBus = sessionBus.isConnected();
    if (!info.hasSessionBus)
        return info;
    if (info.address.isEmpty())
        info.address = sessionBus.accessibilityBus(true);
    const DBus::Message reply = sessionBus.call(
        busService, busPath, DBUS_INTERFACE_PROPERTIES, "GetAll", {QStringLiteral("org.a11y.Status")});
    const QVariantMap status = reply.isReply() ? reply.arguments().value(0).toMap() : QVariantMap();
    info.isEnabled = status.value(QStringLiteral("IsEnabled")).toBool();
    info.hasScreenReader = status.value(QStringLiteral("ScreenReaderEnabled")).toBool();
    return info;
}

void startDesktopAccessibilityBus()
{
    BusClient sessionBus(sessionBusAddress(0));
    if (sessionBus.isConnected())
        sessionBus.accessibilityBus(true);
}

} // namespace Zendra::Runner
