#pragma once

namespace Zendra::Video
{

/// Recording formats; the values combine to the set of formats that a receiver allows.
enum ScreenRecordFormat {
    RleFormat = 1, ///< run-length encoded rectangles, lossless
    H264Format = 2 ///< a stream of H.264 packets (ITU-T H.264)
};

} // namespace Zendra::Video
