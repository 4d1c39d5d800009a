/* A preloaded library that makes a disk fail for the files below the folder SOAK_DISK_FOLDER: writes, syncs
 * and renames fail, and writes end early, SOAK_DISK_PERMILLE of a thousand times. In some seconds the disk is
 * full: then every write fails. SOAK_DISK_SEED decides which. Other files are left alone. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

static const char* folder;
static uint64_t seed;
static unsigned permille;
static atomic_ullong calls;

__attribute__((constructor)) static void readSettings(void) {
    const char* text = getenv("SOAK_DISK_PERMILLE");
    folder = getenv("SOAK_DISK_FOLDER");
    permille = text ? (unsigned)atoi(text) : 0;
    text = getenv("SOAK_DISK_SEED");
    seed = text ? strtoull(text, NULL, 10) : 1;
}

static uint64_t mixed(uint64_t value) {
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9ULL;
    value = (value ^ (value >> 27)) * 0x94d049bb133111ebULL;
    return value ^ (value >> 31);
}

static unsigned thousandth(void) { return (unsigned)(mixed(seed + 977 * ++calls) % 1000); }

static int isFull(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return mixed(seed ^ (uint64_t)now.tv_sec) % 5 == 0;
}

static int isBelow(const char* path) { return folder && path && strncmp(path, folder, strlen(folder)) == 0; }

static int isWatched(int descriptor) {
    char link[64];
    char path[4096];
    struct stat about;
    const int kept = errno;
    int watched = 0;
    if (folder && fstat(descriptor, &about) == 0 && S_ISREG(about.st_mode)) {
        snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
        const ssize_t size = readlink(link, path, sizeof path - 1);
        path[size > 0 ? size : 0] = '\0';
        watched = isBelow(path);
    }
    errno = kept;
    return watched;
}

static int fails(int code) {
    errno = code;
    return -1;
}

#define REAL(name) __typeof__(name)* const real = (__typeof__(name)*)dlsym(RTLD_NEXT, #name)

/* How many of `size` bytes are written now: fewer than asked for, or -1 for a failure. */
static ssize_t allowed(int descriptor, size_t size) {
    if (!isWatched(descriptor)) {
        return (ssize_t)size;
    }
    const unsigned chance = thousandth();
    if (isFull() || chance < permille) {
        return -1;
    }
    return size > 1 && chance < 2 * permille ? (ssize_t)(size / 2) : (ssize_t)size;
}

ssize_t write(int descriptor, const void* bytes, size_t size) {
    REAL(write);
    const ssize_t now = allowed(descriptor, size);
    return now < 0 ? fails(ENOSPC) : real(descriptor, bytes, (size_t)now);
}

ssize_t pwrite(int descriptor, const void* bytes, size_t size, off_t offset) {
    REAL(pwrite);
    const ssize_t now = allowed(descriptor, size);
    return now < 0 ? fails(ENOSPC) : real(descriptor, bytes, (size_t)now, offset);
}

ssize_t writev(int descriptor, const struct iovec* parts, int count) {
    REAL(writev);
    return allowed(descriptor, 1) < 0 ? fails(ENOSPC) : real(descriptor, parts, count);
}

int fsync(int descriptor) {
    REAL(fsync);
    return isWatched(descriptor) && thousandth() < permille ? fails(EIO) : real(descriptor);
}

int fdatasync(int descriptor) {
    REAL(fdatasync);
    return isWatched(descriptor) && thousandth() < permille ? fails(EIO) : real(descriptor);
}

int rename(const char* from, const char* to) {
    REAL(rename);
    return isBelow(to) && thousandth() < permille ? fails(ENOSPC) : real(from, to);
}
