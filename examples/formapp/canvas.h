#pragma once

#include <QPolygon>
#include <QVector>
#include <QWidget>

#include "stamp.h"

class EventLog;

/// The picture side of the postcard: drags draw lines, the chosen stamp is in its corner, and dropped stamps
/// stay where they were dropped.
class Canvas : public QWidget
{
    Q_OBJECT

public:
    explicit Canvas(EventLog& log, QWidget* parent = nullptr);

    void setStamp(const Stamp& stamp);
    void rubOutLastStroke();
    void clear();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    Q_DISABLE_COPY(Canvas)

    struct Stroke {
        QPolygon points;
        QColor colour;
    };

    struct DroppedStamp {
        Stamp stamp;
        QPoint centre;
    };

    void logMouse(const char* what, const QMouseEvent& event);

    EventLog& m_log;
    QVector<Stroke> m_strokes;
    QVector<DroppedStamp> m_droppedStamps;
    Stamp m_stamp;
};
