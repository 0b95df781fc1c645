#pragma once

#include "xml/XMLSerializable_Attributes.h"
#include "xml/XMLSerializable_XMLSerializable.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

/// What was seen of one volume in a search. It comes with the request, as the name of the path to walk and
/// the server's id for it, and goes out in the summary with the counters.
///
/// Sizes are bytes. Modified and accessed are those within the window of the walk. For one thread at a time.
class FileSearch_VolumeStat : public XMLSerializable_XMLSerializable {
public:
    struct Counters {
        std::uint64_t all = 0;
        std::uint64_t archived = 0;
        std::uint64_t modified = 0;
        std::uint64_t accessed = 0;
    };

    /// How one file or directory counts.
    struct Entry {
        bool isDirectory = false;
        bool isArchived = false;
        bool isModified = false;
        bool isAccessed = false;
        /// What it adds to the size of the hits, if it is one.
        std::uint64_t size = 0;
    };

    /// False for an element of another name.
    bool parse(xercesc::DOMElement* element) override;
    bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                   xercesc::DOMElement* element) override;

    std::uint64_t getNXId() const { return nxId_; }
    const std::string& getName() const { return name_; }
    std::uint64_t getNumFiles() const { return files_.all; }
    std::uint64_t getNumDirs() const { return dirs_.all; }
    std::uint64_t getNumFilesHit() const { return filesHit_.all; }
    std::uint64_t getNumDirsHit() const { return dirsHit_.all; }
    std::uint64_t getSizeHit() const { return sizeHit_; }

    void countEntry(const Entry& entry);
    void countHit(const Entry& entry);
    /// For a hit in the directory `parent` that could not be stored after all, and neither could those that
    /// were counted behind it.
    void takeBackHit(const Entry& entry, std::string_view parent);

    /// No byte counts twice in the size of the hits. A directory that is a hit adds the bytes below it, less
    /// those that hits below it have added before; for that each directory is told here, with all that lies
    /// below it behind it, before its parent.
    ///
    /// A file or a link that is a hit in the directory `parent`.
    void coverFile(std::string_view parent, std::uint64_t size) { covered_[Hash()(parent)] += size; }
    /// Gives what the directory adds: nothing unless it is a hit.
    std::uint64_t coverDirectory(std::string_view path, std::string_view parent, std::uint64_t sizeBelow,
                                 bool isHit);

private:
    using Hash = std::hash<std::string_view>;

    static XMLSerializable_Table<FileSearch_VolumeStat> attributes();
    template <Counters FileSearch_VolumeStat::*Group, std::uint64_t Counters::*Field>
    static XMLSerializable_Attribute<FileSearch_VolumeStat> counter(const char* name);

    std::uint64_t nxId_ = 0;
    std::string name_;
    Counters files_;
    Counters dirs_;
    Counters filesHit_;
    Counters dirsHit_;
    std::uint64_t sizeHit_ = 0;
    /// What hits have added below each directory that is not finished, by the hash of its path, since the
    /// paths of a deep tree would be long.
    std::unordered_map<std::size_t, std::uint64_t> covered_;
};
