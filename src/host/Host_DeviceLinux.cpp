#include "host/Host_DeviceLinux.h"

#include "host/Host_Patience.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <linux/hdreg.h>
#include <scsi/scsi.h>
#include <scsi/scsi_ioctl.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Longer than a disk takes to wake up.
constexpr std::chrono::seconds devicePatience{20};
/// What the kernel gives a device for a SCSI command, in milliseconds.
constexpr unsigned scsiTimeout = 10000;

constexpr std::array<unsigned char, 6> inquiryCommand = {0x12, 0, 0, 0, Host_Device::inquiryLength, 0};

template <typename Value>
Host_Answer<Value> deviceFailed() {
    return Host_Answer<Value>::failure(errno);
}

Host_Answer<Host_ScsiAddress> scsiAddressOf(int device) {
    struct {
        std::uint32_t address = 0;
        std::uint32_t uniqueId = 0;
    } reply;
    if (ioctl(device, SCSI_IOCTL_GET_IDLUN, &reply) < 0)
        return deviceFailed<Host_ScsiAddress>();
    const auto byte = [&](unsigned shift) { return (reply.address >> shift) & 0xffU; };
    return Host_ScsiAddress{byte(24), byte(16), byte(0), byte(8)};
}

Host_Answer<std::string> inquiryBySG(int device) {
    std::string reply(Host_Device::inquiryLength, '\0');
    std::array<unsigned char, inquiryCommand.size()> command = inquiryCommand;
    sg_io_hdr request{};
    request.interface_id = 'S';
    request.dxfer_direction = SG_DXFER_FROM_DEV;
    request.cmdp = command.data();
    request.cmd_len = command.size();
    request.dxferp = reply.data();
    request.dxfer_len = static_cast<unsigned>(reply.size());
    request.timeout = scsiTimeout;
    if (ioctl(device, SG_IO, &request) < 0)
        return deviceFailed<std::string>();
    if ((request.info & SG_INFO_OK_MASK) != SG_INFO_OK)
        return Host_Answer<std::string>::failure(EIO);
    return reply;
}

/// The buffer takes the command and is overwritten by the reply. To anything but a block device the call
/// means something else.
Host_Answer<std::string> inquiryByOldCall(int device) {
    struct stat status {};
    if (fstat(device, &status) != 0 || !S_ISBLK(status.st_mode))
        return Host_Answer<std::string>::failure(ENOTTY);
    struct {
        std::uint32_t inputLength = 0;
        std::uint32_t outputLength = Host_Device::inquiryLength;
        std::array<unsigned char, Host_Device::inquiryLength> data{};
    } request;
    std::copy(inquiryCommand.begin(), inquiryCommand.end(), request.data.begin());
    if (ioctl(device, SCSI_IOCTL_SEND_COMMAND, &request) < 0)
        return deviceFailed<std::string>();
    return std::string(request.data.begin(), request.data.end());
}

Host_Answer<std::string> inquiryOf(int device) {
    Host_Answer<std::string> reply = inquiryBySG(device);
    if (reply || reply.error() == EIO)
        return reply;
    return inquiryByOldCall(device);
}

Host_Answer<std::string> identityOf(int device) {
    std::string identity(Host_Device::identityLength, '\0');
    if (ioctl(device, HDIO_GET_IDENTITY, identity.data()) < 0)
        return deviceFailed<std::string>();
    return identity;
}

Host_Answer<std::string> contentsOf(int device, std::uint64_t offset, std::size_t length) {
    std::string contents(length, '\0');
    std::size_t got = 0;
    while (got < length) {
        const ssize_t count =
            pread(device, contents.data() + got, length - got, static_cast<off_t>(offset + got));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return deviceFailed<std::string>();
        if (count == 0)
            break;
        got += static_cast<std::size_t>(count);
    }
    contents.resize(got);
    return contents;
}

using Shared = std::shared_ptr<const File_Descriptor>;

/// Asks `ask` of the open device, with devicePatience.
template <typename Value>
Host_Answer<Value> askOf(const std::string& path, const Shared& device, Host_Answer<Value> (*ask)(int)) {
    return Host_AskWithin<Value>(devicePatience, path, [device, ask] { return ask(device->get()); });
}

Host_Answer<Shared> openForReading(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    return descriptor < 0 ? deviceFailed<Shared>() : Shared(std::make_shared<File_Descriptor>(descriptor));
}

} // namespace

Host_Answer<std::unique_ptr<Host_Device>> Host_DeviceLinux::open(const std::string& path) {
    using Device = std::unique_ptr<Host_Device>;
    const Host_Answer<Shared> opened =
        Host_AskWithin<Shared>(devicePatience, path, [path] { return openForReading(path); });
    return opened ? Device(std::make_unique<Host_DeviceLinux>(path, *opened))
                  : Host_Answer<Device>::failure(opened.error());
}

Host_Answer<Host_ScsiAddress> Host_DeviceLinux::scsiAddress() {
    return askOf(path_, descriptor_, scsiAddressOf);
}

Host_Answer<std::string> Host_DeviceLinux::inquiry() {
    return askOf(path_, descriptor_, inquiryOf);
}

Host_Answer<std::string> Host_DeviceLinux::identity() {
    return askOf(path_, descriptor_, identityOf);
}

Host_Answer<std::string> Host_DeviceLinux::read(std::uint64_t offset, std::size_t length) {
    return Host_AskWithin<std::string>(devicePatience, path_, [device = descriptor_, offset, length] {
        return contentsOf(device->get(), offset, length);
    });
}
