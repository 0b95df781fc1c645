/* Preloaded into an agent whose disks are plain files: answers what only a disk is asked, from records that
 * stand in such a file behind what else is read of it. harness/world.py writes them. A file system at a folder
 * named "dead" never answers, and the clock goes ahead by as many seconds as the file $LATER has bytes. */

#define _GNU_SOURCE
#include <dlfcn.h>
#include <scsi/sg.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/syscall.h>
#include <time.h>
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

int statfs64(const char *path, struct statfs64 *status) {
    while (strcmp(basename(path), "dead") == 0)
        pause();
    return (int)syscall(SYS_statfs, path, status);
}

int clock_gettime(clockid_t clock, struct timespec *now) {
    const char *file = getenv("LATER");
    struct stat status;
    const int result = (int)syscall(SYS_clock_gettime, clock, now);
    if (result == 0 && clock == CLOCK_MONOTONIC && file != NULL && stat(file, &status) == 0)
        now->tv_sec += status.st_size;
    return result;
}
