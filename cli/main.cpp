#include "commands.h"

#include <fmt/core.h>

#include <exception>

int main(int argc, char** argv) {
    CLI::App app{"NCOALink data sets and move processing", "ncoa"};
    app.require_subcommand(1);
    ncoa_cli::addDatasetCommand(app);
    ncoa_cli::addProveCommands(app);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e);
    } catch (const std::exception& e) {
        fmt::print(stderr, "ncoa: {}\n", e.what());
        return 1;
    }
    return 0;
}
