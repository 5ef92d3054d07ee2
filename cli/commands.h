// Each subcommand of `ncoa` lives in its own cmd_<name>.cpp and registers
// itself on the application through one function declared here.
#pragma once

#include <CLI/CLI.hpp>

namespace ncoa_cli {

// `ncoa dataset build WORLD.json OUTDIR`
void addDatasetCommand(CLI::App& app);
// `ncoa info --data DIR`, `ncoa prove --data DIR`
void addProveCommands(CLI::App& app);

} // namespace ncoa_cli
