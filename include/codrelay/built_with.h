#pragma once

/// @file
/// Refuses a host that is compiled in another way than the library, where objects would not fit together. The record of
/// the library's build is there wherever it is installed; without it nothing is looked at.

#if __has_include("codrelay/build_record.h")
#include "codrelay/build_record.h"

#ifdef _GLIBCXX_DEBUG
static_assert(CODRELAY_DEBUG_CONTAINERS == 1,
              "Codrelay was built without _GLIBCXX_DEBUG, which lays std::set and std::vector out in another way: "
              "compile without _GLIBCXX_DEBUG, or build Codrelay with it");
#else
static_assert(CODRELAY_DEBUG_CONTAINERS == 0,
              "Codrelay was built with _GLIBCXX_DEBUG, which lays std::set and std::vector out in another way: "
              "compile with _GLIBCXX_DEBUG, or build Codrelay without it");
#endif
#endif
