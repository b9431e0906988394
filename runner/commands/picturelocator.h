#pragma once

#include <QDeadlineTimer>
#include <QRect>
#include <QString>

#include <zendra/geometry.h>

namespace Zendra::Runner
{

class Session;

/// Says which part of the screen is meant by its picture: `image:FILE.png`, or `image:FILE.png #2`.
class PictureLocator
{
public:
    /// How similar a place must be by default; 1 is equal.
    static constexpr double defaultSimilarity = 0.95;

    static bool isOne(const QString& text);
    /// Throws a Failure of status WrongUsage.
    explicit PictureLocator(const QString& text);

    const QString& text() const { return m_text; }
    /// Waits until the picture is at one place of an area of the screen, and does not change there. A
    /// negative width stands for the whole screen. Throws a Failure that says what is there instead.
    QRect find(Session& session, const Rect& area, double similarity, const QDeadlineTimer& deadline) const;

private:
    QString m_text;
    QString m_fileName;
    int m_number = 0; ///< counts from 1, in reading order; 0 for the only one
};

} // namespace Zendra::Runner
