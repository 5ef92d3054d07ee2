// A streaming RFC 4180 reader and the matching writer. The reader never stops
// on bad input: a malformed record comes back with its problem and raw text,
// and reading goes on at the next line, so no record of a list is lost.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ncoa_cli {

struct CsvRecord {
    std::vector<std::string> fields;  // reused between records: capacity stays
    std::size_t count = 0;            // fields in use
    std::size_t line = 0;             // physical line the record starts on, from 1
    std::string problem;              // empty when the record is well-formed
    std::string raw;                  // the record's first line, kept when malformed

    std::string_view field(std::size_t i) const { return i < count ? std::string_view(fields[i]) : std::string_view(); }
};

class CsvReader {
public:
    // Reads from an open descriptor, which stays the caller's.
    CsvReader(int fd, char delimiter);
    CsvReader(const CsvReader&) = delete;
    CsvReader& operator=(const CsvReader&) = delete;

    // The next record; false at the end of the input. Lines holding nothing
    // at all are skipped and counted. Throws std::runtime_error on a read error.
    bool next(CsvRecord& rec);

    std::uint64_t bytesConsumed() const { return consumed_; }
    std::size_t blankLinesSkipped() const { return blankLines_; }

    // A record may not be longer than this: longer ones (in practice an
    // opening quote that is never closed) are malformed.
    static constexpr std::size_t kMaxRecord = 1u << 20;

private:
    enum class Parse { Done, NeedMore, Broken };
    Parse parse(CsvRecord& rec, std::size_t& end);
    void recoverLine(CsvRecord& rec, const char* problem);
    bool fill();
    std::string& slot(CsvRecord& rec);

    int fd_;
    char delim_;
    std::vector<char> buf_;
    std::size_t pos_ = 0, len_ = 0;
    bool eof_ = false;
    bool first_ = true;
    bool skipRest_ = false;  // the rest of an over-long line is dropped, not read as rows
    std::size_t line_ = 1;
    std::size_t blankLines_ = 0;
    std::uint64_t consumed_ = 0;
};

// Appends one field, quoted when it holds the delimiter, a quote or a line end.
void csvAppendField(std::string& out, std::string_view field, char delimiter);

}  // namespace ncoa_cli
