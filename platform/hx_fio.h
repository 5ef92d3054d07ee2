// File and folder layer the library stands on. Thin, errno-style wrappers over
// POSIX: every function reports through its return value, nothing throws.
#pragma once

#include <cstddef>
#include <cstdint>

struct hx_file;
struct hx_dir;

// Open modes in use.
enum : int {
    HX_FIO_READ = 1,          // read, buffered
    HX_FIO_READ_PROBE = 41,   // read, for scattered single-byte probes (small buffer)
    HX_FIO_WRITE = 6,         // write, created or replaced
    HX_FIO_WRITE_NEW = 70,    // write a new file, created or replaced
};

// Seek origins.
enum : int { HX_SEEK_SET = 0, HX_SEEK_END = 2 };

// hx_dir_open mode giving entries with their folder in front.
enum : int { HX_DIR_WITH_FOLDER = 7 };
// hx_dir_next results.
enum : int { HX_DIR_OK = 0, HX_DIR_END = 5 };

struct hx_fio_info {
    uint64_t size;
    bool isDir;
    int64_t mtime;  // seconds since the epoch
};

// 0 on success with *file set; otherwise the system error and *file null.
int hx_fio_open(const char* path, int mode, hx_file** file);
// 0 on success, the system error otherwise. A null file is ignored.
int hx_fio_close(hx_file* file);
// New position from the start, -1 on failure.
int64_t hx_fio_seek(hx_file* file, int64_t offset, int whence);
// Bytes read (0 at the end), -1 on error.
int64_t hx_fio_getb(hx_file* file, void* buffer, size_t count);
// Bytes written, -1 on error.
int64_t hx_fio_putb(hx_file* file, const void* buffer, size_t count);
// Reads up to and including a line end, at most size - 1 characters, NUL-ended.
// Returns the number of characters read: above 0 when text was read.
int hx_fio_gets(hx_file* file, char* buffer, int size);
// Writes text without adding a line end; characters written or -1.
int hx_fio_puts(hx_file* file, const char* text);
// 0 when the path exists (info filled when not null), else the system error.
int hx_fio_stat(const char* path, hx_fio_info* info);
// System error of the last failure on this file, 0 if none.
int hx_fio_syserr(hx_file* file);
// The layer's buffer size for this file; pass -1 to query.
long hx_fio_bufsize(hx_file* file, long size);
// A whole file seen read-only in memory. Its contents stay as they were when
// mapped only while nobody rewrites the file in place.
struct hx_fio_view {
    const unsigned char* data;  // null for an empty file
    uint64_t size;
};
// 0 on success with view set (an empty file maps to no bytes), else the
// system error with view empty: ENOENT and the like when the path cannot be
// opened, EISDIR for a folder, the mapping's error otherwise.
int hx_fio_map(const char* path, hx_fio_view* view);
// The same, reading the whole file in while mapping it, so that later reads
// of the view touch memory only.
int hx_fio_map_loaded(const char* path, hx_fio_view* view);
// Asks the system to start reading a whole file into its cache, without
// waiting; a path that does not open is ignored (its reader will say why).
void hx_fio_prefetch(const char* path);
// Releases a view made by hx_fio_map and empties it; an empty view is ignored.
void hx_fio_unmap(hx_fio_view* view);

// Anonymous read-write memory of at least size bytes (not zeroed on every
// system), asked to be backed by huge pages where the system offers them:
// for images that are read at random, where small pages make nearly every
// read miss the address cache too. Null on failure; *mapped gets the length
// to give back to hx_mem_unmap_large.
void* hx_mem_map_large(uint64_t size, uint64_t* mapped);
void hx_mem_unmap_large(void* p, uint64_t mapped);

// Splits a path into folder (keeping its final '/') and file name.
// 0 on success, -1 if a part does not fit its buffer (the buffers are then empty).
int hx_fio_pparse(const char* path, char* folder, size_t folderSize, char* name, size_t nameSize);
// Joins folder and name with one '/' between them. 0 on success, -1 if it does not fit.
int hx_fio_pcat(const char* folder, const char* name, char* out, size_t outSize);

// 0 on success with *dir set; otherwise the system error.
int hx_dir_open(const char* path, int mode, hx_dir** dir);
// HX_DIR_OK with the next entry in buffer ("." and ".." are skipped),
// HX_DIR_END after the last one, another system error on failure
// (an entry that does not fit the buffer gives ENAMETOOLONG).
int hx_dir_next(hx_dir* dir, char* buffer, size_t size);
void hx_dir_close(hx_dir* dir);

// Closes the held file on destruction.
class hx_fio_closer {
public:
    explicit hx_fio_closer(hx_file* f = nullptr) : file_(f) {}
    ~hx_fio_closer() { hx_fio_close(file_); }
    hx_fio_closer(const hx_fio_closer&) = delete;
    hx_fio_closer& operator=(const hx_fio_closer&) = delete;
    void reset(hx_file* f = nullptr) { if (f != file_) { hx_fio_close(file_); file_ = f; } }
    hx_file* release() { hx_file* f = file_; file_ = nullptr; return f; }
    hx_file* get() const { return file_; }
private:
    hx_file* file_;
};

// Character classes: 256 entries.
enum : unsigned char { HX_CT_DIGIT = 4, HX_CT_ALPHA = 16 };
extern const unsigned char hx_uchar_astype_table[256];

inline bool hx_isdigit(unsigned char c) { return (hx_uchar_astype_table[c] & HX_CT_DIGIT) != 0; }
inline bool hx_isalpha(unsigned char c) { return (hx_uchar_astype_table[c] & HX_CT_ALPHA) != 0; }
inline bool hx_isalnum(unsigned char c) { return (hx_uchar_astype_table[c] & (HX_CT_DIGIT | HX_CT_ALPHA)) != 0; }
