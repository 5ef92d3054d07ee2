// Each subcommand of `ncoa` lives in its own cmd_<name>.cpp and registers
// itself on the application through one function declared here.
#pragma once

#include <CLI/CLI.hpp>

namespace ncoa_cli {

// Thrown by a command that finished but must end with this exit status.
struct ExitStatus {
    int code;
};

// `ncoa dataset build WORLD.json OUTDIR`
void addDatasetCommand(CLI::App& app);
// `ncoa dataset unpack DIR [--file F]`, under the dataset command
void addDatasetUnpackCommand(CLI::App& dataset);
// `ncoa info DIR`, `ncoa prove DIR` (or --data DIR)
void addProveCommands(CLI::App& app);
// `ncoa dataset index DIR`, under the dataset command
void addIndexCommand(CLI::App& dataset);
// `ncoa match --data DIR --in LIST.csv --out RESULT.csv`
void addMatchCommand(CLI::App& app);
// `ncoa lookup --data DIR --name ... --pno ... --zip9 ...`
void addLookupCommand(CLI::App& app);
// `ncoa client-test --data DIR --in TESTFILE --out ANSWERS`
void addClientTestCommand(CLI::App& app);
// `ncoa verify --data DIR --in LIST.csv --out RESULT.csv`
void addVerifyCommand(CLI::App& app);

} // namespace ncoa_cli
