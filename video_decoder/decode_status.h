#pragma once

// What Decode() answers; hosts know the numbers.

inline constexpr int kDecodedPicture = 0;
inline constexpr int kDecodeError = 2;
inline constexpr int kNoPictureYet = 3;
inline constexpr int kNoFrameBuffer = 4;
inline constexpr int kUnexpectedSize = 5;
