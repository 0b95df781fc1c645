#include "config/Config_File.h"

#include "base/File_Contents.h"
#include "base/File_Descriptor.h"
#include "base/File_Operations.h"
#include "base/Secret_Text.h"
#include "base/String_Functions.h"
#include "log/Debug_Printf.h"
#include "xml/Xerces_Memory.h"

#include <xercesc/framework/MemBufInputSource.hpp>

#include <fcntl.h>
#include <memory>
#include <string_view>
#include <utility>

namespace {

constexpr const char* TemporarySuffix = ".tmp";
constexpr mode_t NewFileMode = 0660;

/// Far beyond any honest configuration; keeps a wrong file from filling the memory.
constexpr std::size_t MaximumFileSize = std::size_t(16) << 20;

} // namespace

std::string _Base_Config_File::getFilePathname() const {
    return pathname_ + '/' + filename_;
}

void _Base_Config_File::setFilename(std::string filename) {
    filename_ = std::move(filename);
}

void _Base_Config_File::setPathname(std::string pathname) {
    pathname_ = std::move(pathname);
}

bool _Base_Config_File::findFile() {
    // A pipe under that name is no file, but must not hold the agent until somebody writes to it.
    const File_Descriptor file(open(getFilePathname().c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    return file ? succeed() : failOnPath("open");
}

bool _Base_Config_File::readFile() {
    const Secret_StackWipe stackWipe; // agent.conf holds a password
    const Xerces_MemoryWipe wipe;
    Secret_Text contents;
    if (!File_ReadWhole(getFilePathname().c_str(), contents, MaximumFileSize))
        return failOnPath("read");
    xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(contents.data()), contents.size(), "");
    return configParse(source) && succeed();
}

bool _Base_Config_File::writeFile() {
    const Secret_StackWipe stackWipe;
    const Xerces_MemoryWipe wipe;
    char* serialized = nullptr;
    unsigned length = 0;
    const bool done = configSerialize(serialized, length);
    const Secret_Text text = Secret_Text::take(std::unique_ptr<char[]>(serialized), length);
    if (!done)
        return false;
    if (serialized == nullptr)
        return fail("there is nothing to write");
    // It could not be read again.
    if (length > MaximumFileSize)
        return fail("it has grown too large");
    if (!File_WriteAtomically(getFilePathname().c_str(), TemporarySuffix, text.view(), NewFileMode))
        return failOnPath("write");
    return succeed();
}

bool _Base_Config_File::deleteFile() {
    return File_Delete(getFilePathname().c_str()) ? succeed() : failOnPath("delete");
}

bool _Base_Config_File::fail(const std::string& reason) {
    lastError_ = filename_ + ": " + reason;
    DEBUG_LOG("Config: %s\n", lastError_.c_str());
    return false;
}

bool _Base_Config_File::succeed() {
    lastError_.clear();
    return true;
}

bool _Base_Config_File::failOnPath(const char* action) {
    const std::string cause = nxGetLastErrorMessage();
    return fail(std::string("cannot ") + action + ' ' + getFilePathname() + ": " + cause);
}

xercesc::InputSource& _Base_Config_File::asInputSource(xercesc::MemBufInputSource& source) {
    return source;
}
