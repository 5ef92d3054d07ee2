#include "DataSetWriter.h"
#include "Packer.h"

#include "NameLists.h"

#include <algorithm>
#include <cstring>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

namespace qvw {

namespace fs = std::filesystem;

namespace {

constexpr const char* kDisc[] = {"", "DVD 1", "DVD 2"};

// Fixed-size records sorted by their leading key bytes; `stable` keeps the
// world's order within a key, which is the order readers return them in.
struct RecordTable {
    std::size_t recordSize, keySize;
    std::vector<Bytes> rows;

    void add(Bytes row) {
        if (row.size() != recordSize)
            throw WriterError("internal: record of " + std::to_string(row.size()) + " bytes, expected " +
                              std::to_string(recordSize));
        rows.push_back(std::move(row));
    }
    void sort() {
        std::stable_sort(rows.begin(), rows.end(), [&](const Bytes& a, const Bytes& b) {
            return std::lexicographical_compare(a.begin(), a.begin() + keySize, b.begin(), b.begin() + keySize);
        });
    }
    bool hasDuplicateKeys() const {
        for (std::size_t i = 1; i < rows.size(); ++i)
            if (std::equal(rows[i].begin(), rows[i].begin() + keySize, rows[i - 1].begin()))
                return true;
        return false;
    }
    // A reserved row whose key, all 0xFF, sorts last and matches no digit key.
    // The tables read whole are searched by a routine that never finds
    // anything in a one-row table, and the readers refuse empty files, so
    // those tables are filled up to `minRows` with such rows.
    void padTo(std::size_t minRows, const Bytes& tail) {
        while (rows.size() < minRows) {
            Bytes row(keySize, 0xFF);
            row.insert(row.end(), tail.begin(), tail.end());
            add(row);
        }
    }
    Bytes image() const {
        Bytes out;
        for (const auto& r : rows)
            out.insert(out.end(), r.begin(), r.end());
        return out;
    }
};

Bytes textBytes(std::string_view s) { return Bytes(s.begin(), s.end()); }

void requireUniqueKeys(const RecordTable& t, const char* file) {
    if (t.hasDuplicateKeys())
        throw WriterError(std::string("world: two rows with the same key in ") + file);
}

} // namespace

std::string todayYYYYMMDD() {
    std::time_t now = std::time(nullptr);
    std::tm tm{};
    localtime_r(&now, &tm);
    char buf[48];
    std::snprintf(buf, sizeof buf, "%04d%02d%02d", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday);
    return buf;
}

std::string addDays(const std::string& d, int days) {
    std::tm tm{};
    tm.tm_year = std::stoi(d.substr(0, 4)) - 1900;
    tm.tm_mon = std::stoi(d.substr(4, 2)) - 1;
    tm.tm_mday = std::stoi(d.substr(6, 2)) + days;
    tm.tm_hour = 12; // clear of daylight-saving edges
    tm.tm_isdst = -1;
    std::mktime(&tm);
    char buf[48];
    std::snprintf(buf, sizeof buf, "%04d%02d%02d", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday);
    return buf;
}

DataSetWriter::DataSetWriter(const World& world, std::string root)
    : DataSetWriter(world, std::move(root), DataSetKind::Hash) {}
DataSetWriter::DataSetWriter(const World& world, std::string root, DataSetKind kind)
    : world_(world), ownStream_(std::make_unique<WorldVectors>(world)), stream_(*ownStream_), root_(std::move(root)),
      kind_(kind) {}
DataSetWriter::DataSetWriter(const World& world, const WorldStream& stream, std::string root, DataSetKind kind)
    : world_(world), stream_(stream), root_(std::move(root)), kind_(kind) {}
DataSetWriter::~DataSetWriter() = default;

HashSectionSizes DataSetWriter::sectionSizes(char letter) const {
    // Letters without filings keep the minimum sizes; the others grow with their load.
    if (!hash_)
        return {world_.dataset.filterBytes, world_.dataset.stripeBytes};
    return {hash_->filterBytes(letter), hash_->stripeBytes(letter)};
}

Bytes DataSetWriter::addressKey(const Address& a, const std::string& where) const {
    std::uint64_t emdp = 0;
    if (!emdpOf(a, lcd_, emdp))
        throw WriterError(where + ": the address has no key (its ZIP is not numeric)");
    const Sha1Digest d = emdpDigest(emdp);
    return Bytes(d.begin(), d.begin() + 8);
}

Bytes DataSetWriter::addressBitTable(const std::vector<std::uint64_t>& emdps) const {
    BitTable table(static_cast<std::uint32_t>(
        nextPowerOfTwo(std::max<std::uint64_t>(world_.dataset.bitTableBytes, 2 * emdps.size()))));
    for (const std::uint64_t emdp : emdps)
        table.add(emdpDigest(emdp));
    return table.bytes();
}

void DataSetWriter::addKeys(std::vector<std::uint64_t>& emdps, const Address& address) const {
    std::uint64_t emdp = 0;
    if (emdpOf(address, lcd_, emdp))
        emdps.push_back(emdp);
}

void DataSetWriter::prepareLists() {
    const DataSetInfo& ds = world_.dataset;
    date1_ = ds.releaseDate.empty() ? todayYYYYMMDD() : ds.releaseDate;
    date2_ = ds.cutoffDate.empty() ? date1_ : ds.cutoffDate;
    date3_ = ds.expiryDate.empty() ? addDays(date1_, 45) : ds.expiryDate;
    lcd_ = lcdReplacements(world_);

    // Five-digit ZIPs are marked by number, which a walk over millions of
    // filings does faster than a set of texts.
    std::set<std::string> zips;
    std::vector<bool> numeric(100000, false);
    auto addZip = [&](std::string_view zip) {
        if (zip.size() == 5 && allDigits(zip))
            numeric[static_cast<std::size_t>(std::stoul(std::string(zip)))] = true;
        else
            zips.insert(std::string(zip));
    };
    for (const auto& p : world_.places)
        addZip(p.zip);
    stream_.forEachRange([&](const AddressRange& r) { addZip(r.zip); });
    hints_ = world_.hints;
    stream_.forEachFiling([&](std::size_t, const Filing& f) {
        if (!f.toZip11.empty() && f.toZip11.compare(0, 5, "00000") != 0) // 00000: a code, no ZIP
            addZip(std::string_view(f.toZip11).substr(0, 5));
        if (!f.hint.empty() && std::find(hints_.begin(), hints_.end(), f.hint) == hints_.end())
            hints_.push_back(f.hint);
    });
    for (std::size_t z = 0; z < numeric.size(); ++z)
        if (numeric[z])
            zips.insert(padLeft(std::to_string(z), 5, '0'));
    zips_.assign(zips.begin(), zips.end());
    if (zips_.size() + 1 >= 64000)
        throw WriterError("world: more ZIPs than the result code can index");

    if (hints_.size() > 253)
        throw WriterError("world: more than 253 hints");

    for (int g = 0; g < 100; ++g)
        letters_[static_cast<std::size_t>(g)] = ds.contentsLetters.empty()
                                                    ? static_cast<char>('a' + g * 26 / 100)
                                                    : ds.contentsLetters[static_cast<std::size_t>(g)];
    rv9_ = encodeRanges(stream_);
}

void DataSetWriter::emit(int disc, const std::string& relPath, const Bytes& data, bool listed) {
    const fs::path path = fs::path(root_) / kDisc[disc] / relPath;
    std::error_code ec;
    fs::create_directories(path.parent_path(), ec);
    if (ec)
        throw WriterError("can't create folder " + path.parent_path().string() + ": " + ec.message());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
    out.close();
    if (!out)
        throw WriterError("can't write " + path.string());
    if (listed)
        manifest_.add(disc, path.filename().string(), path.string());
    ++report_.filesWritten;
    report_.bytesWritten += data.size();
}

void DataSetWriter::emit(int disc, const std::string& relPath, const std::string& text, bool listed) {
    emit(disc, relPath, textBytes(text), listed);
}

std::ofstream DataSetWriter::openFile(int disc, const std::string& relPath, std::string& path) {
    const fs::path p = fs::path(root_) / kDisc[disc] / relPath;
    std::error_code ec;
    fs::create_directories(p.parent_path(), ec);
    if (ec)
        throw WriterError("can't create folder " + p.parent_path().string() + ": " + ec.message());
    path = p.string();
    return std::ofstream(p, std::ios::binary | std::ios::trunc);
}

void DataSetWriter::closeFile(int disc, std::ofstream& out, const std::string& path, std::uint64_t size, bool listed) {
    out.close();
    if (!out)
        throw WriterError("can't write " + path);
    if (listed)
        manifest_.add(disc, fs::path(path).filename().string(), path);
    ++report_.filesWritten;
    report_.bytesWritten += size;
}

void DataSetWriter::emitSection(int disc, const std::string& name, const Bytes& data) {
    if (!packed_) {
        emit(disc, name, data);
        return;
    }
    emit(disc, name + ".SZP", packSection(data, name), false);
    // The header proves the file that unpacking gives.
    const fs::path unpacked = fs::path(root_) / kDisc[disc] / name;
    manifest_.addDigested(disc, name, unpacked.string(), data.size(), sha1Of(data.data(), data.size()));
}

BuildReport DataSetWriter::write() {
    report_ = BuildReport{};
    manifest_ = Manifest{};
    report_.root = root_;
    prepareLists();
    hash_ = std::make_unique<HashEncoder>(world_, zips_, hints_, letters_, std::stoi(todayYYYYMMDD().substr(0, 4)));
    flat_.reset();
    // The flat records carry the same result bytes; the hash sections aren't built.
    if (kind_ == DataSetKind::Flat)
        flat_ = std::make_unique<FlatEncoder>(world_, *hash_);
    encodeFilings();
    if (flat_)
        writeFlatFiles();
    else
        writeHashSections();
    writeClkHsb();
    writeDailyDel();
    writeContentsLst();
    writeLcd();
    writeBusinessLst();
    writeZipLst();
    writeHintLst();
    writeX11();
    writeLeftRite();
    writeDphHsa();
    writeNormalF();
    writeNormalL();
    writeNickLst();
    writeNonoF();
    writeNonoL();
    writeRulesLst();
    writeUrbxLst();
    writeGenderTxt();
    writeCzp();
    writeCln();
    writeRv9();
    writeHeaders();

    report_.releaseDate = date1_;
    report_.sequence = world_.dataset.sequence;
    report_.ranges = rv9_.records.size();
    report_.filingsEncoded = flat_ ? flat_->filings() : hash_->stats().filings;
    report_.stripeTakenPlaces = hash_->stats().takenPlaces;
    report_.stripesDoubled = hash_->stats().stripeDoublings;
    report_.filterFalsePositiveRate = hash_->stats().worstFilterFalsePositive;
    return report_;
}

// ---- Hash sections -------------------------------------------------------
// Section 0 of a letter is its nine-probe filter, sections 1 to 8 the stripes
// of the result bytes, section 9 a reserved stripe of the same size that only
// the verification reads. A letter without filings is all zero.

void DataSetWriter::encodeFilings() {
    // dph.hsa: every filing's address, and the keyed ones of the business
    // list and the daily delete; its size follows from their number.
    std::uint64_t keyed = stream_.filingCount(), emdp = 0;
    for (const auto& b : world_.businesses)
        keyed += b.at.address && emdpOf(*b.at.address, lcd_, emdp);
    for (const auto& d : world_.dailyDeletes)
        keyed += d.at.address && emdpOf(*d.at.address, lcd_, emdp);
    dph_ = std::make_unique<BitTable>(
        static_cast<std::uint32_t>(nextPowerOfTwo(std::max<std::uint64_t>(world_.dataset.bitTableBytes, 2 * keyed))));
    businessEmdps_.clear();
    businessRows_.clear();

    const std::string temp = tempFolder_.empty() ? root_ : tempFolder_;
    if (flat_)
        flat_->begin(temp);
    else
        hash_->begin(temp);
    stream_.forEachFiling([&](std::size_t i, const Filing& f) {
        const std::uint64_t at = flat_ ? flat_->add(i, f) : hash_->add(i, f);
        const Sha1Digest digest = emdpDigest(at);
        dph_->add(digest);
        if (f.kind == Filing::Kind::Business) {
            // Searched under the name listed at its address.
            businessEmdps_.push_back(at);
            Bytes row(digest.begin(), digest.begin() + 8);
            putField(row, f.business, 40);
            businessRows_.emplace_back();
            std::copy(row.begin(), row.end(), businessRows_.back().begin());
        }
    });
}

void DataSetWriter::writeHashSections() {
    hash_->finish([&](char letter, const LetterSections& sections) {
        const std::string stem = std::string("clk.") + letter + ".hs";
        for (int section = 1; section <= 8; ++section)
            emitSection(1, stem + std::to_string(section), sections.stripes[static_cast<std::size_t>(section - 1)]);
        emitSection(1, stem + "9", Bytes(sections.stripes[0].size(), 0));
        emitSection(2, stem + "0", sections.filter);
    });
}

void DataSetWriter::writeFlatFiles() {
    static const std::pair<int, const char*> kFiles[] = {{1, "clk.flt.1"}, {1, "clk.flt.2"}, {2, "clk.flt.3"}};
    std::ofstream out;
    std::string path;
    std::uint64_t size = 0;
    int open = -1;
    auto closeOpen = [&] {
        if (open >= 0)
            closeFile(kFiles[open].first, out, path, size);
    };
    auto openUpTo = [&](int file) {
        while (open < file) {
            closeOpen();
            ++open;
            out = openFile(kFiles[open].first, kFiles[open].second, path);
            size = 0;
        }
    };
    flat_->finish([&](int file, const unsigned char* data, std::size_t n) {
        openUpTo(file);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(n));
        size += n;
    });
    openUpTo(2);
    closeOpen();
}

// Nine-probe bit tables over the SHA-1 of an EMDP. The probes need the whole
// digest, so businesses given by key_hex alone set no bit. clk.hsb: every
// business address, of the business list and of business filings.
void DataSetWriter::writeClkHsb() {
    std::vector<std::uint64_t> at;
    for (const auto& b : world_.businesses)
        if (b.at.address)
            addKeys(at, *b.at.address);
    at.insert(at.end(), businessEmdps_.begin(), businessEmdps_.end());
    emit(2, "clk.hsb", addressBitTable(at));
}

// dph.hsa: every address the world names is taken as deliverable.
void DataSetWriter::writeDphHsa() {
    // The filings' keys went in as they were encoded.
    std::vector<std::uint64_t> at;
    for (const auto& b : world_.businesses)
        if (b.at.address)
            addKeys(at, *b.at.address);
    for (const auto& d : world_.dailyDeletes)
        if (d.at.address)
            addKeys(at, *d.at.address);
    for (const std::uint64_t emdp : at)
        dph_->add(emdpDigest(emdp));
    emit(2, "clk/dph.hsa", dph_->bytes());
    dph_.reset();
}

// 12-byte rows: 8 key bytes, the sequence as four digits. Not on the header:
// the daily delete changes between releases of the discs.
void DataSetWriter::writeDailyDel() {
    RecordTable t{12, 8, {}};
    for (std::size_t i = 0; i < world_.dailyDeletes.size(); ++i) {
        const DailyDelete& d = world_.dailyDeletes[i];
        Bytes row = d.at.address ? addressKey(*d.at.address, "daily_deletes[" + std::to_string(i) + "].at")
                                 : d.at.rawKey;
        char seq[24];
        std::snprintf(seq, sizeof seq, "%04d", d.sequence);
        putField(row, seq, 4);
        t.add(row);
    }
    report_.dailyDeletesWritten = t.rows.size();
    t.sort();
    // An empty file would break the reader's range arithmetic; a reserved row
    // of sequence 0 never counts, as it is never above a header's sequence.
    t.padTo(1, textBytes("0000"));
    emit(2, "dailydel.dat", t.image(), false);
}

// ---- DVD 2/clk ----------------------------------------------------------

void DataSetWriter::writeContentsLst() {
    std::string text;
    char line[24];
    for (int g = 0; g < 100; ++g) {
        std::snprintf(line, sizeof line, "%02d%c\n", g, letters_[static_cast<std::size_t>(g)]);
        text += line;
    }
    emit(2, "clk/contents.lst", text);
}

// 6-byte rows: ZIP+4 as a big-endian number, the replacing add-on as 16 bits.
void DataSetWriter::writeLcd() {
    RecordTable t{6, 4, {}};
    for (const auto& l : world_.lcd) {
        Bytes row;
        putBigEndian(row, std::stoul(l.zip9), 4);
        putBigEndian(row, l.value, 2);
        t.add(row);
    }
    t.sort();
    requireUniqueKeys(t, "lcd");
    report_.lcdRows = t.rows.size();
    if (t.rows.empty()) {
        // The reader needs one whole row. Key 0 is no ZIP, and its value 0
        // equals what a miss would give anyway.
        t.add(Bytes(6, 0));
    }
    emit(2, "clk/lcd", t.image());
}

// 48-byte rows: 8 key bytes, the firm name in 40; closed by the end mark.
void DataSetWriter::writeBusinessLst() {
    using Row = std::array<unsigned char, 48>;
    std::vector<std::pair<Row, std::size_t>> rows; // a row, its place in the world
    for (std::size_t i = 0; i < world_.businesses.size(); ++i) {
        const BusinessEntry& b = world_.businesses[i];
        Bytes row = b.at.address ? addressKey(*b.at.address, "businesses[" + std::to_string(i) + "].at") : b.at.rawKey;
        putField(row, b.name, 40);
        if (row.size() != 48)
            throw WriterError("internal: record of " + std::to_string(row.size()) + " bytes, expected 48");
        rows.emplace_back();
        std::copy(row.begin(), row.end(), rows.back().first.begin());
        rows.back().second = i;
    }
    // A business filing is searched under the name listed at its address:
    // its firm is listed there unless the world lists it already.
    for (const Row& row : businessRows_)
        rows.emplace_back(row, rows.size());
    businessRows_ = {};
    // A row listed twice stays where it first stands; rows of one key keep
    // the world's order.
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end(), [](const auto& a, const auto& b) { return a.first == b.first; }),
               rows.end());
    std::sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) {
        const int c = std::memcmp(a.first.data(), b.first.data(), 8);
        return c < 0 || (c == 0 && a.second < b.second);
    });
    report_.businessesWritten = rows.size();
    Bytes image;
    image.reserve(48 * (rows.size() + 2));
    for (const auto& r : rows)
        image.insert(image.end(), r.first.begin(), r.first.end());
    rows = {};
    // Start-up refuses a file with no row before the end mark; eight bytes
    // 0xFF are the key that is never looked up.
    if (image.empty()) {
        image.assign(8, 0xFF);
        putField(image, "RESERVED", 40);
    }
    image.insert(image.end(), 8, 0xFF);
    image.insert(image.end(), 40, 'Z');
    emit(2, "clk/business.lst", image);
}

void DataSetWriter::writeZipLst() {
    std::string text;
    for (const auto& z : zips_)
        text += z + "\n";
    text += "00000\n"; // guard: the decoder refuses the last line's index
    emit(2, "clk/zip.lst", text);
}

void DataSetWriter::writeHintLst() {
    std::string text;
    for (const auto& h : hints_)
        text += h + "\n";
    emit(2, "clk/hint.lst", text);
}

// 24-byte rows: the 11-digit code, a blank, the carried code, a line end.
void DataSetWriter::writeX11() {
    RecordTable t{24, 11, {}};
    for (const auto& e : world_.x11) {
        Bytes row;
        putField(row, e.code, 11);
        row.push_back(' ');
        putField(row, e.alt, 11);
        row.push_back('\n');
        t.add(row);
    }
    t.sort();
    requireUniqueKeys(t, "x11");
    t.padTo(2, textBytes(" " + std::string(11, ' ') + "\n"));
    emit(2, "clk/x11", t.image());
}

// 11-byte rows: ZIP+4, the side letter, a line end.
void DataSetWriter::writeLeftRite() {
    RecordTable t{11, 9, {}};
    for (const auto& l : world_.leftRight) {
        Bytes row = textBytes(l.zip9);
        row.push_back(static_cast<unsigned char>(l.side));
        row.push_back('\n');
        t.add(row);
    }
    t.sort();
    requireUniqueKeys(t, "leftrite.txt");
    t.padTo(2, textBytes(" \n"));
    emit(2, "clk/leftrite.txt", t.image());
}

void DataSetWriter::writeNormalF() {
    emit(2, "clk/normalf.lst", pairListText(world_.names.normalFirst.value_or(defaultNormalFirst()), 15));
}

void DataSetWriter::writeNormalL() {
    emit(2, "clk/normall.lst", pairListText(world_.names.normalLast.value_or(defaultNormalLast()), 20));
}

void DataSetWriter::writeNickLst() {
    emit(2, "clk/nick.lst", pairListText(world_.names.nicknames.value_or(defaultNicknames()), 15));
}

void DataSetWriter::writeNonoF() {
    emit(2, "clk/nonof.lst", wordListText(world_.names.noFirst.value_or(defaultNoFirst())));
}

void DataSetWriter::writeNonoL() {
    emit(2, "clk/nonol.lst", wordListText(world_.names.noLast.value_or(defaultNoLast())));
}

void DataSetWriter::writeRulesLst() {
    std::string text;
    for (const auto& r : world_.names.rules.value_or(defaultNameRules()))
        text += ruleLine(r) + "\n";
    emit(2, "clk/rules.lst", text);
}

// 38-byte rows: ZIP+4, the name in 28, a line end.
void DataSetWriter::writeUrbxLst() {
    RecordTable t{38, 9, {}};
    for (const auto& u : world_.urbanizations) {
        Bytes row = textBytes(u.zip9);
        putField(row, u.name, 28);
        row.push_back('\n');
        t.add(row);
    }
    t.sort();
    requireUniqueKeys(t, "urbx.lst");
    report_.urbanizations = t.rows.size();
    t.padTo(1, textBytes(std::string(28, ' ') + "\n"));
    emit(2, "clk/urbx.lst", t.image());
}

void DataSetWriter::writeGenderTxt() {
    Bytes image = genderFile(world_.names.genders.value_or(defaultGenders()));
    if (image.empty())
        image = genderFile({{"\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 'U'}});
    emit(2, "clk/gender.txt", image);
}

// ---- DVD 2/rv9 ----------------------------------------------------------

// 48-byte rows: ZIP, state, city in 28, short city in 13; one a ZIP.
void DataSetWriter::writeCzp() {
    RecordTable t{48, 5, {}};
    std::set<std::string> seen;
    for (const auto& p : world_.places) {
        if (!seen.insert(p.zip).second)
            continue; // the first place of a ZIP names its city
        Bytes row = textBytes(p.zip);
        putField(row, p.state, 2);
        putField(row, p.city, 28);
        putField(row, p.cityShort, 13);
        t.add(row);
    }
    t.sort();
    t.padTo(2, Bytes(43, ' '));
    emit(2, "rv9/czp.dat", t.image());
}

// 49-byte rows: last-line number, state, short city in 13, city in 28.
void DataSetWriter::writeCln() {
    RecordTable t{49, 6, {}};
    std::set<std::string> seen;
    for (const auto& p : world_.places) {
        if (p.lastLine.empty() || !seen.insert(p.lastLine).second)
            continue;
        Bytes row;
        putField(row, p.lastLine, 6);
        putField(row, p.state, 2);
        putField(row, p.cityShort, 13);
        putField(row, p.city, 28);
        t.add(row);
    }
    t.sort();
    t.padTo(2, Bytes(43, ' '));
    emit(2, "rv9/cln.dat", t.image());
}

void DataSetWriter::writeRv9() {
    emit(2, "rv9/rv9.esd", rv9_.esdImage());
    emit(2, "rv9/pno.dat", rv9_.pno.fileImage());
    emit(2, "rv9/dsc.dat", rv9_.dsc.fileImage());
    emit(2, "rv9/sno.dat", rv9_.sno.fileImage());
    emit(2, "rv9/suf.dat", rv9_.suf.fileImage());
    emit(2, "rv9/nam.dat", rv9_.nam.fileImage());
    emit(2, "rv9/crd.dat", rv9_.crd.fileImage());
    emit(2, "rv9/lln.dat", rv9_.lln.fileImage());
}

// ---- Headers ------------------------------------------------------------

void DataSetWriter::writeHeaders() {
    manifest_.computeDigests();
    for (int disc = 1; disc <= 2; ++disc) {
        HeaderFields f;
        f.setName = world_.dataset.name;
        // The flat kind's letter follows its hash letter: A B, C D, E F.
        f.setLetter = static_cast<char>(world_.dataset.setLetter + (kind_ == DataSetKind::Flat ? 1 : 0));
        f.typeMark = world_.dataset.typeMark;
        f.disc = disc;
        f.discs = 2;
        f.date1 = date1_;
        f.sequence = world_.dataset.sequence;
        f.date2 = date2_;
        f.date3 = date3_;
        emit(disc, disc == 1 ? "dvdhdr01.dat" : "dvdhdr02.dat", formatHeader(f, manifest_.entries(disc)), false);
    }
}

} // namespace qvw
