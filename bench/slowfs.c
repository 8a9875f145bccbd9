// A file system that answers slowly, for the benchmarks: it shows the files of a folder
// (read only) with a delay on the calls chosen, and can hold those calls for as long as a gate
// file exists, the way a network share that stopped answering does.
//
//     slowfs [-d OP=MS,...] [-g GATE] [-l LOG] SOURCE MOUNTPOINT
//
//   -d OP=MS   each call of OP (getattr, readdir, open, read, readlink) waits MS milliseconds
//   -g GATE    while the file GATE exists, every call of an OP named in -d (even with 0 ms) waits
//   -l LOG     a line "wait OP PATH" when a call starts waiting at the gate, "pass OP PATH" when
//              it goes on
//
// Runs in the foreground until unmounted (fusermount3 -u MOUNTPOINT) or killed; it unmounts
// itself when it dies. Attributes and entries are never cached by the kernel, so every lookup
// reaches it.
#define FUSE_USE_VERSION 31

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <fuse.h>
#include <limits.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

enum Op {
    GETATTR,
    READDIR,
    OPEN,
    READ,
    READLINK,
    OP_COUNT
};
static const char *const kOpNames[OP_COUNT] = {"getattr", "readdir", "open", "read", "readlink"};

static char source[PATH_MAX];
static int delays[OP_COUNT] = {-1, -1, -1, -1, -1}; // milliseconds; -1: not slowed
static const char *gate;
static FILE *logFile;
static pthread_mutex_t logMutex = PTHREAD_MUTEX_INITIALIZER;

static void note(const char *what, enum Op op, const char *path)
{
    if (!logFile)
        return;
    pthread_mutex_lock(&logMutex);
    fprintf(logFile, "%s %s %s\n", what, kOpNames[op], path);
    fflush(logFile);
    pthread_mutex_unlock(&logMutex);
}

static void sleepMs(int ms)
{
    struct timespec t = {ms / 1000, (long)(ms % 1000) * 1000000L};
    while (nanosleep(&t, &t) != 0 && errno == EINTR) {
    }
}

// The slowness of a call: its delay, then the gate.
static void slow(enum Op op, const char *path)
{
    if (delays[op] < 0)
        return;
    sleepMs(delays[op]);
    if (!gate || access(gate, F_OK) != 0)
        return;
    note("wait", op, path);
    while (access(gate, F_OK) == 0)
        sleepMs(2);
    note("pass", op, path);
}

static void real(char *out, const char *path)
{
    snprintf(out, PATH_MAX, "%s%s", source, path);
}

static void *init(struct fuse_conn_info *conn, struct fuse_config *cfg)
{
    (void)conn;
    cfg->attr_timeout = 0;
    cfg->entry_timeout = 0;
    cfg->negative_timeout = 0;
    cfg->use_ino = 1;
    return NULL;
}

static int getattrOp(const char *path, struct stat *st, struct fuse_file_info *fi)
{
    (void)fi;
    slow(GETATTR, path);
    char p[PATH_MAX];
    real(p, path);
    return lstat(p, st) == 0 ? 0 : -errno;
}

static int readlinkOp(const char *path, char *buf, size_t size)
{
    slow(READLINK, path);
    char p[PATH_MAX];
    real(p, path);
    const ssize_t n = readlink(p, buf, size - 1);
    if (n < 0)
        return -errno;
    buf[n] = '\0';
    return 0;
}

static int readdirOp(const char *path, void *buf, fuse_fill_dir_t fill, off_t offset,
                     struct fuse_file_info *fi, enum fuse_readdir_flags flags)
{
    (void)offset;
    (void)fi;
    (void)flags;
    slow(READDIR, path);
    char p[PATH_MAX];
    real(p, path);
    DIR *dir = opendir(p);
    if (!dir)
        return -errno;
    struct dirent *entry;
    while ((entry = readdir(dir))) {
        struct stat st = {0};
        st.st_ino = entry->d_ino;
        st.st_mode = (mode_t)(DTTOIF(entry->d_type));
        if (fill(buf, entry->d_name, &st, 0, 0))
            break;
    }
    closedir(dir);
    return 0;
}

static int openOp(const char *path, struct fuse_file_info *fi)
{
    slow(OPEN, path);
    if ((fi->flags & O_ACCMODE) != O_RDONLY)
        return -EROFS;
    char p[PATH_MAX];
    real(p, path);
    const int fd = open(p, fi->flags);
    if (fd < 0)
        return -errno;
    fi->fh = (uint64_t)fd;
    return 0;
}

static int readOp(const char *path, char *buf, size_t size, off_t offset, struct fuse_file_info *fi)
{
    slow(READ, path);
    const ssize_t n = pread((int)fi->fh, buf, size, offset);
    return n < 0 ? -errno : (int)n;
}

static int releaseOp(const char *path, struct fuse_file_info *fi)
{
    (void)path;
    close((int)fi->fh);
    return 0;
}

static const struct fuse_operations kOperations = {
    .init = init,
    .getattr = getattrOp,
    .readlink = readlinkOp,
    .readdir = readdirOp,
    .open = openOp,
    .read = readOp,
    .release = releaseOp,
};

static int parseDelays(char *list)
{
    for (char *item = strtok(list, ","); item; item = strtok(NULL, ",")) {
        char *eq = strchr(item, '=');
        if (!eq)
            return -1;
        *eq = '\0';
        int op = 0;
        while (op < OP_COUNT && strcmp(item, kOpNames[op]) != 0)
            ++op;
        if (op == OP_COUNT)
            return -1;
        delays[op] = atoi(eq + 1);
    }
    return 0;
}

int main(int argc, char *argv[])
{
    int c;
    while ((c = getopt(argc, argv, "d:g:l:")) != -1) {
        if (c == 'd' && parseDelays(optarg) == 0)
            continue;
        if (c == 'g') {
            gate = optarg;
            continue;
        }
        if (c == 'l' && (logFile = fopen(optarg, "a")))
            continue;
        fprintf(stderr, "usage: slowfs [-d OP=MS,...] [-g GATE] [-l LOG] SOURCE MOUNTPOINT\n");
        return 2;
    }
    if (argc - optind != 2 || !realpath(argv[optind], source)) {
        fprintf(stderr, "usage: slowfs [-d OP=MS,...] [-g GATE] [-l LOG] SOURCE MOUNTPOINT\n");
        return 2;
    }
    char *fuseArgs[] = {argv[0], "-f", "-o", "auto_unmount,ro", argv[optind + 1], NULL};
    return fuse_main(5, fuseArgs, &kOperations, NULL);
}
