#include "xml/Xerces_XercesString.h"

#include "xml/Xerces_Memory.h"
#include "xml/Xerces_Text.h"

#include <algorithm>
#include <cstring>

Xerces_XercesString::Xerces_XercesString(const char* text) {
    if (text != nullptr)
        transcode(text);
}

Xerces_XercesString::Xerces_XercesString(std::string_view text) {
    transcode(text);
}

Xerces_XercesString::~Xerces_XercesString() {
    if (Xerces_MemoryWipe::isWanted() && form_ != nullptr)
        explicit_bzero(form_, capacity_ * sizeof *form_);
}

void Xerces_XercesString::transcode(std::string_view text) {
    const std::size_t units = Xerces_MaximumUnits(text.size());
    if (units > shortLength)
        long_ = std::make_unique_for_overwrite<char16_t[]>(units + 1);
    form_ = long_ ? long_.get() : short_.data();
    capacity_ = units + 1;
    Xerces_ToUnits(text, form_);
}

char* nxNewText(std::string_view text) {
    auto copy = std::make_unique_for_overwrite<char[]>(text.size() + 1);
    std::copy(text.begin(), text.end(), copy.get());
    copy[text.size()] = '\0';
    return copy.release();
}

char* nxTranscode(const char16_t* units) {
    return units == nullptr ? nullptr : nxNewText(Xerces_ToBytes(units));
}

void nxDeleteTranscode(char* text) {
    delete[] text;
}
