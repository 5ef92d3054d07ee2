#include "qvb_string.h"

QvbString QvbString::mid(int start, int count) const {
    QvbString r;
    int len = length();
    if (start < 0 || start >= len || count == 0 || count < -1) return r;
    size_t n = count == -1 ? std::string::npos : static_cast<size_t>(count);
    r.s_ = s_.substr(static_cast<size_t>(start), n);
    return r;
}

namespace {
// Blank and the control white space: tab, line feed, vertical tab, form feed, return.
bool isTrimmed(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
}  // namespace

QvbString& QvbString::trim(bool left, bool right) {
    if (right) {
        size_t e = s_.size();
        while (e > 0 && isTrimmed(s_[e - 1])) --e;
        s_.erase(e);
    }
    if (left) {
        size_t b = 0;
        while (b < s_.size() && isTrimmed(s_[b])) ++b;
        s_.erase(0, b);
    }
    return *this;
}
