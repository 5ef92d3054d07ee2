// Lays the parts of a new address out into one delivery address line: street,
// PO box or rural style, shortening the street name when a limit demands it.
#pragma once

#include <cstdint>

#include "RV9.h"
#include "fixedString.h"

namespace QV_NCOA {

class CNCOA_RV9AddrLine {
public:
    CNCOA_RV9AddrLine() { init(); }
    void init();

    // 0 when the line fits the limit, 4 when it fits only after shrinking the
    // street name, 16 when it cannot (out is then blank up to the limit).
    // Normalises primaryNumber, secondaryDesignator and secondaryNumber of rec.
    int32_t addrline(RV9AnswerRecord& rec, int32_t limit, fixedString<99>& out);

private:
    void do1100CalcLenPrimnum(RV9AnswerRecord& rec);
    void do1200CalcLenPre(const RV9AnswerRecord& rec);
    void do1300CalcLenName(const RV9AnswerRecord& rec);
    void do1400CalcLenSuff(const RV9AnswerRecord& rec);
    void do1500CalcLenPost(const RV9AnswerRecord& rec);
    void do1600CalcLenAbbr(RV9AnswerRecord& rec);
    void do1700CalcLenSecnum(RV9AnswerRecord& rec);
    void do2000ShrinkName(RV9AnswerRecord& rec, int32_t limit);
    void do3000BuildOutput(RV9AnswerRecord& rec, int32_t limit, fixedString<99>& out);

    bool cannotShrink;
    bool letterFound;
    int32_t lenPrimnum, lenPre, lenName, lenSuff, lenPost, lenAbbr, lenSecnum, lenTotal;
    fixedString<10> primnumWork;
    fixedString<8> secnumWork;
    fixedString<28> nameWork;
    fixedString<99> lineWork;
    int32_t scanPos, cutPos, nameWidth, cursor;
};

}  // namespace QV_NCOA
