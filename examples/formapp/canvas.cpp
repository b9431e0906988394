#include "canvas.h"

#include <QMouseEvent>
#include <QPainter>

#include "eventlog.h"

namespace
{

QString place(const QPoint& point)
{
    return QStringLiteral("%1,%2").arg(point.x()).arg(point.y());
}

QString buttonName(Qt::MouseButton button)
{
    switch (button) {
    case Qt::LeftButton:
        return QStringLiteral("left");
    case Qt::MiddleButton:
        return QStringLiteral("middle");
    case Qt::RightButton:
        return QStringLiteral("right");
    case Qt::BackButton:
        return QStringLiteral("back");
    case Qt::ForwardButton:
        return QStringLiteral("forward");
    default:
        return QStringLiteral("button-%1").arg(int(button));
    }
}

QString withModifiers(const QString& button, Qt::KeyboardModifiers modifiers)
{
    QString prefix;
    if (modifiers & Qt::ShiftModifier)
        prefix += QLatin1String("shift+");
    if (modifiers & Qt::ControlModifier)
        prefix += QLatin1String("ctrl+");
    if (modifiers & Qt::AltModifier)
        prefix += QLatin1String("alt+");
    return prefix + button;
}

/// The left button draws in ink; Shift, Control and Alt each take up a pen of their own.
QColor penColour(Qt::KeyboardModifiers modifiers)
{
    if (modifiers & Qt::ShiftModifier)
        return QColor(0xc0, 0x39, 0x2b);
    if (modifiers & Qt::ControlModifier)
        return QColor(0x27, 0x8e, 0x5a);
    if (modifiers & Qt::AltModifier)
        return QColor(0xd6, 0x8f, 0x10);
    return QColor(0x1f, 0x3a, 0x68);
}

} // namespace

Canvas::Canvas(EventLog& log, QWidget* parent)
    : QWidget(parent)
    , m_log(log)
{
    setCursor(Qt::CrossCursor);
}

void Canvas::setStamp(const QString& name, const QColor& colour)
{
    m_stampName = name;
    m_stampColour = colour;
    update();
}

void Canvas::rubOutLastStroke()
{
    if (m_strokes.isEmpty())
        return;
    m_strokes.removeLast();
    update();
}

void Canvas::clear()
{
    m_strokes.clear();
    m_stampName.clear();
    update();
}

void Canvas::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(rect(), QColor(0xff, 0xfd, 0xf4));
    painter.setPen(QColor(0xc9, 0xc2, 0xa8));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
    paintStamp(painter);
    for (const Stroke& stroke : m_strokes) {
        painter.setPen(QPen(stroke.colour, 3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawPolyline(stroke.points);
    }
}

void Canvas::paintStamp(QPainter& painter) const
{
    if (m_stampName.isEmpty())
        return;
    const QRect paper(width() - 78, 14, 64, 78);
    painter.setPen(QPen(QColor(0xb8, 0xb0, 0x98), 1, Qt::DotLine));
    painter.setBrush(Qt::white);
    painter.drawRect(paper);
    painter.fillRect(paper.adjusted(6, 6, -5, -24), m_stampColour);
    painter.setPen(Qt::black);
    QFont font = painter.font();
    font.setPixelSize(10);
    painter.setFont(font);
    painter.drawText(paper.adjusted(0, 56, 0, -4), Qt::AlignCenter, m_stampName);
}

void Canvas::mousePressEvent(QMouseEvent* event)
{
    logMouse("press", *event);
    if (event->button() != Qt::LeftButton)
        return;
    const QVector<QPoint> dot(2, event->pos());
    m_strokes.append({dot, penColour(event->modifiers())});
    update();
}

void Canvas::mouseDoubleClickEvent(QMouseEvent* event)
{
    logMouse("double-click", *event);
}

void Canvas::mouseMoveEvent(QMouseEvent* event)
{
    if (!(event->buttons() & Qt::LeftButton) || m_strokes.isEmpty())
        return;
    m_strokes.last().points.append(event->pos());
    update();
}

void Canvas::mouseReleaseEvent(QMouseEvent* event)
{
    logMouse("release", *event);
}

void Canvas::logMouse(const char* what, const QMouseEvent& event)
{
    const QString button = withModifiers(buttonName(event.button()), event.modifiers());
    m_log.write(objectName(), QLatin1String(what), button + QLatin1Char(' ') + place(event.pos()));
}
