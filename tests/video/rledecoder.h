#pragma once

#include <vector>

#include <gtest/gtest.h>

#include <QRect>

namespace Zendra::Tests
{

using Pixels = std::vector<unsigned int>;

/// What a receiver makes of the stream: a frame that messages change.
class RleDecoder
{
public:
    QRect bounds;
    Pixels frame;
    std::vector<QRect> rects; ///< of the last update

    void decode(const Pixels& words)
    {
        m_next = words.begin();
        while (m_next != words.end()) {
            if (*m_next++ == 1)
                decodeBounds();
            else
                decodeUpdate();
        }
    }

private:
    QRect takeRect()
    {
        const auto left = static_cast<int>(*m_next++);
        const auto top = static_cast<int>(*m_next++);
        const auto right = static_cast<int>(*m_next++);
        const auto bottom = static_cast<int>(*m_next++);
        return {QPoint(left, top), QPoint(right - 1, bottom - 1)};
    }

    unsigned int& pixel(const QPoint& at)
    {
        return frame.at(static_cast<size_t>(at.y() - bounds.y()) * static_cast<size_t>(bounds.width())
            + static_cast<size_t>(at.x() - bounds.x()));
    }

    void decodeBounds()
    {
        RleDecoder before = *this;
        bounds = takeRect();
        m_next += 2;
        frame.assign(static_cast<size_t>(bounds.width()) * static_cast<size_t>(bounds.height()), 0);
        const QRect kept = bounds & before.bounds;
        for (int y = kept.top(); y <= kept.bottom(); ++y) {
            for (int x = kept.left(); x <= kept.right(); ++x)
                pixel({x, y}) = before.pixel({x, y});
        }
    }

    void decodeUpdate()
    {
        EXPECT_EQ(*m_next++, 0U);
        rects.assign(*m_next++, {});
        ++m_next;
        for (QRect& rect : rects)
            rect = takeRect();
        for (const QRect& rect : rects) {
            int done = 0;
            while (done < rect.width() * rect.height()) {
                const unsigned int word = *m_next++;
                const int length = word >> 24 != 0 ? static_cast<int>(word >> 24) : static_cast<int>(word);
                for (int i = 0; word >> 24 != 0 && i < length; ++i) {
                    const int at = done + i;
                    pixel({rect.x() + at % rect.width(), rect.y() + at / rect.width()}) = word & 0xFFFFFF;
                }
                done += length;
            }
            EXPECT_EQ(done, rect.width() * rect.height());
        }
    }

    Pixels::const_iterator m_next;
};

} // namespace Zendra::Tests
