#pragma once

/// Closes every descriptor from `first` up, for a child between fork and exec: only async-signal-safe calls,
/// no memory, and a handful of system calls however high the limit of open files is.
void Exec_CloseFrom(unsigned first) noexcept;

// The ways to do that, best first; each gives false if the system does not offer it.

/// close_range(2), Linux 5.9.
bool Exec_CloseByRange(unsigned first) noexcept;
/// One by one as /proc/self/fd lists them.
bool Exec_CloseByListing(unsigned first) noexcept;
/// One by one up to the limit of open files.
void Exec_CloseByCounting(unsigned first) noexcept;
