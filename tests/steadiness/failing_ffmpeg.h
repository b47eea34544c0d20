#pragma once

#include <string>
#include <vector>

/// Every FFmpeg and libopus function whose result can tell the library of a failure, made to fail at link time.
namespace failing_ffmpeg {

/// The functions by name.
const std::vector<std::string>& AllCalls();

/// From now on the `nth` call of that function, counted from 1, fails, and no other. All threads count.
void Arm(const std::string& call, long nth);
/// Nothing fails any more. True if the call has failed since Arm.
bool Disarm();

}  // namespace failing_ffmpeg
