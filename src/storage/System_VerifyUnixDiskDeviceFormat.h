#pragma once

/// Whether the text is the name of a disk's slice as "c1t0d0s2": c, t, d and s, each with digits behind it.
/// Letters of either case.
bool System_VerifyUnixDiskDeviceFormat(const char* device);
