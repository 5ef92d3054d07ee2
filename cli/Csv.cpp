#include "Csv.h"

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace ncoa_cli {

namespace {
constexpr std::size_t kFieldRoom = 64;
}

CsvReader::CsvReader(int fd, char delimiter) : fd_(fd), delim_(delimiter), buf_(kMaxRecord) {}

bool CsvReader::fill() {
    if (eof_) return false;
    if (pos_ > 0) {
        std::memmove(buf_.data(), buf_.data() + pos_, len_ - pos_);
        len_ -= pos_;
        pos_ = 0;
    }
    if (len_ == buf_.size()) return false;
    for (;;) {
        ssize_t n = ::read(fd_, buf_.data() + len_, buf_.size() - len_);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) throw std::runtime_error(std::string("read error: ") + std::strerror(errno));
        if (n == 0) eof_ = true;
        len_ += static_cast<std::size_t>(n);
        break;
    }
    if (first_ && len_ >= 3 && std::memcmp(buf_.data(), "\xEF\xBB\xBF", 3) == 0) {
        pos_ = 3;  // a byte-order mark is not part of the first column's name
        consumed_ += 3;
    }
    if (first_ && (len_ >= 3 || eof_)) first_ = false;
    return true;
}

std::string& CsvReader::slot(CsvRecord& rec) {
    if (rec.count == rec.fields.size()) {
        // Room for any usual field from the start: a row slot is reused for
        // every batch, and a field that grows allocates on the record path.
        rec.fields.emplace_back();
        rec.fields.back().reserve(kFieldRoom);
    }
    std::string& f = rec.fields[rec.count++];
    f.clear();
    return f;
}

// One record from pos_. On Done, `end` is just past its line end.
CsvReader::Parse CsvReader::parse(CsvRecord& rec, std::size_t& end) {
    const char* b = buf_.data();
    std::size_t p = pos_;
    std::size_t lines = 0;
    rec.count = 0;
    rec.problem.clear();
    const auto note = [&](const char* what) {
        if (rec.problem.empty()) rec.problem = what;
    };
    for (;;) {
        std::string& f = slot(rec);
        if (p < len_ && b[p] == '"') {
            ++p;
            for (;;) {
                if (p == len_) return eof_ ? Parse::Broken : Parse::NeedMore;
                const char c = b[p];
                if (c == '"') {
                    if (p + 1 == len_ && !eof_) return Parse::NeedMore;
                    if (p + 1 < len_ && b[p + 1] == '"') {
                        f += '"';
                        p += 2;
                        continue;
                    }
                    ++p;
                    break;
                }
                if (c == '\n') ++lines;
                f += c;
                ++p;
            }
            if (p < len_ && b[p] != delim_ && b[p] != '\r' && b[p] != '\n') note("text after a closing quote");
        }
        // An unquoted field, or what follows a closing quote: kept as it stands.
        std::size_t start = p;
        while (p < len_) {
            const char c = b[p];
            if (c == delim_ || c == '\n' || c == '\r') break;
            if (c == '"') note("quote inside an unquoted field");
            ++p;
        }
        if (p == len_ && !eof_) return Parse::NeedMore;
        f.append(b + start, p - start);
        if (p == len_) {
            end = p;
            line_ += lines;
            return Parse::Done;
        }
        const char c = b[p];
        if (c == delim_) {
            ++p;
            continue;
        }
        if (c == '\r') {
            if (p + 1 == len_ && !eof_) return Parse::NeedMore;
            ++p;
            if (p < len_ && b[p] == '\n') ++p;
        } else {
            ++p;
        }
        end = p;
        line_ += lines + 1;
        return Parse::Done;
    }
}

// A record that cannot be read as CSV: its first physical line becomes the
// record, split plainly at the delimiter, and reading resumes on the next line.
void CsvReader::recoverLine(CsvRecord& rec, const char* problem) {
    const char* b = buf_.data();
    const void* nl = std::memchr(b + pos_, '\n', len_ - pos_);
    std::size_t lineEnd = nl ? static_cast<std::size_t>(static_cast<const char*>(nl) - b) : len_;
    std::size_t next = nl ? lineEnd + 1 : len_;
    if (lineEnd > pos_ && b[lineEnd - 1] == '\r') --lineEnd;

    rec.raw.assign(b + pos_, lineEnd - pos_);
    rec.problem = problem;
    rec.line = line_;
    rec.count = 0;
    std::size_t s = pos_;
    for (;;) {
        std::size_t e = s;
        while (e < lineEnd && b[e] != delim_) ++e;
        std::string& f = slot(rec);
        for (std::size_t i = s; i < e; ++i)
            if (b[i] != '"') f += b[i];
        if (e >= lineEnd) break;
        s = e + 1;
    }
    consumed_ += next - pos_;
    pos_ = next;
    ++line_;
    // A line longer than the buffer is one malformed row: what follows of it
    // is skipped up to its real end, a buffer at a time.
    skipRest_ = nl == nullptr && !eof_;
}

bool CsvReader::next(CsvRecord& rec) {
    rec.raw.clear();
    while (skipRest_) {
        if (pos_ == len_ && !fill()) return false;
        const void* nl = std::memchr(buf_.data() + pos_, '\n', len_ - pos_);
        const std::size_t to = nl ? static_cast<std::size_t>(static_cast<const char*>(nl) - buf_.data()) + 1 : len_;
        consumed_ += to - pos_;
        pos_ = to;
        skipRest_ = nl == nullptr && !eof_;
    }
    for (;;) {
        if (pos_ == len_ && !fill()) return false;
        if (pos_ == len_) continue;  // the read added nothing but a mark, or reached the end
        const char c = buf_[pos_];
        if (c == '\n' || c == '\r') {
            if (c == '\r' && pos_ + 1 == len_ && !eof_) {
                fill();
                continue;
            }
            std::size_t skip = (c == '\r' && pos_ + 1 < len_ && buf_[pos_ + 1] == '\n') ? 2 : 1;
            pos_ += skip;
            consumed_ += skip;
            ++line_;
            ++blankLines_;
            continue;
        }
        break;
    }
    for (;;) {
        std::size_t startLine = line_;
        std::size_t end = 0;
        Parse r = parse(rec, end);
        if (r == Parse::Done) {
            rec.line = startLine;
            consumed_ += end - pos_;
            pos_ = end;
            return true;
        }
        line_ = startLine;
        if (r == Parse::Broken) {
            recoverLine(rec, "unterminated quoted field");
            return true;
        }
        if (!fill()) {
            // The buffer holds kMaxRecord bytes of one record and it goes on.
            recoverLine(rec, "record longer than 1 MiB (an opening quote that is never closed?)");
            return true;
        }
    }
}

namespace {

// Whether any byte of w equals the byte repeated in `pattern`.
inline bool hasByte(std::uint64_t w, std::uint64_t pattern) {
    const std::uint64_t x = w ^ pattern;
    return ((x - 0x0101010101010101ULL) & ~x & 0x8080808080808080ULL) != 0;
}

// Whether a field needs quotes: eight bytes at a time, since every field of
// every row passes here.
bool needsQuotes(std::string_view field, char delimiter) {
    const std::uint64_t ones = 0x0101010101010101ULL;
    const std::uint64_t d = ones * static_cast<unsigned char>(delimiter), q = ones * '"', n = ones * '\n',
                        r = ones * '\r';
    size_t i = 0;
    for (; i + 8 <= field.size(); i += 8) {
        std::uint64_t w;
        std::memcpy(&w, field.data() + i, 8);
        if (hasByte(w, d) || hasByte(w, q) || hasByte(w, n) || hasByte(w, r)) return true;
    }
    for (; i < field.size(); ++i) {
        const char c = field[i];
        if (c == delimiter || c == '"' || c == '\n' || c == '\r') return true;
    }
    return false;
}

}  // namespace

void csvAppendField(std::string& out, std::string_view field, char delimiter) {
    const bool quote = needsQuotes(field, delimiter);
    if (!quote) {
        out.append(field);
        return;
    }
    out += '"';
    for (char c : field) {
        if (c == '"') out += '"';
        out += c;
    }
    out += '"';
}

}  // namespace ncoa_cli
