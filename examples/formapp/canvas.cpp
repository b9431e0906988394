#include "canvas.h"

#include <QDropEvent>
#include <QMimeData>
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

/// The left button draws in ink; Shift, Control and Alt each select another colour.
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

QString actionName(Qt::DropAction action)
{
    switch (action) {
    case Qt::CopyAction:
        return QStringLiteral("copy");
    case Qt::MoveAction:
        return QStringLiteral("move");
    default:
        return QStringLiteral("action-%1").arg(int(action));
    }
}

constexpr QSize stampSize(64, 78);

void paintStamp(QPainter& painter, const Stamp& stamp, const QPoint& topLeft)
{
    const QRect paper(topLeft, stampSize);
    painter.setPen(QPen(QColor(0xb8, 0xb0, 0x98), 1, Qt::DotLine));
    painter.setBrush(Qt::white);
    painter.drawRect(paper);
    painter.fillRect(paper.adjusted(6, 6, -5, -24), stamp.colour);
    painter.setPen(Qt::black);
    QFont font = painter.font();
    font.setPixelSize(10);
    painter.setFont(font);
    painter.drawText(paper.adjusted(0, 56, 0, -4), Qt::AlignCenter, stamp.name);
}

} // namespace

Canvas::Canvas(EventLog& log, QWidget* parent)
    : QWidget(parent)
    , m_log(log)
{
    setCursor(Qt::CrossCursor);
    setAcceptDrops(true);
}

void Canvas::setStamp(const Stamp& stamp)
{
    m_stamp = stamp;
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
    m_droppedStamps.clear();
    m_stamp = {};
    update();
}

void Canvas::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(rect(), QColor(0xff, 0xfd, 0xf4));
    painter.setPen(QColor(0xc9, 0xc2, 0xa8));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
    if (!m_stamp.name.isEmpty())
        paintStamp(painter, m_stamp, QPoint(width() - stampSize.width() - 14, 14));
    const QPoint half(stampSize.width() / 2, stampSize.height() / 2);
    for (const DroppedStamp& dropped : m_droppedStamps)
        paintStamp(painter, dropped.stamp, dropped.centre - half);
    for (const Stroke& stroke : m_strokes) {
        painter.setPen(QPen(stroke.colour, 3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawPolyline(stroke.points);
    }
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

void Canvas::dragEnterEvent(QDragEnterEvent* event)
{
    if (!toStamp(*event->mimeData()).name.isEmpty())
        event->acceptProposedAction();
}

void Canvas::dropEvent(QDropEvent* event)
{
    const Stamp stamp = toStamp(*event->mimeData());
    m_log.write(objectName(), QStringLiteral("drop"),
        actionName(event->dropAction()) + QLatin1Char(' ') + stamp.name + QLatin1Char(' ')
            + place(event->pos()));
    m_droppedStamps.append({stamp, event->pos()});
    event->acceptProposedAction();
    update();
}

void Canvas::logMouse(const char* what, const QMouseEvent& event)
{
    const QString button = withModifiers(buttonName(event.button()), event.modifiers());
    m_log.write(objectName(), QLatin1String(what), button + QLatin1Char(' ') + place(event.pos()));
}
