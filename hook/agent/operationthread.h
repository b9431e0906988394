#pragma once

#include <functional>
#include <memory>

#include <QString>
#include <QThread>

#include <zendra/nativeinterface.h>

namespace Zendra::Agent
{

/// Runs an operation in a thread, while the serving thread handles the events that it causes.
class OperationThread final : public QThread
{
public:
    using Work = std::function<QString(NativeInterface&)>;

    /// `native` is a thread-safe copy that nothing else uses meanwhile.
    static std::shared_ptr<OperationThread> start(std::shared_ptr<NativeInterface> native, Work work);

    /// The result of the work, once the thread has finished.
    const QString& errorText() const { return m_errorText; }

protected:
    void run() override;

private:
    OperationThread(std::shared_ptr<NativeInterface> native, Work work);

    std::shared_ptr<NativeInterface> m_native;
    Work m_work;
    QString m_errorText;
};

} // namespace Zendra::Agent
