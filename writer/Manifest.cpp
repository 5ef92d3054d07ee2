#include "Manifest.h"

namespace qvw {

void Manifest::add(int disc, const std::string& name, const std::string& path) {
    if (disc != 1 && disc != 2)
        throw WriterError("manifest: no disc " + std::to_string(disc));
    if (name.size() > 21)
        throw WriterError("manifest: file name longer than 21 characters: " + name);
    for (const auto& e : discs_[disc - 1])
        if (e.name == name)
            throw WriterError("manifest: " + name + " listed twice on one disc");
    discs_[disc - 1].push_back({name, path, 0, {}, false});
}

void Manifest::addDigested(int disc, const std::string& name, const std::string& path, std::uint64_t size,
                           const Sha1Digest& sha1) {
    add(disc, name, path);
    ManifestEntry& e = discs_[disc - 1].back();
    e.size = size;
    e.sha1 = sha1;
    e.digested = true;
}

void Manifest::computeDigests() {
    for (auto& disc : discs_)
        for (auto& e : disc)
            if (!e.digested)
                e.sha1 = sha1OfFile(e.path, e.size);
}

namespace {

std::string labelled(const char* label, const std::string& value) { return padRight(label, 18) + value; }

} // namespace

std::string formatHeader(const HeaderFields& f, const std::vector<ManifestEntry>& files) {
    std::string out;
    auto line = [&](const std::string& l) {
        // Trailing blanks would be cut by the reader anyway; leave them off.
        const auto end = l.find_last_not_of(' ');
        out += (end == std::string::npos ? std::string() : l.substr(0, end + 1)) + "\n";
    };
    line(labelled("DATA SET:", padRight(f.setName, 50) + f.setLetter + f.typeMark));
    line(labelled("DISC:", std::to_string(f.disc) + " OF " + std::to_string(f.discs)));
    line(labelled("RELEASE DATE:", f.date1));
    line(labelled("SEQUENCE:", std::to_string(f.sequence)));
    line(labelled("CUTOFF DATE:", f.date2));
    line(labelled("EXPIRATION DATE:", f.date3));
    line(labelled("FILE COUNT:", std::to_string(files.size())));
    for (const auto& e : files) {
        std::string hex = toHex(e.sha1), spaced;
        for (std::size_t i = 0; i < hex.size(); ++i) {
            if (i)
                spaced += ' ';
            spaced += hex[i];
        }
        line(padRight(e.name, 21) + padLeft(std::to_string(e.size), 13) + " " + spaced);
    }
    return out;
}

} // namespace qvw
