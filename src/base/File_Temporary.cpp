#include "base/File_Temporary.h"

#include "base/MD5.h"
#include "base/String_Functions.h"
#include "log/Debug_Printf.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>

namespace {

constexpr std::string_view suffix = ".tmp";
constexpr std::size_t nameDigits = 32;
constexpr int nameAttempts = 10;
constexpr mode_t onlyForTheAgent = 0600;

std::string makeName() {
    const int number = rand(); // NOLINT(cert-msc30-c,cert-msc50-cpp): the name need not be hard to guess
    const std::string seed = std::to_string(static_cast<int>(time(nullptr))) + "-" + std::to_string(number);
    MD5 digest;
    digest.update(reinterpret_cast<const unsigned char*>(seed.data()), static_cast<unsigned>(seed.size()));
    digest.finalize();
    const std::unique_ptr<char[]> digits(digest.hex_digest());
    return std::string(digits.get()).append(suffix);
}

bool isLowerHexDigit(char character) {
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f');
}

bool isRegular(int folder, const char* name) {
    struct stat status {};
    return fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(status.st_mode);
}

} // namespace

File_Descriptor File_CreateTemporary(std::string_view folder, std::string& path) {
    for (int attempt = 0; attempt < nameAttempts; ++attempt) {
        path = std::string(folder) + makeName();
        File_Descriptor file(
            open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOCTTY, onlyForTheAgent));
        if (file || errno != EEXIST)
            return file;
    }
    return File_Descriptor();
}

bool File_IsTemporaryName(std::string_view name) {
    return name.size() == nameDigits + suffix.size() && name.ends_with(suffix) &&
           std::all_of(name.begin(), name.begin() + nameDigits, isLowerHexDigit);
}

void File_Sweep(const char* folder, bool (*isLeftover)(std::string_view name)) {
    const std::unique_ptr<DIR, int (*)(DIR*)> opened(opendir(folder), closedir);
    if (!opened)
        return;
    const int descriptor = dirfd(opened.get());
    while (const dirent* entry = readdir(opened.get())) { // NOLINT(concurrency-mt-unsafe)
        const char* name = entry->d_name;
        if (!isLeftover(name) || !isRegular(descriptor, name))
            continue;
        if (unlinkat(descriptor, name, 0) == 0)
            DEBUG_LOG("FILE: Deleted %s/%s, which an earlier run has left\n", folder, name);
        else
            DEBUG_LOG("FILE: Could not delete %s/%s %s\n", folder, name, nxGetLastErrorMessage().c_str());
    }
}
