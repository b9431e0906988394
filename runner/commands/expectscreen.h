#pragma once

#include <QImage>

#include <zendra/geometry.h>

#include "cli/command.h"
#include "screenarea.h"

namespace Zendra::Runner
{

struct ImageDifference;

/// Waits until the screen, or a part of it, equals a picture.
class ExpectScreen : public Command
{
public:
    void declare(Arguments& arguments) override;
    void check() override;
    int longestTime() const override;
    void run(Session& session) const override;

private:
    QImage readReference() const;
    QImage takePicture(Session& session, const Rect& place, const QSize& expected) const;
    QString besideReference(const char* ending) const;
    void removePictures() const;
    [[noreturn]] void fail(const QImage& actual, const QImage& reference, const ImageDifference& difference,
        const Rect& place) const;

    QString m_reference;
    ScreenArea m_area;
    int m_tolerance = 0;
    double m_seconds = 5.0;
};

} // namespace Zendra::Runner
