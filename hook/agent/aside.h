#pragma once

#include <functional>
#include <memory>

#include <QString>
#include <QThread>

#include <zendra/nativeinterface.h>

namespace Zendra::Agent
{

/// An operation on a thread of its own, so that the thread that serves is free to react to it.
class Aside final : public QThread
{
public:
    using Work = std::function<QString(NativeInterface&)>;

    /// `native` is a thread-safe copy that nobody else uses meanwhile.
    static std::shared_ptr<Aside> start(std::shared_ptr<NativeInterface> native, Work work);

    /// What the work returned, once the thread has finished.
    const QString& errorText() const { return m_errorText; }

protected:
    void run() override;

private:
    Aside(std::shared_ptr<NativeInterface> native, Work work);

    std::shared_ptr<NativeInterface> m_native;
    Work m_work;
    QString m_errorText;
};

} // namespace Zendra::Agent
