#include "annotatingsink.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "cli/failure.h"

namespace Zendra::Runner
{

namespace
{

void copyArea(const QImage& from, const QPoint& source, QImage& to, const QRect& area)
{
    const auto bytes = static_cast<std::size_t>(area.width()) * sizeof(QRgb);
    for (int y = 0; y < area.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(from.constScanLine(source.y() + y));
        auto* target = reinterpret_cast<QRgb*>(to.scanLine(area.y() + y));
        std::memcpy(target + area.x(), line + source.x(), bytes);
    }
}

} // namespace

AnnotatingSink::AnnotatingSink(
    std::unique_ptr<FrameSink> sink, const QRect& area, int fps, std::unique_ptr<Annotations> annotations)
    : m_sink(std::move(sink))
    , m_area(area)
    , m_interval(1000 / fps)
    , m_annotations(std::move(annotations))
{
}

void AnnotatingSink::show(const QImage& frame, const QRect& changed, qint64 time)
{
    const QRect shown = m_area.isNull() ? frame.rect() : m_area;
    QRect update = changed & shown;
    if (m_screen.size() != shown.size() || m_screen.isNull()) {
        if (!shown.intersects(frame.rect()))
            throw operationFailure(QStringLiteral("The area is not on the screen"));
        m_screen = QImage(shown.size(), QImage::Format_RGB32);
        m_screen.fill(Qt::black);
        m_shown = shown;
        update = shown & frame.rect();
        if (m_annotations)
            m_annotations->updatePosition();
    } else if (changed == frame.rect() && !frame.rect().contains(shown)) {
        m_screen.fill(Qt::black); // the screen may have shrunk
        update = shown & frame.rect();
    }
    if (update.isEmpty())
        return;
    copyArea(frame, update.topLeft(), m_screen, update.translated(-shown.topLeft()));
    m_pending |= update.translated(-shown.topLeft());
    // The source keeps its own pace, but not that of refresh().
    if (m_lastRefresh >= 0 && m_lastRefresh == m_lastTime && time - m_lastTime < m_interval) {
        m_isDirty = true;
        return;
    }
    pass(m_pending, time);
}

void AnnotatingSink::addChapter(const QString& title, qint64 time)
{
    if (m_annotations)
        m_annotations->setStep(title);
    m_sink->addChapter(title, time);
}

void AnnotatingSink::finish(qint64 endTime)
{
    if (m_isDirty)
        refresh(endTime);
    m_sink->finish(endTime);
}

int AnnotatingSink::nextRefresh(qint64 now) const
{
    if (m_screen.isNull())
        return -1;
    int next = m_isDirty ? 0 : -1;
    if (m_annotations && !m_isDirty) {
        next = m_annotations->lifetime();
        if (m_annotations->mustPoll())
            next = next < 0 ? m_interval : std::min(next, m_interval);
    }
    return next < 0 ? -1 : std::max(next, static_cast<int>(m_lastTime + m_interval - now));
}

void AnnotatingSink::refresh(qint64 now)
{
    if (m_screen.isNull())
        return;
    std::vector<QRect> marked;
    if (m_annotations) {
        m_annotations->update();
        marked = m_annotations->areas(m_shown);
    }
    const bool isPolled = m_annotations && m_annotations->mustPoll() && !m_isDirty;
    m_isDirty = false;
    // What happens outside the picture does not show.
    if (m_pending.isEmpty() && ((marked.empty() && m_marked.empty()) || (isPolled && marked == m_marked)))
        return;
    const qint64 time = std::max(now, m_lastTime + 1);
    pass(m_pending, time);
    m_lastRefresh = time;
}

void AnnotatingSink::pass(const QRect& changed, qint64 time)
{
    std::vector<QRect> marked;
    if (m_annotations) {
        m_annotations->update();
        marked = m_annotations->areas(m_shown);
    }
    QRect all = changed;
    for (const std::vector<QRect>& areas : {marked, m_marked}) {
        for (const QRect& area : areas)
            all |= area.translated(-m_shown.topLeft());
    }
    std::vector<QImage> covered;
    covered.reserve(marked.size());
    for (const QRect& area : marked)
        covered.push_back(m_screen.copy(area.translated(-m_shown.topLeft())));
    if (!marked.empty())
        m_annotations->paint(m_screen, m_shown);
    m_isDirty = false;
    m_pending = {};
    m_lastTime = time;
    m_sink->show(m_screen, all.isEmpty() ? m_screen.rect() : all, time);
    for (std::size_t index = 0; index < marked.size(); ++index)
        copyArea(covered[index], {}, m_screen, marked[index].translated(-m_shown.topLeft()));
    m_marked = std::move(marked);
}

} // namespace Zendra::Runner
