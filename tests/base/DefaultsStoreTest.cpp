#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <set>

#include "base/linux/FileDefaultsStore.h"
#include "support/RecordingLogSink.h"
#include "support/TempDir.h"

namespace murvelo {
namespace {

using test::readFile;
using test::TempDir;
using test::writeFile;

// Wrong-typed reads and values of unknown shape are absent, cost no other key anything, and stay.
TEST(DefaultsStoreTest, EachValueReadsBackOnlyAsItsOwnType) {
  nlohmann::json document = {{"nullValue", nullptr},
                             {"mixedList", {"a", 1}},
                             {"object", {{"x", 1}}},
                             {"badData", {{"data", "not base64!"}}},
                             {"s", "text"}};
  InMemoryDefaultsStore store(document);
  store.setInteger("i", -42);
  store.setDouble("d", 2.5);
  store.setData("data", Bytes{0, 1, 254, 255});
  EXPECT_EQ(store.real("i"), -42.0);  // a whole number is a valid double
  EXPECT_EQ(store.data("data"), (Bytes{0, 1, 254, 255}));
  EXPECT_FALSE(store.boolean("s"));
  EXPECT_FALSE(store.integer("d"));
  EXPECT_FALSE(store.string("data"));
  EXPECT_FALSE(store.data("s"));
  for (const char* key : {"nullValue", "mixedList", "object", "badData"}) {
    EXPECT_FALSE(store.value(key)) << key;
    EXPECT_TRUE(store.contains(key)) << key;
  }
  EXPECT_EQ(store.string("s"), "text");
}

class FileDefaultsStoreTest : public ::testing::Test {
 protected:
  std::filesystem::path file() const { return dir_ / "murvelo" / "defaults.json"; }
  TempDir dir_;
};

TEST_F(FileDefaultsStoreTest, WritesPersistAcrossReopenWithPrivateMode) {
  {
    auto store = FileDefaultsStore::open(file());
    ASSERT_TRUE(store->setData("blob", Bytes{'h', 'i'}));
    ASSERT_TRUE(store->setDouble("ratio", 1.0));
  }
  auto store = FileDefaultsStore::open(file());
  EXPECT_EQ(store->data("blob"), (Bytes{'h', 'i'}));
  EXPECT_FALSE(store->integer("ratio")) << "a double must stay a double on disk";

  struct stat info {};
  ASSERT_EQ(::stat(file().c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
}

// Files that do not parse, or too big or too deeply nested to parse safely, are moved aside under
// distinct names (several within one second) and kept for inspection; the store starts empty and
// writes again.
TEST_F(FileDefaultsStoreTest, UnusableFilesAreMovedAsideAndTheStoreStartsEmpty) {
  const std::string deep = "{\"x\": " + std::string(200000, '[') + std::string(200000, ']') + "}";
  const std::string cases[] = {
      "{\"cleanupLevel\": \"format\", \"autoP",  // truncated mid-write
      "[1, 2, 3]",                               // valid JSON but not a document of keys
      deep,
      "{\"x\": \"" + std::string(FileDefaultsStore::kMaxFileBytes, 'a') + "\"}",
  };
  std::set<std::filesystem::path> asides;
  test::ScopedLogCapture quiet;
  for (const auto& contents : cases) {
    writeFile(file(), contents);
    auto store = FileDefaultsStore::open(file());
    EXPECT_TRUE(store->keys().empty());
    ASSERT_FALSE(store->movedAsideTo().empty());
    asides.insert(store->movedAsideTo());
    EXPECT_EQ(readFile(store->movedAsideTo()), contents) << "the bad file is kept for inspection";
    EXPECT_NE(store->movedAsideTo().filename().string().find("defaults.json.corrupt-"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(file()));
    EXPECT_TRUE(store->setBool("autoPaste", false));
    EXPECT_EQ(FileDefaultsStore::open(file())->boolean("autoPaste"), false);
  }
  EXPECT_EQ(asides.size(), std::size(cases));
}

TEST_F(FileDefaultsStoreTest, UnwritableLocationReportsErrorButKeepsValueInMemory) {
  writeFile(dir_ / "not-a-dir", "");
  test::ScopedLogCapture logs;
  auto store = FileDefaultsStore::open(dir_ / "not-a-dir" / "murvelo" / "defaults.json");
  Status status = store->setString("hotkey", "fn");
  EXPECT_FALSE(status);
  EXPECT_EQ(store->string("hotkey"), "fn");
}

TEST_F(FileDefaultsStoreTest, InvalidUtf8IsRefusedAndTheFileStaysValid) {
  auto store = FileDefaultsStore::open(file());
  ASSERT_TRUE(store->setString("dictationMicrophoneSelection", "device:ok"));
  const std::string bad[] = {"device:\xff", "\xed\xa0\x80", "trail\xe2\x82"};
  for (const auto& text : bad) {
    EXPECT_FALSE(store->setString("dictationMicrophoneSelection", text));
    EXPECT_FALSE(store->setStringList("list", {"fine", text}));
    EXPECT_FALSE(store->setString(text, "x"));
  }
  EXPECT_TRUE(store->setString("accents", "d\xc3\xa9j\xc3\xa0 \xf0\x9f\x8e\xa4"));
  auto reopened = FileDefaultsStore::open(file());
  EXPECT_TRUE(reopened->movedAsideTo().empty());
  EXPECT_EQ(reopened->string("dictationMicrophoneSelection"), "device:ok");
  EXPECT_FALSE(reopened->contains("list"));
}

TEST_F(FileDefaultsStoreTest, UnknownNestedValuesAreKeptWithoutGrowing) {
  const std::string nested = std::string(60, '[') + "1" + std::string(60, ']');
  writeFile(file(), "{\"fromTheFuture\": " + nested + "}");
  auto store = FileDefaultsStore::open(file());
  ASSERT_TRUE(store->movedAsideTo().empty());
  ASSERT_TRUE(store->setBool("autoPaste", false));
  const std::string written = readFile(file());
  EXPECT_NE(written.find(nested), std::string::npos);
  EXPECT_LT(written.size(), nested.size() + 100);
}

TEST_F(FileDefaultsStoreTest, OnlyTempFilesOfDeadWritersAreRemoved) {
  ASSERT_TRUE(FileDefaultsStore::open(file())->setBool("autoPaste", true));
  pid_t dead = ::fork();
  if (dead == 0) _exit(0);
  ::waitpid(dead, nullptr, 0);
  const auto live = file().string() + ".tmp-" + std::to_string(::getppid());
  const auto stale = file().string() + ".tmp-" + std::to_string(dead);
  writeFile(live, "{}");
  writeFile(stale, "{}");
  ASSERT_TRUE(FileDefaultsStore::open(file())->setBool("autoPaste", false));
  EXPECT_TRUE(std::filesystem::exists(live));
  EXPECT_FALSE(std::filesystem::exists(stale));
}

}  // namespace
}  // namespace murvelo
