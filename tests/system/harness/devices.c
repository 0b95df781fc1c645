/* Preloaded into an agent whose disks are plain files: answers what only a disk is asked, from records that
 * stand in such a file behind what else is read of it. harness/world.py writes them. */

#define _GNU_SOURCE
#include <dlfcn.h>
#include <scsi/sg.h>
#include <stdarg.h>
#include <string.h>
#include <unistd.h>

enum { GET_IDENTITY = 0x030d, GET_ADDRESS = 0x5382 };

static int read_record(int file, off_t offset, const char *mark, void *reply, size_t size) {
    char found[4];
    return pread(file, found, sizeof found, offset) == sizeof found && memcmp(found, mark, sizeof found) == 0 &&
           pread(file, reply, size, offset + (off_t)sizeof found) == (ssize_t)size;
}

int ioctl(int file, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void *reply = va_arg(arguments, void *);
    va_end(arguments);
    if ((request == GET_ADDRESS && read_record(file, 4096, "LUN ", reply, 4)) ||
        (request == SG_IO && read_record(file, 4608, "INQ ", ((struct sg_io_hdr *)reply)->dxferp, 96)) ||
        (request == GET_IDENTITY && read_record(file, 5120, "IDE ", reply, 512)))
        return 0;
    return ((int (*)(int, unsigned long, ...))dlsym(RTLD_NEXT, "ioctl"))(file, request, reply);
}
