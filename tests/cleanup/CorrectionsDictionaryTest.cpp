#include <gtest/gtest.h>

#include "base/DefaultsStore.h"
#include "base/linux/FileDefaultsStore.h"
#include "cleanup/CleanupStep.h"
#include "cleanup/CorrectionsDictionary.h"
#include "support/TempDir.h"

namespace murvelo {
namespace {

std::string correct(CorrectionsDictionary& dictionary, std::string_view text, bool developer = false) {
  return CorrectionsDictionary::apply(text, dictionary.compiled(true, developer), nullptr);
}

TEST(CorrectionsDictionary, OneMalformedEntryCostsOnlyItself) {
  InMemoryDefaultsStore store;
  const std::string stored = R"([{"id":"a","wrong":"x","right":"X"},{"wrong":"y","right":"Y"},)"
                             R"({"id":"c","wrong":3,"right":"Z"},7,{"id":"d","wrong":"w","right":"W"}])";
  ASSERT_TRUE(store.setData("correctionsDictionary", Bytes(stored.begin(), stored.end())));
  CorrectionsDictionary dictionary(store);
  dictionary.load();
  std::vector<std::string> wrongs;
  for (const auto& entry : dictionary.entries()) wrongs.push_back(entry.wrong);
  EXPECT_EQ(wrongs, (std::vector<std::string>{"x", "y", "w"}));
  EXPECT_EQ(dictionary.entries()[1].id.size(), 36u) << "a missing id is replaced, not the entry dropped";

  ASSERT_TRUE(CorrectionsDictionary(store).add("v", "V"));
  CorrectionsDictionary reloaded(store);
  reloaded.load();
  EXPECT_EQ(reloaded.entries().size(), 4u) << "the good entries are written back with the new one";
}

TEST(CorrectionsDictionary, Matching) {
  InMemoryDefaultsStore store;
  CorrectionsDictionary dictionary(store);
  ASSERT_TRUE(dictionary.add("cat", "dog").isOk());
  ASSERT_TRUE(dictionary.add("new york", "NYC").isOk());
  ASSERT_TRUE(dictionary.add("york", "Yorke").isOk());
  ASSERT_TRUE(dictionary.add("price", "$1 \\2").isOk());
  const std::pair<const char*, const char*> cases[] = {
      {"the CAT sat", "the dog sat"},                // any case, inserted as written
      {"concatenate", "concatenate"},                // whole words only
      {"cat-like cat's", "dog-like dog's"},          // punctuation is a word edge
      {"in new york and york", "in NYC and Yorke"},  // the longer phrase first
      {"in newyork", "in NYC"},                      // a phrase also matches run together
      {"the price", "the $1 \\2"},                   // "$" and "\" stand for themselves
      {"see `cat` and cat", "see `cat` and dog"},    // protected code stays
  };
  for (const auto& [input, output] : cases) EXPECT_EQ(correct(dictionary, input), output) << input;
}

TEST(CorrectionsDictionary, PacksAndPersonalEntries) {
  InMemoryDefaultsStore store;
  CorrectionsDictionary dictionary(store);
  EXPECT_EQ(correct(dictionary, "open you tube"), "open YouTube");
  EXPECT_EQ(correct(dictionary, "push to github", true), "push to GitHub");

  // A personal "git hub" takes over the pack's "github": its run-together variant is the same word.
  ASSERT_TRUE(dictionary.add("git hub", "Git-Hub").isOk());
  EXPECT_EQ(correct(dictionary, "push to github", true), "push to Git-Hub");
  EXPECT_EQ(correct(dictionary, "push to git hub", true), "push to Git-Hub");
}

// Adding or editing to another entry's spelling (in any case) replaces that entry; what is saved
// is what a fresh load reads.
TEST(CorrectionsDictionary, AddAndEditKeepOneEntryPerSpelling) {
  InMemoryDefaultsStore store;
  CorrectionsDictionary dictionary(store);
  for (auto [wrong, right] :
       {std::pair{"teh", "the"}, {"cube", "Cube"}, {"git hub", "GitHub"}, {"Teh", "The"}})
    ASSERT_TRUE(dictionary.add(wrong, right).isOk());
  EXPECT_TRUE(dictionary.add("", "x").isOk());        // empty texts are ignored
  const std::string id = dictionary.entries()[0].id;  // "cube": "Teh" replaced "teh" at the end
  EXPECT_FALSE(dictionary.edit(id, "", "x").isOk());
  EXPECT_FALSE(dictionary.edit("no-such-id", "a", "b").isOk());
  ASSERT_TRUE(dictionary.edit(id, "kube", "Kubernetes").isOk());
  ASSERT_TRUE(dictionary.edit(id, "Git Hub", "GitHub!").isOk());
  CorrectionsDictionary reread(store);
  reread.load();
  std::vector<std::pair<std::string, std::string>> after;
  for (const auto& entry : reread.entries()) after.emplace_back(entry.wrong, entry.right);
  EXPECT_EQ(after,
            (std::vector<std::pair<std::string, std::string>>{{"Git Hub", "GitHub!"}, {"Teh", "The"}}));
  EXPECT_EQ(reread.entries()[0].id, id);
}

// The running program and murvelo-cli each hold the store: a word added by one counts in the
// other's next cleanup, without a restart.
TEST(CorrectionsDictionary, ACleanupPicksUpWordsStoredByAnotherProcess) {
  test::TempDir dir;
  auto running = FileDefaultsStore::open(dir / "defaults.json");
  CorrectionsDictionary dictionary(*running);
  dictionary.load();
  CleanupStep cleanup(nullptr, dictionary);
  EXPECT_EQ(cleanup.clean("push it to zorblat", CleanupLevel::none, true, false).text, "push it to zorblat");

  auto other = FileDefaultsStore::open(dir / "defaults.json");
  CorrectionsDictionary cli(*other);
  ASSERT_TRUE(cli.add("zorblat", "Zorblatt").isOk());
  EXPECT_EQ(cleanup.clean("push it to zorblat", CleanupLevel::none, true, false).text, "push it to Zorblatt");
  Status saved = Status::ok();
  ASSERT_TRUE(cli.remove("ZORBLAT", saved));
  EXPECT_EQ(cleanup.clean("push it to zorblat", CleanupLevel::none, true, false).text, "push it to zorblat");
}

}  // namespace
}  // namespace murvelo
