#pragma once

#include <functional>
#include <memory>

#include "annotations.h"
#include "framesink.h"

namespace Zendra::Runner
{

/// Passes on a part of the pictures, with annotations drawn on them, and further pictures when only those
/// change.
class AnnotatingSink : public FrameSink
{
public:
    /// `area` is null for the whole screen, `annotations` for none. There are at most `fps` pictures a
    /// second.
    AnnotatingSink(std::unique_ptr<FrameSink> sink, const QRect& area, int fps,
        std::unique_ptr<Annotations> annotations);

    void show(const QImage& frame, const QRect& changed, qint64 time) override;
    void still(qint64 time) override { m_sink->still(time); }
    void addChapter(const QString& title, qint64 time) override;
    void finish(qint64 endTime) override;
    qint64 size() const override { return m_sink->size(); }

    /// The annotations have changed.
    void setDirty() { m_isDirty = true; }
    /// Milliseconds from `now` on until refresh() has something to do; negative if nothing is known.
    int nextRefresh(qint64 now) const;
    /// Shows a picture if the annotations have changed.
    void refresh(qint64 now);

private:
    void pass(const QRect& changed, qint64 time);

    std::unique_ptr<FrameSink> m_sink;
    const QRect m_area;
    const int m_interval; ///< milliseconds
    std::unique_ptr<Annotations> m_annotations;
    QImage m_screen;             ///< the part of the screen, without annotations
    QRect m_shown;               ///< the part of the screen that `m_screen` has
    QRect m_pending;             ///< what has changed on it since the last picture
    std::vector<QRect> m_marked; ///< what the last picture has annotations on
    bool m_isDirty = false;
    qint64 m_lastTime = -1;    ///< of the last picture
    qint64 m_lastRefresh = -1; ///< of the last one that refresh() has shown
};

} // namespace Zendra::Runner
