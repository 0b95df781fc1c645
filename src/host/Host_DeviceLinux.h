#pragma once

#include "base/File_Descriptor.h"
#include "host/Host_Host.h"

#include <memory>
#include <string>
#include <utility>

/// A device node of this machine. A device that has hung keeps its descriptor until it comes back.
class Host_DeviceLinux : public Host_Device {
public:
    static Host_Answer<std::unique_ptr<Host_Device>> open(const std::string& path);

    /// `descriptor` is shared with threads that wait for the device.
    Host_DeviceLinux(std::string path, std::shared_ptr<const File_Descriptor> descriptor)
        : path_(std::move(path)), descriptor_(std::move(descriptor)) {}

    Host_Answer<Host_ScsiAddress> scsiAddress() override;
    /// By SG_IO, which kernels of today want, or else by the call that it replaced.
    Host_Answer<std::string> inquiry() override;
    Host_Answer<std::string> identity() override;
    Host_Answer<std::string> read(std::uint64_t offset, std::size_t length) override;

private:
    const std::string path_;
    const std::shared_ptr<const File_Descriptor> descriptor_;
};
