// `ncoa serve`: the data set opened once and offered over HTTP, to
// applications (a JSON API) and to people (a web page for whole lists).
#include <fmt/core.h>

#include <iostream>
#include <string>

#include "commands.h"
#include "serve/Server.h"

namespace ncoa_cli {

void addServeCommand(CLI::App& app) {
    static ServeOptions o;
    static bool hashKey = false;
    CLI::App* cmd = app.add_subcommand("serve", "Serve lookups and list jobs over HTTP on one opened data set");
    cmd->footer(
        "Routes: GET / (web page), GET /openapi.json, GET /healthz, GET /v1/info, POST /v1/lookup,\n"
        "POST /v1/lookup/batch, POST /v1/jobs (CSV body; ?mode=&months=&map=FIELD=COLUMN&list_name=),\n"
        "GET /v1/jobs/ID, GET /v1/jobs/ID/result, GET /v1/jobs/ID/report.\n"
        "With --keys FILE every /v1/ request needs \"Authorization: Bearer KEY\"; FILE holds one SHA-256\n"
        "hex digest per line (`ncoa serve --hash-key` reads a key on standard input and prints it, as does\n"
        "`printf %s KEY | sha256sum`). SIGTERM or SIGINT stops it: the running job finishes first, waiting ones fail.");
    cmd->add_option("--data", o.open.data, "Data set root (the folder holding \"DVD 1\" and \"DVD 2\")");
    cmd->add_option("--kb", o.open.kb, "Name-parser knowledge base folder")->capture_default_str();
    cmd->add_flag("--memory", o.open.memory, "Hold the hash or flat files, bit tables and LCD table in memory");
    cmd->add_option("--flat-index", o.open.flatIndex,
                    "Flat data sets: search through the index of this many key bytes (1 to 3; 0 none)")
        ->check(CLI::Range(0, 3));
    cmd->add_option("--listen", o.listen, "HOST:PORT to listen on (port 0: any free port)")->capture_default_str();
    cmd->add_option("--threads", o.threads, "Threads of a job's run (default: one per core)");
    cmd->add_option("--http-threads", o.httpThreads, "Connections served at once")->capture_default_str();
    cmd->add_option("--conn-queue", o.connQueue, "Connections waiting for a thread; more get 503")
        ->capture_default_str();
    cmd->add_option("--keys", o.keys, "File of SHA-256 hex digests of the bearer keys, one a line");
    cmd->add_option("--job-dir", o.jobDir, "Folder for the jobs' files (default: the temporary folder)");
    cmd->add_option("--job-ttl", o.jobTtl, "Seconds a finished job's files are kept")->capture_default_str();
    cmd->add_option("--queue", o.queue, "Jobs running or waiting at once (a waiting job's upload is not read meanwhile); more get 503")->capture_default_str()
        ->check(CLI::PositiveNumber);
    cmd->add_option("--max-body", o.maxBody, "Bytes of a JSON request")->capture_default_str();
    cmd->add_option("--max-upload", o.maxUpload, "Bytes of a job's list")->capture_default_str();
    cmd->add_option("--max-batch", o.maxBatch, "Records of one batch request")->capture_default_str();
    cmd->add_flag("--prove", o.prove, "Prove every file of the data set before serving");
    cmd->add_flag("--hash-key", hashKey, "Read a key on standard input, print the line the key file takes, and stop");
    cmd->callback([] {
        if (hashKey) {
            std::string key;
            std::getline(std::cin, key);
            if (key.empty()) throw std::runtime_error("no key on standard input");
            fmt::print("{}\n", keyDigest(key));
            return;
        }
        if (o.open.data.empty()) throw CLI::RequiredError("--data");
        const int status = runServer(o);
        if (status != 0) throw ExitStatus{status};
    });
}

}  // namespace ncoa_cli
