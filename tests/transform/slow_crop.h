#pragma once

#include <cstdint>
#include <vector>

#include "transform/pictures.h"

/// The crop, sample by sample. What lies outside the picture is zero.
std::vector<uint8_t> CropSlowly(unsigned int colorSpace, Dimensions size, CVideoTransformBase::CROP_RECT part,
                                const std::vector<uint8_t>& source);

/// A cropped picture as a host would lay it out: 4:2:0 of odd size gets the last column and row of chroma, which the
/// crop rounds away, from those before them.
std::vector<uint8_t> WithWholeChroma(unsigned int colorSpace, Dimensions size, const std::vector<uint8_t>& cropped);
