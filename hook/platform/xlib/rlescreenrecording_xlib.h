#pragma once

#include <QRect>

#include <zendra/flist.h>

#include "rlerectupdatecompressor.h"
#include "screenrecording_xlib.h"

namespace Zendra::Xlib
{

/// Records what changes on the screen, without loss, in the format of RLERectUpdateCompressor.
class RleScreenRecording : public ScreenRecording
{
public:
    /// Takes the connection over. `scale` is the display's scale factor, 1.0 for 96 dots per inch.
    RleScreenRecording(Display* display, double scale);
    /// Takes a reference on `display`.
    RleScreenRecording(XDisplay* display, double scale);
    ~RleScreenRecording() override;

    void sendUpdate(unsigned int timestamp) override;

private:
    Q_DISABLE_COPY(RleScreenRecording)

    /// A region of the server's, made anew with the object and destroyed with it.
    class Region
    {
    public:
        explicit Region(Display* display);
        ~Region();

        XServerRegion id() const { return m_id; }
        /// Its rectangles, in the server's order.
        FList<QRect> rectangles() const;

    private:
        Q_DISABLE_COPY(Region)

        Display* m_display;
        XServerRegion m_id;
    };

    struct Root;

    Root adoptRootSize();
    FList<QRect> takeDamagedRectangles(Root& root);
    void encode(const QRect& rect, const Root& root);
    bool encodeRemainder(const QRect& rect, const Root& root);

    double m_scale;
    Region m_region;
    RLERectUpdateCompressor m_compressor;
};

} // namespace Zendra::Xlib
