#pragma once

#include <string>
#include <string_view>

/// The condition of a search, from what a person writes, such as
///
///     size > 1M and (name endsWith .log or modified > 2026-01-01) and not owner = root
///
/// as the text of an element Condition that the agent reads. qdvctl(1) tells the language. Throws Ctl_Failure
/// (wrong usage) with a message that begins with the column, and with lines that show the place.
///
/// A pure function, of bytes of any kind; no layer needs to be up.
std::string Ctl_SearchCondition(std::string_view expression);
