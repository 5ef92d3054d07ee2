#include "VT_NameParser.h"

#include <cstring>

#include "DataTables.h"
#include "qv_proxy.h"

namespace QV_NCOA {

namespace {

// Text of the engine's last failure; the handle may be null.
void engineError(void* handle, char* text, size_t size) {
    text[0] = '\0';
    if (handle == nullptr) return;
    char buf[QV_PROXY_ERROR_SIZE * 4] = {};
    int32_t code = 0;
    proxy__qv_error_info_get(handle, &code, buf);
    size_t n = ncoa_strnlen(buf, size - 1);
    std::memcpy(text, buf, n);
    text[n] = '\0';
}

// Slots 0 to 4: prefix, first, middle, last, suffix.
const int kReadSlots = QV_SLOT_SUFFIX + 1;

const char* slotText(const unsigned char* tokens, int slot) {
    return reinterpret_cast<const char*>(tokens + slot * QV_PROXY_SLOT_SIZE + 4);
}

template <int N>
void takeToken(fixedString<N>& field, const char* token) {
    // An empty token keeps what the field held.
    if (token[0] != '\0') field.cpyIn(token);
}

}  // namespace

void CNCOA_DataTables::initVantrel(const char* proxyConfig, qv_target_version /*version*/, const char* lkmPath) {
    parserHandle = nullptr;
    localeCode = 0;
    char text[QV_PROXY_ERROR_SIZE] = {};
    // The engine is always opened as version 2, whatever the caller asked.
    if (qv_proxy_init(&parserHandle, proxyConfig, 2, text) < 0) {
        if (parserHandle != nullptr) engineError(parserHandle, text, sizeof text);
        throw qvncoa_exception(1073, text);
    }
    if (proxy__qv_lkm_path_set(parserHandle, lkmPath) < 0) {
        engineError(parserHandle, text, sizeof text);
        throw qvncoa_exception(1074, text);
    }
    int32_t code = 0;
    if (proxy__qv_locale_code_get_by_iso_name(parserHandle, "ENUSA", &code) < 0) {
        engineError(parserHandle, text, sizeof text);
        throw qvncoa_exception(1072, text);
    }
    localeCode = code;
    if (proxy__qv_lkm_locale_load(parserHandle, localeCode, 7) < 0) {
        engineError(parserHandle, text, sizeof text);
        throw qvncoa_exception(1072, text);
    }
}

bool CNCOA_Vantrel_NameParser::parseName(const char* name, nameStruct& out) {
    if (tables->parserHandle == nullptr || tables->localeCode == 0) throw qvncoa_exception(1070);
    // The engine writes slots 0-4 and nothing reads the other 27, so only the
    // five are cleared: a slot the engine leaves alone reads as empty, as in a
    // wholly cleared array, at a sixth of the cost per name.
    unsigned char tokens[QV_PROXY_TOKEN_ARRAY_SIZE];
    std::memset(tokens, 0, kReadSlots * QV_PROXY_SLOT_SIZE);
    int32_t count = 0;
    if (proxy__qv_parse(tables->parserHandle, tables->parseDefinition.asCstr(), name, tokens, &count) < 0) {
        char text[4096];
        engineError(tables->parserHandle, text, sizeof text);
        throw qvncoa_exception(1071, text);
    }
    // Ensure every slot's text ends inside its slot, whatever the engine wrote.
    for (int s = 0; s < kReadSlots; ++s) tokens[s * QV_PROXY_SLOT_SIZE + QV_PROXY_SLOT_SIZE - 1] = 0;

    takeToken(out.prefix, slotText(tokens, QV_SLOT_PREFIX));
    takeToken(out.first, slotText(tokens, QV_SLOT_FIRST));
    takeToken(out.middle, slotText(tokens, QV_SLOT_MIDDLE));
    takeToken(out.last, slotText(tokens, QV_SLOT_LAST));
    takeToken(out.suffix, slotText(tokens, QV_SLOT_SUFFIX));

    // A doubled generational suffix is mended, judged on the whole token.
    static const char* const kDoubled[][2] = {
        {"II II", "II"}, {"JR JR", "JR"}, {"SR SR", "SR"}, {"IV IV", "IV"}, {"III III", "III"}};
    const char* suffixToken = slotText(tokens, QV_SLOT_SUFFIX);
    for (const auto& d : kDoubled) {
        if (std::strcmp(suffixToken, d[0]) == 0) {
            out.suffix.cpyIn(d[1]);
            break;
        }
    }

    // A detached final "I" of the last name closes up once: "JOHN I" -> "JOHNI".
    int p = findLastNonSpaceN(out.last.buf, 20);
    if (p > 1 && out.last.buf[p] == 'I' && out.last.buf[p - 1] == ' ') {
        out.last.buf[p - 1] = 'I';
        out.last.buf[p] = ' ';
    }

    // A prefix test by design: anything opening with "MS" counts as female,
    // and "MRS" is tested before "MR".
    auto prefixIs = [&](const char* lit) {
        size_t n = std::strlen(lit);
        return n <= 5 && std::memcmp(out.prefix.buf, lit, n) == 0;
    };
    if (prefixIs("MS") || prefixIs("MISS") || prefixIs("MRS"))
        out.gender = 'F';
    else if (prefixIs("MR"))
        out.gender = 'M';
    else
        out.gender = testGender(out.first);
    return true;
}

char CNCOA_Vantrel_NameParser::testGender(const fixedString<15>& first) {
    genderStruct key{};
    std::memcpy(key.name, first.buf, 10);
    genderStruct found{};
    unsigned long index = 0;
    bool hit;
    if (tables->genderFile.attached) {
        hit = CBinFileUtils<genderStruct>::binSearch(tables->genderFile, key, found, index, &genderStruct::compare,
                                                    &genderStruct::deserialize, 12, 0, 0);
    } else {
        QvbString path = tables->getGenderTxtPath();
        hit = CBinFileUtils<genderStruct>::binSearch(path.asCstr(), key, found, index, &genderStruct::compare,
                                                    &genderStruct::deserialize, 12, 0, 0);
    }
    return hit ? found.gender : 'U';
}

}  // namespace QV_NCOA
