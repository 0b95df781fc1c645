#pragma once

#include <cstdlib>
#include <string>
#include <string_view>

/// What a target does with an input. Each has its own; driver.cpp calls it.
void fuzz(std::string_view input);

/// What no input may break.
inline void require(bool holds) {
    if (!holds)
        std::abort();
}
