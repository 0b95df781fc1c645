#pragma once

/// A library's layer that is taken down when the object goes, if it came up. One thread brings layers up and
/// down, and the objects stand in the order in which the layers need each other.
class Layer_Guard {
public:
    Layer_Guard() = default;
    Layer_Guard(const Layer_Guard&) = delete;
    Layer_Guard& operator=(const Layer_Guard&) = delete;
    ~Layer_Guard() {
        if (cleanup_ != nullptr)
            cleanup_();
    }

    /// Once at most. The result is that of `init`; after false there is nothing to take down.
    bool bringUp(bool (*init)(), void (*cleanup)()) {
        if (!init())
            return false;
        cleanup_ = cleanup;
        return true;
    }

private:
    void (*cleanup_)() = nullptr;
};
