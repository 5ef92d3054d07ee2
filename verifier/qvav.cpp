// The exported verifier: a context per thread holding its result record and
// form counts, over the shared, read-only address data of its data root.
#include "qvav.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "hx_fio.h"
#include "qvav_data.h"
#include "qvav_parse.h"

struct qvav_context {
    std::shared_ptr<const qvav::AddressData> data;  // null: parse only
    alignas(8) unsigned char main[QVAV_MAIN_SIZE];
    alignas(8) unsigned char address[QVAV_ADDR_SIZE];
    qvav::Parsed parsed;
    bool counting = false;
    unsigned long long records = 0, coded = 0, confirmed = 0;
    unsigned long long byCode[4][24] = {};  // first code's class, second code
};

namespace {

const int kFirstCodes[4] = {QVAV_R1_CONFIRMED, QVAV_R1_DEFAULT, QVAV_R1_NOT_CONFIRMED, QVAV_R1_UNUSABLE};

void copyError(char* errorText, const char* text) {
    if (!errorText) return;
    std::strncpy(errorText, text, 1023);
    errorText[1023] = 0;
}

void put(unsigned char* rec, int offset, int width, const char* text) {
    char* dst = reinterpret_cast<char*>(rec + offset);
    std::size_t len = std::strlen(text);
    if (len >= static_cast<std::size_t>(width)) len = static_cast<std::size_t>(width) - 1;
    std::memcpy(dst, text, len);
    dst[len] = 0;
}

void putCode(unsigned char* rec, int offset, int code) {
    rec[offset] = static_cast<unsigned char>('0' + code / 10 % 10);
    rec[offset + 1] = static_cast<unsigned char>('0' + code % 10);
    rec[offset + 2] = 0;
}

// "PRIMARY PREDIR STREET SUFFIX POSTDIR DESIGNATOR SECONDARY" in 128 bytes.
void deliveryLine(const unsigned char* a, char kind, char* out, std::size_t cap) {
    out[0] = 0;
    auto add = [&](const char* s) {
        if (!*s) return;
        std::size_t used = std::strlen(out);
        if (used && used + 1 < cap) out[used++] = ' ', out[used] = 0;
        std::strncat(out, s, cap - 1 - used);
    };
    auto at = [&](int off) { return reinterpret_cast<const char*>(a + off); };
    if (kind == 'G') {
        add(at(QVAV_ADDR_STREET));
    } else if (kind == 'P' || kind == 'R' || kind == 'M') {
        add(at(QVAV_ADDR_STREET));
        if (kind != 'P' && *at(QVAV_ADDR_PRIMARY)) add("BOX");
        add(at(QVAV_ADDR_PRIMARY));
    } else {
        add(at(QVAV_ADDR_PRIMARY));
        add(at(QVAV_ADDR_PREDIR));
        add(at(QVAV_ADDR_STREET));
        add(at(QVAV_ADDR_SUFFIX));
        add(at(QVAV_ADDR_POSTDIR));
    }
    add(at(QVAV_ADDR_DESIGNATOR));
    add(at(QVAV_ADDR_SECONDARY));
}

void fill(qvav_context* av, const qvav::Outcome& o, int r1, int r2) {
    using namespace qvav;
    const Parsed& p = av->parsed;
    unsigned char* a = av->address;
    unsigned char* m = av->main;
    std::memset(m, 0, sizeof av->main);
    std::memset(a, 0, sizeof av->address);
    unsigned char* ptr = a;
    std::memcpy(m + QVAV_MAIN_ADDRESS, &ptr, sizeof ptr);

    const char* city = p.city;
    const char* state = p.state;
    char kind = p.kind == 'P' || p.kind == 'R' || p.kind == 'G' ? p.kind : 'S';
    if (o.range) {
        const AddressData& d = *av->data;
        const Range& r = *o.range;
        auto digits = [](unsigned char* dst, unsigned v, int n) {
            for (int k = n - 1; k >= 0; --k, v /= 10) dst[k] = static_cast<unsigned char>('0' + v % 10);
            dst[n] = 0;
        };
        digits(a + QVAV_ADDR_ZIP, r.zip5, 5);
        digits(a + QVAV_ADDR_ZIP4, o.addon, 4);
        put(a, QVAV_ADDR_PREDIR, 41, d.predir(r));
        put(a, QVAV_ADDR_STREET, 41, d.street(r));
        put(a, QVAV_ADDR_SUFFIX, 41, d.suffix(r));
        put(a, QVAV_ADDR_POSTDIR, 41, d.postdir(r));
        // "#" and unwritten designators take the range's own, when the unit is in it.
        const char* desig = p.designator;
        if (r.dsc && p.secondary[0] && !o.buildingDefault) desig = d.designator(r);
        put(a, QVAV_ADDR_DESIGNATOR, 41, desig);
        put(a, QVAV_ADDR_CARRIER_ROUTE, 5, d.carrierRoute(r));
        const char *c = nullptr, *s = nullptr;
        if (d.place(r, c, s)) city = c, state = s;
        kind = d.recordType(r);
        if (kind == ' ') kind = 'S';
    } else {
        put(a, QVAV_ADDR_ZIP, 41, p.zip);
        put(a, QVAV_ADDR_ZIP4, 59, p.zip4);
        put(a, QVAV_ADDR_PREDIR, 41, p.predir);
        put(a, QVAV_ADDR_STREET, 41, p.street);
        put(a, QVAV_ADDR_SUFFIX, 41, p.suffix);
        put(a, QVAV_ADDR_POSTDIR, 41, p.postdir);
        put(a, QVAV_ADDR_DESIGNATOR, 41, p.designator);
        // A known ZIP gives the city and state that were not written.
        if (av->data && p.zip[0] && (!city[0] || !state[0])) {
            std::uint32_t z = 0;
            for (const char* c = p.zip; *c; ++c) z = z * 10 + static_cast<std::uint32_t>(*c - '0');
            const char *c = nullptr, *s = nullptr;
            if (av->data->placeOfZip(z, c, s)) {
                if (!city[0]) city = c;
                if (!state[0]) state = s;
            }
        }
    }
    put(a, QVAV_ADDR_URBANIZATION, 101, p.urbanization);
    put(a, QVAV_ADDR_PRIMARY, 41, p.primary);
    put(a, QVAV_ADDR_SECONDARY, 41, p.secondary);
    put(a, QVAV_ADDR_CITY, 209, city);
    a[QVAV_ADDR_RECORD_TYPE] = static_cast<unsigned char>(p.problem == PARSE_EMPTY || p.problem == PARSE_UNUSABLE ? ' ' : kind);
    putCode(a, QVAV_ADDR_RESULT1, r1);
    putCode(a, QVAV_ADDR_RESULT2, r2);

    put(m, QVAV_MAIN_STATE, 3, state);
    char line[128];
    deliveryLine(a, p.kind, line, sizeof line);
    put(m, QVAV_MAIN_DELIVERY_LINE, 128, line);
    // "CITY ST 12345-6789": at most 40 + 1 + 2 + 1 + 5 + 1 + 4 characters.
    char* out = reinterpret_cast<char*>(m + QVAV_MAIN_LAST_LINE);
    auto append = [&out](const char* s, std::size_t max) {
        while (*s && max--) *out++ = *s++;
    };
    const char* zip = reinterpret_cast<const char*>(a + QVAV_ADDR_ZIP);
    const char* zip4 = reinterpret_cast<const char*>(a + QVAV_ADDR_ZIP4);
    append(city, 40);
    if (*city && *state) append(" ", 1);
    append(state, 2);
    if (*zip) append(" ", 1), append(zip, 5);
    if (*zip && *zip4) append("-", 1), append(zip4, 4);
    *out = 0;
}

void verify(qvav_context* av, int options, const char* urbanization, const char* addressLine,
            const char* addressLine2, const char* lastLine);

}  // namespace

extern "C" {

QVAV_API int qvav_open(qvav_context** av, const char* dataRoot, char* errorText) {
    if (!av) {
        copyError(errorText, "null context pointer");
        return QVAV_ERR_ARGUMENT;
    }
    *av = nullptr;
    try {
        std::unique_ptr<qvav_context> ctx(new qvav_context());
        if (dataRoot && *dataRoot) ctx->data = qvav::AddressData::open(dataRoot);
        *av = ctx.release();
        if (errorText) errorText[0] = 0;
        return 0;
    } catch (const std::bad_alloc&) {
        if (errorText) errorText[0] = 0;
        return QVAV_ERR_MEMORY;
    } catch (const qvav::DataError& e) {
        copyError(errorText, e.what());
        return e.code;
    }
}

QVAV_API void qvav_close(qvav_context** av) {
    if (!av) return;
    delete *av;
    *av = nullptr;
}

QVAV_API int qvav_verify_address(qvav_context* av, int options, const char* name, const char* firm,
                                 const char* urbanization, const char* addressLine, const char* addressLine2,
                                 const char* lastLine, void** result) {
    (void)name;
    (void)firm;
    if (!av || !result) return QVAV_ERR_ARGUMENT;
    try {
        verify(av, options, urbanization, addressLine, addressLine2, lastLine);
    } catch (const std::bad_alloc&) {
        return QVAV_ERR_MEMORY;  // only the first call builds the word tables
    }
    *result = av->main;
    return 0;
}

}  // extern "C"

namespace {

void verify(qvav_context* av, int options, const char* urbanization, const char* addressLine,
            const char* addressLine2, const char* lastLine) {
    using namespace qvav;
    Parsed& p = av->parsed;
    parseAddress(urbanization, addressLine, addressLine2, lastLine, p);
    Outcome o;
    int r1 = QVAV_R1_NOT_CONFIRMED;
    if (p.problem == PARSE_EMPTY || p.problem == PARSE_UNUSABLE || p.problem == PARSE_NO_STREET) {
        r1 = QVAV_R1_UNUSABLE;
        o.reason = p.problem == PARSE_EMPTY      ? QVAV_R2_EMPTY
                   : p.problem == PARSE_UNUSABLE ? QVAV_R2_UNUSABLE
                                                 : QVAV_R2_NO_STREET;
    } else if (!av->data || !(options & QVAV_OPT_CONFIRM)) {
        o.reason = QVAV_R2_NO_DATA;
    } else {
        o = av->data->confirm(p);
        if (o.range) r1 = o.buildingDefault ? QVAV_R1_DEFAULT : QVAV_R1_CONFIRMED;
    }
    fill(av, o, r1, o.reason);
    if (av->counting) {
        ++av->records;
        if (o.range) ++av->coded;
        if (r1 == QVAV_R1_CONFIRMED) ++av->confirmed;
        for (int k = 0; k < 4; ++k)
            if (kFirstCodes[k] == r1 && o.reason >= 0 && o.reason < 24) ++av->byCode[k][o.reason];
    }
}

}  // namespace

extern "C" {

QVAV_API int qvav_start_3553(qvav_context* av) {
    if (!av) return QVAV_ERR_ARGUMENT;
    av->counting = true;
    av->records = av->coded = av->confirmed = 0;
    std::memset(av->byCode, 0, sizeof av->byCode);
    return 0;
}

QVAV_API int qvav_write_3553(qvav_context* av, const void* form188, const char* path) {
    if (!av || !path || !*path) return QVAV_ERR_ARGUMENT;
    try {
        const char* form = static_cast<const char*>(form188);
        auto text = [&](int off, int width) {
            return form ? std::string(form + off, strnlen(form + off, static_cast<std::size_t>(width))) : std::string();
        };
        int count = 0;
        if (form) std::memcpy(&count, form + 52, sizeof count);
        std::string out;
        char line[256];
        out += "FORM 3553  ADDRESS STANDARDIZATION SUMMARY\n\n";
        const struct {
            const char* label;
            int off, width;
        } fields[] = {{"List name", 0, 25},          {"List processor", 56, 32},
                      {"Processor address", 89, 32},  {"Processor city, state, ZIP", 122, 32},
                      {"Mailer", 155, 32},            {"List ID", 26, 25}};
        for (const auto& f : fields) {
            std::snprintf(line, sizeof line, "%-28s%s\n", f.label, text(f.off, f.width).c_str());
            out += line;
        }
        std::snprintf(line, sizeof line, "%-28s%d\n\n", "Lists", count);
        out += line;
        int y = 0, mo = 0, d = 0;
        if (qvav_get_usps_date(av, &y, &mo, &d) == 0) {
            std::snprintf(line, sizeof line, "%-28s%.4d-%.2d-%.2d\n", "Address data date", y, mo, d);
            out += line;
        }
        std::snprintf(line, sizeof line, "%-28s%llu\n%-28s%llu\n%-28s%llu\n\n", "Records", av->records,
                      "Coded to ZIP+4", av->coded, "Confirmed in ranges", av->confirmed);
        out += line;
        out += "Result codes                Records\n";
        for (int k = 0; k < 4; ++k)
            for (int c = 0; c < 24; ++c)
                if (av->byCode[k][c]) {
                    std::snprintf(line, sizeof line, "%02d %02d                       %llu\n", kFirstCodes[k], c,
                                  av->byCode[k][c]);
                    out += line;
                }
        hx_file* f = nullptr;
        if (hx_fio_open(path, HX_FIO_WRITE, &f) != 0 || !f) return QVAV_ERR_WRITE;
        const bool ok = hx_fio_putb(f, out.data(), out.size()) == static_cast<int64_t>(out.size());
        const bool closed = hx_fio_close(f) == 0;
        return ok && closed ? 0 : QVAV_ERR_WRITE;
    } catch (const std::bad_alloc&) {
        return QVAV_ERR_MEMORY;
    }
}

QVAV_API int qvav_get_usps_date(qvav_context* av, int* year, int* month, int* day) {
    return qvav_get_usps_component_date(av, 0, year, month, day);
}

QVAV_API int qvav_get_usps_component_date(qvav_context* av, int component, int* year, int* month, int* day) {
    if (!av || !year || !month || !day) return QVAV_ERR_ARGUMENT;
    if (!av->data) return QVAV_ERR_NO_DATA;
    std::uint32_t v = 0;
    if (component == 0)
        v = av->data->headerDate(0, 0);
    else if (component >= 1 && component <= 3)
        v = av->data->headerDate(0, component - 1);
    else if (component >= 4 && component <= 6)
        v = av->data->headerDate(1, component - 4);
    else if (component == 9)
        v = av->data->headerDate(1, 0);
    else
        return QVAV_ERR_ARGUMENT;
    if (!v) return QVAV_ERR_NO_DATA;
    *year = static_cast<int>(v / 10000);
    *month = static_cast<int>(v / 100 % 100);
    *day = static_cast<int>(v % 100);
    return 0;
}

}  // extern "C"
