#include "annotations.h"

#include <algorithm>
#include <utility>

#include <QFontMetrics>
#include <QPainter>

namespace Zendra::Runner
{

namespace
{

constexpr qint64 ringTime = 600;  ///< milliseconds
constexpr qint64 keysTime = 2000; ///< milliseconds without a key until the caption is empty
constexpr int longestKeys = 200;  ///< characters; the end of them is shown
constexpr int ringRadius = 14;
constexpr int ringDistance = 9; ///< between the rings of a double click
constexpr int ringWidth = 4;
constexpr int haloRadius = 12;
constexpr int lastClickButton = 3; ///< the next four are those of the wheel
constexpr int firstButtonBehindWheel = 8;

bool isWheel(int button)
{
    return button > lastClickButton && button < firstButtonBehindWheel;
}

QColor colourOf(int button)
{
    switch (button) {
    case 1:
        return {229, 57, 53};
    case 2:
        return {67, 160, 71};
    case 3:
        return {30, 136, 229};
    default:
        return {142, 36, 170};
    }
}

QRect around(const QPoint& centre, int radius)
{
    return QRect(centre - QPoint(radius, radius), centre + QPoint(radius, radius));
}

unsigned int bit(int button)
{
    return button > 0 && button < 32 ? 1U << button : 0U;
}

} // namespace

Annotations::Annotations(const QByteArray& displayName, Settings settings, std::function<void()> changed)
    : m_settings(settings)
    , m_changed(std::move(changed))
    , m_cursorWatch(std::make_unique<CursorWatch>(displayName))
    , m_input(InputRecord::open(displayName,
          settings.hasCaptions ? InputRecord::Wanted::PointerAndKeys : InputRecord::Wanted::Pointer))
{
    m_clock.start();
    updatePosition();
    watch(m_cursorNotifier.emplace(m_cursorWatch->fileDescriptor(), QSocketNotifier::Read), [this] {
        if (m_cursorWatch->takeChange()) {
            m_isCursorStale = true;
            m_changed();
        }
        if (m_cursorWatch->fileDescriptor() < 0)
            m_cursorNotifier->setEnabled(false);
    });
    if (m_input)
        watch(m_inputNotifier.emplace(m_input->fileDescriptor(), QSocketNotifier::Read),
            [this] { takeInput(); });
}

void Annotations::watch(QSocketNotifier& notifier, std::function<void()> take)
{
    QObject::connect(&notifier, &QSocketNotifier::activated, std::move(take));
}

void Annotations::setStep(const QString& title)
{
    m_step = title;
    if (m_settings.hasCaptions)
        m_changed();
}

void Annotations::updatePosition()
{
    m_place = m_cursorWatch->position();
}

int Annotations::lifetime() const
{
    qint64 end = -1;
    const auto consider = [&end](qint64 other) { end = end < 0 ? other : std::min(end, other); };
    for (const Ring& ring : m_rings)
        consider(ring.end);
    if (!m_keys.isEmpty())
        consider(m_lastKey + keysTime);
    return end < 0 ? -1 : static_cast<int>(std::max<qint64>(end - m_clock.elapsed(), 0));
}

void Annotations::update()
{
    if (m_input)
        takeInput();
    else if (m_settings.hasPointer)
        updatePosition();
    // Events that xcb has read with a reply do not make the notifier fire.
    if (m_cursorWatch->takeChange() || m_isCursorStale)
        m_cursor = m_cursorWatch->picture();
    m_isCursorStale = false;
    const qint64 now = m_clock.elapsed();
    m_rings.erase(
        std::remove_if(m_rings.begin(), m_rings.end(), [now](const Ring& ring) { return ring.end <= now; }),
        m_rings.end());
    if (now - m_lastKey >= keysTime)
        m_keys.clear();
}

void Annotations::takeInput()
{
    const std::vector<InputEvent> events = m_input->take();
    for (const InputEvent& event : events) {
        if (event.kind == InputEvent::Kind::Key)
            takeKey(event);
        else if (m_settings.hasPointer)
            takePointerEvent(event);
    }
    if (!events.empty())
        m_changed();
}

void Annotations::takePointerEvent(const InputEvent& event)
{
    const bool isHere = event.root == 0 ? m_place.has_value() : event.root == m_cursorWatch->root();
    m_isCursorStale = true; // the event about another picture may come later
    m_place = isHere ? std::optional<QPoint>(event.place) : std::nullopt;
    if (event.kind == InputEvent::Kind::Release)
        m_heldButtons &= ~bit(event.detail);
    if (event.kind != InputEvent::Kind::Press || isWheel(event.detail))
        return;
    m_heldButtons |= bit(event.detail);
    if (!isHere)
        return;
    const auto before = std::find_if(m_rings.rbegin(), m_rings.rend(), [&event](const Ring& ring) {
        return ring.button == event.detail && around(ring.place, 4).contains(event.place);
    });
    const int radius = before == m_rings.rend() ? ringRadius : before->radius + ringDistance;
    m_rings.push_back({event.place, event.detail, radius, m_clock.elapsed() + ringTime});
}

void Annotations::takeKey(const InputEvent& key)
{
    const QString text = m_input->keyText(key);
    if (text.isEmpty())
        return;
    const qint64 now = m_clock.elapsed();
    if (now - m_lastKey >= keysTime)
        m_keys.clear();
    m_keys = (m_keys + text).right(longestKeys);
    m_lastKey = now;
}

std::vector<QRect> Annotations::areas(const QRect& picture) const
{
    std::vector<QRect> areas;
    if (m_settings.hasPointer) {
        if (m_place)
            areas.push_back(QRect(*m_place - m_cursor.hotSpot, m_cursor.image.size()));
        if (m_place && m_heldButtons != 0)
            areas.push_back(around(*m_place, haloRadius + 1));
        for (const Ring& ring : m_rings)
            areas.push_back(around(ring.place, ring.radius + ringWidth));
    }
    renderCaption(picture.size());
    if (!m_caption.isNull()) {
        const QRect bottom(QPoint(), m_caption.size());
        areas.push_back(bottom.translated(picture.center().x() - bottom.width() / 2,
            picture.bottom() - bottom.height() - picture.height() / 50));
    }
    for (QRect& area : areas)
        area &= picture;
    areas.erase(std::remove_if(areas.begin(), areas.end(), [](const QRect& area) { return area.isEmpty(); }),
        areas.end());
    return areas;
}

void Annotations::paint(QImage& image, const QRect& picture) const
{
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(-picture.topLeft());
    if (m_settings.hasPointer) {
        if (m_place && m_heldButtons != 0) {
            painter.setPen(Qt::NoPen);
            painter.setBrush(QColor(255, 213, 79, 150));
            painter.drawEllipse(*m_place, haloRadius, haloRadius);
        }
        painter.setBrush(Qt::NoBrush);
        for (const Ring& ring : m_rings) {
            // White around the colour, for any background.
            painter.setPen(QPen(Qt::white, ringWidth + 2));
            painter.drawEllipse(ring.place, ring.radius, ring.radius);
            painter.setPen(QPen(colourOf(ring.button), ringWidth));
            painter.drawEllipse(ring.place, ring.radius, ring.radius);
        }
        if (m_place && !m_cursor.image.isNull())
            painter.drawImage(*m_place - m_cursor.hotSpot, m_cursor.image);
    }
    if (!m_caption.isNull()) {
        painter.drawImage(QPoint(picture.center().x() - m_caption.width() / 2,
                              picture.bottom() - m_caption.height() - picture.height() / 50),
            m_caption);
    }
}

/// The step on the first line, the keys on the next.
void Annotations::renderCaption(const QSize& size) const
{
    if (!m_settings.hasCaptions)
        return;
    const QString text = m_step + QLatin1Char('\n') + m_keys;
    if (text == m_captionText && size == m_captionSize)
        return;
    m_captionText = text;
    m_captionSize = size;
    m_caption = {};
    QStringList lines;
    QFont font(QStringLiteral("sans-serif"));
    font.setPixelSize(std::clamp(size.height() / 32, 12, 40));
    const QFontMetrics metrics(font);
    const int margin = metrics.height() / 2;
    const int widest = size.width() - 4 * margin;
    const auto add = [&](const QString& line, Qt::TextElideMode mode) {
        if (!line.isEmpty())
            lines += metrics.elidedText(line, mode, widest);
    };
    add(m_step, Qt::ElideRight);
    add(m_keys, Qt::ElideLeft);
    if (lines.isEmpty() || widest <= 0)
        return;
    int width = 0;
    for (const QString& line : std::as_const(lines))
        width = std::max(width, metrics.horizontalAdvance(line));
    m_caption = QImage(
        width + 2 * margin, lines.size() * metrics.height() + margin, QImage::Format_ARGB32_Premultiplied);
    m_caption.fill(Qt::transparent);
    QPainter painter(&m_caption);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0, 0, 0, 200));
    painter.drawRoundedRect(m_caption.rect(), margin / 2.0, margin / 2.0);
    painter.setPen(Qt::white);
    painter.setFont(font);
    painter.drawText(m_caption.rect(), Qt::AlignCenter, lines.join(QLatin1Char('\n')));
}

} // namespace Zendra::Runner
