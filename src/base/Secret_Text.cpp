#include "base/Secret_Text.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <sys/mman.h>
#include <utility>

namespace {

/// Grown to its capacity first: bytes beyond the end may be left of a longer text. That takes no memory.
void wipe(std::string& text) noexcept {
    text.resize(text.capacity());
    explicit_bzero(text.data(), text.size());
    text.clear();
}

/// What a string holds without memory of its own.
const std::size_t ownCapacity = std::string().capacity();

bool liesInItsObject(const std::string& text) {
    return text.capacity() <= ownCapacity;
}

} // namespace

Secret_Text& Secret_Text::operator=(Secret_Text&& other) noexcept {
    if (this != &other) {
        clear();
        text_.swap(other.text_);
    }
    return *this;
}

Secret_Text Secret_Text::take(std::string&& text) {
    Secret_Text taken;
    if (liesInItsObject(text))
        taken.append(text);
    else
        taken.text_.swap(text);
    wipe(text);
    return taken;
}

Secret_Text Secret_Text::take(std::unique_ptr<char[]> text, std::size_t length) {
    if (text == nullptr)
        return Secret_Text();
    // Also when there is no memory for the copy.
    const auto wipeArray = [length](char* array) { explicit_bzero(array, length); };
    const std::unique_ptr<char, decltype(wipeArray)> wiped(text.get(), wipeArray);
    return Secret_Text(std::string_view(text.get(), length));
}

void Secret_Text::append(std::string_view text) {
    const std::size_t needed = text_.size() + text.size();
    reserve(needed <= text_.capacity() ? needed : std::max(needed, 2 * text_.capacity()));
    text_.append(text);
}

void Secret_Text::resize(std::size_t size) {
    reserve(size);
    if (size < text_.size())
        explicit_bzero(text_.data() + size, text_.size() - size);
    text_.resize(size);
}

void Secret_Text::reserve(std::size_t size) {
    if (size == 0 || (size <= text_.capacity() && !liesInItsObject(text_)))
        return;
    // A string that grows by itself leaves its old memory as it was.
    std::string larger;
    larger.reserve(std::max(size, 2 * ownCapacity));
    larger.append(text_);
    text_.swap(larger);
    wipe(larger);
}

void Secret_Text::clear() noexcept {
    if (liesInItsObject(text_))
        return;
    wipe(text_);
    std::string().swap(text_);
}

/// A frame of its own, so that it covers the frames of the calls that have returned.
[[gnu::noinline]] Secret_StackWipe::~Secret_StackWipe() {
    char left[64 * 1024];
    explicit_bzero(left, sizeof left);
    // Most of it was never in use, and is not to stay with each thread that once saw a secret.
    constexpr std::size_t page = 4096;
    void* pages = left;
    std::size_t size = sizeof left;
    if (std::align(page, page, pages, size) != nullptr)
        madvise(pages, size / page * page, MADV_DONTNEED);
}
