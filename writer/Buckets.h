// Fixed-size records sorted into numbered temporary files and read back one
// file at a time: how the writer handles more filings than it could hold.
// The files are unlinked as soon as they are made, so nothing is left behind
// whatever way the process ends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Encoding.h"

namespace qvw {

class BucketFiles {
public:
    // `buckets` files of `recordSize`-byte records in `folder` (created when missing).
    BucketFiles(const std::string& folder, std::size_t buckets, std::size_t recordSize);
    ~BucketFiles();
    BucketFiles(const BucketFiles&) = delete;
    BucketFiles& operator=(const BucketFiles&) = delete;

    void append(std::size_t bucket, const void* record);
    // Writes out what is buffered; call before reading.
    void flush();
    std::uint64_t records(std::size_t bucket) const { return counts_[bucket]; }
    // The whole bucket, records in the order they were appended.
    Bytes read(std::size_t bucket) const;
    // Replaces the bucket's content by `data`, of the same size.
    void rewrite(std::size_t bucket, const Bytes& data);

private:
    void write(std::size_t bucket);

    std::size_t recordSize_;
    std::vector<int> fds_;
    std::vector<std::uint64_t> counts_;
    std::vector<Bytes> buffers_;
};

} // namespace qvw
