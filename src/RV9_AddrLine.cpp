#include "RV9_AddrLine.h"

#include <cstring>

#include "NCOA_Utils.h"

namespace QV_NCOA {

namespace {

template <int N>
int trailingBlanks(const fixedString<N>& f) {
    return countTrailing(' ', f.buf);
}

template <int N>
int leadingZeros(const fixedString<N>& f) {
    int z = 0;
    while (z < N && f.buf[z] == '0') ++z;
    return z;
}

template <int N>
bool beginsWith(const fixedString<N>& f, const char* prefix) {
    return std::strncmp(f.buf, prefix, std::strlen(prefix)) == 0;
}

// Every character from `from` on is a digit or a blank, and not all are blanks.
template <int N>
bool digitsAndBlanksFrom(const fixedString<N>& f, int from, bool wholeRest) {
    if (f.isSpaces(from)) return false;
    int end = wholeRest ? N : from + 1;
    for (int i = from; i < end; ++i)
        if (std::strchr("0123456789 ", f.buf[i]) == nullptr || f.buf[i] == '\0') return false;
    return true;
}

// Puts the whole field at the cursor, trailing blanks included; the next part
// may overlay them.
template <int N>
void put(fixedString<99>& line, const fixedString<N>& field, int at) {
    if (at < 0 || at >= 99) return;
    line.cpyIn(field.buf, -1, -1, -1, at, static_cast<int>(std::strlen(field.buf)));
}

}  // namespace

void CNCOA_RV9AddrLine::init() {
    cannotShrink = false;
    letterFound = false;
    lenPrimnum = lenPre = lenName = lenSuff = lenPost = lenAbbr = lenSecnum = lenTotal = 0;
    primnumWork.spcs();
    secnumWork.spcs();
    nameWork.spcs();
    lineWork.spcs();
    scanPos = cutPos = nameWidth = cursor = 0;
}

int32_t CNCOA_RV9AddrLine::addrline(RV9AnswerRecord& rec, int32_t limit, fixedString<99>& out) {
    nameWidth = rec.streetName.size;

    // A name with a leading blank is left-justified. The shift as first
    // written moved the name to the right and never ended; names on file are
    // left-justified, so no other result depends on this.
    if (!rec.streetName.isSpaces() && rec.streetName.buf[0] == ' ') rec.streetName.leftShiftRemove(' ');

    do1100CalcLenPrimnum(rec);
    do1200CalcLenPre(rec);
    do1300CalcLenName(rec);
    do1400CalcLenSuff(rec);
    do1500CalcLenPost(rec);
    do1600CalcLenAbbr(rec);
    do1700CalcLenSecnum(rec);
    lenTotal = lenPrimnum + lenPre + lenName + lenSuff + lenPost + lenAbbr + lenSecnum - 1;
    const int32_t measured = lenTotal;

    cannotShrink = false;
    if (lenTotal > limit) do2000ShrinkName(rec, limit);
    if (cannotShrink) {
        for (int i = 0; i < limit && i < 99; ++i) out.buf[i] = ' ';
        return 16;
    }
    do3000BuildOutput(rec, limit, out);
    return measured > limit ? 4 : 0;
}

// The rule takes a number right-justified and zero-filled, as the ranges store
// them; a left-justified one keeps width 11 and its blanks show in the line.
void CNCOA_RV9AddrLine::do1100CalcLenPrimnum(RV9AnswerRecord& rec) {
    fixedString<10>& f = rec.primaryNumber;
    lenPrimnum = 0;
    if (f.isSpaces()) primnumWork.spcs();
    if (f.isNumericToLastNonSpace()) {
        const int z = leadingZeros(f);
        lenPrimnum = 11 - z;
        primnumWork.cpyIn(f.buf, 10, z);
    } else {
        primnumWork = f;
        lenPrimnum = 11 - trailingBlanks(f);
    }
    if (lenPrimnum == 0)
        f.spcs();
    else
        std::memcpy(f.buf, primnumWork.buf, 10);
}

void CNCOA_RV9AddrLine::do1200CalcLenPre(const RV9AnswerRecord& rec) {
    lenPre = rec.preDirectional.isSpaces() ? 0 : 3 - trailingBlanks(rec.preDirectional);
}

void CNCOA_RV9AddrLine::do1300CalcLenName(const RV9AnswerRecord& rec) {
    lenName = 29 - trailingBlanks(rec.streetName);
}

void CNCOA_RV9AddrLine::do1400CalcLenSuff(const RV9AnswerRecord& rec) {
    lenSuff = rec.suffix.isSpaces() ? 0 : 5 - trailingBlanks(rec.suffix);
}

void CNCOA_RV9AddrLine::do1500CalcLenPost(const RV9AnswerRecord& rec) {
    lenPost = rec.postDirectional.isSpaces() ? 0 : 3 - trailingBlanks(rec.postDirectional);
}

void CNCOA_RV9AddrLine::do1600CalcLenAbbr(RV9AnswerRecord& rec) {
    if (rec.secondaryDesignator.isSpaces() && !rec.secondaryNumber.isSpaces()) rec.secondaryDesignator.cpyIn("#");
    lenAbbr = rec.secondaryDesignator.isSpaces() ? 0 : 5 - trailingBlanks(rec.secondaryDesignator);
}

void CNCOA_RV9AddrLine::do1700CalcLenSecnum(RV9AnswerRecord& rec) {
    fixedString<8>& f = rec.secondaryNumber;
    lenSecnum = 0;
    if (f.isSpaces() && !beginsWithDesignatorWord(rec.secondaryDesignator.buf)) {
        rec.secondaryDesignator.spcs();
        lenAbbr = 0;
    } else if (f.isNumericToLastNonSpace()) {
        const int z = leadingZeros(f);
        lenSecnum = 9 - z;
        secnumWork.cpyIn(f.buf, 8, z);
    } else {
        secnumWork = f;
        lenSecnum = 9 - trailingBlanks(f);
    }
    if (lenSecnum == 0)
        f.spcs();
    else
        std::memcpy(f.buf, secnumWork.buf, 8);
}

// Takes out one consonant (or the blank behind the name) per pass, from the
// end of the name, until the line fits.
void CNCOA_RV9AddrLine::do2000ShrinkName(RV9AnswerRecord& rec, int32_t limit) {
    if (lenTotal == limit) return;
    fixedString<28>& name = rec.streetName;
    while (lenTotal != limit && !cannotShrink) {
        letterFound = false;
        for (scanPos = nameWidth; scanPos >= 2; --scanPos) {
            const char c = name.buf[scanPos - 1];
            const char before = name.buf[scanPos - 2];
            if (std::strchr("AEIOU", c) == nullptr && before != ' ') {
                letterFound = true;
                cutPos = scanPos;
                break;
            }
        }
        if (letterFound) {
            nameWork.spcs();
            std::memcpy(nameWork.buf, name.buf, static_cast<size_t>(cutPos - 1));
            std::memcpy(nameWork.buf + cutPos - 1, name.buf + cutPos, static_cast<size_t>(nameWidth - cutPos));
            std::memcpy(name.buf, nameWork.buf, 28);
            --lenTotal;
            --lenName;
        } else {
            cannotShrink = true;
        }
    }
}

void CNCOA_RV9AddrLine::do3000BuildOutput(RV9AnswerRecord& rec, int32_t limit, fixedString<99>& out) {
    if (rec.primaryNumber.buf[0] == '-') rec.primaryNumber.buf[0] = '0';
    if (rec.secondaryNumber.buf[0] == '-') rec.secondaryNumber.buf[0] = '0';

    cursor = 0;
    const bool plain = rec.preDirectional.isSpaces() && rec.suffix.isSpaces() && rec.postDirectional.isSpaces() &&
                       rec.secondaryDesignator.isSpaces() && rec.secondaryNumber.isSpaces();
    const fixedString<28>& name = rec.streetName;

    if (beginsWith(name, "PO BOX ")) {
        lineWork.cpyIn(name.buf);
        cursor = lenName;
        put(lineWork, rec.primaryNumber, cursor);
    } else if (plain && ((beginsWith(name, "RR ") && digitsAndBlanksFrom(name, 3, false)) ||
                         (beginsWith(name, "HC ") && digitsAndBlanksFrom(name, 3, true)) ||
                         ((beginsWith(name, "CMR ") || beginsWith(name, "PSC ")) && digitsAndBlanksFrom(name, 4, true)) ||
                         (beginsWith(name, "UNIT ") && digitsAndBlanksFrom(name, 5, true)))) {
        lineWork.cpyIn(name.buf);
        cursor += lenName;
        if (!rec.primaryNumber.isSpaces()) {
            lineWork.cpyIn("BOX", -1, -1, -1, cursor, 3);
            cursor += 4;
            put(lineWork, rec.primaryNumber, cursor);
        }
    } else {
        lineWork.cpyIn(rec.primaryNumber.buf);
        cursor += lenPrimnum;
        put(lineWork, rec.preDirectional, cursor);
        cursor += lenPre;
        put(lineWork, rec.streetName, cursor);
        cursor += lenName;
        put(lineWork, rec.suffix, cursor);
        cursor += lenSuff;
        put(lineWork, rec.postDirectional, cursor);
        cursor += lenPost;
        put(lineWork, rec.secondaryDesignator, cursor);
        cursor += lenAbbr;
        put(lineWork, rec.secondaryNumber, cursor);
    }
    out.cpyIn(lineWork.buf, -1, 0, limit, 0, limit);
}

}  // namespace QV_NCOA
