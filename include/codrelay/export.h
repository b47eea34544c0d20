#pragma once

/// @file
/// The mark of what the library offers.

/// Marks what the shared library offers to a host. Everything without it stays inside the library.
#define CODRELAY_API __attribute__((visibility("default")))
