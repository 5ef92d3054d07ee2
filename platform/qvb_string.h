// Free-length text for paths, list lines and messages (never on the search path).
#pragma once

#include <string>

class QvbString {
public:
    QvbString() = default;
    QvbString(const char* s) : s_(s ? s : "") {}  // NOLINT: implicit by design
    QvbString(const QvbString&) = default;
    QvbString& operator=(const QvbString&) = default;
    QvbString& operator=(const char* s) { return assign(s); }

    bool operator==(const QvbString& o) const { return s_ == o.s_; }
    bool operator!=(const QvbString& o) const { return s_ != o.s_; }
    // Byte order, so that texts can key ordered maps.
    bool operator<(const QvbString& o) const { return s_ < o.s_; }

    const char* asCstr() const { return s_.c_str(); }
    int length() const { return static_cast<int>(s_.size()); }

    QvbString& assign(const char* s) { s_ = s ? s : ""; return *this; }
    QvbString& assign(int value) { s_ = std::to_string(value); return *this; }
    QvbString& append(const char* s) { if (s) s_ += s; return *this; }
    QvbString& append(const QvbString& s) { s_ += s.s_; return *this; }
    QvbString& append(char c) { s_ += c; return *this; }

    // Characters from start, count of them; -1 for the rest. Out of range gives "".
    QvbString mid(int start, int count = -1) const;
    // Removes blanks and control white space at the chosen ends.
    QvbString& trim(bool left, bool right);

private:
    std::string s_;
};
