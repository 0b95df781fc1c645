#include "search/FileSearch_VolumeStat.h"

#include "xml/XMLSerializable_Element.h"

#include <algorithm>

namespace {

constexpr const char* volumeElement = "Volume";

void add(FileSearch_VolumeStat::Counters& counters, const FileSearch_VolumeStat::Entry& entry,
         std::uint64_t one) {
    counters.all += one;
    counters.archived += entry.isArchived ? one : 0;
    counters.modified += entry.isModified ? one : 0;
    counters.accessed += entry.isAccessed ? one : 0;
}

constexpr std::uint64_t minusOne = ~std::uint64_t{0};

} // namespace

template <FileSearch_VolumeStat::Counters FileSearch_VolumeStat::*Group,
          std::uint64_t FileSearch_VolumeStat::Counters::*Field>
XMLSerializable_Attribute<FileSearch_VolumeStat> FileSearch_VolumeStat::counter(const char* name) {
    return XMLSerializable_Attribute<FileSearch_VolumeStat>{
        name,
        [](const FileSearch_VolumeStat& stat, std::string&) -> XMLSerializable_Value {
            return stat.*Group.*Field;
        },
        [](FileSearch_VolumeStat& stat, const std::string& text) {
            stat.*Group.*Field = XMLSerializable_ReadUnsigned(text);
        }}
        .clearedIfAbsent();
}

XMLSerializable_Table<FileSearch_VolumeStat> FileSearch_VolumeStat::attributes() {
    using Stat = FileSearch_VolumeStat;
    static const XMLSerializable_Attribute<Stat> table[] = {
        XMLSerializable_Number<&Stat::nxId_>("nxId").clearedIfAbsent(),
        XMLSerializable_Text<&Stat::name_>("name").clearedIfAbsent(),
        counter<&Stat::files_, &Counters::all>("numFiles"),
        counter<&Stat::dirs_, &Counters::all>("numDirs"),
        counter<&Stat::files_, &Counters::archived>("numFilesArchived"),
        counter<&Stat::dirs_, &Counters::archived>("numDirsArchived"),
        counter<&Stat::files_, &Counters::modified>("numFilesModified"),
        counter<&Stat::dirs_, &Counters::modified>("numDirsModified"),
        counter<&Stat::files_, &Counters::accessed>("numFilesAccessed"),
        counter<&Stat::dirs_, &Counters::accessed>("numDirsAccessed"),
        counter<&Stat::filesHit_, &Counters::all>("numFilesHit"),
        counter<&Stat::dirsHit_, &Counters::all>("numDirsHit"),
        counter<&Stat::filesHit_, &Counters::archived>("numFilesArchivedHit"),
        counter<&Stat::dirsHit_, &Counters::archived>("numDirsArchivedHit"),
        counter<&Stat::filesHit_, &Counters::modified>("numFilesModifiedHit"),
        counter<&Stat::dirsHit_, &Counters::modified>("numDirsModifiedHit"),
        counter<&Stat::filesHit_, &Counters::accessed>("numFilesAccessedHit"),
        counter<&Stat::dirsHit_, &Counters::accessed>("numDirsAccessedHit"),
        XMLSerializable_Number<&Stat::sizeHit_>("sizeHit").clearedIfAbsent(),
    };
    return table;
}

bool FileSearch_VolumeStat::parse(xercesc::DOMElement* element) {
    return element != nullptr && XMLSerializable_Attempt([&] {
               if (Xerces_TagName(*element) != volumeElement)
                   return false;
               XMLSerializable_ReadAttributes(attributes(), *this, *element);
               return true;
           });
}

bool FileSearch_VolumeStat::serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                                      xercesc::DOMElement* element) {
    return XMLSerializable_Attempt([&] {
        XMLSerializable_Element form(document, element, volumeElement);
        XMLSerializable_WriteAttributes(attributes(), *this, *form);
        form.appendTo(parent);
        return true;
    });
}

void FileSearch_VolumeStat::countEntry(const Entry& entry) {
    add(entry.isDirectory ? dirs_ : files_, entry, 1);
}

void FileSearch_VolumeStat::countHit(const Entry& entry) {
    add(entry.isDirectory ? dirsHit_ : filesHit_, entry, 1);
    sizeHit_ += entry.size;
}

void FileSearch_VolumeStat::takeBackHit(const Entry& entry, std::string_view parent) {
    add(entry.isDirectory ? dirsHit_ : filesHit_, entry, minusOne);
    sizeHit_ -= entry.size;
    // What was added below directories that are finished has gone up to the first one that is not.
    for (std::string_view place = parent; entry.size != 0;) {
        if (const auto found = covered_.find(Hash()(place)); found != covered_.end()) {
            found->second -= std::min(found->second, entry.size);
            return;
        }
        const std::size_t slash = place.rfind('/');
        if (slash == std::string_view::npos)
            return;
        place = place.substr(0, slash);
    }
}

std::uint64_t FileSearch_VolumeStat::coverDirectory(std::string_view path, std::string_view parent,
                                                    std::uint64_t sizeBelow, bool isHit) {
    const auto own = covered_.find(Hash()(path));
    const std::uint64_t before = own != covered_.end() ? own->second : 0;
    if (own != covered_.end())
        covered_.erase(own);
    const std::uint64_t added = isHit && sizeBelow > before ? sizeBelow - before : 0;
    if (before + added != 0)
        covered_[Hash()(parent)] += before + added;
    return added;
}
