#include "base/Secret_Text.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <malloc.h>
#include <memory>
#include <new>
#include <string>
#include <string_view>

namespace {

/// The tail of the secrets below; not itself in memory that is given back.
constexpr char mark[] = "k7Q";

std::atomic<bool> watching = false;
std::atomic<int> found = 0;

bool holdsMark(const void* block, std::size_t size) {
    return std::string_view(static_cast<const char*>(block), size).find(mark) != std::string_view::npos;
}

} // namespace

// Every block that the program gives back is looked through first, while a test watches.
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (void* block = std::malloc(size))
        return block;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
    if (watching && block != nullptr && holdsMark(block, malloc_usable_size(block)))
        ++found;
    std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
    operator delete(block);
}

TEST(Secret_Text, LeavesNothingInMemoryHoweverItIsUsed) {
    for (const std::string tail : {"k7Q", "23456789k7Q", "a password that is long enough for the heap k7Q"}) {
        // On the heap, so that a text inside its object would be found too.
        struct Objects {
            Secret_Text grown, copied, moved, taken, fromArray, assigned;
        };
        auto objects = std::make_unique<Objects>();
        auto array = std::make_unique<char[]>(tail.size());
        tail.copy(array.get(), tail.size());
        auto source = std::make_unique<std::string>(tail);
        auto stale = std::make_unique<std::string>(tail);
        stale->resize(1);
        watching = true;
        auto& [grown, copied, moved, taken, fromArray, assigned] = *objects;
        grown.assign(tail);
        copied = grown.copy();
        grown.append(std::string(1000, 'x'));
        moved = Secret_Text(std::move(copied));
        taken = Secret_Text::take(std::move(*source));
        fromArray = Secret_Text::take(std::move(array), tail.size());
        assigned.assign("x");
        assigned = std::move(taken);
        EXPECT_EQ(assigned.view(), tail);
        EXPECT_EQ(moved.asString(), tail);
        fromArray.resize(1);
        fromArray.assign(fromArray.view());
        EXPECT_EQ(std::string(fromArray.c_str()), tail.substr(0, 1));
        assigned.clear();
        EXPECT_TRUE(assigned.empty());
        taken = Secret_Text::take(std::move(*stale));
        taken.append(std::string(1000, 'x'));
        source.reset();
        stale.reset();
        objects.reset();
        watching = false;
        EXPECT_EQ(found.exchange(0), 0) << tail;
    }
    // What is looked for can be found.
    auto plain = std::make_unique<std::string>("a text that nobody wipes, and that is not short: k7Q");
    watching = true;
    plain.reset();
    watching = false;
    EXPECT_EQ(found.exchange(0), 1);
}
