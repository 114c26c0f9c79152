// Model downloads against a loopback HTTP server that honours byte ranges.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <random>

#include "speech/ModelInventory.h"
#include "speech/whisper/ModelDownloader.h"
#include "support/ChildProcess.h"
#include "support/Pump.h"
#include "support/RunProcess.h"
#include "support/TempDir.h"

namespace murvelo {
namespace {

using namespace std::chrono_literals;

constexpr const char* kServer = R"(import http.server, os, sys
root, portfile = sys.argv[1], sys.argv[2]
class Handler(http.server.SimpleHTTPRequestHandler):
    def __init__(self, *args, **kwargs):
        super().__init__(*args, directory=root, **kwargs)
    def log_message(self, *args):
        with open(os.path.join(root, 'requests.log'), 'a') as log:
            log.write(self.path + ' ' + (self.headers.get('Range') or '-') + '\n')
    def send_head(self):
        if self.path.endswith('endless.bin'):
            self.send_response(200)
            self.end_headers()
            try:
                while True:
                    self.wfile.write(b'x' * 65536)
            except OSError:
                return None
        wanted = self.headers.get('Range')
        path = self.translate_path(self.path)
        if not wanted or not os.path.isfile(path):
            return super().send_head()
        size = os.path.getsize(path)
        start = int(wanted.split('=')[1].split('-')[0])
        if start >= size:
            self.send_error(416)
            return None
        body = open(path, 'rb')
        body.seek(start)
        self.send_response(206)
        self.send_header('Content-Range', 'bytes %d-%d/%d' % (start, size - 1, size))
        self.send_header('Content-Length', str(size - start))
        self.end_headers()
        return body
server = http.server.ThreadingHTTPServer(('127.0.0.1', 0), Handler)
with open(portfile + '.tmp', 'w') as f:
    f.write(str(server.server_address[1]))
os.rename(portfile + '.tmp', portfile)
server.serve_forever()
)";

class ModelDownloadTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(served());
    test::writeFile(temp / "server.py", kServer);
    std::mt19937 random(11);
    body.resize(3 * 1024 * 1024 + 123);
    for (auto& c : body) c = static_cast<char>(random());
    test::writeFile(served() / "ggml-base.en.bin", body);
    sha1 = ModelDownloader::sha1Of(served() / "ggml-base.en.bin");
    ASSERT_TRUE(server.start(
        {"/usr/bin/python3", (temp / "server.py").string(), served().string(), (temp / "port").string()}, {},
        temp / "server.log"));
    ASSERT_TRUE(test::waitUntil([&] { return std::filesystem::exists(temp / "port"); }))
        << "the loopback server did not start";
    base = "http://127.0.0.1:" + test::readFile(temp / "port") + "/";
  }
  std::filesystem::path served() const { return temp / "served"; }

  test::TempDir temp;
  std::string body;
  std::string sha1;
  test::ChildProcess server;
  std::string base;
};

// A fresh download, and one that resumes a partial file with a range request; progress counts the
// part already on disk.
TEST_F(ModelDownloadTest, DownloadsChecksAndMovesIntoPlaceWithProgress) {
  for (std::size_t partial : {std::size_t{0}, std::size_t{1048576}}) {
    auto destination = temp / "models" / "ggml-base.en.bin";
    std::filesystem::remove_all(temp / "models");
    if (partial) test::writeFile(temp / "models" / "ggml-base.en.bin.partial", body.substr(0, partial));
    std::vector<ModelDownloader::Progress> seen;
    Status status = ModelDownloader::download(base + "ggml-base.en.bin", destination, sha1,
                                              [&](const ModelDownloader::Progress& p) { seen.push_back(p); });
    ASSERT_TRUE(status) << status.message();
    EXPECT_EQ(test::readFile(destination), body);
    EXPECT_FALSE(std::filesystem::exists(temp / "models" / "ggml-base.en.bin.partial"));
    ASSERT_FALSE(seen.empty());
    EXPECT_EQ(std::pair(seen.back().received, seen.back().total), std::pair(body.size(), body.size()));
    const std::string requests = test::readFile(served() / "requests.log");
    EXPECT_EQ(requests.find("bytes=1048576-") != std::string::npos, partial > 0) << requests;
  }
}

TEST_F(ModelDownloadTest, FailuresLeaveNoModelBehind) {
  struct Case {
    const char* name;
    std::string url;
    std::string reason;
  };
  const Case cases[] = {
      {"missing file", base + "ggml-nothing.bin", "HTTP 404"},
      {"a server that keeps sending", base + "ggml-endless.bin", "more than"},
      {"nobody listening", "http://127.0.0.1:9/ggml-base.en.bin", "download failed"},
  };
  for (const auto& c : cases) {
    auto destination = temp / "models" / "ggml-base.en.bin";
    Status status = ModelDownloader::download(
        c.url, destination, sha1, [](const ModelDownloader::Progress&) {}, body.size() + 4096);
    ASSERT_FALSE(status) << c.name;
    EXPECT_EQ(status.message().find("resume"), std::string::npos) << c.name << ": " << status.message();
    EXPECT_NE(status.message().find(c.reason), std::string::npos) << c.name << ": " << status.message();
    EXPECT_FALSE(std::filesystem::exists(destination)) << c.name;
    EXPECT_FALSE(std::filesystem::exists(temp / "models" / "ggml-base.en.bin.partial")) << c.name;
  }
}

TEST_F(ModelDownloadTest, RemovingAModelTouchesNothingElse) {
  auto dir = temp / "models";
  for (const char* name : {"ggml-base.en.bin", "ggml-base.en.bin.partial", "notes.txt"})
    test::writeFile(dir / name, "1");
  EXPECT_FALSE(ModelInventory::remove(dir, "small.en")) << "not installed";
  EXPECT_FALSE(ModelInventory::remove(dir, "../served/ggml-base.en")) << "outside the folder";
  EXPECT_TRUE(std::filesystem::exists(served() / "ggml-base.en.bin"));
  ASSERT_TRUE(ModelInventory::remove(dir, "base.en"));
  EXPECT_FALSE(std::filesystem::exists(dir / "ggml-base.en.bin.partial"));
  EXPECT_TRUE(std::filesystem::exists(dir / "notes.txt"));
}

// A file that is not the official one is refused: see the model manager's test.
TEST_F(ModelDownloadTest, CommandLineListsModelsAndRefusesAnUnknownOne) {
  std::map<std::string, std::string> env = {{"XDG_DATA_HOME", temp.path().string()},
                                            {"XDG_CONFIG_HOME", temp.path().string()},
                                            {"MURVELO_MODEL_BASE_URL", base}};
  EXPECT_EQ(test::runProcess(MURVELO_CLI_PATH, {"models", "download", "huge.en"}, env).exitCode, 2);
  std::filesystem::create_directories(temp / "murvelo" / "models");
  std::filesystem::copy_file(served() / "ggml-base.en.bin", temp / "murvelo" / "models" / "ggml-tiny.en.bin");
  auto listed = test::runProcess(MURVELO_CLI_PATH, {"models", "list"}, env);
  ASSERT_EQ(listed.exitCode, 0) << listed.err;
  auto json = nlohmann::json::parse(listed.out);
  ASSERT_EQ(json["installed"].size(), 1u);
  EXPECT_EQ(json["installed"][0]["name"], "tiny.en");
  EXPECT_EQ(json["installed"][0]["used"], true);
}

}  // namespace
}  // namespace murvelo
