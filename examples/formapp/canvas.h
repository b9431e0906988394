#pragma once

#include <QColor>
#include <QPolygon>
#include <QVector>
#include <QWidget>

class EventLog;

/// The picture side of the postcard: what is dragged on it is drawn, and the chosen stamp sticks in its
/// corner.
class Canvas : public QWidget
{
    Q_OBJECT

public:
    explicit Canvas(EventLog& log, QWidget* parent = nullptr);

    void setStamp(const QString& name, const QColor& colour);
    void rubOutLastStroke();
    void clear();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    Q_DISABLE_COPY(Canvas)

    struct Stroke {
        QPolygon points;
        QColor colour;
    };

    void paintStamp(QPainter& painter) const;
    void logMouse(const char* what, const QMouseEvent& event);

    EventLog& m_log;
    QVector<Stroke> m_strokes;
    QString m_stampName;
    QColor m_stampColour;
};
