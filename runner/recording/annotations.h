#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <QElapsedTimer>
#include <QImage>
#include <QRect>
#include <QSocketNotifier>
#include <QString>

#include "x11/cursorwatch.h"
#include "x11/inputrecord.h"

namespace Zendra::Runner
{

/// What a film shows on top of the screen: the pointer, rings where buttons go down, and captions.
///
/// The server reports input while the event loop of this thread runs.
class Annotations
{
public:
    struct Settings {
        bool hasPointer = true;
        bool hasCaptions = false; ///< needs a QGuiApplication, for fonts
    };

    /// `changed` is called when there is something new to see. Throws a Failure when the display cannot be
    /// opened.
    Annotations(const QByteArray& displayName, Settings settings, std::function<void()> changed);

    /// Begins a step, whose title is in the caption.
    void setStep(const QString& title);
    /// Asks the server for the pointer's position, which may change with the size of the screen.
    void updatePosition();
    /// Without RECORD the server reports no motion.
    bool mustPoll() const { return m_settings.hasPointer && !m_input; }

    /// Milliseconds until something disappears by itself; negative if nothing does.
    int lifetime() const;
    /// The areas that paint() draws on. `picture` is the part of the screen that is shown.
    std::vector<QRect> areas(const QRect& picture) const;
    /// Draws on the picture of this part of the screen.
    void paint(QImage& image, const QRect& picture) const;
    /// Fetches what has changed on the server, and removes what has ended. Before areas() and paint().
    void update();

private:
    struct Ring {
        QPoint place;
        int button;
        int radius;
        qint64 end;
    };

    void watch(QSocketNotifier& notifier, std::function<void()> take);
    void takeInput();
    void takePointerEvent(const InputEvent& event);
    void takeKey(const InputEvent& key);
    void renderCaption(const QSize& size) const;
    QString keysShown() const;

    const Settings m_settings;
    const std::function<void()> m_changed;
    QElapsedTimer m_clock;
    std::unique_ptr<CursorWatch> m_cursorWatch;
    std::unique_ptr<InputRecord> m_input; ///< null without RECORD
    std::optional<QSocketNotifier> m_cursorNotifier;
    std::optional<QSocketNotifier> m_inputNotifier;

    CursorPicture m_cursor;
    bool m_isCursorStale = true;
    std::optional<QPoint> m_place; ///< of the pointer; null on another screen
    unsigned int m_heldButtons = 0;
    std::vector<Ring> m_rings;
    QString m_step;
    QString m_keys;
    qint64 m_lastKey = 0;
    mutable QImage m_caption; ///< for the size of picture and the texts
    mutable QSize m_captionSize;
    mutable QString m_captionText;
};

} // namespace Zendra::Runner
