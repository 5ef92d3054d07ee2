#include "RV9.h"

#include <cstring>

#include "DataTables.h"
#include "EMDP.h"
#include "NCOA_Utils.h"
#include "RV9_AddrLine.h"
#include "RV9_EMDPVerify.h"
#include "qvs_auth.h"

namespace QV_NCOA {

const char beoLst[4] = "BEO";
const char rtyLst[7] = "FGHPRS";
const char dirLst[8][3] = {"E ", "N ", "NE", "NW", "S ", "SE", "SW", "W "};

namespace {

const char* const kDesignatorWords[] = {"BSMT", "FRNT", "LBBY", "LOWR", "OFC ", "PH  ", "REAR", "SIDE", "UPPR"};

// The 40 characters of packed text; a value is a position here.
const char kPackAlphabet[] = " -./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";

template <int N>
void copyWhole(fixedString<N>& dst, const fixedString<N>& src) {
    std::memcpy(dst.buf, src.buf, N + 1);
}

template <int N>
bool beginsWith(const fixedString<N>& f, const char* prefix) {
    return std::strncmp(f.buf, prefix, std::strlen(prefix)) == 0;
}

// Entry k - 1 of a dictionary unpacked to the field's width; 0 is blank.
template <int N, typename R>
void dictionaryText(const ManagedBuf<R>& table, uint64_t k, fixedString<N>& field) {
    static_assert(R::TEXT_LENGTH == N, "dictionary width and field width agree");
    // The digits lie within their tables in a proven data set; a damaged one
    // reads blank here rather than outside the table.
    if (k == 0 || k > table.count) return;
    CNCOA_RV9::decodeCompressedRecord(N, table.buf[k - 1].packed, field.buf);
}

}  // namespace

bool beginsWithDesignatorWord(const char* field) {
    for (const char* w : kDesignatorWords)
        if (std::strncmp(field, w, 4) == 0) return true;
    return false;
}

// ---------------------------------------------------------------------------
// RV9AnswerRecord

void RV9AnswerRecord::copyFrom(const RV9AnswerRecord& o) {
    resultCode = o.resultCode;
    spare = o.spare;
    copyWhole(primaryNumber, o.primaryNumber);
    copyWhole(preDirectional, o.preDirectional);
    copyWhole(streetName, o.streetName);
    copyWhole(suffix, o.suffix);
    copyWhole(postDirectional, o.postDirectional);
    copyWhole(secondaryDesignator, o.secondaryDesignator);
    copyWhole(secondaryNumber, o.secondaryNumber);
    copyWhole(addressLine, o.addressLine);
    copyWhole(city, o.city);
    copyWhole(state, o.state);
    copyWhole(zip, o.zip);
    copyWhole(spareText, o.spareText);
    copyWhole(lastLine, o.lastLine);
    copyWhole(carrierRoute, o.carrierRoute);
}

void RV9AnswerRecord::init() { copyFrom(RV9AnswerRecord()); }

bool RV9AnswerRecord::operator==(const RV9AnswerRecord& o) const {
    auto same = [](const auto& a, const auto& b) { return std::memcmp(a.buf, b.buf, sizeof a.buf) == 0; };
    return spare == o.spare && same(primaryNumber, o.primaryNumber) && same(preDirectional, o.preDirectional) &&
           same(streetName, o.streetName) && same(suffix, o.suffix) && same(postDirectional, o.postDirectional) &&
           same(secondaryDesignator, o.secondaryDesignator) && same(secondaryNumber, o.secondaryNumber) &&
           same(addressLine, o.addressLine) && same(city, o.city) && same(state, o.state) && same(zip, o.zip) &&
           same(spareText, o.spareText) && same(lastLine, o.lastLine) && same(carrierRoute, o.carrierRoute);
}

bool RV9AnswerRecord::isSpaces() const { return *this == RV9AnswerRecord(); }

// ---------------------------------------------------------------------------
// Driver

namespace {
thread_local RV9Lists threadLists;
thread_local bool threadListsHeld = false;

RV9Lists* takeLists(RV9Lists& own, bool& borrowed) {
    borrowed = !threadListsHeld;
    if (!borrowed) return &own;
    threadListsHeld = true;
    threadLists.clear();
    return &threadLists;
}
}  // namespace

CNCOA_RV9::CNCOA_RV9(const CNCOA_DataTables& t)
    : tables(t),
      lists(takeLists(ownLists, borrowed)),
      filteredLst(lists->filtered),
      candidateLst(lists->candidates),
      explodedLst(lists->exploded),
      expandedLst(lists->expanded),
      esdHits(lists->esdHits) {}

CNCOA_RV9::~CNCOA_RV9() {
    if (borrowed) threadListsHeld = false;
}

void CNCOA_RV9::reset() {
    std::memset(allZeros.buf, '0', 10);
    // The first element is the work slot of the numeric pass.
    filteredLst.clear();
    filteredLst.emplace_back();
    candidateLst.clear();
    expandedLst.clear();
    explodedLst.clear();
    hint.spcs();
    zip11.spcs();
    candidateIndex = 0;
    hintVerified = false;
}

bool CNCOA_RV9::getNewAddress(const char* code, const char* hintIn, RV9AnswerRecord& rec) {
    reset();
    hint.cpyIn(hintIn);
    zip11.cpyIn(code);
    rec.resultCode = 'u';
    do1000Process(rec);
    if (rec.resultCode != 'u') return rec.resultCode == '+';

    x11Record key;
    std::memset(&key, ' ', sizeof key);
    std::memcpy(key.zip11, zip11.buf, 11);
    x11Record found;
    unsigned long index = 0;
    if (!CBinFileUtils<x11Record>::binSearchMem(tables.x11Table, key, found, index, x11Record::compare)) return false;
    // The key bytes, not the record's second code: the second pass runs on the
    // same code, without reset, and expandedLst keeps the first pass's ranges.
    // Deliberate, and kept.
    std::memcpy(zip11.buf, found.zip11, 11);
    do1000Process(rec);
    return rec.resultCode == '+';
}

void CNCOA_RV9::do1000Process(RV9AnswerRecord& rec) {
    if (!findAndExpandZip9Matches(zip11.buf, expandedLst)) throw qvncoa_exception(1050, "RV9 Internal Error 1");

    for (const exp97& range : expandedLst) {
        getExplodedRange(zip11.buf, range, explodedLst);
        for (const deliveryPoint& point : explodedLst) {
            bool duplicate = false;
            for (const RV9AnswerRecord& c : candidateLst) {
                if (std::memcmp(c.primaryNumber.buf, point.primaryNumber.buf, 10) == 0 &&
                    std::memcmp(c.secondaryNumber.buf, point.secondaryNumber.buf, 8) == 0) {
                    duplicate = true;
                    break;
                }
            }
            if (duplicate) continue;

            RV9AnswerRecord cand;
            copyWhole(cand.primaryNumber, point.primaryNumber);
            copyWhole(cand.secondaryNumber, point.secondaryNumber);
            copyWhole(cand.preDirectional, range.preDirectional);
            copyWhole(cand.streetName, range.streetName);
            copyWhole(cand.suffix, range.suffix);
            copyWhole(cand.postDirectional, range.postDirectional);
            copyWhole(cand.secondaryDesignator, range.secondaryDesignator);
            copyWhole(cand.carrierRoute, range.carrierRoute);
            std::memcpy(cand.zip.buf, zip11.buf, 11);

            clnRecord clnKey;
            std::memset(&clnKey, ' ', sizeof clnKey);
            std::memcpy(clnKey.lastLine, range.lastLineNumber.buf, 6);
            clnRecord cln;
            czpRecord czp;
            unsigned long index = 0;
            if (CBinFileUtils<clnRecord>::binSearchMem(tables.clnTable, clnKey, cln, index, clnRecord::compare)) {
                cand.city.cpyIn(cln.city, 28);
                cand.state.cpyIn(cln.state, 2);
            } else {
                czpRecord czpKey;
                std::memset(&czpKey, ' ', sizeof czpKey);
                std::memcpy(czpKey.zip, zip11.buf, 5);
                if (!CBinFileUtils<czpRecord>::binSearchMem(tables.czpTable, czpKey, czp, index, czpRecord::compare)) {
                    // A city nowhere ends the lookup here, unresolved, even
                    // when earlier candidates were complete.
                    cand.city.spcs();
                    cand.state.spcs();
                    return;
                }
                cand.city.cpyIn(czp.city, 28);
                cand.state.cpyIn(czp.state, 2);
            }
            candidateLst.push_back(cand);
        }
    }

    if (candidateLst.empty()) {
        rec.resultCode = 'u';
        return;
    }

    // Numeric pass: exactly one all-numeric primary number wins over any
    // number of mixed ones; two or more leave the list as it is. Skipped for a
    // hint of letters and blanks only.
    if (hint.isSpaces() || !isAlphaSpace(hint.buf)) {
        if (filteredLst.empty()) filteredLst.emplace_back();
        RV9AnswerRecord& slot = filteredLst[0];
        slot.init();
        bool seen = false;
        for (const RV9AnswerRecord& c : candidateLst) {
            if (!c.primaryNumber.isNumericToLastNonSpace()) continue;
            if (seen) {
                slot.init();
                break;
            }
            slot = c;
            seen = true;
        }
        if (!slot.isSpaces()) {
            candidateLst[0] = slot;
            candidateLst.erase(candidateLst.begin() + 1, candidateLst.end());
        }
    }

    // PO box rule: of two boxes, one all zeros, the greater number stands.
    if (candidateLst.size() == 2 && beginsWith(candidateLst[0].streetName, "PO BOX") &&
        beginsWith(candidateLst[1].streetName, "PO BOX")) {
        const char* first = candidateLst[0].primaryNumber.buf;
        const char* second = candidateLst[1].primaryNumber.buf;
        const size_t l = first[0] == second[0] ? 10 : 9;
        if (std::memcmp(first, allZeros.buf, l) == 0 || std::memcmp(second, allZeros.buf, l) == 0) {
            if (std::memcmp(second, first, 10) > 0) candidateLst[0] = candidateLst[1];
            candidateLst.erase(candidateLst.begin() + 1, candidateLst.end());
        }
    }

    if (candidateLst.size() >= 2 && !hint.isSpaces()) {
        do1000FilterSec(rec);
        if (filteredLst.size() == 1) {
            candidateLst[0] = filteredLst[0];
            candidateLst.erase(candidateLst.begin() + 1, candidateLst.end());
            hint.spcs();
        }
    }

    if (candidateLst.empty()) {
        rec.resultCode = 'u';
        return;
    }
    if (candidateLst.size() == 1) {
        do2000FormatOutput(rec);
        return;
    }
    hintVerified = false;
    do3000DPVNoHint(rec);
    if (hintVerified) {
        do2000FormatOutput(rec);
        return;
    }
    do4000DPVHint(rec);
    if (hintVerified) {
        hint.spcs();
        do2000FormatOutput(rec);
        return;
    }
    rec.resultCode = 'a';
}

// Keeps the candidates whose unit number (or house number, without a unit)
// ends in the hint: right-aligned, exact, case-sensitive, nothing parsed.
void CNCOA_RV9::do1000FilterSec(RV9AnswerRecord&) {
    filteredLst.clear();
    const int n = findLastNonSpace(hint.buf) + 1;
    for (const RV9AnswerRecord& c : candidateLst) {
        const char* field = c.secondaryNumber.isSpaces() ? c.primaryNumber.buf : c.secondaryNumber.buf;
        const int start = findLastNonSpace(field) - n + 1;
        if (start >= 0 && std::memcmp(field + start, hint.buf, static_cast<size_t>(n)) == 0) filteredLst.push_back(c);
    }
    // A cut from the end, not a selection: do3000DPVNoHint replaces the list
    // by filteredLst right afterwards. The order of the two steps is deliberate.
    if (filteredLst.size() >= 2 && filteredLst.size() < candidateLst.size())
        candidateLst.erase(candidateLst.begin() + static_cast<std::ptrdiff_t>(filteredLst.size()), candidateLst.end());
}

// ---------------------------------------------------------------------------
// ZIP+9 expansion

bool CNCOA_RV9::findAndExpandZip9Matches(const char* code, std::vector<exp97>& out) {
    rv9Esd key{};
    key.key = static_cast<uint32_t>(atoi64(code) / 100);
    unsigned long first = 0;
    unsigned long last = 0;
    // No match shows as an empty list.
    if (tables.rv9EsdFile.attached) {
        CBinFileUtils<rv9Esd>::binSearchMulti(tables.rv9EsdFile, key, esdHits, rv9Esd::compare, rv9Esd::deserialize,
                                              rv9Esd::SIZE, first, last, 1, tables.rv9EsdLastIndex);
    } else {
        const QvbString path = tables.getRv9EsdPath();
        CBinFileUtils<rv9Esd>::binSearchMulti(path.asCstr(), key, esdHits, rv9Esd::compare, rv9Esd::deserialize,
                                              rv9Esd::SIZE, first, last, 1, tables.rv9EsdLastIndex);
    }
    for (const rv9Esd& r : esdHits) expandZip9(r, out);
    return true;
}

void CNCOA_RV9::expandZip9(const rv9Esd& r, std::vector<exp97>& out) {
    const uint64_t a = r.wordA();
    const uint64_t b = r.wordB();
    const uint64_t c = r.wordC();

    const uint64_t type = a % 7;
    const uint64_t preDir = (a / 7ULL) % 9;
    const uint64_t secondaryLow = (a / 63ULL) % 200000;
    const uint64_t designator = (a / 12600000ULL) % 25;
    const uint64_t primaryParity = (a / 315000000ULL) & 3;
    const uint64_t primaryLow = (a / 1260000000ULL) % 420000;
    const uint64_t addonLow = a / 529200000000000ULL;

    const uint64_t postDir = b % 9;
    const uint64_t suffix = (b / 9ULL) % 210;
    const uint64_t secondaryParity = (b / 1890ULL) & 3;
    const uint64_t secondaryHigh = (b / 7560ULL) % 200000;
    const uint64_t primaryHigh = (b / 1512000000ULL) % 420000;
    const uint64_t addonHigh = b / 635040000000000ULL;

    const uint64_t lastLine = c % 35000;
    const uint64_t carrierRoute = (c / 35000ULL) % 2000;
    const uint64_t streetName = c / 70000000ULL;

    exp97 e;
    e.addonLow = static_cast<uint32_t>(addonLow);
    e.addonHigh = static_cast<uint32_t>(addonHigh);
    dictionaryText(tables.pnoTable, primaryLow, e.primaryLow);
    dictionaryText(tables.pnoTable, primaryHigh, e.primaryHigh);
    e.primaryParity = primaryParity == 0 ? ' ' : beoLst[primaryParity - 1];
    dictionaryText(tables.dscTable, designator, e.secondaryDesignator);
    dictionaryText(tables.snoTable, secondaryLow, e.secondaryLow);
    dictionaryText(tables.snoTable, secondaryHigh, e.secondaryHigh);
    e.secondaryParity = secondaryParity == 0 ? ' ' : beoLst[secondaryParity - 1];
    if (preDir != 0) e.preDirectional.cpyIn(dirLst[preDir - 1]);
    dictionaryText(tables.namTable, streetName, e.streetName);
    dictionaryText(tables.sufTable, suffix, e.suffix);
    if (postDir != 0) e.postDirectional.cpyIn(dirLst[postDir - 1]);
    dictionaryText(tables.crdTable, carrierRoute, e.carrierRoute);
    dictionaryText(tables.llnTable, lastLine, e.lastLineNumber);
    e.recordType = type == 0 ? ' ' : rtyLst[type - 1];
    out.push_back(e);
}

void CNCOA_RV9::decodeCompressedRecord(int count, const unsigned char* src, char* dst) {
    // Values past the alphabet do not occur in a proven data set; they read blank.
    auto at = [](unsigned v) { return v < 40 ? kPackAlphabet[v] : ' '; };
    const int groups = count / 3;
    for (int g = 0; g < groups; ++g) {
        const unsigned w = (static_cast<unsigned>(src[0]) << 8) | src[1];
        src += 2;
        *dst++ = at(w / 1600);
        *dst++ = at((w / 40) % 40);
        *dst++ = at(w % 40);
    }
    for (int i = 0; i < count % 3; ++i) *dst++ = at(*src++);
}

// ---------------------------------------------------------------------------
// Output formatting

// The candidate at candidateIndex against the delivery point table. A second
// hit makes the lookup ambiguous and ends the caller's loop.
void CNCOA_RV9::verifyCandidate(RV9AnswerRecord& rec) {
    const RV9AnswerRecord& cand = candidateLst[candidateIndex];
    CNCOA_EMDP emdpMaker(tables);
    fixedString<9> zip9;
    zip9.cpyIn(zip11.buf, 11, 0, 9);
    fixedString<4> zip4Used;
    unsigned long emdp = 0;
    emdpMaker.getEMDP(zip9, cand.primaryNumber, cand.secondaryDesignator, cand.secondaryNumber, emdp, zip4Used);

    unsigned char bigEndian[8];
    for (int i = 0; i < 8; ++i) bigEndian[i] = static_cast<unsigned char>(emdp >> (56 - 8 * i));
    unsigned char sha[QVS_SHA1_SIZE];
    qvs_auth_get_sha1(bigEndian, sizeof bigEndian, sha);

    CNCOA_RV9EMDPVerify verifier(tables);
    if (!verifier.verifyHash(sha)) return;
    if (!hintVerified) {
        // Later iterations never look back, so the first slot may be reused.
        if (candidateIndex != 0) candidateLst[0] = candidateLst[candidateIndex];
        hintVerified = true;
    } else {
        rec.resultCode = 'a';
        hintVerified = false;
        candidateIndex = candidateLst.size() - 1;
    }
}

void CNCOA_RV9::do3000DPVNoHint(RV9AnswerRecord& rec) {
    if (filteredLst.size() >= 2) candidateLst = filteredLst;
    for (candidateIndex = 0; candidateIndex < candidateLst.size(); ++candidateIndex) {
        if (hint.isSpaces() && !candidateLst[candidateIndex].secondaryNumber.isSpaces()) continue;
        verifyCandidate(rec);
    }
}

void CNCOA_RV9::do4000DPVHint(RV9AnswerRecord& rec) {
    // After a blank hint this is the single blank record of reset or of the
    // numeric pass, and it replaces the candidates.
    if (!filteredLst.empty()) candidateLst = filteredLst;
    for (candidateIndex = 0; candidateIndex < candidateLst.size(); ++candidateIndex) {
        // do5000AddHint blanks the hint: only the first candidate without a
        // unit receives it.
        if (!hint.isSpaces() && candidateLst[candidateIndex].secondaryNumber.isSpaces()) do5000AddHint(rec);
        verifyCandidate(rec);
    }
}

void CNCOA_RV9::do5000AddHint(RV9AnswerRecord&) {
    RV9AnswerRecord& r = candidateLst[candidateIndex];
    const bool half = std::strncmp(hint.buf, "1/2", 3) == 0;
    const unsigned char h0 = static_cast<unsigned char>(hint.buf[0]);
    if (half || ((hx_isalpha(h0) || h0 == ' ') && hint.buf[1] == ' ')) {
        // A half or a letter: it belongs to the house number, or to the unit
        // on a side that the left/right table marks "R".
        r.primaryNumber.leftShiftRemove('0');
        const int e = findLastNonSpace(r.primaryNumber.buf);
        if (half) {
            if (e + 2 < 10) r.primaryNumber.cpyIn(hint.buf, -1, -1, -1, e + 2);
        } else {
            if (e + 2 < 1) throw qvncoa_exception(1050, "RV9 Internal Error 2");
            // A blank number has no last character to hold the letter already.
            if (!(e >= 0 && r.primaryNumber.buf[e] == hint.buf[0])) {
                leftRiteRecord key;
                std::memset(&key, ' ', sizeof key);
                std::memcpy(key.zip9, r.zip.buf, 9);
                leftRiteRecord found;
                unsigned long index = 0;
                if (CBinFileUtils<leftRiteRecord>::binSearchMem(tables.leftRiteTable, key, found, index,
                                                                leftRiteRecord::compare) &&
                    found.side == 'R') {
                    r.secondaryDesignator.cpyIn("#");
                    copyWhole(r.secondaryNumber, hint);
                } else {
                    r.primaryNumber.cpyIn(hint.buf, -1, -1, -1, e + 1);
                }
            }
        }
    } else if (beginsWithDesignatorWord(hint.buf)) {
        r.secondaryDesignator.cpyIn(hint.buf, 8, 0, 4);
    } else {
        r.secondaryDesignator.cpyIn("#");
        copyWhole(r.secondaryNumber, hint);
    }
    hint.spcs();
}

void CNCOA_RV9::do2000FormatOutput(RV9AnswerRecord& rec) {
    if (!hint.isSpaces() && candidateLst[0].secondaryNumber.isSpaces()) {
        candidateIndex = 0;
        do5000AddHint(rec);
    }
    // check11 already gives a digit character; the sum is what leaves here,
    // and the caller writes its own check digit over it.
    candidateLst[0].zip.buf[11] = static_cast<char>(check11(zip11.buf) + 48);
    rec = candidateLst[0];

    fixedString<10>& primary = rec.primaryNumber;
    if (primary.buf[0] == '-' && primary.buf[1] == '0') {
        for (int guard = 0; guard < 10 && primary.buf[1] == '0'; ++guard) {
            std::memmove(primary.buf + 1, primary.buf + 2, 8);
            primary.buf[9] = ' ';
        }
    }
    if (beginsWithDesignatorWord(rec.secondaryNumber.buf) && rec.secondaryDesignator.isSpaces()) {
        rec.secondaryDesignator.cpyIn(rec.secondaryNumber.buf, 8, 0, 4);
        rec.secondaryNumber.spcs();
    }

    fixedString<99> line;
    CNCOA_RV9AddrLine builder;
    builder.addrline(rec, 99, line);
    rec.addressLine.cpyIn(line.buf, -1, 0, 50, 0, 50);
    rec.resultCode = '+';

    fixedString<50>& last = rec.lastLine;
    last.cpyIn(rec.city.buf);
    const int p = findLastNonSpace(last.buf);
    last.cpyIn(",", -1, -1, -1, p + 1, 1);
    last.cpyIn(rec.state.buf, -1, -1, -1, p + 3, 2);
    last.cpyIn(zip11.buf, -1, 0, 5, p + 6, 5);
    last.cpyIn("-", -1, -1, -1, p + 11, 1);
    last.cpyIn(zip11.buf, -1, 5, 4, p + 12, 4);

    if (!expandedLst.empty() && expandedLst[0].recordType == 'H') hint.spcs();
}

}  // namespace QV_NCOA
