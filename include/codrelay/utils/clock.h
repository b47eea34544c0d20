#pragma once

/// @file
/// Clocks in milliseconds.

#include "codrelay/export.h"

namespace utils {

/// The wall clock in milliseconds since 1970-01-01T00:00:00Z. If the system has no answer, prints
/// "GetLocalTimeInMs: gettimeofday failed" to standard output, without a line end, and returns a value of no meaning.
/// Example: `long long now = utils::GetLocalTimeInMs();`
CODRELAY_API long long GetLocalTimeInMs();

/// The clock of all statistics, in milliseconds. In spite of its name it reads the wall clock and jumps with it.
/// Failure is as for GetLocalTimeInMs, message included.
CODRELAY_API long long GetMonotonicTimeInMs();

}  // namespace utils
