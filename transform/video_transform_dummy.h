#pragma once

#include "codrelay/video_transform.h"

/// For requests that change nothing: hands the frame straight back.
class CVideoTransformDummy : public CVideoTransformBase {
public:
    CFrameBufferBase* Transform(CFrameBufferBase* frame) override;
};
