// `ncoa serve` as a client meets it: the real command on a loopback port,
// driven over HTTP. Lookups must answer as `ncoa match` does, a job's result
// must be `ncoa match`'s file, and every refusal must come early and as JSON.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <httplib.h>
#include <netinet/in.h>
#include <openssl/evp.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "TestSupport.h"

namespace fs = std::filesystem;
using json = nlohmann::json;

namespace {

const std::string kNcoa = QV_BINARY_DIR "/cli/ncoa";
const std::string kList = QV_SOURCE_DIR "/data/sample/list.csv";

std::string sha256(const std::string& s) {
    unsigned char md[EVP_MAX_MD_SIZE];
    unsigned n = 0;
    EVP_Digest(s.data(), s.size(), md, &n, EVP_sha256(), nullptr);
    std::string hex;
    char b[3];
    for (unsigned i = 0; i < n; ++i) hex += (std::snprintf(b, sizeof b, "%02x", md[i]), b);
    return hex;
}

class Serve : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        dir = fs::temp_directory_path() / ("qv-serve-" + std::to_string(::getpid()));
        fs::remove_all(dir);
        fs::create_directories(dir / "jobs");
        data = (dir / "set").string();
        ASSERT_EQ(std::system(("'" + kNcoa + "' dataset build '" QV_SOURCE_DIR "/data/sample/world.json' '" + data +
                               "' --quiet").c_str()),
                  0);
        // What `ncoa match` makes of the sample list: the answers lookups and jobs must give.
        ASSERT_EQ(std::system(("'" + kNcoa + "' match --data '" + data + "' --in '" + kList + "' --out '" +
                               (dir / "m.csv").string() + "' --report '" + (dir / "m.txt").string() +
                               "' --list-name SPRING 2>/dev/null").c_str()),
                  0);
        // The key file as the helper writes it: one digest per line.
        int status = 0;
        const std::string digest = shellOutput("printf alpha-key | '" + kNcoa + "' serve --hash-key", &status);
        ASSERT_EQ(digest, sha256("alpha-key") + "\n");
        std::ofstream(dir / "keys") << "# two customers\n" << digest << sha256("beta-key") << "  beta\n";

        const std::string keys = (dir / "keys").string(), jobs = (dir / "jobs").string();
        pid = launch({"--keys", keys, "--job-dir", jobs, "--job-ttl", "5", "--queue", "1", "--max-body", "65536",
                      "--max-batch", "400", "--threads", "2"},
                     port);
        ASSERT_GT(port, 0);
    }
    // Starts `ncoa serve` on the sample set on a free loopback port.
    static pid_t launch(const std::vector<std::string>& options, int& portOut) {
        std::vector<std::string> args{"ncoa", "serve", "--data", data, "--listen", "127.0.0.1:0"};
        args.insert(args.end(), options.begin(), options.end());
        int out[2];
        if (::pipe(out) != 0) return -1;
        const pid_t child = ::fork();
        if (child == 0) {
            ::dup2(out[1], 1);
            ::close(out[0]);
            std::vector<char*> argv;
            for (std::string& a : args) argv.push_back(a.data());
            argv.push_back(nullptr);
            ::execv(kNcoa.c_str(), argv.data());
            ::_exit(127);
        }
        ::close(out[1]);
        std::string line;
        char c;
        while (::read(out[0], &c, 1) == 1 && c != '\n') line += c;
        ::close(out[0]);
        const std::size_t colon = line.rfind(':');
        portOut = colon == std::string::npos ? -1 : std::stoi(line.substr(colon + 1));
        return child;
    }
    static void TearDownTestSuite() {
        if (pid > 0) {
            ::kill(pid, SIGTERM);
            int status = 0;
            ::waitpid(pid, &status, 0);
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
            EXPECT_TRUE(fs::is_empty(dir / "jobs")) << "job files left behind";
        }
        fs::remove_all(dir);
    }

    static httplib::Client client(const std::string& key = "alpha-key") {
        httplib::Client c("127.0.0.1", port);
        if (!key.empty()) c.set_bearer_token_auth(key.c_str());
        c.set_read_timeout(30, 0);
        return c;
    }
    static json body(const httplib::Result& r) { return json::parse(r->body, nullptr, false); }

    // Sends raw bytes and returns what came back before the server closed or
    // `seconds` passed.
    static std::string raw(const std::string& bytes, int seconds, bool keepOpen = false, int* fdOut = nullptr,
                           int to = port) {
        const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_port = htons(static_cast<std::uint16_t>(to));
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) return "";
        ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (keepOpen) {
            *fdOut = fd;
            return "";
        }
        return readAll(fd, seconds);
    }
    // What comes on `fd` until the server closes or `seconds` pass; closes it.
    static std::string readAll(int fd, int seconds) {
        timeval tv{seconds, 0};
        ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
        std::string got;
        char buf[4096];
        for (ssize_t n; (n = ::recv(fd, buf, sizeof buf, 0)) > 0;) got.append(buf, static_cast<std::size_t>(n));
        ::close(fd);
        return got;
    }

    // Polls until `done()` holds, for at most a minute; says whether it did.
    template <typename Pred>
    static bool waitFor(Pred done) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!done()) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return true;
    }
    static json jobState(const std::string& id) { return body(client().Get(("/v1/jobs/" + id).c_str())); }
    static json waitEnd(json j) {
        waitFor([&] {
            j = jobState(j["id"]);
            return j["state"] == "done" || j["state"] == "failed";
        });
        return j;
    }
    // The ids of the jobs whose folders exist.
    static std::set<std::string> jobFolders() {
        std::set<std::string> ids;
        for (const auto& root : fs::directory_iterator(dir / "jobs"))
            for (const auto& job : fs::directory_iterator(root.path())) ids.insert(job.path().filename().string());
        return ids;
    }
    // The job an upload still under way made: its folder is its only trace.
    static std::string newJob(const std::set<std::string>& before) {
        std::string id;
        waitFor([&] {
            for (const std::string& j : jobFolders())
                if (!before.count(j)) id = j;
            return !id.empty();
        });
        return id;
    }

    // Uploads the sample list and waits for the job to end.
    static json runJob(const std::string& query = "") {
        auto r = client().Post(("/v1/jobs" + query).c_str(), fileBytes(kList), "text/csv");
        if (!r || r->status != 202) return json();
        return waitEnd(body(r));
    }

    static inline fs::path dir;
    static inline std::string data;
    static inline pid_t pid = -1;
    static inline int port = 0;
};

TEST_F(Serve, LookupsAnswerEveryRowAsTheMatchCommandDoes) {
    std::istringstream list(fileBytes(kList)), result(fileBytes((dir / "m.csv").string()));
    json batch{{"records", json::array()}};
    std::vector<std::vector<std::string>> expected;
    std::string inLine, outLine;
    std::getline(list, inLine);
    std::getline(result, outLine);
    const std::vector<std::string> head = csvFields(inLine), outHead = csvFields(outLine);
    while (std::getline(list, inLine) && std::getline(result, outLine)) {
        const std::vector<std::string> in = csvFields(inLine), out = csvFields(outLine);
        const std::string name = in[columnOf(head, "Name")];
        batch["records"].push_back({{"name", name.empty() ? in[columnOf(head, "Company")] : name},
                                    {"pno", in[columnOf(head, "Primary Number")]},
                                    {"sno", in[columnOf(head, "Secondary Number")]},
                                    {"desc", in[columnOf(head, "Secondary Designator")]},
                                    {"zip9", in[columnOf(head, "ZIP")] + in[columnOf(head, "ZIP4")]},
                                    {"type", in[columnOf(head, "Record Type")]}});
        expected.push_back(out);
    }
    ASSERT_EQ(expected.size(), 318u);

    auto c = client();
    const json got = body(c.Post("/v1/lookup/batch", batch.dump(), "application/json"));
    ASSERT_EQ(got["answers"].size(), expected.size()) << got.dump().substr(0, 300);
    int moved = 0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const json& a = got["answers"][i];
        for (std::size_t k = columnOf(outHead, "ncoa_return_code"); k + 1 < outHead.size(); ++k)
            EXPECT_EQ(a[outHead[k].substr(5)], expected[i][k]) << "row " << i + 2 << " " << outHead[k];
        moved += a["return_code"] == "A";
    }
    EXPECT_GT(moved, 0);

    // One record alone answers as in the batch.
    const json one = body(c.Post("/v1/lookup", batch["records"][5].dump(), "application/json"));
    EXPECT_EQ(one, got["answers"][5]);
}

TEST_F(Serve, RefusalsAreJsonWithAFittingStatus) {
    auto c = client();
    const auto post = [&](const std::string& path, const std::string& b) {
        auto r = c.Post(path.c_str(), b, "application/json");
        return std::make_pair(r ? r->status : -1, r ? body(r) : json());
    };
    std::string binary;
    for (int i = 0; i < 256; ++i) binary += static_cast<char>(i);
    const std::pair<std::string, int> bad[] = {
        {"{\"zip9\": ", 400},                          // not JSON
        {binary, 400},                                 // not text at all
        {"{\"name\": \"JO\"}", 400},                   // no zip9
        {"{\"zip9\": 100011234}", 400},                // a number where text goes
        {"{\"zip9\": \"10001\", \"pno\": \"12345678901\"}", 400},  // wider than the library reads
        {"{\"zip9\": \"10001\", \"mode\": \"sideways\"}", 400},
        {"[1, 2]", 400},
    };
    for (const auto& [b, status] : bad) {
        const auto [got, j] = post("/v1/lookup", b);
        EXPECT_EQ(got, status) << b;
        EXPECT_EQ(j["code"], status) << b;
        EXPECT_FALSE(j["text"].get<std::string>().empty()) << b;
    }
    // Batches: bounded by --max-batch; a bad record is refused alone.
    json big{{"records", json::array()}};
    for (int i = 0; i < 401; ++i) big["records"].push_back({{"zip9", "10001"}});
    EXPECT_EQ(post("/v1/lookup/batch", big.dump()).first, 413);
    const auto [st, mixed] = post("/v1/lookup/batch", R"({"records": [{"zip9": "10001"}, {"name": "X"}]})");
    ASSERT_EQ(st, 200);
    EXPECT_EQ(mixed["answers"][0]["return_code"], "00");
    EXPECT_EQ(mixed["answers"][1]["error"]["code"], 400);
    EXPECT_EQ(post("/v1/lookup/batch", R"({"rows": []})").first, 400);
    EXPECT_EQ(post("/v1/lookup", std::string(70000, ' ')).first, 413);

    // Keys: none, a wrong one, and the routes outside /v1/ that need none.
    for (const std::string key : {"", "gamma-key"}) {
        auto r = client(key).Get("/v1/info");
        ASSERT_TRUE(r);
        EXPECT_EQ(r->status, 401) << key;
        EXPECT_EQ(body(r)["code"], 401);
    }
    EXPECT_EQ(client("").Get("/healthz")->status, 200);
    EXPECT_EQ(client().Get("/v1/info")->status, 200);
    EXPECT_EQ(client("beta-key").Get("/v1/info")->status, 200);
    auto missing = c.Get("/v1/files/etc/passwd");
    EXPECT_EQ(missing->status, 404);
    EXPECT_EQ(body(missing)["text"], "no such route");

    // A 2 GB body is refused on its headers, without waiting for the bytes.
    const auto t0 = std::chrono::steady_clock::now();
    const std::string got = raw("POST /v1/jobs HTTP/1.1\r\nHost: x\r\nAuthorization: Bearer alpha-key\r\n"
                                "Content-Length: 2147483648\r\n\r\nName,ZIP\r\n",
                                10);
    EXPECT_EQ(got.rfind("HTTP/1.1 413", 0), 0u) << got;
    EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(3));
}

TEST_F(Serve, JobResultIsTheMatchCommandsFileAndStaysWithItsKey) {
    const json j = runJob("?list_name=SPRING");
    ASSERT_EQ(j["state"], "done") << j.dump();
    EXPECT_EQ(j["records"], 318);
    EXPECT_EQ(j["estimate"], 318);
    const std::string id = j["id"];

    auto c = client();
    auto result = c.Get(("/v1/jobs/" + id + "/result").c_str());
    ASSERT_EQ(result->status, 200);
    EXPECT_EQ(result->body, fileBytes((dir / "m.csv").string()));
    // The report is the command's, but for the date it was made.
    auto report = c.Get(("/v1/jobs/" + id + "/report").c_str());
    ASSERT_EQ(report->status, 200);
    std::istringstream a(report->body), b(fileBytes((dir / "m.txt").string()));
    int lines = 0;
    for (std::string x, y; std::getline(a, x) && std::getline(b, y); ++lines)
        if (x.find("Date") == std::string::npos) {
            EXPECT_EQ(x, y);
        }
    EXPECT_GT(lines, 20);
    int sum = 0;
    for (const auto& [code, n] : j["counts"].items()) sum += n.get<int>();
    EXPECT_EQ(sum, 318);

    // Another key does not see it; an unknown id is not found either.
    for (const std::string& path : std::vector<std::string>{"/v1/jobs/" + id, "/v1/jobs/" + id + "/result", "/v1/jobs/" + id + "/report",
                                   "/v1/jobs/0123456789abcdef0123456789abcdef"}) {
        auto r = client("beta-key").Get(path.c_str());
        EXPECT_EQ(r->status, 404) << path;
        EXPECT_EQ(body(r)["text"], "no such job") << path;
    }

    // A list without the columns of a lookup fails with the reason.
    auto bad = c.Post("/v1/jobs", "Colour,Size\nred,9\n", "text/csv");
    ASSERT_EQ(bad->status, 202);
    const json f = waitEnd(body(bad));
    EXPECT_EQ(f["state"], "failed");
    EXPECT_EQ(c.Get(("/v1/jobs/" + f["id"].get<std::string>() + "/result").c_str())->status, 409);

    // Finished jobs go after --job-ttl (5 s), files and all.
    EXPECT_TRUE(waitFor([&] { return c.Get(("/v1/jobs/" + id).c_str())->status == 404; }));
    EXPECT_TRUE(waitFor([&] { return jobFolders().empty(); }));
}

// The list is matched while it arrives: the run has answered rows before the
// upload is over, and what comes back is still `ncoa match`'s file. An upload
// that breaks off leaves a failed job and no file at all.
TEST_F(Serve, ListIsMatchedWhileItArrives) {
    // Eight copies of the sample's rows: several of the pipeline's batches.
    const std::string sample = fileBytes(kList);
    const std::size_t headEnd = sample.find('\n') + 1;
    std::string list = sample;
    for (int i = 1; i < 8; ++i) list += sample.substr(headEnd);
    std::ofstream(dir / "big.csv", std::ios::binary) << list;
    ASSERT_EQ(std::system(("'" + kNcoa + "' match --data '" + data + "' --in '" + (dir / "big.csv").string() +
                           "' --out '" + (dir / "big-m.csv").string() + "' 2>/dev/null").c_str()),
              0);

    // In chunks of 7 bytes; halfway, the upload waits until rows are answered.
    std::set<std::string> before = jobFolders();
    std::size_t sent = 0;
    json midway;
    auto c = client();
    auto r = c.Post(
        "/v1/jobs",
        [&](std::size_t, httplib::DataSink& sink) {
            if (sent >= list.size() / 2 && midway.is_null()) {
                const std::string id = newJob(before);
                waitFor([&] {
                    midway = jobState(id);
                    return midway.value("records", 0) > 0;
                });
            }
            const std::size_t n = std::min<std::size_t>(7, list.size() - sent);
            sink.write(list.data() + sent, n);
            sent += n;
            if (sent == list.size()) sink.done();
            return true;
        },
        "text/csv");
    ASSERT_TRUE(r);
    ASSERT_EQ(r->status, 202) << r->body;
    EXPECT_EQ(midway["state"], "running") << midway.dump();
    EXPECT_GT(midway.value("records", 0), 0) << midway.dump();
    EXPECT_LT(midway.value("bytes", list.size()), list.size());
    const json j = waitEnd(body(r));
    ASSERT_EQ(j["state"], "done") << j.dump();
    EXPECT_EQ(j["records"], 318 * 8);
    EXPECT_EQ(j["estimate"], 318 * 8);
    EXPECT_EQ(c.Get(("/v1/jobs/" + j["id"].get<std::string>() + "/result").c_str())->body,
              fileBytes((dir / "big-m.csv").string()));

    // Half a list, then the client goes. While it holds the only place in
    // the queue (--queue 1), another upload is turned away.
    before = jobFolders();
    int held = -1;
    raw("POST /v1/jobs HTTP/1.1\r\nHost: x\r\nAuthorization: Bearer alpha-key\r\nContent-Length: " +
            std::to_string(list.size()) + "\r\n\r\n" + list.substr(0, list.size() / 2),
        0, true, &held);
    const std::string id = newJob(before);
    ASSERT_FALSE(id.empty());
    EXPECT_TRUE(waitFor([&] { return jobState(id).value("records", 0) > 0; }));
    auto full = c.Post("/v1/jobs", sample, "text/csv");
    ASSERT_TRUE(full);
    EXPECT_EQ(full->status, 503);
    EXPECT_FALSE(full->get_header_value("Retry-After").empty());
    ::close(held);
    const json broken = waitEnd(json{{"id", id}});
    EXPECT_EQ(broken["state"], "failed");
    EXPECT_NE(broken.value("error", "").find("broke off"), std::string::npos) << broken.dump();
    EXPECT_EQ(c.Get(("/v1/jobs/" + id + "/result").c_str())->status, 409);
    EXPECT_EQ(c.Get(("/v1/jobs/" + id + "/report").c_str())->status, 409);
    for (const auto& root : fs::directory_iterator(dir / "jobs")) {
        if (fs::exists(root.path() / id)) {
            EXPECT_TRUE(fs::is_empty(root.path() / id)) << "a broken job's file stayed";
        }
    }
}

// Connections beyond the threads and the waiting room are answered 503 at
// once; the ones admitted are all served.
TEST_F(Serve, AFullConnectionQueueAnswers503) {
    int p = 0;
    const pid_t small = launch({"--http-threads", "1", "--conn-queue", "1"}, p);
    ASSERT_GT(p, 0);
    // One connection holds the thread and one waits, both with their headers unfinished.
    int held[2];
    for (int& fd : held) raw("GET /healthz HTTP/1.1\r\nHost: x\r\n", 0, true, &fd, p);
    const std::string refused = raw("GET /healthz HTTP/1.1\r\nHost: x\r\n\r\n", 30, false, nullptr, p);
    EXPECT_EQ(refused.rfind("HTTP/1.1 503", 0), 0u) << refused;
    EXPECT_NE(refused.find("Retry-After: 1"), std::string::npos) << refused;
    for (int fd : held) {
        ::send(fd, "Connection: close\r\n\r\n", 21, MSG_NOSIGNAL);
        const std::string got = readAll(fd, 30);
        EXPECT_EQ(got.rfind("HTTP/1.1 200", 0), 0u) << got;
    }
    ::kill(small, SIGTERM);
    int status = 0;
    ::waitpid(small, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
}

TEST_F(Serve, EveryDocumentedRouteIsServedAndNoOther) {
    const json doc = json::parse(fileBytes(QV_SOURCE_DIR "/cli/web/openapi.json"));
    auto c = client();
    EXPECT_EQ(json::parse(c.Get("/openapi.json")->body), doc);
    const json job = runJob();
    ASSERT_EQ(job["state"], "done");
    for (const auto& [path, ops] : doc["paths"].items()) {
        std::string p = path;
        if (const std::size_t at = p.find("{id}"); at != std::string::npos) p.replace(at, 4, job["id"].get<std::string>());
        for (const auto& [method, op] : ops.items()) {
            httplib::Result r = method == "get" ? c.Get(p.c_str()) : c.Post(p.c_str(), "{}", "application/json");
            ASSERT_TRUE(r) << method << " " << path;
            EXPECT_TRUE(op["responses"].contains(std::to_string(r->status)))
                << method << " " << path << " answered " << r->status << " " << r->body.substr(0, 200);
        }
    }
    for (const char* p : {"/v1", "/v1/jobs", "/v1/lookups", "/index.html", "/v1/jobs/ABC/result"})
        EXPECT_EQ(c.Get(p)->status, 404) << p;
}

}  // namespace
