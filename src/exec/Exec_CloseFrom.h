#pragma once

/// Closes every descriptor from `first` up, for a child between fork and exec: only async-signal-safe calls
/// and no memory.
void Exec_CloseFrom(unsigned first) noexcept;

/// What that does where the kernel has no close_range(2), which came with Linux 5.9: one by one up to the
/// limit of open files.
void Exec_CloseByCounting(unsigned first) noexcept;
