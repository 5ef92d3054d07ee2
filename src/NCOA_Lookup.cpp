#include "NCOA_Lookup.h"

#include <cctype>
#include <cstring>

#include "BusinessLst.h"
#include "ClkHsb_Test.h"
#include "DailyDelete.h"
#include "DataTables.h"
#include "FlatLookup.h"
#include "HashLookup.h"
#include "NameRules.h"
#include "VT_NameParser.h"
#include "qvs_auth.h"

namespace QV_NCOA {

namespace {

// Generational suffixes take part in the key; a prefix test, so "IIIX" passes.
bool isGenerationalSuffix(const fixedString<5>& suffix) {
    for (const char* s : {"JR", "SR", "II", "III", "IV"})
        if (std::strncmp(suffix.buf, s, std::strlen(s)) == 0) return true;
    return false;
}

template <int N>
void putPlace(char* place, const fixedString<N>& field) {
    std::memcpy(place, field.buf, N);
}

// Copies a key place into a field of the same width.
template <int N>
void takePlace(fixedString<N>& field, const char* place) {
    std::memcpy(field.buf, place, N);
}

// The rejection codes of the name checks; the family fall-back runs on them.
bool isNameCheckCode(const char* r) {
    static const char* const kCodes[] = {"00000000011", "00000007711", "00000000013", "00000007713",
                                         "00000000015", "00000007715", "00000000017", "00000007717"};
    for (const char* c : kCodes)
        if (std::memcmp(r, c, 11) == 0) return true;
    return false;
}

// Puts code nn into positions 9 and 10 and, unless the result keeps its
// "000000077" prefix, zeros the prefix so that no address is built from it.
void setCode(fixedString<11>& zip11, const char* nn) {
    std::memcpy(zip11.buf + 9, nn, 2);
    if (std::memcmp(zip11.buf, "000000077", 9) != 0) std::memcpy(zip11.buf, "000000000", 9);
}

// The middles agree enough when their first letters agree and either has a blank second letter.
bool middlesCompatible(const char* a, const char* b) { return a[0] == b[0] && (a[1] == ' ' || b[1] == ' '); }

}  // namespace

namespace {

// Names ruled in earlier records of this thread. Lists repeat their names
// (SMITH, MARIA) thousands of times, and a name rules the same way for as
// long as its data object's list stays as read. Per thread: nothing shared.
struct RuledName {
    uint64_t rulesId;
    int len;
    char in[20];
    char out[20];
};
constexpr size_t kRuledSlots = 2048;
thread_local RuledName ruledNames[kRuledSlots];

size_t ruledSlot(const char* text, int len) {
    uint32_t h = 2166136261u ^ static_cast<uint32_t>(len);
    for (int i = 0; i < len; ++i) h = (h ^ static_cast<unsigned char>(text[i])) * 16777619u;
    return (h ^ (h >> 15)) & (kRuledSlots - 1);
}

}  // namespace

void CNCOA_Lookup::applyNameRules(char* text, int len) {
    ShapedName& k = shaped[len == 20 ? 0 : 1];
    if (k.len == len && std::memcmp(k.in, text, static_cast<size_t>(len)) == 0) {
        std::memcpy(text, k.out, static_cast<size_t>(len));
        return;
    }
    k.len = 0;
    std::memcpy(k.in, text, static_cast<size_t>(len));
    const uint64_t id = tables.nameRulesId;
    RuledName* slot = id != 0 && len <= 20 ? &ruledNames[ruledSlot(text, len)] : nullptr;
    if (slot != nullptr && slot->rulesId == id && slot->len == len &&
        std::memcmp(slot->in, text, static_cast<size_t>(len)) == 0) {
        std::memcpy(text, slot->out, static_cast<size_t>(len));
    } else {
        CNCOA_NameRules(tables).applyRules(text, text, len);  // throws 1014 with no rules: nothing kept
        if (slot != nullptr) {
            slot->rulesId = id;
            slot->len = len;
            std::memcpy(slot->in, k.in, static_cast<size_t>(len));
            std::memcpy(slot->out, text, static_cast<size_t>(len));
        }
    }
    std::memcpy(k.out, text, static_cast<size_t>(len));
    k.len = len;
}

CNCOA_Lookup::CNCOA_Lookup(const CNCOA_DataTables& t, bool dbg) : CNCOA_RV9(t), tables(t), debug(dbg) { reset(); }

void CNCOA_Lookup::reset() {
    answer.init(false);
    savedAnswer.init(false);
    lookupName.blank();
    parsedName.blank();
    inputName.spcs();
    hyphenScratch.spcs();
    savedFirst.spcs();
    inputMiddle.spcs();
    zip5.spcs();
    res.clear();
    lookupGender = ' ';
    parsedGender = ' ';
    firstInitialTry = 'N';
    std::memset(searchKey, 0, sizeof searchKey);
    searchKey[0] = ' ';
    searchMode = 0;
    middleAsFirst = false;
    familyTried = false;
}

void CNCOA_Lookup::setLastAndSuffix() {
    putPlace(lastPlace(), parsedName.last);
    if (isGenerationalSuffix(parsedName.suffix)) putPlace(suffixPlace(), parsedName.suffix);
}

bool CNCOA_Lookup::doClks05c0(const NCOAInput& input, unsigned long emdp, eQVNCOA_BIFLookupMode mode) {
    // 1-2. The key's EMDP, most significant byte first, and its digest.
    reset();
    inputName.cpyIn(input.name.buf);
    zip5.cpyIn(input.zip9.buf, 5);
    for (int i = 0; i < 8; ++i) searchKey[1 + i] = static_cast<char>((emdp >> (56 - 8 * i)) & 0xFF);
    unsigned char emdpSha[20];
    qvs_auth_get_sha1(searchKey + 1, 8, emdpSha);
    answer.emdp = __builtin_bswap64(emdp);
    std::memcpy(answer.emdpSha, emdpSha, sizeof emdpSha);
    if (debug) {
        log("SHA Of EMDP:\t");
        dumpSha(emdpSha);
        log("Daily delete\t");
    }

    // 3. A filing cancelled since the data set was made.
    {
        DDRecord record{};
        CNCOA_DailyDeleteLookup dd(tables);
        if (dd.isInDailyDelete(emdpSha, tables.dvdHeader[0], record)) {
            if (debug) log("found!\n");
            std::memcpy(answer.resultString(), "00000000066", 11);
            return false;
        }
        if (debug) log("not found\n");
    }

    // 4. Does a firm live here?
    bool isBusiness = false;
    if (mode == eBIF_All || mode == eBIF_BusinessOnly || mode == eBIF_BusinessIndividual)
        isBusiness = CNCOA_CLKHSBTest(tables).testEMDPHash(emdpSha, false);
    if (debug) log("Is business:\t%s\n", isBusiness ? "true" : "false");

    bool parse = true;
    if (isBusiness) {
        // 5. The firm under its listed name.
        char listed[41];
        CNCOA_GetBusinessName biz(tables);
        if (biz.getBusinessName(emdpSha, input.name, listed)) std::memcpy(answer.nameBlock, input.name.buf, 40);
        std::memcpy(firmPlace(), listed, 40);
        if (!isSpaces(firmPlace(), 40)) {
            answer.firmName.cpyIn(firmPlace(), 40, -1, -1, 0, 40);
            searchMode = 0;
            std::memcpy(answer.nameBlock, firmPlace(), 40);
            if (do1000Forward()) return true;
            // Straight on to the attempts, without a parse: the name is blank.
            parse = false;
        }
    }

    if (parse) {
        // 6.
        if (mode == eBIF_BusinessOnly) return true;
        // 7. Parse the person's name, apostrophes removed.
        inputName.cpyIn(input.name.buf);
        inputName.stripChar('\'');
        CNCOA_Vantrel_NameParser parser(tables);
        parser.parseName(inputName.buf, parsedName);
        parsedGender = parsedName.gender;
        answer.parsedName = parsedName;
        answer.parsedName.gender = parsedName.gender;
        answer.parsedGender = parsedGender;
        if (debug)
            log("Parsed name:\tPre: %s\n\t\t1st: %s\n\t\tMid: %s\n\t\tLst: %s\n\t\tSuf: %s\n", parsedName.prefix.buf,
                parsedName.first.buf, parsedName.middle.buf, parsedName.last.buf, parsedName.suffix.buf);
        // 8.
        answer.inputGender = parsedGender;
        setOPName(answer, parsedName);
        inputMiddle.cpyIn(parsedName.middle.buf);
        res.clear();
    }

    // 9.
    std::memset(firmPlace(), ' ', 40);
    putPlace(lastPlace(), parsedName.last);

    // 10. From the name as it stands to the loosest individual form.
    const bool haveFirst = !parsedName.first.isSpaces();
    const bool middleHasMore = !parsedName.middle.isSpaces(1, -1);
    if (haveFirst) {
        if (debug) log("\nTrying name without changes.\n");
        putPlace(firstPlace(), parsedName.first);
        setLastAndSuffix();
        searchMode = 1;
        if (do0999Forward()) return true;
    }
    if (haveFirst && middleHasMore && !parsedName.last.isSpaces()) {
        if (debug) log("\nTrying first initial.\n");
        inputMiddle.cpyIn(parsedName.middle.buf);
        savedFirst = parsedName.first;
        std::memset(firstPlace(), ' ', 15);
        firstPlace()[0] = parsedName.first.buf[0];
        std::memset(parsedName.first.buf + 1, ' ', 14);
        firstInitialTry = 'Y';
        setLastAndSuffix();
        searchMode = 1;
        if (do1000Forward()) return true;
        parsedName.first = savedFirst;
        firstInitialTry = 'N';
    }
    if (haveFirst && middleHasMore) {
        if (debug) log("\nTrying middle name.\n");
        // The two names change places, each by the field copy rule.
        auto swapFirstAndMiddle = [this]() {
            std::memcpy(firstPlace(), parsedName.middle.buf, 15);
            parsedName.middle.cpyIn(parsedName.first.buf, 15, -1, -1, 0, 15);
            takePlace(parsedName.first, firstPlace());
        };
        swapFirstAndMiddle();
        inputMiddle.cpyIn(parsedName.middle.buf);
        setLastAndSuffix();
        searchMode = 1;
        middleAsFirst = true;
        if (do1000Forward()) return true;
        if (!isSpaces(answer.resultString(), 11) && std::memcmp(res.middle.buf, parsedName.middle.buf, 2) != 0)
            answer.init(false);
        swapFirstAndMiddle();
        inputMiddle.cpyIn(parsedName.middle.buf);
        middleAsFirst = false;
    }

    // 11.
    if (mode != eBIF_All && mode != eBIF_IndividualFamily) return true;

    // 12. The family.
    if (debug) log("\nTrying family.\n");
    searchMode = 2;
    std::memset(firstPlace(), ' ', 15);
    std::memset(lastPlace(), ' ', 20);
    putPlace(lastPlace(), parsedName.last);
    if (do1000Forward()) return true;

    // 13.
    if (debug) log("\nTrying middle name normalized.\n");
    if (do0999ForwardNormalL()) return true;

    // 14. Middle and last joined by a hyphen.
    if (parsedName.first.isSpaces() || parsedName.middle.isSpaces() || parsedName.last.isSpaces()) return false;
    if (debug) log("\nTrying mid-last hyphenated.\n");
    hyphenScratch = fixedString<20>();
    hyphenScratch.cpyIn(parsedName.middle.buf);
    int blank = hyphenScratch.find(' ', 0);
    if (blank >= 0) hyphenScratch.buf[blank] = '-';
    // Behind the word that now ends in the hyphen; a middle that fills the
    // field has no blank, and the last name then lands at position 0.
    int behind = hyphenScratch.find(' ', blank) + 1;
    hyphenScratch.cpyIn(parsedName.last.buf, -1, -1, -1, behind, -1);
    parsedName.last = hyphenScratch;
    parsedName.middle.spcs();
    putPlace(lastPlace(), parsedName.last);
    putPlace(firstPlace(), parsedName.first);
    if (isGenerationalSuffix(parsedName.suffix)) putPlace(suffixPlace(), parsedName.suffix);
    setOPName(answer, parsedName);
    searchMode = 1;
    if (do1000Forward()) return true;

    if (debug) log("\nTrying family hyphenated.\n");
    searchMode = 2;
    std::memset(firstPlace(), ' ', 15);
    std::memset(suffixPlace(), ' ', 5);
    putPlace(lastPlace(), parsedName.last);
    return do1000Forward();
}

// ------------------------------------------------------------ forward search

bool CNCOA_Lookup::do0999Forward() {
    if (do1000Forward()) return true;
    if (searchMode == 1) {
        auto range = tables.normalFirst.equal_range(parsedName.first);
        if (range.first == tables.normalFirst.end()) {
            savedFirst = parsedName.first;
            if (do0999ForwardNickn()) return true;
        } else {
            // A name that is no key but sorts before the last one gets no
            // nickname search here. Kept as it is.
            for (auto it = range.first; it != range.second; ++it) {
                savedFirst = it->second;
                putPlace(firstPlace(), it->second);
                putPlace(lastPlace(), parsedName.last);
                if (do1000Forward()) return true;
                if (do0999ForwardNickn()) return true;
            }
        }
    }
    return do0999ForwardNormalL();
}

bool CNCOA_Lookup::do0999ForwardNickn() {
    auto range = tables.nickNames.equal_range(parsedName.first);
    for (auto it = range.first; it != range.second; ++it) {
        putPlace(firstPlace(), it->second);
        putPlace(lastPlace(), parsedName.last);
        if (do1000Forward()) return true;
    }
    return false;
}

bool CNCOA_Lookup::do0999ForwardNormalL() {
    auto range = tables.normalLast.equal_range(parsedName.last);
    for (auto it = range.first; it != range.second; ++it) {
        putPlace(lastPlace(), it->second);
        if (searchMode == 1) putPlace(firstPlace(), parsedName.first);
        if (do1000Forward()) return true;
    }
    return false;
}

bool CNCOA_Lookup::do1000Forward() {
    const char* kind = tables.isHashData ? "Hash" : "Flat";
    char* result = answer.resultString();

    // 1-3. The name as reported, and the name as hashed.
    lookupName.blank();
    lookupGender = ' ';
    if (searchMode != 0) {
        takePlace(lookupName.last, lastPlace());
        if (searchMode == 1) {
            takePlace(lookupName.first, firstPlace());
            lookupName.middle = parsedName.middle;
            lookupName.prefix = parsedName.prefix;
            lookupName.suffix = parsedName.suffix;
        }
        // Hyphens and blanks close up in the last name; the rules then shape
        // both names as the USPS hashed them. The places are not NUL-ended,
        // so the text tools work on a copy of each.
        char last[21];
        std::memcpy(last, lastPlace(), 20);
        last[20] = '\0';
        replace(last, '-', ' ', 0, 20);
        stripSpaces(last, 0, 20);
        replace(last, '-', ' ', 0, 20);
        applyNameRules(last, 20);
        std::memcpy(lastPlace(), last, 20);
        if (!isSpaces(firstPlace(), 15)) {
            char first[16];
            std::memcpy(first, firstPlace(), 15);
            first[15] = '\0';
            replace(first, '-', ' ', 0, 15);
            applyNameRules(first, 15);
            std::memcpy(firstPlace(), first, 15);
        }
        if (debug)
            log("%s lookup object:\tfrst: '%.15s'\n\t\tlast: '%.20s'\n\t\tsufx: '%.5s'\n", kind, firstPlace(),
                lastPlace(), suffixPlace());
    } else if (debug) {
        log("%s lookup object:\tfirm: '%.40s'\n", kind, firmPlace());
    }

    // 4. The search. The hash kind hashes the 48 bytes behind the leading
    // blank, the flat kind all 49.
    unsigned char sha[20];
    bool found;
    res.clear();
    if (tables.isHashData) {
        qvs_auth_get_sha1(searchKey + 1, 48, sha);
        if (debug) {
            log("SHA of 48\t");
            dumpSha(sha);
        }
        found = CNCOA_HashLookup(tables).doLookup(sha, zip5.buf, res);
    } else {
        qvs_auth_get_sha1(searchKey, 49, sha);
        if (debug) {
            log("SHA of 49\t");
            dumpSha(sha);
        }
        found = CNCOA_FlatLookup(tables).doLookup(sha, zip5.buf, res);
    }

    // 5.
    ++answer.lookupCount;
    std::memcpy(answer.searchKey, searchKey, sizeof searchKey);
    std::memcpy(answer.searchSha, sha, sizeof sha);
    answer.seventeen = res.seventeen;
    std::memcpy(answer.rawResult, res.raw, sizeof res.raw);
    answer.hint.cpyIn(res.hint.buf, 7, -1, -1, 0, 7);
    if (debug) {
        log("%s Lookup\t%s\n", kind, found ? "OK" : "Failed");
        log("Data from lookup %02X%02X%02X%02X%02X%02X%02X%02X\n", res.raw[0], res.raw[1], res.raw[2], res.raw[3],
            res.raw[4], res.raw[5], res.raw[6], res.raw[7]);
        log("Seventeen\t%li\n", static_cast<long>(res.seventeen));
    }

    // 6. A filing flagged by name is never matched through an initial.
    if (firstInitialTry == 'Y' && std::toupper(static_cast<unsigned char>(res.nameFlag)) == 'Y') res.clear();

    bool resBlank = res.zip11.isSpaces() && res.moveDate.isSpaces() && res.middle.isSpaces() && res.gender == ' ' &&
                    res.dropFlag == ' ' && res.nameFlag == ' ' && res.hint.isSpaces();
    if (!resBlank) {
        // 8.
        if (searchMode != 0) setOPName(answer, lookupName);
        answer.dropFlag = res.dropFlag;
        answer.nameFlag = res.nameFlag;

        // 9. Name checks: a result only ever moves towards a rejection.
        if (searchMode == 1 && std::memcmp(res.zip11.buf, "000000000", 9) != 0) {
            bool differ = std::memcmp(res.middle.buf, inputMiddle.buf, 2) != 0;
            bool checked = false;
            if (differ && std::toupper(static_cast<unsigned char>(res.nameFlag)) == 'Y') {
                setCode(res.zip11, "17");
                checked = true;
            }
            if (!checked && differ && parsedName.first.isSpaces(1, -1)) {
                if (!(std::memcmp(res.zip11.buf, "000000077", 9) == 0 && std::memcmp(res.zip11.buf + 9, "11", 2) == 0))
                    std::memcpy(res.zip11.buf + 9, "15", 2);
                if (std::memcmp(res.zip11.buf, "000000077", 9) != 0) std::memcpy(res.zip11.buf, "000000000", 9);
                checked = true;
            }
            if (!checked && differ && !res.middle.isSpaces() && !inputMiddle.isSpaces() &&
                !middlesCompatible(res.middle.buf, inputMiddle.buf))
                setCode(res.zip11, "12");
            if ((res.gender == 'M' && parsedGender == 'F') || (res.gender == 'F' && parsedGender == 'M'))
                setCode(res.zip11, "13");
        }

        if (std::memcmp(res.zip11.buf, "00000", 5) == 0) {
            // 10. A coded result, no address.
            std::memcpy(result, res.zip11.buf, 11);
        } else {
            // 11. The new address.
            RV9AnswerRecord rec;
            bool built = getNewAddress(res.zip11.buf, res.hint.buf, rec);
            if (debug) log("RV9 Lookup\t%s\n", built ? "OK" : "Failed");
            if (!built || rec.resultCode != '+') {
                std::memcpy(result, "00000000014", 11);
            } else {
                answer.carrierRoute = rec.carrierRoute;
                answer.addressLine = rec.addressLine;
                std::memcpy(answer.address.primaryNumber, rec.primaryNumber.buf, 10);
                std::memcpy(answer.address.preDirectional, rec.preDirectional.buf, 2);
                std::memcpy(answer.address.streetName, rec.streetName.buf, 28);
                std::memcpy(answer.address.suffix, rec.suffix.buf, 4);
                std::memcpy(answer.address.postDirectional, rec.postDirectional.buf, 2);
                std::memcpy(answer.address.secondaryDesignator, rec.secondaryDesignator.buf, 4);
                std::memcpy(answer.address.secondaryNumber, rec.secondaryNumber.buf, 8);
                if (searchMode != 0) {
                    answer.nameLine.cpyIn(firstPlace(), 15, -1, -1, 0, 15);
                    answer.nameLine.cpyIn(lastPlace(), 20, -1, -1, 15, 20);
                } else {
                    answer.nameLine.cpyIn(firmPlace(), 40, -1, -1, 0, 40);
                }
                answer.lastLine = rec.lastLine;
                std::memcpy(answer.city.city, rec.city.buf, 28);
                std::memcpy(answer.city.state, rec.state.buf, 2);
                std::memcpy(result, rec.zip.buf, 12);
                answer.moveType = searchMode == 0 ? 'B' : searchMode == 1 ? 'I' : 'F';
                answer.moveEffectiveDate = res.moveDate;
                answer.dropFlag = res.dropFlag;
            }
        }
    }

    // 12.
    if (isSpaces(result, 11)) return false;
    // 13.
    if (std::memcmp(result, "00000", 5) != 0) result[11] = check11(result);
    // 14.
    answer.moveType = searchMode == 0 ? 'B' : searchMode == 1 ? 'I' : 'F';
    answer.moveEffectiveDate = res.moveDate;

    // 15.
    if (!isNameCheckCode(result)) {
        if (!middleAsFirst) return true;
        // The names have changed places: the filing's middle against the input's first.
        if (std::memcmp(res.middle.buf, parsedName.middle.buf, 2) == 0) return true;
        answer.init(true);
        return false;
    }

    // 16. An individual rejected here: the same filing may serve the family.
    if (familyTried) return true;
    if (debug) log("\nTrying family.\n");
    savedAnswer = answer;
    answer.init(true);
    searchMode = 2;
    std::memset(firstPlace(), ' ', 15);
    std::memset(suffixPlace(), ' ', 5);
    putPlace(lastPlace(), parsedName.last);
    familyTried = true;
    if (do1000Forward()) return true;
    answer = savedAnswer;
    answer.inputGender = parsedGender;
    setOPName(answer, parsedName);
    return true;
}

}  // namespace QV_NCOA
