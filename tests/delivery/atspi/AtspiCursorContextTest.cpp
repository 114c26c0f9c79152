#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <thread>

#include "base/EventLoop.h"
#include "delivery/atspi/AtspiAccessibility.h"
#include "delivery/atspi/AtspiCursorContextReader.h"
#include "support/AtspiSession.h"
#include "support/GtkTextWindow.h"
#include "support/RunProcess.h"
#include "support/TempDir.h"
#include "support/XvfbServer.h"

namespace murvelo {
namespace {

using test::GtkTextWindow;
using Json = nlohmann::json;

// One X server and one accessibility bus for the suite: libatspi connects once per process.
class AtspiCursorContext : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (!test::XvfbServer::available() || !test::AtspiSession::available() || !GtkTextWindow::available())
      return;
    xvfb_ = std::make_unique<test::XvfbServer>();
    session_ = std::make_unique<test::AtspiSession>();
    ready_ = xvfb_->start() && session_->start();
  }
  static void TearDownTestSuite() {
    session_.reset();
    xvfb_.reset();
  }
  void SetUp() override {
    if (!xvfb_) GTEST_SKIP() << "Xvfb, the AT-SPI bus launcher or python3-gi with GTK 3 is not installed";
    ASSERT_TRUE(ready_) << "the private X server or accessibility bus did not start";
  }

  // `murvelo-cli context` against the current environment plus `env`.
  static Json context(const std::map<std::string, std::string>& env = {}) {
    auto result = test::runProcess(MURVELO_CLI_PATH, {"context"}, env);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return Json::parse(result.out, nullptr, false);
  }

  static inline std::unique_ptr<test::XvfbServer> xvfb_;
  static inline std::unique_ptr<test::AtspiSession> session_;
  static inline bool ready_ = false;
};

TEST_F(AtspiCursorContext, ReadsARealGtkField) {
  const std::string thumbs = "\U0001F44D\U0001F3FD";
  struct Case {
    const char* name;
    GtkTextWindow::Options field;
    // precedingChar, secondPrecedingChar, sentencePredecessor, followingChar, atStart, startsSentence,
    // needsLeadingSpace
    Json expected;
  };
  const Case cases[] = {
      {"empty field", {"", {}, {}, false}, {nullptr, nullptr, nullptr, nullptr, true, true, false}},
      {"after a word", {"Hello world", {}, {}, false}, {"d", "l", "d", nullptr, false, false, true}},
      {"after a full stop and a space",
       {"Done. ", {}, {}, false},
       {" ", ".", ".", nullptr, false, true, false}},
      {"after a line feed", {"Wait.\n", {}, {}, true}, {"\n", ".", "\n", nullptr, false, true, false}},
      {"after an opening quote",
       {"He said \"", {}, {}, false},
       {"\"", " ", "d", nullptr, false, false, false}},
      {"after a closing quote",
       {"said \"yes\"", {}, {}, false},
       {"\"", "s", "s", nullptr, false, false, true}},
      {"a selection", {"Hello world. Next", 6, 11, false}, {" ", "o", "o", ".", false, false, false}},
      {"an emoji with a skin tone",
       {"ok " + thumbs + " go", 5, {}, false},
       {thumbs, " ", thumbs, " ", false, false, true}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    GtkTextWindow window;
    ASSERT_TRUE(window.open(xvfb_->display(), c.field)) << window.log();
    // Each call may take 0.1 s; a heavily loaded machine can miss that once.
    Json got = context();
    for (int retry = 0; retry < 2 && got.is_object() && got["available"] == false; ++retry) got = context();
    ASSERT_TRUE(got.is_object());
    EXPECT_EQ(got["available"], true);
    Json seen = Json::array();
    for (const char* key : {"precedingChar", "secondPrecedingChar", "sentencePredecessor", "followingChar",
                            "atStart", "startsSentence", "needsLeadingSpace"})
      seen.push_back(got[key]);
    EXPECT_EQ(seen, c.expected);
  }
}

// libatspi's connection is process-wide, so this needs a process of its own (ctest runs each
// test alone).
TEST_F(AtspiCursorContext, ABusThatComesUpLaterIsFound) {
  if (AtspiAccessibility::connected())
    GTEST_SKIP() << "this process is connected already; run the test alone";
  GtkTextWindow window;
  ASSERT_TRUE(window.open(xvfb_->display(), {"Dear Ann", {}, {}, false})) << window.log();
  auto readOnce = [] {
    EventLoop loop;
    std::optional<CursorContext> got;
    AtspiCursorContextReader reader(&loop);
    reader.read([&](CursorContext context) {
      got = context;
      loop.quit();
    });
    loop.run();
    return got.value_or(CursorContext::fromText("not answered"));
  };
  // An accessibility bus that is not there yet (libdbus reads the session bus's address once per
  // process, so the absent bus is named through AT-SPI's own variable).
  setenv("AT_SPI_BUS_ADDRESS", ("unix:path=" + (session_->dir() / "absent").string()).c_str(), 1);
  EXPECT_EQ(readOnce(), CursorContext::unavailable());
  unsetenv("AT_SPI_BUS_ADDRESS");
  std::this_thread::sleep_for(AtspiAccessibility::kRetryInterval + std::chrono::milliseconds(100));
  EXPECT_EQ(readOnce(), CursorContext::fromText("Dear Ann"));
}

TEST_F(AtspiCursorContext, WithoutAFieldOrABusTheContextIsUnavailableAndQuick) {
  test::TempDir dir;
  // A socket that takes connections and never answers, as a hung bus would.
  int hung = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::string path = (dir / "hung").string();
  path.copy(address.sun_path, sizeof(address.sun_path) - 1);
  ASSERT_EQ(bind(hung, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  ASSERT_EQ(listen(hung, 8), 0);

  struct Case {
    const char* name;
    std::map<std::string, std::string> env;
  };
  const Case cases[] = {
      {"no focused field", {}},
      {"no session bus", {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + (dir / "absent").string()}}},
      {"a bus that never answers", {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + path}}},
  };
  for (const auto& c : cases) {
    auto start = std::chrono::steady_clock::now();
    Json got = context(c.env);
    auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(got["available"], false) << c.name;
    EXPECT_EQ(got["startsSentence"], true) << c.name;
    EXPECT_EQ(got["needsLeadingSpace"], false) << c.name;
    // Not a speed check: a read that waited for the bus's own 25 s time-out would be a hang.
    EXPECT_LT(elapsed, std::chrono::seconds(3)) << c.name;
  }
  close(hung);
}

}  // namespace
}  // namespace murvelo
