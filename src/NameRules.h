// The USPS letter substitution rules (rules.lst) that bring a last or first
// name into the squeezed upper-case form the move keys were hashed from.
#pragma once

#include <cstdint>

#include "fixedString.h"

namespace QV_NCOA {

class CNCOA_DataTables;

// One line of rules.lst.
struct nameRule {
    bool left = false;    // applies at the start of the word
    bool middle = false;  // applies inside the word
    bool right = false;   // applies at the end of the word
    int16_t fromLen = 0;  // bytes of `from` compared
    int16_t toLen = 0;    // bytes of `to` written
    fixedString<8> from;
    fixedString<8> to;
    // The bytes `from` compares, as a set: a rule whose bytes do not all stand
    // somewhere in the work text cannot fire, and is passed over. Made when
    // the table is read; all clear (never passed over) in a rule made by hand.
    uint64_t needs[4] = {0, 0, 0, 0};
    void noteBytes();
};

// Built on the stack for one use; applyRules resets all it works with.
class CNCOA_NameRules {
public:
    explicit CNCOA_NameRules(const CNCOA_DataTables& tables);

    // in and out are blank-padded fields of len bytes (not NUL-terminated) and
    // may be the same buffer. Throws 1014 when no rule is loaded. Runs passes
    // over the table until one changes nothing: the table must converge.
    void applyRules(const char* in, char* out, int len);

    void do1000deblank();
    void do2000CheckLeft();
    void do3000CheckMiddle();
    void do4000CheckRight();
    void do5000Common();
    void do9000Init();

private:
    uint8_t length_ = 0;   // letters in the work text; 8-bit arithmetic
    uint8_t pos_ = 0;      // 1-based scan position of the middle check
    uint8_t ruleIdx_ = 0;  // 8-bit: a table of 256 rules or more never ends a pass
    fixedString<40> work_;
    fixedString<40> scratch_;
    int inLen_ = 0;
    const char* in_ = nullptr;
    char* out_ = nullptr;
    bool changed_ = false;
    uint64_t has_[4] = {0, 0, 0, 0};  // the bytes of work_, as a set
    void noteWork();
    bool mayFire(const nameRule& r) const {
        return ((r.needs[0] & ~has_[0]) | (r.needs[1] & ~has_[1]) | (r.needs[2] & ~has_[2]) |
                (r.needs[3] & ~has_[3])) == 0;
    }
    const CNCOA_DataTables* tables_;

    const nameRule& rule() const;
};

}  // namespace QV_NCOA
