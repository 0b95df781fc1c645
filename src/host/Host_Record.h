#pragma once

#include "host/Host_Words.h"

#include <map>
#include <string>
#include <string_view>

/// A recorded host: what was asked and what was answered. docs/formats.md describes the questions, the words
/// of their answers, and the folder in which a record is kept.
struct Host_Record {
    /// By the words of the question.
    std::map<Host_Words, Host_Answer<Host_Words>> answers;
};

/// Reads the file "index" of the folder and the texts that it names. Throws std::runtime_error, which tells
/// the line, if that fails or the index holds what is no question with a fitting answer.
Host_Record Host_ReadRecord(const std::string& folder);

/// The record of an index that names no texts. Throws like Host_ReadRecord.
Host_Record Host_ParseRecord(std::string_view index);

/// Fills an empty folder. Throws std::runtime_error if it cannot be written.
void Host_WriteRecord(const Host_Record& record, const std::string& folder);
