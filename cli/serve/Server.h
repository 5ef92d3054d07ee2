// `ncoa serve`: move processing over HTTP on one opened data set.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "../DataObject.h"

namespace ncoa_cli {

struct ServeOptions {
    OpenOptions open;
    std::string listen = "127.0.0.1:8080";
    unsigned threads = 0;       // threads of a job's run; 0: one per core
    unsigned httpThreads = 64;  // connections served at once; a kept-alive one holds its thread
    std::size_t connQueue = 512;  // connections waiting for a thread; more get 503
    std::string keys;           // file of SHA-256 hex digests of the bearer keys
    std::string jobDir;         // where job folders are made; empty: the temporary folder
    long jobTtl = 3600;         // seconds a finished job's files are kept
    std::size_t queue = 8;      // jobs running or waiting at once
    std::size_t maxBody = 4u << 20;             // bytes of a JSON request
    std::uint64_t maxUpload = 1ull << 30;       // bytes of a job's list
    std::size_t maxBatch = 10000;               // records of one batch request
    bool prove = false;         // prove the data set's files before serving
};

// Serves until SIGTERM or SIGINT; returns the exit status.
int runServer(const ServeOptions& o);

// Lower-case hex SHA-256 of a key, as the key file holds it.
std::string keyDigest(const std::string& key);

}  // namespace ncoa_cli
