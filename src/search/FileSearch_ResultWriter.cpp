#include "search/FileSearch_ResultWriter.h"

#include "files/System_FileSystemObject.h"
#include "log/Debug_Printf.h"

#include <cerrno>

namespace {

/// A step of making the files of a volume.
bool didStep(bool done, const char* step) {
    if (!done)
        DEBUG_LOG("FileSearch_Search::audit: error %s: errno %u\n", step, static_cast<unsigned>(errno));
    return done;
}

} // namespace

bool FileSearch_ResultWriter::begin(const std::string& token, const std::string& directory,
                                    FileSearch_VolumeStat& volume) {
    close();
    token_ = token;
    directory_ = directory;
    volume_ = &volume;
    isWriting_ = didStep(file_.setPath(token_.c_str(), volume.getName().c_str(), directory_.c_str()),
                         "resultFile setPath") &&
                 didStep(file_.openFile(), "resultFile openFile") &&
                 didStep(file_.createNewFile(), "resultFile createFile") &&
                 didStep(file_.beginWriting(), "resultFile beginWriting");
    return isWriting_;
}

bool FileSearch_ResultWriter::add(const System_FileSystemObject& object,
                                  const FileSearch_VolumeStat::Entry& entry) {
    std::string text = record_.takeData();
    text.clear();
    object.appendText(text);
    record_.setData(std::move(text));
    volume_->countHit(entry);
    std::uint32_t offset = 0;
    const bool isWritten = file_.writeRecord(record_, offset);
    if (!isWritten) {
        volume_->takeBackHit(entry, object.getParentDirPath());
        takeBackLost();
        return false;
    }
    offsets_.push_back(offset);
    if (offset < file_.getEndOffset())
        pending_.clear();
    else
        pending_.push_back({offset, entry, object.getParentDirPath()});
    return true;
}

/// After a failure: what is not in the file by now is not a hit that anybody can read.
void FileSearch_ResultWriter::takeBackLost() {
    for (const Pending& hit : pending_)
        if (hit.offset >= file_.getEndOffset())
            volume_->takeBackHit(hit.entry, hit.parent);
    pending_.clear();
    while (!offsets_.empty() && offsets_.back() >= file_.getEndOffset())
        offsets_.pop_back();
}

bool FileSearch_ResultWriter::endRecords() {
    if (!isWriting_)
        return true;
    isWriting_ = false;
    const bool isWritten = didStep(file_.endWriting(), "resultFile endWriting");
    if (!isWritten)
        takeBackLost();
    pending_.clear();
    file_.closeFile();
    return isWritten;
}

bool FileSearch_ResultWriter::writeOffsets() {
    FileSearch_OffsetFile file;
    return didStep(file.setPath(token_.c_str(), volume_->getName().c_str(), directory_.c_str()),
                   "offsetFile setPath") &&
           didStep(file.openFile(), "offsetFile openFile") &&
           didStep(file.writeOffsets(&offsets_), "offsetFile writeOffsets");
}

void FileSearch_ResultWriter::close() {
    endRecords();
    file_.closeFile();
    std::vector<std::uint32_t>().swap(offsets_);
}
