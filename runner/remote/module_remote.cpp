// What the module zendraremote exports.

#include <algorithm>
#include <utility>

#include <QElapsedTimer>

#include "peer.h"
#include "remotehighlighter.h"
#include "remotenative.h"
#include "remoteplatform.h"

namespace Zendra::Runner
{

namespace
{

/// The services of one application.
class PeerPlatform : public RemotePlatform
{
public:
    explicit PeerPlatform(std::unique_ptr<Peer> peer)
        : m_peer(std::move(peer))
        , m_native(*m_peer)
        , m_highlighter(*m_peer)
    {
        QObject::connect(m_peer.get(), &Peer::lost, [this] {
            if (m_lossListener)
                m_lossListener();
        });
    }

    QString name() const override { return QStringLiteral("remote"); }
    NativeInterface* nativeInterface() override { return &m_native; }
    WidgetHighlighter* widgetHighlighter() override { return &m_highlighter; }
    WindowManagerResult windowManager() override { return {}; }

    const ApplicationInfo& application() const override { return m_peer->application(); }
    TypedText typeText(const QString& text) override { return m_native.typeText(text); }
    QString synchronize() override { return m_peer->call("SupressFlush", {false}, "b").errorText; }
    bool hasEnded() const override { return m_peer->hasEnded(); }
    QString lossText() const override { return m_peer->lossText(); }
    void setLossListener(std::function<void()> listener) override { m_lossListener = std::move(listener); }

private:
    std::unique_ptr<Peer> m_peer;
    RemoteNative m_native;
    RemoteHighlighter m_highlighter;
    std::function<void()> m_lossListener;
};

/// One of several questions that are asked at the same time.
struct Question {
    std::unique_ptr<DBus::Connection> connection; ///< null where nobody listens
    unsigned int call;
};

} // namespace

} // namespace Zendra::Runner

using namespace Zendra::Runner;

extern "C" {

__attribute__((visibility("default"))) RemotePlatformResult zendraConnectRemote(
    const QString& address, int patience, int interruption)
{
    QString errorText;
    std::unique_ptr<Peer> peer = Peer::connectTo(address, patience, interruption, errorText);
    if (!peer)
        return {nullptr, errorText};
    return {new PeerPlatform(std::move(peer)), {}};
}

__attribute__((visibility("default"))) std::vector<ApplicationInfo> zendraAskRemotes(
    const QStringList& addresses, int patience)
{
    QElapsedTimer clock;
    clock.start();
    std::vector<Question> questions;
    for (const QString& address : addresses) {
        QString errorText;
        questions.push_back({Zendra::DBus::Connection::open(address, errorText), 0});
        if (questions.back().connection != nullptr)
            questions.back().call = questions.back().connection->begin(introductionCall());
    }
    std::vector<ApplicationInfo> answers;
    for (const Question& question : questions) {
        const int left = std::max(1, patience - static_cast<int>(clock.elapsed()));
        answers.push_back(question.connection == nullptr
                ? ApplicationInfo()
                : toApplicationInfo(question.connection->waitFor(question.call, left)));
    }
    return answers;
}

} // extern "C"
