#include "NameRules.h"

#include <atomic>
#include <cctype>
#include <cstring>
#include <vector>

#include "DataTables.h"
#include "NCOA_Utils.h"
#include "hx_fio.h"

namespace QV_NCOA {

namespace {
const int kWorkLen = 40;

// memcmp(a, b, n) == 0 for the few bytes of a rule, without a call.
inline bool sameBytes(const char* a, const char* b, int n) {
    for (int i = 0; i < n; ++i)
        if (a[i] != b[i]) return false;
    return true;
}

// Appends n bytes at `at`, cut at the end of the 40-byte field.
void put(fixedString<kWorkLen>& dst, int& at, const char* src, int n) {
    if (n > kWorkLen - at) n = kWorkLen - at;
    if (n <= 0) return;
    std::memcpy(dst.buf + at, src, static_cast<size_t>(n));
    at += n;
}
}  // namespace

void CNCOA_DataTables::readNameRules() {
    static std::atomic<uint64_t> lastRulesId{0};
    nameRulesId = ++lastRulesId;
    std::vector<QvbString> lines;
    int err = 0;
    // A missing file is no failure here: the table stays empty and the first
    // applyRules reports 1014.
    if (!readTextLineFile(getRulesLstPath().asCstr(), lines, err)) return;
    for (const QvbString& text : lines) {
        const char* s = text.asCstr();
        int n = text.length();
        // Trailing blanks are gone, so a rule with an all-blank `to` drops here too.
        if (n < 14) continue;
        // The length columns are unguarded in the file format. A line whose
        // length column is no digit is dropped: its lengths would reach past
        // the 8-byte fields.
        if (!hx_isdigit(static_cast<unsigned char>(s[3])) || !hx_isdigit(static_cast<unsigned char>(s[4]))) continue;
        nameRule r;
        r.left = s[0] == 'Y';
        r.middle = s[1] == 'Y';
        r.right = s[2] == 'Y';
        r.fromLen = static_cast<int16_t>(s[3] - '0');
        r.toLen = static_cast<int16_t>(s[4] - '0');
        r.from.cpyIn(s, n, 5, 8);
        r.to.cpyIn(s, n, 13, 8);
        r.noteBytes();
        nameRules.push_back(r);
    }
}

void nameRule::noteBytes() {
    for (uint64_t& w : needs) w = 0;
    for (int i = 0; i < fromLen; ++i) {
        const unsigned char c = static_cast<unsigned char>(from.buf[i]);
        needs[c >> 6] |= uint64_t(1) << (c & 63);
    }
}

// Every comparison reads inside the 40 bytes of work_, so a byte missing from
// all of them rules a rule out.
void CNCOA_NameRules::noteWork() {
    for (uint64_t& w : has_) w = 0;
    for (int i = 0; i < kWorkLen; ++i) {
        const unsigned char c = static_cast<unsigned char>(work_.buf[i]);
        has_[c >> 6] |= uint64_t(1) << (c & 63);
    }
}

CNCOA_NameRules::CNCOA_NameRules(const CNCOA_DataTables& tables) : tables_(&tables) {}

const nameRule& CNCOA_NameRules::rule() const { return tables_->nameRules[ruleIdx_]; }

void CNCOA_NameRules::applyRules(const char* in, char* out, int len) {
    const std::vector<nameRule>& rules = tables_->nameRules;
    if (rules.empty()) throw qvncoa_exception(1014);
    in_ = in;
    out_ = out;
    inLen_ = len;
    // A one-byte field is neither squeezed nor rewritten.
    if (len == 1) {
        out[0] = in[0];
        return;
    }
    do9000Init();
    do1000deblank();
    const size_t count = rules.size();
    do {
        changed_ = false;
        for (ruleIdx_ = 0; ruleIdx_ < count; ++ruleIdx_) {
            // A rule that cannot fire now cannot fire in its three checks
            // either: they change the text only by firing.
            if (!mayFire(rules[ruleIdx_])) continue;
            do2000CheckLeft();
            do3000CheckMiddle();
            do4000CheckRight();
        }
    } while (changed_);
    if (len > 0) std::memcpy(out_, work_.buf, static_cast<size_t>(len < kWorkLen ? len : kWorkLen));
}

void CNCOA_NameRules::do9000Init() {}

// Keeps letters only, upper-cased: "MC DONALD" -> "MCDONALD", "O REILLY 3RD" -> "OREILLYRD".
void CNCOA_NameRules::do1000deblank() {
    length_ = 0;
    work_.spcs();
    // The byte set of work_ is kept as the letters go in; blanks stay behind
    // them unless the 40 bytes fill up, which the loop checks at the end.
    for (uint64_t& w : has_) w = 0;
    for (int i = 0; i < inLen_ && length_ < kWorkLen; ++i) {
        unsigned char c = static_cast<unsigned char>(in_[i]);
        if ((hx_uchar_astype_table[c] & HX_CT_ALPHA) == 0 || c == ' ') continue;
        const unsigned char u = static_cast<unsigned char>(std::toupper(c));
        work_.buf[length_++] = static_cast<char>(u);
        has_[u >> 6] |= uint64_t(1) << (u & 63);
    }
    if (length_ < kWorkLen) has_[' ' >> 6] |= uint64_t(1) << (' ' & 63);
}

// No test of the word's length: a left rule may consume the whole word.
void CNCOA_NameRules::do2000CheckLeft() {
    const nameRule& r = rule();
    if (!r.left) return;
    if (r.fromLen > kWorkLen || !sameBytes(work_.buf, r.from.buf, r.fromLen)) return;
    scratch_.spcs();
    int at = 0;
    put(scratch_, at, r.to.buf, r.toLen);
    put(scratch_, at, work_.buf + r.fromLen, kWorkLen - r.fromLen);
    do5000Common();
}

// A middle match touches neither the first nor the last letter: the scan runs
// from the second letter and stops fromLen short of the end. The bound follows
// the length as rewrites change it, and one rule may fire more than once.
void CNCOA_NameRules::do3000CheckMiddle() {
    const nameRule& r = rule();
    if (!r.middle) return;
    if (static_cast<int>(length_) - r.fromLen < 2) return;
    for (pos_ = 2; pos_ <= static_cast<int>(length_) - r.fromLen; ++pos_) {
        int at0 = pos_ - 1;
        if (pos_ + r.fromLen - 1 > kWorkLen) continue;
        if (r.fromLen > 0 && work_.buf[at0] != r.from.buf[0]) continue;  // the common miss, without a call
        if (!sameBytes(work_.buf + at0, r.from.buf, r.fromLen)) continue;
        scratch_.spcs();
        int at = 0;
        put(scratch_, at, work_.buf, at0);
        put(scratch_, at, r.to.buf, r.toLen);
        put(scratch_, at, work_.buf + at0 + r.fromLen, kWorkLen - (at0 + r.fromLen));
        do5000Common();
    }
}

// The end of the word is found by the length, never by the blanks behind it.
void CNCOA_NameRules::do4000CheckRight() {
    const nameRule& r = rule();
    if (!r.right) return;
    int s = static_cast<int>(length_) - r.fromLen;
    if (s < 0 || s + r.fromLen > kWorkLen) return;
    if (!sameBytes(work_.buf + s, r.from.buf, r.fromLen)) return;
    scratch_.spcs();
    int at = 0;
    put(scratch_, at, work_.buf, s);
    put(scratch_, at, r.to.buf, r.toLen);
    do5000Common();
}

void CNCOA_NameRules::do5000Common() {
    std::memcpy(work_.buf, scratch_.buf, kWorkLen);
    length_ = static_cast<uint8_t>(length_ + rule().toLen - rule().fromLen);
    changed_ = true;
    noteWork();
}

}  // namespace QV_NCOA
