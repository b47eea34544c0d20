#include <gtest/gtest.h>
int unusedForNow = 0;
