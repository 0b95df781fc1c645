#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

/// An object of a report in JSON (RFC 8259): its plain members by name, texts and numbers alike as text;
/// null, arrays and objects in it are left out.
using Storage_JsonRow = std::map<std::string, std::string, std::less<>>;

/// The objects in arrays of that name, wherever they stand, outer ones first. Empty if the text is no JSON,
/// as of a tool that is missing or does not know the format. Any text is welcome.
std::vector<Storage_JsonRow> Storage_ReadJsonRows(std::string_view text, std::string_view arrayName);

/// Empty if the object has no such member.
std::string_view Storage_JsonText(const Storage_JsonRow& row, std::string_view name);
