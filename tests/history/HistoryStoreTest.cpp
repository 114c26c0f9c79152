#include <gtest/gtest.h>

#include "base/DefaultsStore.h"
#include "history/HistoryStore.h"
#include "support/RecordingLogSink.h"

namespace murvelo {
namespace {

using namespace std::chrono_literals;

class HistoryStoreTest : public ::testing::Test {
 protected:
  HistoryStore makeStore() {
    return HistoryStore(defaults_, [this] { return now_; });
  }
  // A second store over the same defaults, as the next launch reads them.
  HistoryStore reloaded() {
    auto next = makeStore();
    next.load();
    return next;
  }
  void add(HistoryStore& to, const std::string& text) { to.add(text, 1.5, 0.25, CleanupLevel::light, 3); }

  InMemoryDefaultsStore defaults_;
  HistoryStore::TimePoint now_ = HistoryStore::TimePoint(1'790'000'000'123ms);
  HistoryStore store = makeStore();
};

TEST_F(HistoryStoreTest, AddTrimsAndPutsNewestFirstAndRoundTrips) {
  add(store, "  first\n");
  now_ += 1s;
  store.add("second", std::nullopt, std::nullopt, std::nullopt, std::nullopt);
  ASSERT_EQ(store.items().size(), 2u);
  EXPECT_EQ(store.items()[0].text, "second");
  EXPECT_EQ(store.items()[1].text, "first");
  EXPECT_NE(store.items()[0].id, store.items()[1].id);
  EXPECT_EQ(reloaded().items(), store.items());
}

TEST_F(HistoryStoreTest, WhitespaceOnlyTextLeavesHistoryUnchanged) {
  add(store, "kept");
  int writes = defaults_.writeCount();
  for (const char* blank : {"", "   ", "\n\n", " \t\r\n\u00a0\u2029"}) add(store, blank);
  EXPECT_EQ(store.items().size(), 1u);
  EXPECT_EQ(defaults_.writeCount(), writes);
}

TEST_F(HistoryStoreTest, AddingThe51stDropsTheOldest) {
  for (int i = 0; i < 51; ++i) {
    add(store, "item " + std::to_string(i));
    now_ += 1s;
  }
  ASSERT_EQ(store.items().size(), 50u);
  EXPECT_EQ(store.items().front().text, "item 50");
  EXPECT_EQ(store.items().back().text, "item 1");
}

TEST_F(HistoryStoreTest, SevenDaysExactlyIsKeptOneSecondMoreIsDropped) {
  add(store, "older");
  now_ += 1s;
  add(store, "boundary");
  // "boundary" is exactly seven days old, "older" one second more.
  now_ += HistoryStore::kMaxAge;

  auto atLoad = makeStore();
  int writes = defaults_.writeCount();
  atLoad.load();
  ASSERT_EQ(atLoad.items().size(), 1u);
  EXPECT_EQ(atLoad.items()[0].text, "boundary");
  EXPECT_GT(defaults_.writeCount(), writes) << "a load that dropped items saves at once";

  now_ += 1s;
  add(atLoad, "fresh");
  ASSERT_EQ(atLoad.items().size(), 1u) << "the next add drops what has aged out";
  EXPECT_EQ(atLoad.items()[0].text, "fresh");
}

// Damaged data costs only what is damaged, and the next add writes a readable list.
TEST_F(HistoryStoreTest, DamagedDataCostsOnlyWhatIsDamaged) {
  const std::pair<std::string, std::size_t> cases[] = {
      {"not json", 0},
      {"{}", 0},
      {R"([{"id":"x","text":"t","date":"2026-11-21T13:35:24.123Z","spokenWordCount":"3"}])", 0},
      {R"([{"id":"B","text":"newer","date":"2026-09-21T13:35:24.000Z"},)"
       R"({"id":"X","text":"bad date","date":"yesterday"},{"text":"no id"},)"
       R"({"id":"A","text":"older","date":"2026-09-21T13:35:23.000Z"}])",
       2},
  };
  test::ScopedLogCapture quiet;
  for (const auto& [data, kept] : cases) {
    SCOPED_TRACE(data);
    defaults_.setData(HistoryStore::kKey, Bytes(data.begin(), data.end()));
    auto loaded = reloaded();
    EXPECT_EQ(loaded.items().size(), kept);
    add(loaded, "new");
    EXPECT_EQ(reloaded().items().size(), kept + 1);
  }
}

TEST_F(HistoryStoreTest, FlagIsKeptWithItsItemAndOlderListsReadAsBefore) {
  // No flag, a flag, and a flag of the wrong type, which must not cost the dictation.
  for (auto [flag, flagged] :
       {std::pair{"", false}, {R"(, "flaggedWrong": true)", true}, {R"(, "flaggedWrong": 1)", false}}) {
    const std::string json =
        std::string(R"([{"id": "a", "text": "hi", "date": "2026-09-21T13:33:20.123Z")") + flag + "}]";
    auto items = HistoryStore::decode(Bytes(json.begin(), json.end()));
    ASSERT_TRUE(items && items->size() == 1) << json;
    EXPECT_EQ((*items)[0].flaggedWrong, flagged) << json;
  }
  add(store, "one");
  add(store, "two");
  auto stored = [&] {
    auto data = defaults_.data(HistoryStore::kKey).value_or(Bytes{});
    return std::string(data.begin(), data.end());
  };
  EXPECT_EQ(stored().find("flaggedWrong"), std::string::npos) << "unflagged items are written as before";
  const std::string id = store.items()[1].id;
  ASSERT_TRUE(store.setFlagged(id, true));
  add(store, "three");  // rereads the stored list
  EXPECT_TRUE(reloaded().items()[2].flaggedWrong);
  ASSERT_TRUE(store.setFlagged(id, false));
  EXPECT_EQ(stored().find("flaggedWrong"), std::string::npos);
  EXPECT_FALSE(store.setFlagged("no-such-id", true));
}

}  // namespace
}  // namespace murvelo
