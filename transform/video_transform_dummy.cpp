#include "transform/video_transform_dummy.h"

CFrameBufferBase* CVideoTransformDummy::Transform(CFrameBufferBase* frame) {
    return frame;
}
