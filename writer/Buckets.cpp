#include "Buckets.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace qvw {

namespace {

// Buffered bytes per bucket before they go to the file: large writes, and a
// few hundred buckets still cost only some tens of MB.
constexpr std::size_t kBufferBytes = 1u << 17;

[[noreturn]] void fail(const std::string& what) {
    throw WriterError("temporary file: " + what + ": " + std::strerror(errno));
}

} // namespace

BucketFiles::BucketFiles(const std::string& folder, std::size_t buckets, std::size_t recordSize)
    : recordSize_(recordSize), counts_(buckets, 0), buffers_(buckets) {
    std::error_code ec;
    std::filesystem::create_directories(folder, ec);
    for (std::size_t b = 0; b < buckets; ++b) {
        std::string name = (std::filesystem::path(folder) / ".qvw-bucket-XXXXXX").string();
        const int fd = ::mkstemp(name.data());
        if (fd < 0)
            fail("can't create one in " + folder);
        ::unlink(name.c_str());
        fds_.push_back(fd);
    }
}

BucketFiles::~BucketFiles() {
    for (int fd : fds_)
        ::close(fd);
}

void BucketFiles::append(std::size_t bucket, const void* record) {
    Bytes& buf = buffers_[bucket];
    const auto* p = static_cast<const unsigned char*>(record);
    buf.insert(buf.end(), p, p + recordSize_);
    ++counts_[bucket];
    if (buf.size() >= kBufferBytes)
        write(bucket);
}

void BucketFiles::write(std::size_t bucket) {
    Bytes& buf = buffers_[bucket];
    std::size_t done = 0;
    while (done < buf.size()) {
        const ssize_t n = ::write(fds_[bucket], buf.data() + done, buf.size() - done);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            fail("write");
        }
        done += static_cast<std::size_t>(n);
    }
    buf.clear();
}

void BucketFiles::flush() {
    for (std::size_t b = 0; b < fds_.size(); ++b) {
        write(b);
        buffers_[b].shrink_to_fit();
    }
}

Bytes BucketFiles::read(std::size_t bucket) const {
    Bytes out(counts_[bucket] * recordSize_);
    std::size_t done = 0;
    while (done < out.size()) {
        const ssize_t n = ::pread(fds_[bucket], out.data() + done, out.size() - done, static_cast<off_t>(done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            fail("read");
        done += static_cast<std::size_t>(n);
    }
    return out;
}

void BucketFiles::rewrite(std::size_t bucket, const Bytes& data) {
    std::size_t done = 0;
    while (done < data.size()) {
        const ssize_t n = ::pwrite(fds_[bucket], data.data() + done, data.size() - done, static_cast<off_t>(done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            fail("write");
        done += static_cast<std::size_t>(n);
    }
}

} // namespace qvw
