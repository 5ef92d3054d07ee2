// POSIX implementation of the hx_ file and folder layer. Each open file owns
// one buffer, used for reading or for writing depending on its mode; a file is
// never read and written through the same handle.
#include "hx_fio.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr size_t kDefaultBuf = 64 * 1024;
// Probes read one byte at scattered places: a large read-ahead would be waste.
constexpr size_t kProbeBuf = 512;
// First read-ahead after an open or a seek; it doubles up to the buffer size
// while reading goes on in sequence.
constexpr size_t kFirstReadAhead = 4096;

}  // namespace

struct hx_file {
    int fd = -1;
    bool writing = false;
    bool random = true;  // nothing read since the open or the last seek
    char* buf = nullptr; // allocated when first needed
    size_t bufSize = 0;
    size_t pos = 0;      // read: next unread byte in buf
    size_t len = 0;      // read: valid bytes in buf; write: pending bytes in buf
    size_t readAhead = kFirstReadAhead;
    int64_t fdPos = 0;   // where the descriptor stands
    int err = 0;
};

struct hx_dir {
    DIR* d = nullptr;
    int mode = 0;
    char* folder = nullptr;  // with a trailing '/', or empty
    size_t folderLen = 0;
};

namespace {

// Searches open and close a file at every call. One closed handle, with its
// buffer, is kept per thread so that this costs no heap traffic.
struct SpareFile {
    hx_file* f = nullptr;
    ~SpareFile() {
        if (f) {
            std::free(f->buf);
            delete f;
        }
    }
};
thread_local SpareFile tlsSpare;

hx_file* takeFile(size_t bufSize) {
    hx_file* f = tlsSpare.f;
    tlsSpare.f = nullptr;
    char* keep = nullptr;
    if (f != nullptr) {
        if (f->bufSize == bufSize) keep = f->buf;
        else std::free(f->buf);
        *f = hx_file();
    } else {
        f = new (std::nothrow) hx_file;
        if (f == nullptr) return nullptr;
    }
    f->buf = keep;
    f->bufSize = bufSize;
    f->readAhead = bufSize < kFirstReadAhead ? bufSize : kFirstReadAhead;
    return f;
}

void dropFile(hx_file* f) {
    if (tlsSpare.f == nullptr) {
        tlsSpare.f = f;
        return;
    }
    std::free(f->buf);
    delete f;
}

int failWith(hx_file* f, int e) {
    if (f) f->err = e;
    return e;
}

bool ensureBuffer(hx_file* f) {
    if (f->buf != nullptr) return true;
    f->buf = static_cast<char*>(std::malloc(f->bufSize));
    if (f->buf == nullptr) {
        failWith(f, ENOMEM);
        return false;
    }
    return true;
}

ssize_t readRetry(int fd, void* p, size_t n) {
    for (;;) {
        ssize_t r = ::read(fd, p, n);
        if (r >= 0 || errno != EINTR) return r;
    }
}

// Writes everything or fails; 0 or the system error.
int writeAll(hx_file* f, const char* p, size_t n) {
    while (n > 0) {
        ssize_t w = ::write(f->fd, p, n);
        if (w < 0) {
            if (errno == EINTR) continue;
            return failWith(f, errno);
        }
        p += w;
        n -= static_cast<size_t>(w);
        f->fdPos += w;
    }
    return 0;
}

int flushWrite(hx_file* f) {
    if (!f->writing || f->len == 0) return 0;
    size_t n = f->len;
    f->len = 0;
    return writeAll(f, f->buf, n);
}

// Refills the read buffer; bytes now available, 0 at the end, -1 on error.
ssize_t fillRead(hx_file* f) {
    if (!ensureBuffer(f)) return -1;
    size_t want = f->readAhead < f->bufSize ? f->readAhead : f->bufSize;
    ssize_t r = readRetry(f->fd, f->buf, want);
    if (r < 0) {
        failWith(f, errno);
        return -1;
    }
    f->fdPos += r;
    f->pos = 0;
    f->len = static_cast<size_t>(r);
    f->readAhead = want * 2 < f->bufSize ? want * 2 : f->bufSize;
    return r;
}

}  // namespace

int hx_fio_open(const char* path, int mode, hx_file** file) {
    if (file == nullptr) return EINVAL;
    *file = nullptr;
    if (path == nullptr) return EINVAL;

    int flags;
    bool writing;
    size_t bufSize = kDefaultBuf;
    switch (mode) {
    case HX_FIO_READ:
        flags = O_RDONLY;
        writing = false;
        break;
    case HX_FIO_READ_PROBE:
        flags = O_RDONLY;
        writing = false;
        bufSize = kProbeBuf;
        break;
    case HX_FIO_WRITE:
    case HX_FIO_WRITE_NEW:
        flags = O_WRONLY | O_CREAT | O_TRUNC;
        writing = true;
        break;
    default:
        return EINVAL;
    }

    int fd;
    do {
        fd = ::open(path, flags | O_CLOEXEC, 0666);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) return errno;

    // A folder opens fine on POSIX but is no file of ours.
    struct stat st;
    int statErr = ::fstat(fd, &st) != 0 ? errno : (S_ISDIR(st.st_mode) ? EISDIR : 0);
    if (statErr != 0) {
        ::close(fd);
        return statErr;
    }

    hx_file* f = takeFile(bufSize);
    if (f == nullptr) {
        ::close(fd);
        return ENOMEM;
    }
    f->fd = fd;
    f->writing = writing;
    *file = f;
    return 0;
}

int hx_fio_close(hx_file* file) {
    if (file == nullptr) return 0;
    int rc = flushWrite(file);
    if (::close(file->fd) != 0 && rc == 0) rc = errno;
    dropFile(file);
    return rc;
}

int64_t hx_fio_seek(hx_file* file, int64_t offset, int whence) {
    if (file == nullptr) return -1;
    int64_t target;
    if (whence == HX_SEEK_SET) {
        target = offset;
    } else if (whence == HX_SEEK_END) {
        if (flushWrite(file) != 0) return -1;
        struct stat st;
        if (::fstat(file->fd, &st) != 0) {
            failWith(file, errno);
            return -1;
        }
        target = static_cast<int64_t>(st.st_size) + offset;
    } else {
        failWith(file, EINVAL);
        return -1;
    }
    if (target < 0) {
        failWith(file, EINVAL);
        return -1;
    }

    if (!file->writing) {
        // Inside the buffered window only the cursor moves.
        int64_t winStart = file->fdPos - static_cast<int64_t>(file->len);
        if (target >= winStart && target <= file->fdPos) {
            file->pos = static_cast<size_t>(target - winStart);
            return target;
        }
    } else if (flushWrite(file) != 0) {
        return -1;
    }

    off_t r = ::lseek(file->fd, static_cast<off_t>(target), SEEK_SET);
    if (r < 0) {
        failWith(file, errno);
        return -1;
    }
    file->fdPos = r;
    file->pos = 0;
    file->len = 0;
    file->random = true;
    file->readAhead = file->bufSize < kFirstReadAhead ? file->bufSize : kFirstReadAhead;
    return r;
}

int64_t hx_fio_getb(hx_file* file, void* buffer, size_t count) {
    if (file == nullptr || (buffer == nullptr && count > 0)) return -1;
    if (file->writing) {
        failWith(file, EBADF);
        return -1;
    }
    char* out = static_cast<char*>(buffer);
    size_t done = 0;
    while (done < count) {
        size_t avail = file->len - file->pos;
        if (avail > 0) {
            size_t n = count - done < avail ? count - done : avail;
            std::memcpy(out + done, file->buf + file->pos, n);
            file->pos += n;
            done += n;
            continue;
        }
        if (count - done >= file->bufSize || file->random) {
            // Large reads bypass the buffer, and so does the first read after a
            // seek: probes of a binary search want no read-ahead.
            ssize_t r = readRetry(file->fd, out + done, count - done);
            if (r < 0) {
                failWith(file, errno);
                return -1;
            }
            if (r == 0) break;
            file->fdPos += r;
            file->pos = file->len = 0;
            file->random = false;
            done += static_cast<size_t>(r);
            continue;
        }
        ssize_t r = fillRead(file);
        if (r < 0) return -1;
        if (r == 0) break;
    }
    return static_cast<int64_t>(done);
}

int64_t hx_fio_putb(hx_file* file, const void* buffer, size_t count) {
    if (file == nullptr || (buffer == nullptr && count > 0)) return -1;
    if (!file->writing) {
        failWith(file, EBADF);
        return -1;
    }
    const char* in = static_cast<const char*>(buffer);
    if (count < file->bufSize && !ensureBuffer(file)) return -1;
    if (file->len + count <= file->bufSize) {
        std::memcpy(file->buf + file->len, in, count);
        file->len += count;
        return static_cast<int64_t>(count);
    }
    if (flushWrite(file) != 0) return -1;
    if (count >= file->bufSize) {
        if (writeAll(file, in, count) != 0) return -1;
    } else {
        std::memcpy(file->buf, in, count);
        file->len = count;
    }
    return static_cast<int64_t>(count);
}

int hx_fio_gets(hx_file* file, char* buffer, int size) {
    if (file == nullptr || buffer == nullptr || size <= 0) return -1;
    if (file->writing) {
        buffer[0] = '\0';
        failWith(file, EBADF);
        return -1;
    }
    file->random = false;
    int n = 0;
    while (n < size - 1) {
        if (file->pos == file->len) {
            ssize_t r = fillRead(file);
            if (r < 0) {
                buffer[n] = '\0';
                return n > 0 ? n : -1;
            }
            if (r == 0) break;
        }
        char c = file->buf[file->pos++];
        buffer[n++] = c;
        if (c == '\n') break;
    }
    buffer[n] = '\0';
    return n;
}

int hx_fio_puts(hx_file* file, const char* text) {
    if (file == nullptr || text == nullptr) return -1;
    size_t n = std::strlen(text);
    return hx_fio_putb(file, text, n) < 0 ? -1 : static_cast<int>(n);
}

void hx_fio_prefetch(const char* path) {
    const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return;
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_WILLNEED);
    ::close(fd);
}

int hx_fio_stat(const char* path, hx_fio_info* info) {
    if (path == nullptr) return EINVAL;
    struct stat st;
    if (::stat(path, &st) != 0) return errno;
    if (info != nullptr) {
        info->size = static_cast<uint64_t>(st.st_size);
        info->isDir = S_ISDIR(st.st_mode);
        info->mtime = static_cast<int64_t>(st.st_mtime);
    }
    return 0;
}

int hx_fio_syserr(hx_file* file) {
    return file == nullptr ? EBADF : file->err;
}

long hx_fio_bufsize(hx_file* file, long size) {
    if (file == nullptr) return -1;
    if (size <= 0) return static_cast<long>(file->bufSize);
    // A new size is taken only while nothing is buffered.
    bool empty = file->writing ? file->len == 0 : file->pos == file->len;
    if (!empty) return static_cast<long>(file->bufSize);
    char* nb = static_cast<char*>(std::realloc(file->buf, static_cast<size_t>(size)));  // null buf: malloc
    if (nb == nullptr) return static_cast<long>(file->bufSize);
    file->buf = nb;
    file->bufSize = static_cast<size_t>(size);
    file->pos = file->len = 0;
    return size;
}

int hx_fio_pparse(const char* path, char* folder, size_t folderSize, char* name, size_t nameSize) {
    if (folder != nullptr && folderSize > 0) folder[0] = '\0';
    if (name != nullptr && nameSize > 0) name[0] = '\0';
    if (path == nullptr || folder == nullptr || name == nullptr) return -1;
    const char* slash = std::strrchr(path, '/');
    size_t folderLen = slash ? static_cast<size_t>(slash - path) + 1 : 0;
    size_t nameLen = std::strlen(path) - folderLen;
    if (folderLen >= folderSize || nameLen >= nameSize) {
        return -1;
    }
    std::memcpy(folder, path, folderLen);
    folder[folderLen] = '\0';
    std::memcpy(name, path + folderLen, nameLen + 1);
    return 0;
}

int hx_fio_pcat(const char* folder, const char* name, char* out, size_t outSize) {
    if (out != nullptr && outSize > 0) out[0] = '\0';
    if (folder == nullptr || name == nullptr || out == nullptr) return -1;
    size_t fl = std::strlen(folder);
    bool folderSlash = fl > 0 && folder[fl - 1] == '/';
    if (folderSlash) {
        while (*name == '/') ++name;
    }
    size_t nl = std::strlen(name);
    // An empty folder means the current one: no separator in front of the name.
    bool addSlash = fl > 0 && !folderSlash && name[0] != '/';
    size_t total = fl + (addSlash ? 1 : 0) + nl;
    if (total >= outSize) return -1;
    std::memcpy(out, folder, fl);
    if (addSlash) out[fl] = '/';
    std::memcpy(out + fl + (addSlash ? 1 : 0), name, nl + 1);
    return 0;
}

int hx_dir_open(const char* path, int mode, hx_dir** dir) {
    if (dir == nullptr) return EINVAL;
    *dir = nullptr;
    if (path == nullptr) return EINVAL;
    DIR* d = ::opendir(path);
    if (d == nullptr) return errno;
    size_t pl = std::strlen(path);
    bool slash = pl > 0 && path[pl - 1] == '/';
    size_t fl = pl + ((pl > 0 && !slash) ? 1 : 0);
    hx_dir* h = new (std::nothrow) hx_dir;
    char* folder = static_cast<char*>(std::malloc(fl + 1));
    if (h == nullptr || folder == nullptr) {
        delete h;
        std::free(folder);
        ::closedir(d);
        return ENOMEM;
    }
    std::memcpy(folder, path, pl);
    if (fl > pl) folder[pl] = '/';
    folder[fl] = '\0';
    h->d = d;
    h->mode = mode;
    h->folder = folder;
    h->folderLen = fl;
    *dir = h;
    return 0;
}

int hx_dir_next(hx_dir* dir, char* buffer, size_t size) {
    if (dir == nullptr || buffer == nullptr || size == 0) return EINVAL;
    buffer[0] = '\0';
    for (;;) {
        errno = 0;
        struct dirent* e = ::readdir(dir->d);
        // The end status has the value of EIO, so an I/O error while listing
        // reads as the end of the folder; readdir gives no other errors here.
        if (e == nullptr) return errno != 0 ? errno : HX_DIR_END;
        if (std::strcmp(e->d_name, ".") == 0 || std::strcmp(e->d_name, "..") == 0) continue;
        size_t prefix = dir->mode == HX_DIR_WITH_FOLDER ? dir->folderLen : 0;
        size_t nl = std::strlen(e->d_name);
        if (prefix + nl >= size) return ENAMETOOLONG;
        std::memcpy(buffer, dir->folder, prefix);
        std::memcpy(buffer + prefix, e->d_name, nl + 1);
        return HX_DIR_OK;
    }
}

void hx_dir_close(hx_dir* dir) {
    if (dir == nullptr) return;
    ::closedir(dir->d);
    std::free(dir->folder);
    delete dir;
}

namespace {
int mapWith(const char* path, hx_fio_view* view, int extraFlags) {
    if (view == nullptr) return EINVAL;
    view->data = nullptr;
    view->size = 0;
    if (path == nullptr) return EINVAL;
    int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return errno;
    struct stat st;
    int rc = 0;
    if (::fstat(fd, &st) != 0) {
        rc = errno;
    } else if (S_ISDIR(st.st_mode)) {
        rc = EISDIR;
    } else if (st.st_size > 0) {
        void* p = ::mmap(nullptr, static_cast<size_t>(st.st_size), PROT_READ, MAP_SHARED | extraFlags, fd, 0);
        if (p == MAP_FAILED) {
            rc = errno;
        } else {
            view->data = static_cast<const unsigned char*>(p);
            view->size = static_cast<uint64_t>(st.st_size);
        }
    }
    ::close(fd);  // the mapping holds the file
    return rc;
}
}  // namespace

void* hx_mem_map_large(uint64_t size, uint64_t* mapped) {
    const uint64_t huge = uint64_t(2) << 20;
    if (mapped == nullptr || size == 0 || size > (uint64_t(1) << 46)) return nullptr;
    const uint64_t length = (size + huge - 1) & ~(huge - 1);
    // Mapped a huge page longer, then cut to a boundary, so that every huge
    // page of the block can be one.
    void* p = ::mmap(nullptr, static_cast<size_t>(length + huge), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS,
                     -1, 0);
    if (p == MAP_FAILED) return nullptr;
    const uintptr_t at = reinterpret_cast<uintptr_t>(p);
    const uintptr_t start = (at + huge - 1) & ~static_cast<uintptr_t>(huge - 1);
    if (start > at) ::munmap(p, start - at);
    const uintptr_t end = at + length + huge;
    if (end > start + length) ::munmap(reinterpret_cast<void*>(start + length), end - (start + length));
#ifdef MADV_HUGEPAGE
    ::madvise(reinterpret_cast<void*>(start), static_cast<size_t>(length), MADV_HUGEPAGE);  // advice only
#endif
    *mapped = length;
    return reinterpret_cast<void*>(start);
}

void hx_mem_unmap_large(void* p, uint64_t mapped) {
    if (p != nullptr && mapped > 0) ::munmap(p, static_cast<size_t>(mapped));
}

int hx_fio_map(const char* path, hx_fio_view* view) { return mapWith(path, view, 0); }
int hx_fio_map_loaded(const char* path, hx_fio_view* view) { return mapWith(path, view, MAP_POPULATE); }

void hx_fio_unmap(hx_fio_view* view) {
    if (view == nullptr) return;
    if (view->data != nullptr) ::munmap(const_cast<unsigned char*>(view->data), static_cast<size_t>(view->size));
    view->data = nullptr;
    view->size = 0;
}
