// The text lists of the name handling: rules.lst, normalf.lst, normall.lst,
// nick.lst, nonof.lst, nonol.lst and gender.txt, from the world or from the
// built-in lists below.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "World.h"

namespace qvw {

// A small rule set in the USPS style. Every rule either shortens the word or
// writes letters that no rule looks for again at that place, so applying the
// set always comes to an end.
std::vector<NameRuleLine> defaultNameRules();
std::vector<std::pair<std::string, std::string>> defaultNormalFirst();
std::vector<std::pair<std::string, std::string>> defaultNormalLast();
std::vector<std::pair<std::string, std::string>> defaultNicknames();
std::vector<std::pair<std::string, char>> defaultGenders();
std::vector<std::string> defaultNoFirst();
std::vector<std::string> defaultNoLast();

// One rules.lst line: flags in columns 0-2, the two lengths as digits in 3-4,
// `from` in 5-12, `to` from 13; trailing blanks left off.
std::string ruleLine(const NameRuleLine& rule);

// Pair lists: key blank-padded to `keyWidth`, one blank, then the value.
std::string pairListText(const std::vector<std::pair<std::string, std::string>>& pairs, std::size_t keyWidth);
std::string wordListText(const std::vector<std::string>& words);

// gender.txt: 12-byte lines, 10 characters of name, the code, a line end;
// sorted by the 10 characters, the first of two equal keys kept.
Bytes genderFile(const std::vector<std::pair<std::string, char>>& genders);

} // namespace qvw
