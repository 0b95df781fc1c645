#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

/// A password, a token, or a text that holds one: nothing of it stays in memory. All the memory that it takes
/// is overwritten when it goes, grows or gets another value, bytes beyond its end included.
///
/// A value that is moved, and copied by copy() only. Used by one thread at a time, like a std::string. A view
/// or pointer is valid until the text changes, moves or goes; who makes a std::string of it has a copy that
/// nobody wipes.
class Secret_Text {
public:
    Secret_Text() = default;
    explicit Secret_Text(std::string_view text) { append(text); }
    Secret_Text(Secret_Text&& other) noexcept { text_.swap(other.text_); }
    Secret_Text& operator=(Secret_Text&& other) noexcept;
    Secret_Text(const Secret_Text&) = delete;
    Secret_Text& operator=(const Secret_Text&) = delete;
    ~Secret_Text() { clear(); }

    /// Takes the text out of a string, which is wiped and empty afterwards.
    static Secret_Text take(std::string&& text);
    /// Takes the text out of an array that an interface gave away; the array is wiped and released. Null is
    /// the empty text.
    static Secret_Text take(std::unique_ptr<char[]> text, std::size_t length);

    Secret_Text copy() const { return Secret_Text(view()); }

    std::string_view view() const { return text_; }
    /// Ends with a zero byte.
    const char* c_str() const { return text_.c_str(); }
    /// For interfaces that look at a string and do not keep it.
    const std::string& asString() const { return text_; }
    char* data() { return text_.data(); }
    std::size_t size() const { return text_.size(); }
    bool empty() const { return text_.empty(); }

    /// `text` may be a part of this one.
    void assign(std::string_view text) { *this = Secret_Text(text); }
    void append(std::string_view text);
    void append(char c) { append(std::string_view(&c, 1)); }
    /// New bytes at the end are zero.
    void resize(std::size_t size);
    void reserve(std::size_t size);
    /// Gives the memory back too.
    void clear() noexcept;

    friend bool operator==(const Secret_Text& a, const Secret_Text& b) { return a.text_ == b.text_; }

private:
    /// Empty or on the heap: a short string that lies inside its object is copied wherever the object goes.
    std::string text_;
};

/// Overwrites, when it goes, what the calls of its block have left on the stack of the thread: registers are
/// put there by the compiler and, at the first call of a library's function, by the linker.
class Secret_StackWipe {
public:
    Secret_StackWipe() = default;
    Secret_StackWipe(const Secret_StackWipe&) = delete;
    Secret_StackWipe& operator=(const Secret_StackWipe&) = delete;
    ~Secret_StackWipe();
};
