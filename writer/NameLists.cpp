#include "NameLists.h"

#include <algorithm>

namespace qvw {

std::vector<NameRuleLine> defaultNameRules() {
    // left, middle, right, from, to
    return {
        {true, false, false, "MC", "MAC"},   // MCDONALD and MACDONALD meet
        {true, false, false, "KN", "N"},
        {true, false, false, "WR", "R"},
        {true, false, false, "X", "Z"},
        {true, true, true, "PH", "F"},
        {false, true, true, "CK", "K"},
        {false, true, false, "SCH", "SH"},
        {false, true, true, "GH", "G"},
        {false, true, true, "DT", "T"},
        {false, true, true, "Z", "S"},
        {false, false, true, "IE", "Y"},
        {false, true, true, "SS", "S"},
        {false, true, true, "LL", "L"},
        {false, true, true, "TT", "T"},
        {false, true, true, "NN", "N"},
        {false, true, true, "MM", "M"},
        {false, true, true, "RR", "R"},
        {false, true, true, "FF", "F"},
    };
}

std::vector<std::pair<std::string, std::string>> defaultNormalFirst() {
    return {{"BETH", "ELIZABETH"}, {"BILL", "WILLIAM"}, {"BOB", "ROBERT"},    {"CATHY", "CATHERINE"},
            {"DICK", "RICHARD"},   {"JIM", "JAMES"},    {"KATE", "KATHERINE"}, {"LIZ", "ELIZABETH"},
            {"PEGGY", "MARGARET"}, {"TONY", "ANTHONY"}};
}

std::vector<std::pair<std::string, std::string>> defaultNormalLast() {
    return {{"JOHNSTON", "JOHNSON"}, {"MACDONALD", "MCDONALD"}, {"SMYTHE", "SMITH"}, {"THOMPSEN", "THOMPSON"}};
}

std::vector<std::pair<std::string, std::string>> defaultNicknames() {
    return {{"ANTHONY", "TONY"}, {"ELIZABETH", "BETH"}, {"ELIZABETH", "LIZ"}, {"JAMES", "JIM"},
            {"MARGARET", "PEGGY"}, {"RICHARD", "DICK"}, {"ROBERT", "BOB"},   {"WILLIAM", "BILL"}};
}

std::vector<std::pair<std::string, char>> defaultGenders() {
    return {{"ANTHONY", 'M'}, {"BARBARA", 'F'}, {"CHRISTOPHER", 'M'}, {"DAVID", 'M'},  {"ELIZABETH", 'F'},
            {"JAMES", 'M'},   {"JENNIFER", 'F'}, {"JOHN", 'M'},       {"JORDAN", 'U'}, {"LINDA", 'F'},
            {"MARGARET", 'F'}, {"MARIA", 'F'},   {"MARY", 'F'},       {"MICHAEL", 'M'}, {"PATRICIA", 'F'},
            {"RICHARD", 'M'}, {"ROBERT", 'M'},   {"SUSAN", 'F'},      {"TAYLOR", 'U'}, {"WILLIAM", 'M'}};
}

std::vector<std::string> defaultNoFirst() { return {"CURRENT", "OCCUPANT", "OWNER", "RESIDENT", "TENANT"}; }
std::vector<std::string> defaultNoLast() { return {"ESTATE", "FAMILY", "HOUSEHOLD", "OCCUPANT", "RESIDENT"}; }

std::string ruleLine(const NameRuleLine& r) {
    std::string line;
    line += r.left ? 'Y' : 'N';
    line += r.middle ? 'Y' : 'N';
    line += r.right ? 'Y' : 'N';
    line += static_cast<char>('0' + r.from.size());
    line += static_cast<char>('0' + r.to.size());
    line += padRight(r.from, 8);
    line += r.to;
    return line;
}

std::string pairListText(const std::vector<std::pair<std::string, std::string>>& pairs, std::size_t keyWidth) {
    std::string out;
    for (const auto& [key, value] : pairs)
        out += padRight(key, keyWidth) + " " + value + "\n";
    return out;
}

std::string wordListText(const std::vector<std::string>& words) {
    std::string out;
    for (const auto& w : words)
        out += w + "\n";
    return out;
}

Bytes genderFile(const std::vector<std::pair<std::string, char>>& genders) {
    std::vector<std::pair<std::string, char>> rows;
    for (const auto& [name, code] : genders)
        rows.emplace_back(padRight(name, 10), code);
    std::stable_sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    rows.erase(std::unique(rows.begin(), rows.end(), [](const auto& a, const auto& b) { return a.first == b.first; }),
               rows.end());
    Bytes out;
    for (const auto& [key, code] : rows) {
        putField(out, key, 10);
        out.push_back(static_cast<unsigned char>(code));
        out.push_back('\n');
    }
    return out;
}

} // namespace qvw
