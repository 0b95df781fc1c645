#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// An empty directory that goes with the object.
class Temporary_Directory {
public:
    Temporary_Directory() {
        char pattern[] = "/tmp/qdv_test_XXXXXX";
        EXPECT_NE(mkdtemp(pattern), nullptr);
        path_ = pattern;
    }
    Temporary_Directory(const Temporary_Directory&) = delete;
    Temporary_Directory& operator=(const Temporary_Directory&) = delete;
    ~Temporary_Directory() { std::filesystem::remove_all(path_); }

    std::string operator/(const std::string& name) const { return path_ + '/' + name; }
    const std::string& path() const { return path_; }

    std::size_t entries() const {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(path_), std::filesystem::directory_iterator()));
    }

private:
    std::string path_;
};

inline std::string contentsOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void putContents(const std::string& path, const std::string& contents) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << contents;
    EXPECT_TRUE(file.flush().good()) << path;
}
