// A comparison that shows the first difference. For EXPECT_PRED_FORMAT2.
#pragma once

#include <gtest/gtest.h>

#include <string>

// Two byte strings: the offset of the first difference, and bytes from there on as hexadecimal
// digits.
testing::AssertionResult SameBytes(const char* left_text,
                                   const char* right_text,
                                   const std::string& left,
                                   const std::string& right);
