// Scores of how alike two business names are, 0.0 to 1.0. Two counting
// comparators over letter tables (utas41c0: singles and pairs, utqs41c0:
// singles alone) and the blend of the word-wise score with them (utas31c0).
// Every comparator is a stack object; nothing here touches the heap.
#pragma once

namespace QV_NCOA {

class CNCOA_DataTables;

// Score rounded half up to four decimals, the cut going through a 32-bit
// integer as the scores have always been computed.
double roundScore4(double score);

class CNCOA_BusinessNameBase {
public:
    // Table layout: the single of symbol c at cell c + 1, the pair (a, b) at
    // cell kPairBase + b + a * kSymbols + 1. The pair part therefore starts on
    // the single cell of symbol 36, which the pair counts never reach.
    enum { kCells = 1410, kSymbols = 37, kPairBase = 37, kTextLen = 80, kCodedLen = 82 };

    CNCOA_BusinessNameBase();
    virtual ~CNCOA_BusinessNameBase() = default;
    CNCOA_BusinessNameBase(const CNCOA_BusinessNameBase&) = delete;
    CNCOA_BusinessNameBase& operator=(const CNCOA_BusinessNameBase&) = delete;

    // 1.0 for texts equal by strcmp, 0.0 when either is all blank; otherwise
    // matches / total of the class's counts over at most 80 bytes of each.
    double compareStrings(const char* one, const char* two);

    virtual void Kountem(int& matches, int& total) = 0;
    virtual void doStringOne(char* text) = 0;
    virtual void doStringTwo(char* text) = 0;

    // 82 characters to 82 symbols: blank and punctuation 0, letters 1-26,
    // digits 27-36.
    void convertToBinaryOne(const char* text, unsigned short* codes);
    void convertToBinaryTwo(const char* text, unsigned short* codes);

protected:
    // Counts the singles (and, with pairs, the pairs) of an 80-byte text into
    // table, which is zeroed first.
    void countText(const char* text, unsigned short* table, bool pairs, bool first);
    // Sums over cells [from, to] of the two tables. Per cell both tests of the
    // counting rule run: x >= y adds x to total and y to matches, then x <= y
    // adds y to total and x to matches; an equal cell so counts twice. Written
    // without branches (the larger to total, the smaller to matches, an equal
    // value once more to each) so that the loop vectorises.
    static void countCells(const unsigned short* one, const unsigned short* two, int from, int to, int& matches,
                           int& total) {
        int m = 0;
        int t = 0;
        for (int c = from; c <= to; ++c) {
            int x = one[c];
            int y = two[c];
            int eq = x == y ? x : 0;
            t += (x > y ? x : y) + eq;
            m += (x < y ? x : y) + eq;
        }
        matches += m;
        total += t;
    }

    unsigned short tableOne_[kCells];
    unsigned short tableTwo_[kCells];
    char cachedOne_[kTextLen + 1];
    char cachedTwo_[kTextLen + 1];
    unsigned short* singleOne_;
    unsigned short* pairOne_;
    unsigned short* singleTwo_;
    unsigned short* pairTwo_;
};

// Singles and pairs, with the reversed pair of two different symbols.
class CNCOA_BusinessName_utas41c0 : public CNCOA_BusinessNameBase {
public:
    void Kountem(int& matches, int& total) override;
    void doStringOne(char* text) override;
    void doStringTwo(char* text) override;
};

// Singles of letters and digits only: order and blanks play no part.
class CNCOA_BusinessName_utqs41c0 : public CNCOA_BusinessNameBase {
public:
    void Kountem(int& matches, int& total) override;
    void doStringOne(char* text) override;
    void doStringTwo(char* text) override;
};

// Word-wise score blended with utas41c0 and the ratio of the names' lengths.
class CNCOA_BusinessName_utas31c0 {
public:
    explicit CNCOA_BusinessName_utas31c0(const CNCOA_DataTables& tables);

    double compareStrings(const char* one, const char* two);

private:
    enum { kTextLen = 80 };
    double lastScore_;
    char cachedOne_[kTextLen + 1];
    char cachedTwo_[kTextLen + 1];
    const CNCOA_DataTables* tables_;
};

}  // namespace QV_NCOA
