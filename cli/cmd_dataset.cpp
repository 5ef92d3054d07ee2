// `ncoa dataset build WORLD.json OUTDIR`: writes a hash or flat data set from a world.
// `ncoa dataset synth --filings N --out DIR`: writes a synthetic one, and
// with --list a mailing list against it whose outcome is known.
// `ncoa dataset index DIR`: builds the prefix index files of a flat data set.
#include "commands.h"

#include "ClientTestWriter.h"
#include "KnowledgeBase.h"
#include "DataSetWriter.h"
#include "Synth.h"
#include "World.h"

#include <fmt/core.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

namespace ncoa_cli {
namespace {

qvw::DataSetKind kindOf(const std::string& kind) {
    return kind == "flat" ? qvw::DataSetKind::Flat : qvw::DataSetKind::Hash;
}

struct BuildOptions {
    std::string kind = "hash";
    std::string world;
    std::string outDir;
    std::string releaseDate;
    int sequence = -1;
    std::string clientTest, clientTestS1;
    bool quiet = false;
    bool packed = false;
};

// The client test input files of a world, in the layouts asked for.
void writeClientTests(const qvw::World& world, const std::string& plain, const std::string& stageOnePath, bool quiet) {
    for (const auto& [path, stageOne] : {std::pair{plain, false}, std::pair{stageOnePath, true}}) {
        if (path.empty())
            continue;
        const qvw::ClientTestSummary s = qvw::writeClientTestFile(world, path, stageOne);
        if (!quiet)
            fmt::print("Client test file written to {} ({} bytes a line): {} records, {} filings and {} names that "
                       "filed nowhere; {} filings left out (old address in no range)\n",
                       path, stageOne ? 1000 : 300, s.records, s.filings, s.misses, s.skipped);
    }
}

void runBuild(const BuildOptions& o) {
    qvw::World world = qvw::loadWorld(o.world);
    if (!o.releaseDate.empty()) {
        world.dataset.releaseDate = o.releaseDate;
        world.dataset.cutoffDate.clear();
        world.dataset.expiryDate.clear();
    }
    if (o.sequence >= 0)
        world.dataset.sequence = o.sequence;

    const qvw::DataSetKind kind = kindOf(o.kind);
    qvw::DataSetWriter writer(world, o.outDir, kind);
    writer.setPacked(o.packed);
    const qvw::BuildReport r = writer.write();
    writeClientTests(world, o.clientTest, o.clientTestS1, o.quiet);
    if (o.quiet)
        return;
    fmt::print("Data set written to {}{}\n", r.root, o.packed ? " (hash sections packed)" : "");
    fmt::print("  {} kind, release date {}, sequence {}, set letter {}\n", o.kind, r.releaseDate, r.sequence,
               static_cast<char>(world.dataset.setLetter + (kind == qvw::DataSetKind::Flat ? 1 : 0)));
    fmt::print("  {} files, {} bytes\n", r.filesWritten, r.bytesWritten);
    fmt::print("  {} address ranges, {} LCD rows, {} urbanizations, {} businesses, {} daily deletes\n", r.ranges,
               r.lcdRows, r.urbanizations, r.businessesWritten, r.dailyDeletesWritten);
    if (kind == qvw::DataSetKind::Flat)
        fmt::print("  {} filings in clk.flt.1 to clk.flt.3\n", r.filingsEncoded);
    else
        fmt::print("  {} filings, {} stripe places marked taken, filter false-positive rate at most {:.2g}\n",
                   r.filingsEncoded, r.stripeTakenPlaces, r.filterFalsePositiveRate);
    if (r.stripesDoubled != 0)
        fmt::print("  stripes doubled {} times so that every key found a place\n", r.stripesDoubled);
}

struct SynthCommandOptions {
    std::string kind = "hash";
    std::size_t filings = 0;
    std::string outDir;
    std::size_t list = 0;
    std::string listOut, answersOut;
    std::string addressStyle = "split";
    double hitRate = 0.1;
    std::uint64_t seed = 1;
    std::string names = defaultKnowledgeBase();
    std::string releaseDate;
    std::string clientTest, clientTestS1;
    bool quiet = false;
    bool packed = false;
};

double secondsSince(std::chrono::steady_clock::time_point t) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t).count();
}

void runSynth(const SynthCommandOptions& o) {
    if (o.list > 0 && o.listOut.empty())
        throw std::runtime_error("--list needs --list-out FILE");
    if (o.list == 0 && (!o.listOut.empty() || !o.answersOut.empty()))
        throw std::runtime_error("--list-out and --answers need --list M");
    auto t = std::chrono::steady_clock::now();
    qvw::SynthOptions so;
    so.filings = o.filings;
    so.seed = o.seed;
    so.nameListDir = o.names;
    so.releaseDate = o.releaseDate;
    qvw::SynthGenerator gen(so);
    // Filings stay in the generator's compact form and reach the writer one
    // at a time: a set of national size fits in memory.
    const qvw::SynthSummary& s = gen.summary();
    const double made = secondsSince(t);

    t = std::chrono::steady_clock::now();
    qvw::DataSetWriter writer(gen.base(), gen.stream(), o.outDir, kindOf(o.kind));
    writer.setPacked(o.packed);
    const qvw::BuildReport r = writer.write();
    const double written = secondsSince(t);
    if (!o.quiet) {
        fmt::print("Synthetic data set written to {} ({:.1f} s to generate, {:.1f} s to write)\n", r.root, made,
                   written);
        fmt::print("  {} ZIPs, {} address ranges, {} addresses\n", s.zips, s.ranges, s.addresses);
        fmt::print("  {} filings: {} individual, {} family, {} business; {} with the drop flag, {} without new "
                   "address (code 19)\n",
                   r.filingsEncoded, s.individuals, s.families, s.businesses, s.dropped, s.coded);
        fmt::print("  {} files, {} bytes; filter false-positive rate at most {:.2g}\n", r.filesWritten,
                   r.bytesWritten, r.filterFalsePositiveRate);
        if (r.stripesDoubled != 0)
            fmt::print("  stripes doubled {} times so that every key found a place\n", r.stripesDoubled);
    }
    if (!o.clientTest.empty() || !o.clientTestS1.empty())
        writeClientTests(gen.world(), o.clientTest, o.clientTestS1, o.quiet);
    if (o.list == 0)
        return;

    t = std::chrono::steady_clock::now();
    const auto rows = gen.makeList(o.list, o.hitRate, o.seed);
    const qvw::SynthListSummary ls = qvw::SynthGenerator::writeList(
        rows, o.listOut,
        o.addressStyle == "free" ? qvw::SynthGenerator::AddressStyle::Free : qvw::SynthGenerator::AddressStyle::Split);
    if (!o.answersOut.empty()) {
        std::ofstream out(o.answersOut, std::ios::binary | std::ios::trunc);
        out << "Customer ID,kind,expected_code\n";
        for (const auto& row : rows)
            out << row.id << ',' << qvw::SynthGenerator::kindName(row.kind) << ',' << row.expectedCode << '\n';
        if (!out.flush())
            throw std::runtime_error("cannot write " + o.answersOut);
    }
    if (o.quiet)
        return;
    fmt::print("Mailing list written to {} ({:.1f} s): {} records, {} expected found ({:.2f}%: return code A, 91 "
               "or 92)\n",
               o.listOut, secondsSince(t), ls.records, ls.found, 100 * ls.foundRate());
    std::string kinds;
    for (int k = 0; k < 7; ++k)
        kinds += fmt::format("{}{} {}", k ? ", " : "  ",
                             ls.byKind[k], qvw::SynthGenerator::kindName(static_cast<qvw::SynthListRecord::Kind>(k)));
    fmt::print("{}\n", kinds);
}

} // namespace

void addDatasetCommand(CLI::App& app) {
    CLI::App* dataset = app.add_subcommand("dataset", "Write and inspect data sets");
    dataset->require_subcommand(1);

    auto opts = std::make_shared<BuildOptions>();
    CLI::App* build = dataset->add_subcommand("build", "Write a complete hash or flat data set from a world description");
    build->add_option("world", opts->world, "World description (JSON)")->required()->check(CLI::ExistingFile);
    build->add_option("outdir", opts->outDir, "Folder to write the data set into (DVD 1 and DVD 2 go under it)")
        ->required();
    build->add_option("--release-date", opts->releaseDate, "Release date YYYYMMDD (default: the world's, else today)")
        ->check([](const std::string& d) { return qvw::validDate(d, true) ? std::string() : std::string("YYYYMMDD expected"); });
    build->add_option("--sequence", opts->sequence, "Sequence number of the data set (default: the world's)")
        ->check(CLI::NonNegativeNumber);
    build->add_option("--kind", opts->kind, "Kind of data set: hash or flat")
        ->capture_default_str()
        ->check(CLI::IsMember({"hash", "flat"}));
    build->add_option("--client-test", opts->clientTest,
                      "Also write a client test input file for the world (300-byte lines)");
    build->add_option("--client-test-s1", opts->clientTestS1,
                      "Also write a client test input file in the stage-one layout (1000-byte lines)");
    build->add_flag("-q,--quiet", opts->quiet, "Print nothing on success");
    build->add_flag("--packed", opts->packed, "Write the hash sections packed (.SZP), as the USPS delivers them");
    build->callback([opts] { runBuild(*opts); });

    auto so = std::make_shared<SynthCommandOptions>();
    CLI::App* synth = dataset->add_subcommand(
        "synth", "Write a synthetic data set of N filings, and a mailing list with a known hit rate");
    synth->add_option("--filings", so->filings, "Number of filings")->required()->check(CLI::PositiveNumber);
    synth->add_option("--out", so->outDir, "Folder to write the data set into")->required();
    synth->add_option("--list", so->list, "Records of the mailing list to write")->check(CLI::PositiveNumber);
    synth->add_option("--list-out", so->listOut, "Mailing list CSV to write");
    synth->add_option("--address-style", so->addressStyle,
                      "split: verified columns with ZIP4; free: an address line and a last line as people type them")
        ->capture_default_str()
        ->check(CLI::IsMember({"split", "free"}));
    synth->add_option("--answers", so->answersOut, "CSV of each list record's kind and expected return code");
    synth->add_option("--hit-rate", so->hitRate, "Share of list records that find a move (A, 91, 92)")
        ->capture_default_str()
        ->check(CLI::Range(0.0, 1.0));
    synth->add_option("--seed", so->seed, "Seed: the same seed writes the same set and list")->capture_default_str();
    synth->add_option("--names", so->names, "Folder of given_names.txt and surnames.txt")->capture_default_str();
    synth->add_option("--release-date", so->releaseDate, "Release date YYYYMMDD (default: today)")
        ->check([](const std::string& d) { return qvw::validDate(d, true) ? std::string() : std::string("YYYYMMDD expected"); });
    synth->add_option("--kind", so->kind, "Kind of data set: hash or flat")
        ->capture_default_str()
        ->check(CLI::IsMember({"hash", "flat"}));
    synth->add_option("--client-test", so->clientTest, "Also write a client test input file (300-byte lines)");
    synth->add_option("--client-test-s1", so->clientTestS1,
                      "Also write a client test input file in the stage-one layout (1000-byte lines)");
    synth->add_flag("-q,--quiet", so->quiet, "Print nothing on success");
    synth->add_flag("--packed", so->packed, "Write the hash sections packed (.SZP), as the USPS delivers them");
    synth->callback([so] { runSynth(*so); });

    addIndexCommand(*dataset);
    addDatasetUnpackCommand(*dataset);
}

} // namespace ncoa_cli
