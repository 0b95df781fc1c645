#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Text from the wire made fit to be shown. Functions over bytes of any kind.

/// Whether what is shown goes to where UTF-8 is understood, which it does if nothing is said. Elsewhere a
/// byte of a longer character can be a control of its own (0x80 to 0x9f), so such characters are spelled out
/// too, in text and in JSON. To be called before any text is shown.
void Ctl_SetTerminalUtf8(bool understood);

/// The text as a terminal may get it: UTF-8, in which whatever could steer the terminal or disguise what
/// stands there is spelled out: control characters and bytes that are not UTF-8 as "\x1b", invisible
/// characters that reorder or break lines as "\u202e" or "\U000e0041".
std::string Ctl_Printable(std::string_view text);
/// The same, with line feeds and tabs left as they are.
std::string Ctl_PrintableLines(std::string_view text);

/// Tells the person something in one line on standard error; the text may hold any bytes.
void Ctl_Say(std::string_view text);

/// The columns that printable text takes, as far as characters that are one column wide go.
std::size_t Ctl_Width(std::string_view printable);

/// "931.5 GiB"; exact below a KiB.
std::string Ctl_SizeText(double bytes);

/// A JSON string (RFC 8259) with its quotes. A byte that is not UTF-8 becomes U+EF00 plus the byte, as in the
/// agent's documents, so that the output is valid and nothing is lost.
std::string Ctl_JsonString(std::string_view text);
