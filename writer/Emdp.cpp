#include "Emdp.h"

#include <cctype>
#include <cstdio>
#include <string>

namespace qvw {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool blank(const std::string& s) { return s.find_first_not_of(' ') == std::string::npos; }

// Leading blanks and zeros go; the text keeps its width. A text made only of
// blanks and zeros stays as it is.
void dropLeadingBlanksAndZeros(std::string& s) {
    const std::size_t k = s.find_first_not_of(" 0");
    if (k == 0 || k == std::string::npos)
        return;
    s = s.substr(k) + std::string(k, ' ');
}

// "1111" to "9999" at the start of a primary stand for other numbers.
void replaceRepeatedStart(std::string& pno) {
    static const char* const from[] = {"1111", "2222", "3333", "4444", "5555", "6666", "7777", "8888", "9999"};
    static const char* const to[] = {"2345", "3456", "4567", "5678", "6789", "2345", "3456", "4567", "5678"};
    for (int i = 0; i < 9; ++i)
        if (pno.compare(0, 4, from[i]) == 0) {
            pno.replace(0, 4, to[i]);
            return;
        }
}

bool onlyDigitsAndBlanks(const std::string& s) { return s.find_first_not_of(" 0123456789") == std::string::npos; }

// "1/2" after a blank, behind at least two characters, reads "9/9".
void halvesInPrimary(std::string& pno) {
    if (onlyDigitsAndBlanks(pno))
        return;
    const int last = static_cast<int>(pno.find_last_not_of(' '));
    for (int i = last; i >= 5; --i)
        if (pno[i - 3] == ' ' && pno[i - 2] == '1' && !isDigit(pno[i - 1]) && !isLetter(pno[i - 1]) && pno[i] == '2') {
            pno[i] = '9';
            pno[i - 2] = '9';
        }
}

void halvesInSecondary(std::string& sno) {
    if (onlyDigitsAndBlanks(sno))
        return;
    if (sno[0] == '1' && !isDigit(sno[1]) && !isLetter(sno[1]) && sno[2] == '2') {
        sno[0] = '9';
        sno[2] = '9';
    }
}

void shortenDirectional(std::string& sno) {
    static const char* const words[] = {"EAST", "WEST", "NORTH", "SOUTH", "UPPER", "LOWER"};
    for (const char* w : words)
        if (sno == padRight(w, 8)) {
            sno = padRight(std::string(1, w[0]), 8);
            return;
        }
}

unsigned letterValue(char c) { return c == ' ' ? 0u : static_cast<unsigned>(std::toupper(c) - 'A' + 1); }

} // namespace

bool emdpOf(const Address& a, const LcdReplacements& lcd, std::uint64_t& emdp) {
    const std::string zip9 = padRight(a.zip9, 9);
    std::string pno = padRight(a.primary, 10), sno = padRight(a.secondary, 8), desc = padRight(a.designator, 4);

    unsigned addon = 0;
    if (allDigits(zip9)) {
        const auto it = lcd.find(static_cast<std::uint32_t>(std::stoul(zip9)));
        addon = it != lcd.end() ? it->second : static_cast<unsigned>(std::stoul(zip9.substr(5)));
    }

    dropLeadingBlanksAndZeros(sno);
    if (blank(sno) && !blank(desc))
        sno = padRight(desc, 8);
    shortenDirectional(sno);
    dropLeadingBlanksAndZeros(pno);
    replaceRepeatedStart(pno);
    if (isDigit(pno[0]) && blank(pno.substr(1)))
        pno[1] = pno[2] = '0'; // house 7 keys as 700: the USPS's rule
    if (!blank(sno))
        desc = std::string(4, ' ');
    halvesInPrimary(pno);
    halvesInSecondary(sno);

    // Primary, designator and the first four of the secondary; of these the
    // seven right-most digits and the two right-most letters count.
    const std::string combined = pno + desc + sno.substr(0, 4);
    std::string digits, letters;
    for (auto it = combined.rbegin(); it != combined.rend(); ++it) {
        if (isDigit(*it) && digits.size() < 7)
            digits.insert(digits.begin(), *it);
        else if (isLetter(*it) && letters.size() < 2)
            letters.insert(letters.begin(), *it);
    }
    digits = padLeft(digits, 7, '0');
    letters = padLeft(letters, 2, ' ');

    char addonText[16];
    std::snprintf(addonText, sizeof addonText, "%04u", addon);
    const std::string digits16 = zip9.substr(0, 5) + addonText + digits;
    if (digits16.size() != 16 || !allDigits(digits16))
        return false;
    emdp = std::stoull(digits16) * 1000 + letterValue(letters[0]) * 27 + letterValue(letters[1]);
    return true;
}

LcdReplacements lcdReplacements(const World& world) {
    LcdReplacements out;
    for (const auto& l : world.lcd)
        out[static_cast<std::uint32_t>(std::stoul(l.zip9))] = l.value;
    return out;
}

Sha1Digest emdpDigest(std::uint64_t emdp) {
    Bytes be;
    putBigEndian(be, emdp, 8);
    return sha1Of(be.data(), be.size());
}

} // namespace qvw
