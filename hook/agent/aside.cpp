#include "aside.h"

#include <utility>

#include "hiddenthread.h"

namespace Zendra::Agent
{

namespace
{

/// For the operation to end when its client or the application goes, in milliseconds.
constexpr unsigned long endPatience = 3000;

} // namespace

Aside::Aside(std::shared_ptr<NativeInterface> native, Work work)
    : m_native(std::move(native))
    , m_work(std::move(work))
{
}

std::shared_ptr<Aside> Aside::start(std::shared_ptr<NativeInterface> native, Work work)
{
    // One that lost its display never ends.
    std::shared_ptr<Aside> aside(new Aside(std::move(native), std::move(work)), [](Aside* done) {
        if (done->wait(endPatience))
            delete done;
    });
    startHidden(*aside);
    return aside;
}

void Aside::run()
{
    hideXErrors();
    m_errorText = m_work(*m_native);
    // What follows comes by another connection. It must not be ahead of this.
    m_native->pointerPosition();
}

} // namespace Zendra::Agent
