// `ncoa dataset build WORLD.json OUTDIR`: writes a hash data set from a world.
#include "commands.h"

#include "DataSetWriter.h"
#include "World.h"

#include <fmt/core.h>

#include <memory>
#include <string>

namespace ncoa_cli {
namespace {

struct BuildOptions {
    std::string world;
    std::string outDir;
    std::string releaseDate;
    int sequence = -1;
    bool quiet = false;
};

void runBuild(const BuildOptions& o) {
    qvw::World world = qvw::loadWorld(o.world);
    if (!o.releaseDate.empty()) {
        world.dataset.releaseDate = o.releaseDate;
        world.dataset.cutoffDate.clear();
        world.dataset.expiryDate.clear();
    }
    if (o.sequence >= 0)
        world.dataset.sequence = o.sequence;

    const qvw::BuildReport r = qvw::DataSetWriter(world, o.outDir).write();
    if (o.quiet)
        return;
    fmt::print("Data set written to {}\n", r.root);
    fmt::print("  release date {}, sequence {}, set letter {}\n", r.releaseDate, r.sequence, world.dataset.setLetter);
    fmt::print("  {} files, {} bytes\n", r.filesWritten, r.bytesWritten);
    fmt::print("  {} address ranges, {} LCD rows, {} urbanizations, {} businesses, {} daily deletes\n", r.ranges,
               r.lcdRows, r.urbanizations, r.businessesWritten, r.dailyDeletesWritten);
    fmt::print("  {} filings, {} stripe places marked taken, filter false-positive rate at most {:.2g}\n",
               r.filingsEncoded, r.stripeTakenPlaces, r.filterFalsePositiveRate);
}

} // namespace

void addDatasetCommand(CLI::App& app) {
    CLI::App* dataset = app.add_subcommand("dataset", "Write and inspect data sets");
    dataset->require_subcommand(1);

    auto opts = std::make_shared<BuildOptions>();
    CLI::App* build = dataset->add_subcommand("build", "Write a complete hash data set from a world description");
    build->add_option("world", opts->world, "World description (JSON)")->required()->check(CLI::ExistingFile);
    build->add_option("outdir", opts->outDir, "Folder to write the data set into (DVD 1 and DVD 2 go under it)")
        ->required();
    build->add_option("--release-date", opts->releaseDate, "Release date YYYYMMDD (default: the world's, else today)")
        ->check([](const std::string& d) { return qvw::validDate(d, true) ? std::string() : std::string("YYYYMMDD expected"); });
    build->add_option("--sequence", opts->sequence, "Sequence number of the data set (default: the world's)")
        ->check(CLI::NonNegativeNumber);
    build->add_flag("-q,--quiet", opts->quiet, "Print nothing on success");
    build->callback([opts] { runBuild(*opts); });
}

} // namespace ncoa_cli
