#include "commands.h"

#include <fmt/core.h>

#include <exception>

int main(int argc, char** argv) {
    CLI::App app{"NCOALink data sets and move processing", "ncoa"};
    app.require_subcommand(1);
    app.footer("Run `ncoa COMMAND --help` for the options of a command.");
    ncoa_cli::addMatchCommand(app);
    ncoa_cli::addLookupCommand(app);
    ncoa_cli::addVerifyCommand(app);
    ncoa_cli::addProveCommands(app);
    ncoa_cli::addDatasetCommand(app);
    ncoa_cli::addClientTestCommand(app);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e);
    } catch (const ncoa_cli::ExitStatus& e) {
        return e.code;
    } catch (const std::exception& e) {
        fmt::print(stderr, "ncoa: {}\n", e.what());
        return 1;
    }
    return 0;
}
