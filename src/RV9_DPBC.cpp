// Primary-number delivery point: the last two digits of the house number,
// with the USPS fall-backs for numbers that do not parse.
#include "RV9_DPBC.h"

#include <cstring>

#include "NCOA_Utils.h"

namespace QV_NCOA {

namespace {

bool isDigitChar(char c) { return c >= '0' && c <= '9'; }

bool hasDashOrDot(const fixedString<6>& t) { return t.find('-') >= 0 || t.find('.') >= 0; }

}  // namespace

int CNCOA_RV9DPBC::do1005MoveToOutstuff(const char* zip9, int dp, fixedString<12>& code) {
    char text[32];
    // Runs once per walked address: the usual case, nine characters and a
    // two-digit point, is laid out by hand as the print would lay it out.
    const bool plain = dp >= 0 && dp <= 99 && ncoa_strnlen(zip9, 10) == 9;
    if (plain) {
        std::memcpy(text, zip9, 9);
        text[9] = static_cast<char>('0' + dp / 10);
        text[10] = static_cast<char>('0' + dp % 10);
        text[11] = '\0';
    } else {
        ncoa_snprintf(text, sizeof text, "%9s%02d", zip9, dp);
    }
    int check = check11(text) - '0';
    if (plain && check >= 0 && check <= 9) {
        text[11] = static_cast<char>('0' + check);
        text[12] = '\0';
    } else {
        ncoa_snprintf(text, sizeof text, "%9s%02d%d", zip9, dp, check);
    }
    code.cpyIn(text);
    return check;
}

void CNCOA_RV9DPBC::makeDPBC(int primaryLen, const char* primary, const char* zip4, fixedString<12>& result) {
    fixedString<9> zip;
    zip.cpyIn(zip4, 9);
    if (!zip.isNumeric()) {
        std::memset(result.buf, '0', 12);
        return;
    }
    if (primary == nullptr) primary = "";

    deliveryPoint = (primary[0] == '-' && primary[1] == ' ') ? 0 : 99;
    parsenum(primary, primaryLen, parsed);

    if (parsed.error == 0) {
        int t = parsed.type;
        if ((t & PN_THIRD_TEXT) && hasDashOrDot(parsed.parts[2].text)) {
            // keep the default
        } else if (t & PN_SECOND_NUMBER) {
            if (!((t & PN_SECOND_TEXT) && hasDashOrDot(parsed.parts[1].text)))
                deliveryPoint = parsed.parts[1].value % 100;
        } else if (t & PN_FIRST_NUMBER) {
            deliveryPoint = parsed.parts[0].value % 100;
        }
    } else {
        // Not a parsable number: the last digit group at the right end gives
        // one or two digits, unless the number holds a fraction.
        int len = primaryLen < 0 ? 0 : static_cast<int>(strnlen(primary, static_cast<size_t>(primaryLen)));
        if (std::memchr(primary, '/', static_cast<size_t>(len)) == nullptr && len >= 2) {
            for (int i = len - 1; i >= 1; --i) {
                char c = primary[i];
                char b = primary[i - 1];
                if (!isDigitChar(c)) continue;
                deliveryPoint = isDigitChar(b) ? (b - '0') * 10 + (c - '0') : c - '0';
                break;
            }
        }
    }
    do1005MoveToOutstuff(zip.buf, deliveryPoint, result);
}

}  // namespace QV_NCOA
