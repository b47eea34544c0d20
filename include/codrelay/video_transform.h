#pragma once

/// @file
/// Crop, scale and change of colour space.

#include <memory>

#include "codrelay/export.h"
#include "codrelay/frame_buffer.h"
#include "codrelay/utils/noncopyable.h"

/// Crops, scales and converts single pictures. Made by `Codrelay_VideoTransform` for one sort of picture and kept for
/// as long as they come. One thread at a time uses an object, since its buffers are used again; different objects are
/// independent.
class CODRELAY_API CVideoTransformBase : utils::Noncopyable {
public:
    /// A part of the input picture in percent of its size. Edges in pixels are rounded down. Colours of 4:2:0 are right
    /// where x, y and the size of the input picture are even, and, where the part is not scaled, its own size too;
    /// those of YUYV422 where x is: the crop takes them by whole divisions.
    struct ZOOM_RECT {
        /// Left edge, in percent of the width.
        int left;
        /// Upper edge, in percent of the height.
        int top;
        /// Right edge, in percent of the width.
        int right;
        /// Takes part only in the question whether the whole picture is meant: the height follows from the width, so
        /// that the picture keeps its shape.
        int bottom;
    };

    /// A part of the input picture in pixels.
    struct CROP_RECT {
        /// Leftmost column.
        int x;
        /// Uppermost row.
        int y;
        /// Width.
        int w;
        /// Height.
        int h;
    };

    virtual ~CVideoTransformBase();

    /// A mask of `CSP_*` ids, always 27: both ids of 4:2:0, BGR24 and RGB24.
    virtual unsigned int GetSupportedColorSpaces();

    /// Transforms `frame`, which stays the caller's and as it is. The result belongs to the transform and is good until
    /// its next `Transform` or its end; it carries the frame's timestamp. A transform that has nothing to do gives the
    /// frame itself. Null, with a line at Error on "ffmpeg", if the scaler fails or the picture is too large for it.
    /// The next frame is tried as usual.
    /// REQUIRES: `frame` is not null and holds a picture of the size and colour space that the transform was made for,
    /// rows without padding; that is not checked. Cropping `CSP_BGRA` ends the process.
    virtual CFrameBufferBase* Transform(CFrameBufferBase* frame) = 0;

    /// What stands behind `Codrelay_VideoTransform`.
    static std::shared_ptr<CVideoTransformBase> New(unsigned int inColorSpace, int inWidth, int inHeight,
                                                    ZOOM_RECT* zoom, unsigned int outColorSpace, int outWidth,
                                                    int outHeight);
    /// What stands behind `Codrelay_VideoTransformCheckSize`.
    static bool CheckSize(int width, int height);

protected:
    CVideoTransformBase();
};
