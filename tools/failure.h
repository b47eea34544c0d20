#pragma once

#include <stdexcept>

/// What ends the command with exit code 1. The text is the one line that the user gets: what is wrong, and with what.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};
