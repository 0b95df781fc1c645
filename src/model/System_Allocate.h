#pragma once

#include <memory>

/// What a factory does: a new `Concrete`, or null if it cannot be made. No exception leaves it.
template <typename Base, typename Concrete>
std::unique_ptr<Base> System_Allocate() noexcept {
    try {
        return std::make_unique<Concrete>();
    } catch (...) {
        return nullptr;
    }
}
