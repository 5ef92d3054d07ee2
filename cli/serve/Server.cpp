#include "Server.h"

#include <httplib.h>
#include <openssl/evp.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <fcntl.h>
#include <unistd.h>

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <set>
#include <stdexcept>
#include <thread>

#include "../Answer.h"
#include "../Columns.h"
#include "ConnectionPool.h"
#include "Jobs.h"

namespace ncoa_cli {

extern const unsigned char kWebIndex[];
extern const std::size_t kWebIndexSize;
extern const unsigned char kWebOpenApi[];
extern const std::size_t kWebOpenApiSize;

namespace fs = std::filesystem;
using json = nlohmann::json;

std::string keyDigest(const std::string& key) {
    unsigned char md[EVP_MAX_MD_SIZE];
    unsigned int n = 0;
    if (EVP_Digest(key.data(), key.size(), md, &n, EVP_sha256(), nullptr) != 1)
        throw std::runtime_error("SHA-256 failed");
    std::string hex;
    for (unsigned i = 0; i < n; ++i) hex += fmt::format("{:02x}", md[i]);
    return hex;
}

namespace {

// The bearer keys' digests; an empty set means no key is asked for.
std::set<std::string> readKeys(const std::string& path) {
    std::set<std::string> keys;
    if (path.empty()) return keys;
    std::ifstream in(path);
    if (!in) throw std::runtime_error("cannot read the key file " + path);
    int lineNo = 0;
    for (std::string line; std::getline(in, line);) {
        ++lineNo;
        line.erase(0, line.find_first_not_of(" \t"));
        const std::size_t end = line.find_first_of(" \t\r#");
        const std::string word = line.substr(0, end);
        if (word.empty()) continue;  // blank or a comment
        if (word.size() != 64 || word.find_first_not_of("0123456789abcdef") != std::string::npos)
            throw std::runtime_error(fmt::format("{} line {}: a lower-case SHA-256 hex digest expected", path, lineNo));
        keys.insert(word);
    }
    if (keys.empty()) throw std::runtime_error("the key file " + path + " holds no key");
    return keys;
}

void sendError(httplib::Response& res, int status, int code, const std::string& text) {
    res.status = status;
    res.set_content(json{{"code", code}, {"text", text}}.dump(-1, ' ', false, json::error_handler_t::replace),
                    "application/json");
}
void sendError(httplib::Response& res, int status, const std::string& text) { sendError(res, status, status, text); }

// An error sent before the request's body was read: the connection closes
// behind it, so the unread body is never taken for the next request. (This
// version of the HTTP library closes a connection only when a response fails
// to write, so the body's writer reports failure once it has written all.)
void answerAndClose(httplib::Response& res, int status, const json& j) {
    res.status = status;
    auto body = std::make_shared<std::string>(j.dump(-1, ' ', false, json::error_handler_t::replace));
    res.set_header("Connection", "close");
    res.set_content_provider(body->size(), "application/json",
                             [body](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
                                 sink.write(body->data() + offset, length);
                                 return false;
                             });
}
void refuseAndClose(httplib::Response& res, int status, const std::string& text) {
    answerAndClose(res, status, json{{"code", status}, {"text", text}});
}

// Writes all of it, however the pipe takes it; false once the reader is gone.
bool writeAll(int fd, const char* data, std::size_t len) {
    while (len > 0) {
        const ssize_t n = ::write(fd, data, len);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        len -= static_cast<std::size_t>(n);
    }
    return true;
}

void sendJson(httplib::Response& res, const json& j, int status = 200) {
    res.status = status;
    res.set_content(j.dump(-1, ' ', false, json::error_handler_t::replace), "application/json");
}

// A text field of a lookup record: absent is empty; refused when it is not a
// string or is longer than the library reads.
bool textField(const json& rec, const char* name, char* dst, std::size_t width, std::string& problem) {
    dst[0] = '\0';
    const auto it = rec.find(name);
    if (it == rec.end() || it->is_null()) return true;
    if (!it->is_string()) {
        problem = fmt::format("\"{}\" must be a string", name);
        return false;
    }
    const std::string& s = it->get_ref<const std::string&>();
    if (s.size() > width || s.find('\0') != std::string::npos) {
        problem = fmt::format("\"{}\" holds at most {} characters", name, width);
        return false;
    }
    std::memcpy(dst, s.c_str(), s.size() + 1);
    return true;
}

bool modeOf(const json& j, int& mode, std::string& problem) {
    const auto it = j.find("mode");
    if (it == j.end() || it->is_null()) return true;
    try {
        if (it->is_number_integer())
            mode = parseMode(std::to_string(it->get<int>()));
        else if (it->is_string())
            mode = parseMode(it->get<std::string>());
        else
            throw std::runtime_error("\"mode\" must be a name or a number");
    } catch (const std::exception& e) {
        problem = e.what();
        return false;
    }
    return true;
}

bool monthsOf(const json& j, int& months, std::string& problem) {
    const auto it = j.find("months");
    if (it == j.end() || it->is_null()) return true;
    if (!it->is_number_integer() || it->get<long long>() < 0 || it->get<long long>() > 1000) {
        problem = "\"months\" must be a whole number from 0 to 1000";
        return false;
    }
    months = it->get<int>();
    return true;
}

// One lookup: the answer object, or an error object {code, text} with
// `status` set to the HTTP status it deserves.
json lookupOne(void* obj, const json& rec, int mode, int months, int& status) {
    status = 200;
    std::string problem;
    if (!rec.is_object()) {
        status = 400;
        return json{{"code", 400}, {"text", "a record is a JSON object"}};
    }
    LookupInput in{};
    char type[2];
    if (!textField(rec, "name", in.name, 40, problem) || !textField(rec, "pno", in.pno, 10, problem) ||
        !textField(rec, "sno", in.sno, 8, problem) || !textField(rec, "desc", in.desc, 4, problem) ||
        !textField(rec, "zip9", in.zip9, 9, problem) || !textField(rec, "type", type, 1, problem) ||
        !modeOf(rec, mode, problem) || !monthsOf(rec, months, problem)) {
        status = 400;
        return json{{"code", 400}, {"text", problem}};
    }
    if (in.zip9[0] == '\0') {
        status = 400;
        return json{{"code", 400}, {"text", "\"zip9\" is required: the ZIP and its add-on, nine digits (or five)"}};
    }
    in.recordType = type[0] == '\0' ? ' ' : type[0];
    const qvncoa_in_addr_t view = in.view();
    qvncoa_out_addr_t out{};
    char err[QVNCOA_ERROR_TEXT_SIZE] = "";
    const int rc = qvncoa_lookup_without_qvav(obj, &view, &out, mode, months, err, 0);
    if (rc != QVNCOA_OK && rc != QVNCOA_OK_MOVE_TOO_OLD) {
        status = 422;
        return json{{"code", rc}, {"text", std::string("lookup failed: ") + err}};
    }
    json a{{"result", rc}, {"input_name", std::string(out.inputName)}};
    forEachAnswerField(out, [&](const char* column, const char*, std::string_view v) {
        a[std::string(column + 5)] = std::string(v);  // without the columns' "ncoa_"
    });
    return a;
}

json releaseInfo(void* obj, bool proved) {
    qvncoa_release_info_t info{};
    qvncoa_getNCOAReleaseInfo(obj, &info);
    std::string name(info.setName);
    while (!name.empty() && name.back() == ' ') name.pop_back();
    const bool hash = info.setLetter == 'A' || info.setLetter == 'C' || info.setLetter == 'E';
    return json{{"release", name},
                {"kind", hash ? "hash" : "flat"},
                {"set_letter", std::string(1, info.setLetter)},
                {"release_date", std::string(info.date1)},
                {"sequence", info.sequence},
                {"dates", {std::string(info.date2), std::string(info.date3)}},
                {"file_count", info.fileCount},
                {"proved", proved},
                {"version", qvx_build_version}};
}

json codeCounts(const qvncoa_cumulativeStatsRecord_t& s) {
    json c = json::object();
    const auto put = [&](const std::string& code, int n) {
        if (n > 0) c[code] = n;
    };
    put("A", s.returnCodeCounts[QVNCOA_RC_SLOT_A]);
    put("91", s.returnCodeCounts[QVNCOA_RC_SLOT_91]);
    put("92", s.returnCodeCounts[QVNCOA_RC_SLOT_92]);
    for (int nn = 0; nn < 32; ++nn) put(fmt::format("{:02}", nn), s.returnCodeCounts[nn]);
    put("other", s.returnCodeOther);
    return c;
}

json jobStatus(const Job& job) {
    const int state = job.state;
    const auto now = std::chrono::steady_clock::now();
    json j{{"id", job.id}, {"state", stateName(state)}, {"records", job.records.load()},
           {"estimate", job.estimate.load()}, {"bytes", job.bytes.load()}};
    if (state >= Job::kRunning) {
        const auto end = state == Job::kRunning ? now : job.finished;
        const double secs = std::chrono::duration<double>(end - job.started).count();
        const double rate = secs > 0 ? static_cast<double>(job.records.load()) / secs : 0;
        j["seconds"] = secs;
        j["rate"] = rate;
        if (state == Job::kRunning && rate > 0 && job.estimate > job.records)
            j["seconds_left"] = static_cast<double>(job.estimate - job.records) / rate;
    }
    if (state == Job::kDone) {
        j["malformed"] = job.malformed;
        j["failed"] = job.failed;
        j["counts"] = codeCounts(job.stats);
        j["months_since_move"] = std::vector<int>(job.stats.medMonthCounts, job.stats.medMonthCounts + QVNCOA_MED_MONTHS);
        j["result"] = "/v1/jobs/" + job.id + "/result";
        j["report"] = "/v1/jobs/" + job.id + "/report";
    }
    if (state == Job::kFailed) j["error"] = job.error;
    return j;
}

// Streams a finished job's file; it stays readable while open even when the
// job expires meanwhile.
void sendFile(httplib::Response& res, const std::string& path, const char* type, const std::string& filename) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat st {};
    if (fd < 0 || ::fstat(fd, &st) != 0) {
        if (fd >= 0) ::close(fd);
        sendError(res, 404, "the job's file is gone");
        return;
    }
    auto file = std::shared_ptr<int>(new int(fd), [](int* p) {
        ::close(*p);
        delete p;
    });
    res.set_header("Content-Disposition", "attachment; filename=\"" + filename + "\"");
    res.set_content_provider(static_cast<std::size_t>(st.st_size), type,
                             [file](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
                                 char buf[65536];
                                 const ssize_t n = ::pread(*file, buf, std::min(length, sizeof buf),
                                                           static_cast<off_t>(offset));
                                 if (n <= 0) return false;
                                 return sink.write(buf, static_cast<std::size_t>(n));
                             });
}

bool isLoopback(const std::string& host) {
    return host == "127.0.0.1" || host == "localhost" || host == "::1" || host.rfind("127.", 0) == 0;
}

}  // namespace

int runServer(const ServeOptions& o) {
    const std::set<std::string> keys = readKeys(o.keys);
    const std::size_t colon = o.listen.rfind(':');
    if (colon == std::string::npos) throw std::runtime_error("--listen takes HOST:PORT");
    std::string host = o.listen.substr(0, colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
    const int port = std::stoi(o.listen.substr(colon + 1));
    if (!isLoopback(host) && keys.empty())
        fmt::print(stderr, "ncoa serve: warning: listening on {} without --keys: anyone who reaches it may use it\n",
                   host);

    // Signals are taken by one thread: every other thread (the HTTP pool,
    // the job worker and its pipeline) inherits them blocked.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    DataObject data(o.open);
    void* const obj = data.get();
    bool proved = false;
    if (o.prove) {
        char err[QVNCOA_ERROR_TEXT_SIZE] = "";
        const int rc = qvncoa_validateDVDFileHashSignatures(obj, nullptr, err);
        if (rc != QVNCOA_OK) throw LibraryError(rc, std::string("the data set does not prove: ") + err);
        proved = true;
    }
    const json info = releaseInfo(obj, proved);

    std::string base = o.jobDir.empty() ? fs::temp_directory_path().string() : o.jobDir;
    std::string tmpl = base + "/ncoa-serve-XXXXXX";
    if (::mkdtemp(tmpl.data()) == nullptr)
        throw std::runtime_error("cannot make a job folder in " + base + ": " + std::strerror(errno));
    const unsigned threads = o.threads > 0 ? o.threads : std::max(1u, std::thread::hardware_concurrency());
    JobQueue jobs(obj, o.open.data, tmpl, o.queue, threads, o.jobTtl);

    httplib::Server svr;
    const unsigned httpThreads = std::max(1u, o.httpThreads);
    const std::size_t connQueue = o.connQueue;
    svr.new_task_queue = [httpThreads, connQueue] { return new ConnectionPool(httpThreads, connQueue); };
    // The library listens with a backlog of 5: a burst of reconnections
    // overflows it and costs a client a SYN retry of a second or more. The
    // listening socket is taken here and given the system's backlog once bound.
    int listenFd = -1;
    svr.set_socket_options([&listenFd](int fd) {
        httplib::default_socket_options(fd);
        listenFd = fd;
    });
    // Sizes are checked on the headers by the pre-routing handler below, which
    // answers and closes at once; the library's own check would read (and
    // drop) the whole body before closing.
    svr.set_payload_max_length(std::numeric_limits<std::size_t>::max());
    svr.set_read_timeout(30, 0);
    svr.set_tcp_nodelay(true);  // headers and body go in two writes: no waiting on delayed ACKs
    // A connection gives its thread up after this many requests, so that more
    // connections than threads all get their turn.
    svr.set_keep_alive_max_count(100);

    // The owner of a request: the digest of its key, "" without keys.
    const auto ownerOf = [&keys](const httplib::Request& req, std::string& owner) {
        owner.clear();
        if (keys.empty()) return true;
        const std::string auth = req.get_header_value("Authorization");
        if (auth.rfind("Bearer ", 0) != 0) return false;
        owner = keyDigest(auth.substr(7));
        return keys.count(owner) != 0;
    };

    // Before any body is read: the key, and the size the route allows.
    svr.set_pre_routing_handler([&](const httplib::Request& req, httplib::Response& res) {
        if (ConnectionPool::refusing()) {
            res.set_header("Retry-After", "1");
            refuseAndClose(res, 503, "the server is busy; try again later");
            return httplib::Server::HandlerResponse::Handled;
        }
        if (req.path.rfind("/v1/", 0) == 0) {
            std::string owner;
            if (!ownerOf(req, owner)) {
                res.set_header("WWW-Authenticate", "Bearer");
                refuseAndClose(res, 401, "a valid bearer key is needed (Authorization: Bearer KEY)");
                return httplib::Server::HandlerResponse::Handled;
            }
        }
        if (req.method == "POST") {
            const bool upload = req.path == "/v1/jobs";
            const std::uint64_t limit = upload ? o.maxUpload : o.maxBody;
            if (req.has_header("Content-Length")) {
                const std::string len = req.get_header_value("Content-Length");
                errno = 0;
                char* end = nullptr;
                const unsigned long long n = std::strtoull(len.c_str(), &end, 10);
                if (errno != 0 || end == len.c_str() || *end != '\0' || n > limit) {
                    refuseAndClose(res, 413, fmt::format("the body may hold at most {} bytes", limit));
                    return httplib::Server::HandlerResponse::Handled;
                }
            } else if (!upload) {
                refuseAndClose(res, 411, "a JSON body needs a Content-Length");
                return httplib::Server::HandlerResponse::Handled;
            }
        }
        return httplib::Server::HandlerResponse::Unhandled;
    });

    svr.set_error_handler([](const httplib::Request&, httplib::Response& res) {
        if (!res.body.empty() || res.has_header("Connection")) return;  // ours, or refuseAndClose's
        const char* text = res.status == 404   ? "no such route"
                           : res.status == 413 ? "the body is too large"
                           : res.status == 400 ? "the request is malformed"
                                               : "the request failed";
        sendError(res, res.status, text);
    });
    svr.set_exception_handler([](const httplib::Request&, httplib::Response& res, std::exception_ptr ep) {
        std::string text = "internal error";
        try {
            if (ep) std::rethrow_exception(ep);
        } catch (const std::exception& e) {
            text += std::string(": ") + e.what();
        } catch (...) {
        }
        sendError(res, 500, text);
    });

    svr.Get("/healthz", [](const httplib::Request&, httplib::Response& res) {
        sendJson(res, json{{"status", "ok"}});
    });
    svr.Get("/", [](const httplib::Request&, httplib::Response& res) {
        res.set_content(reinterpret_cast<const char*>(kWebIndex), kWebIndexSize, "text/html; charset=utf-8");
    });
    svr.Get("/openapi.json", [](const httplib::Request&, httplib::Response& res) {
        res.set_content(reinterpret_cast<const char*>(kWebOpenApi), kWebOpenApiSize, "application/json");
    });
    svr.Get("/v1/info", [&info](const httplib::Request&, httplib::Response& res) { sendJson(res, info); });

    svr.Post("/v1/lookup", [obj](const httplib::Request& req, httplib::Response& res) {
        const json body = json::parse(req.body, nullptr, false);
        if (body.is_discarded()) return sendError(res, 400, "the body is not JSON");
        int status = 200;
        const json a = lookupOne(obj, body, 0, 0, status);
        sendJson(res, a, status);
    });

    svr.Post("/v1/lookup/batch", [obj, &o](const httplib::Request& req, httplib::Response& res) {
        const json body = json::parse(req.body, nullptr, false);
        if (body.is_discarded()) return sendError(res, 400, "the body is not JSON");
        if (!body.is_object() || !body.contains("records") || !body["records"].is_array())
            return sendError(res, 400, "the body is {\"records\": [ ... ]}, with optional \"mode\" and \"months\"");
        const json& recs = body["records"];
        if (recs.size() > o.maxBatch)
            return sendError(res, 413, fmt::format("a batch holds at most {} records", o.maxBatch));
        int mode = 0, months = 0;
        std::string problem;
        if (!modeOf(body, mode, problem) || !monthsOf(body, months, problem)) return sendError(res, 400, problem);
        json answers = json::array();
        int status = 200;
        for (const json& r : recs) {
            json a = lookupOne(obj, r, mode, months, status);
            answers.push_back(status == 200 ? std::move(a) : json{{"error", std::move(a)}});
        }
        sendJson(res, json{{"answers", std::move(answers)}});
    });

    svr.Post("/v1/jobs", [&](const httplib::Request& req, httplib::Response& res, const httplib::ContentReader& reader) {
        std::string owner;
        ownerOf(req, owner);
        if (req.is_multipart_form_data()) {
            return refuseAndClose(res, 415, "send the CSV list itself as the body, not a form");
        }
        JobSettings settings;
        try {
            if (req.has_param("mode")) settings.mode = parseMode(req.get_param_value("mode"));
            if (req.has_param("months")) settings.months = std::stoi(req.get_param_value("months"));
        } catch (const std::exception& e) {
            return refuseAndClose(res, 400, std::string("mode or months: ") + e.what());
        }
        for (std::size_t i = 0; i < req.get_param_value_count("map"); ++i)
            settings.maps.push_back(req.get_param_value("map", i));
        settings.listName = req.get_param_value("list_name");
        // Checked against --max-upload by the pre-routing handler.
        const std::uint64_t length =
            req.has_header("Content-Length") ? std::strtoull(req.get_header_value("Content-Length").c_str(), nullptr, 10) : 0;
        if (req.has_header("Content-Length") && length == 0) return refuseAndClose(res, 400, "the list is empty");
        std::shared_ptr<Job> job = jobs.open(owner, settings);
        if (!job) {
            res.set_header("Retry-After", "30");
            return refuseAndClose(res, 503, "the job queue is full; try again later");
        }
        int pipeFds[2];
        if (::pipe2(pipeFds, O_CLOEXEC) != 0) {
            jobs.drop(job);
            return refuseAndClose(res, 500, std::string("cannot make the job's pipe: ") + std::strerror(errno));
        }
        job->length = length;
        jobs.submit(job, pipeFds[0]);

        // The body goes to the run as it arrives; the pipe's buffer is all
        // that is held, and a full pipe stops the reading.
        bool tooBig = false, runGone = false;
        std::uint64_t lines = 0;
        char lastByte = '\n';
        const bool whole = reader([&](const char* data, std::size_t len) {
            const std::uint64_t before = job->bytes;
            if (before + len > o.maxUpload) {
                tooBig = true;
                return false;
            }
            lines += static_cast<std::uint64_t>(std::count(data, data + len, '\n'));
            if (len > 0) lastByte = data[len - 1];
            if (!writeAll(pipeFds[1], data, len)) {
                runGone = true;
                return false;
            }
            const std::uint64_t now = before + len;
            job->bytes = now;
            job->estimate = length > now ? static_cast<std::uint64_t>(static_cast<double>(lines) *
                                                                      static_cast<double>(length) /
                                                                      static_cast<double>(now))
                                         : lines;
            return true;
        });
        const std::uint64_t bytes = job->bytes;
        if (whole && bytes > 0) {
            const std::uint64_t rows = lines + (lastByte != '\n' ? 1 : 0);
            job->estimate = rows > 0 ? rows - 1 : 0;  // less the header
        } else if (!runGone) {
            job->uploadError = tooBig      ? fmt::format("a list may hold at most {} bytes", o.maxUpload)
                               : bytes == 0 ? std::string("the list is empty")
                                            : fmt::format("the upload broke off after {} bytes", bytes);
            job->uploadBroken = true;
        }
        ::close(pipeFds[1]);
        res.set_header("Location", "/v1/jobs/" + job->id);
        if (tooBig) return refuseAndClose(res, 413, job->uploadError);
        if (whole && bytes == 0) return refuseAndClose(res, 400, job->uploadError);
        if (!whole && !runGone) return refuseAndClose(res, 400, job->uploadError);  // the client is most likely gone
        // The run stopped reading (its list was refused, or the server is
        // stopping): the job, failed, says why; the rest of the body is not read.
        if (runGone) return answerAndClose(res, 202, jobStatus(*job));
        sendJson(res, jobStatus(*job), 202);
    });

    const auto jobOf = [&](const httplib::Request& req, httplib::Response& res) -> std::shared_ptr<Job> {
        std::string owner;
        ownerOf(req, owner);
        std::shared_ptr<Job> job = jobs.find(req.matches[1], owner);
        if (!job) sendError(res, 404, "no such job");
        return job;
    };
    svr.Get(R"(/v1/jobs/([0-9a-f]{32}))", [&](const httplib::Request& req, httplib::Response& res) {
        if (auto job = jobOf(req, res)) sendJson(res, jobStatus(*job));
    });
    const auto finished = [](const Job& job, httplib::Response& res) {
        const int s = job.state;
        if (s == Job::kDone) return true;
        sendError(res, 409, s == Job::kFailed ? "the job failed: " + job.error
                                               : std::string("the job is ") + stateName(s));
        return false;
    };
    svr.Get(R"(/v1/jobs/([0-9a-f]{32})/result)", [&](const httplib::Request& req, httplib::Response& res) {
        if (auto job = jobOf(req, res))
            if (finished(*job, res)) sendFile(res, job->resultPath(), "text/csv", "result-" + job->id + ".csv");
    });
    svr.Get(R"(/v1/jobs/([0-9a-f]{32})/report)", [&](const httplib::Request& req, httplib::Response& res) {
        if (auto job = jobOf(req, res))
            if (finished(*job, res)) sendFile(res, job->reportPath(), "text/plain", "report-" + job->id + ".txt");
    });

    int bound = port;
    if (port == 0)
        bound = svr.bind_to_any_port(host);
    else if (!svr.bind_to_port(host, port))
        bound = -1;
    if (bound < 0) throw std::runtime_error("cannot listen on " + o.listen);

    if (listenFd >= 0) ::listen(listenFd, SOMAXCONN);

    std::thread signals([&svr, &jobs, &stopSignals] {
        int sig = 0;
        sigwait(&stopSignals, &sig);
        jobs.refuse();  // waiting uploads are let go before the pool waits for its threads
        svr.stop();
    });
    fmt::print("ncoa serve: listening on http://{}:{}\n", host, bound);
    std::fflush(stdout);
    const bool clean = svr.listen_after_bind();
    pthread_kill(signals.native_handle(), SIGTERM);  // ends the waiter when listening ended otherwise
    signals.join();
    fmt::print(stderr, "ncoa serve: stopping; the running job finishes, waiting jobs fail\n");
    jobs.stop();
    return clean ? 0 : 1;
}

}  // namespace ncoa_cli
