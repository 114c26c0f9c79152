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
    xvfb_ = new test::XvfbServer;
    session_ = new test::AtspiSession;
    ready_ = xvfb_->start() && session_->start();
  }
  static void TearDownTestSuite() {
    delete session_;
    delete xvfb_;
    session_ = nullptr;
    xvfb_ = nullptr;
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

  static inline test::XvfbServer* xvfb_ = nullptr;
  static inline test::AtspiSession* session_ = nullptr;
  static inline bool ready_ = false;
};

Json chars(Json preceding, Json second, Json predecessor, Json following) {
  return Json::array({preceding, second, predecessor, following});
}

GtkTextWindow::Options field(std::string text, std::optional<int> cursor = std::nullopt,
                             std::optional<int> selectTo = std::nullopt, bool textView = false) {
  GtkTextWindow::Options options;
  options.text = std::move(text);
  options.cursor = cursor;
  options.selectTo = selectTo;
  options.textView = textView;
  return options;
}

TEST_F(AtspiCursorContext, ReadsARealGtkField) {
  const std::string thumbs = "\U0001F44D\U0001F3FD";
  struct Case {
    const char* name;
    GtkTextWindow::Options field;
    // precedingChar, secondPrecedingChar, sentencePredecessor, followingChar
    Json characters;
    bool atStart, startsSentence, needsLeadingSpace;
  };
  const Case cases[] = {
      {"empty field", field(""), chars(nullptr, nullptr, nullptr, nullptr), true, true, false},
      {"after a word", field("Hello world"), chars("d", "l", "d", nullptr), false, false, true},
      {"after a full stop and a space", field("Done. "), chars(" ", ".", ".", nullptr), false, true, false},
      {"after a line feed", field("Wait.\n", {}, {}, true), chars("\n", ".", "\n", nullptr), false, true,
       false},
      {"after an opening quote", field("He said \""), chars("\"", " ", "d", nullptr), false, false, false},
      {"after a closing quote", field("said \"yes\""), chars("\"", "s", "s", nullptr), false, false, true},
      {"a selection", field("Hello world. Next", 6, 11), chars(" ", "o", "o", "."), false, false, false},
      {"an emoji with a skin tone", field("ok " + thumbs + " go", 5), chars(thumbs, " ", thumbs, " "), false,
       false, true},
  };
  for (const auto& c : cases) {
    GtkTextWindow window;
    ASSERT_TRUE(window.open(xvfb_->display(), c.field)) << c.name << "\n" << window.log();
    // Each call may take 0.1 s; a heavily loaded machine can miss that once.
    Json got = context();
    for (int retry = 0; retry < 2 && got.is_object() && got["available"] == false; ++retry) got = context();
    ASSERT_TRUE(got.is_object()) << c.name;
    EXPECT_EQ(got["available"], true) << c.name;
    EXPECT_EQ(got["atStart"], c.atStart) << c.name;
    Json characters = chars(got["precedingChar"], got["secondPrecedingChar"], got["sentencePredecessor"],
                            got["followingChar"]);
    EXPECT_EQ(characters, c.characters) << c.name;
    EXPECT_EQ(got["startsSentence"], c.startsSentence) << c.name;
    EXPECT_EQ(got["needsLeadingSpace"], c.needsLeadingSpace) << c.name;
  }
}

TEST_F(AtspiCursorContext, AnswersOnTheMainLoop) {
  GtkTextWindow window;
  ASSERT_TRUE(window.open(xvfb_->display(), field("Dear Ann, thanks"))) << window.log();
  EventLoop loop;
  std::optional<CursorContext> got;
  AtspiCursorContextReader reader(&loop);
  reader.read([&](CursorContext context) {
    got = context;
    loop.quit();
  });
  loop.run();
  ASSERT_TRUE(got);
  EXPECT_EQ(*got, CursorContext::fromText("Dear Ann, thanks"));
}

// libatspi's connection is process-wide, so this needs a process of its own (ctest runs each
// test alone).
TEST_F(AtspiCursorContext, ABusThatComesUpLaterIsFound) {
  if (AtspiAccessibility::connected())
    GTEST_SKIP() << "this process is connected already; run the test alone";
  GtkTextWindow window;
  ASSERT_TRUE(window.open(xvfb_->display(), field("Dear Ann"))) << window.log();
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

TEST_F(AtspiCursorContext, DictationIntoTheFocusedFieldTakesItsContext) {
  test::TempDir dir;
  auto spoken = dir / "spoken.wav";
  auto wav = dir / "sample.wav";
  ASSERT_EQ(
      test::runProcess("/usr/bin/espeak-ng", {"-v", "en-us", "-w", spoken.string(), "hello there"}).exitCode,
      0);
  ASSERT_EQ(test::runProcess("/usr/bin/sox", {"-q", spoken.string(), "-r", "16000", "-c", "1", "-b", "16",
                                              wav.string(), "pad", "0.3", "0.3"})
                .exitCode,
            0);
  struct Case {
    const char* text;
    bool leadingSpace;
  };
  for (const Case c : {Case{"Notes:", true}, Case{"", false}}) {
    GtkTextWindow window;
    ASSERT_TRUE(window.open(xvfb_->display(), field(c.text))) << window.log();
    auto result = test::runProcess(
        MURVELO_CLI_PATH, {"dictate", "--wav", wav.string(), "--engine", "pocketsphinx", "--focused-field"},
        {{"XDG_CONFIG_HOME", dir.path().string()},
         {"XDG_DATA_HOME", dir.path().string()},
         {"MURVELO_LOG_LEVEL", "error"}});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    Json text = Json::parse(result.out, nullptr, false);
    ASSERT_TRUE(text.is_string() && text.get<std::string>().size() > 1) << result.out;
    EXPECT_EQ(text.get<std::string>().front() == ' ', c.leadingSpace) << c.text << ": " << text;
  }
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
