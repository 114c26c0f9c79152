// Several processes writing one settings file at once, some killed with SIGKILL mid-write:
// murvelo_fault_store [--seconds S] [--rounds N] [--seed N]. After each round the file must parse,
// hold every correction and setting a writer reported saved, and no temp file may outlive its
// writer. Prints the figures; exits 1 on the first loss.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "FaultRun.h"
#include "base/linux/FileDefaultsStore.h"
#include "cleanup/CorrectionsDictionary.h"
#include "history/HistoryStore.h"

namespace {

using namespace murvelo;

constexpr int kWriters = 4;
constexpr int kAddsPerWriter = 3;

// One child: adds corrections, a history entry and its own setting, reporting each success on `out`
// as one line ("w <word>", "s <key> <value>", "h <text>").
[[noreturn]] void writer(const std::filesystem::path& file, int round, int index, int out) {
  auto store = FileDefaultsStore::open(file);
  CorrectionsDictionary dictionary(*store);
  HistoryStore history(*store);
  history.load();
  auto report = [&](const std::string& line) {
    std::string text = line + "\n";
    if (::write(out, text.data(), text.size()) < 0) _exit(3);
  };
  for (int i = 0; i < kAddsPerWriter; ++i) {
    const std::string word =
        "w" + std::to_string(round) + "x" + std::to_string(index) + "x" + std::to_string(i);
    if (dictionary.add(word, "R" + word)) report("w " + word);
    const std::string key = "writer" + std::to_string(index);
    if (store->setString(key, word)) report("s " + key + " " + word);
    if (i == 0) {
      history.add("h" + word, std::nullopt, std::nullopt, std::nullopt, std::nullopt);
      report("h h" + word);  // add() has no status: a loss shows as a missing entry only if saved
    }
  }
  _exit(0);
}

std::vector<std::string> readLines(int fd) {
  std::string all;
  char buffer[4096];
  ssize_t n;
  while ((n = ::read(fd, buffer, sizeof buffer)) > 0) all.append(buffer, static_cast<std::size_t>(n));
  std::vector<std::string> lines;
  std::size_t start = 0;
  for (std::size_t end; (end = all.find('\n', start)) != std::string::npos; start = end + 1)
    lines.push_back(all.substr(start, end - start));
  return lines;  // a partial last line (writer killed mid-report) is not a claim
}

}  // namespace

int main(int argc, char** argv) {
  const auto options = murvelo::fault::parse(argc, argv, {.seconds = 10, .rounds = 300});
  std::mt19937 random(options.seed);
  const std::filesystem::path dir = murvelo::fault::scratchFolder("store");
  if (dir.empty()) return 2;
  const std::filesystem::path file = dir / "murvelo" / "defaults.json";

  const murvelo::fault::RoundClock clock(options.seconds);
  long done = 0, kills = 0, claims = 0;
  int failures = 0;
  std::set<std::string> words;      // every correction ever reported saved
  std::set<std::string> histories;  // history entries reported added by writers that were not killed
  for (long round = 0; round < options.rounds && failures == 0 && clock.timeLeft(); ++round) {
    int pipes[kWriters][2];
    pid_t children[kWriters];
    for (int w = 0; w < kWriters; ++w) {
      if (::pipe(pipes[w]) != 0) return 2;
      children[w] = ::fork();
      if (children[w] == 0) {
        ::close(pipes[w][0]);
        writer(file, static_cast<int>(round), w, pipes[w][1]);
      }
      ::close(pipes[w][1]);
    }
    // Every other round one writer dies at a random moment, possibly mid-write.
    int victim = round % 2 == 0 ? static_cast<int>(random() % kWriters) : -1;
    if (victim >= 0) {
      ::usleep(static_cast<useconds_t>(random() % 20000));
      ::kill(children[victim], SIGKILL);
      ++kills;
    }
    std::map<std::string, std::string> lastSetting;
    for (int w = 0; w < kWriters; ++w) {
      for (const auto& line : readLines(pipes[w][0])) {
        ++claims;
        if (line.rfind("w ", 0) == 0) words.insert(line.substr(2));
        if (line.rfind("s ", 0) == 0) {
          auto space = line.find(' ', 2);
          lastSetting[line.substr(2, space - 2)] = line.substr(space + 1);
        }
        if (line.rfind("h ", 0) == 0 && w != victim) histories.insert(line.substr(2));
      }
      ::close(pipes[w][0]);
      int status = 0;
      ::waitpid(children[w], &status, 0);
      if (w != victim && !(WIFEXITED(status) && WEXITSTATUS(status) == 0))
        failures += murvelo::fault::fail("round %ld: writer %d failed (status %d)\n", round, w, status);
    }

    auto store = FileDefaultsStore::open(file);
    if (!store->movedAsideTo().empty() || !store->openStatus())
      failures += murvelo::fault::fail("round %ld: the file did not survive\n", round);
    CorrectionsDictionary dictionary(*store);
    dictionary.load();
    std::set<std::string> present;
    for (const auto& entry : dictionary.entries()) present.insert(entry.wrong);
    for (const auto& word : words)
      if (!present.count(word))
        failures += murvelo::fault::fail("round %ld: correction %s was reported saved and is gone\n", round,
                                         word.c_str());
    for (const auto& [key, value] : lastSetting)
      if (victim < 0 && store->string(key) != value)
        failures += murvelo::fault::fail("round %ld: %s lost its last value\n", round, key.c_str());
    HistoryStore history(*store);
    history.load();
    std::set<std::string> kept;
    for (const auto& item : history.items()) kept.insert(item.text);
    // Only the newest 50 are kept by design.
    for (const auto& text : histories)
      if (!kept.count(text) && kept.size() < HistoryStore::kMaxItems)
        failures += murvelo::fault::fail("round %ld: history entry %s is gone\n", round, text.c_str());
    histories.clear();
    // The next writer clears what a killed one left behind.
    store->setBool("checked", true);
    for (const auto& entry : std::filesystem::directory_iterator(file.parent_path()))
      if (entry.path().filename().string().find(".tmp-") != std::string::npos)
        failures +=
            murvelo::fault::fail("round %ld: stale temp file %s\n", round, entry.path().filename().c_str());
    // Keep the list small so that the rounds stay fast.
    if (words.size() > 200) {
      store->remove(CorrectionsDictionary::kDefaultsKey);
      words.clear();
    }
    ++done;
  }
  std::error_code ignored;
  std::filesystem::remove_all(dir, ignored);
  std::printf(
      "store fault driver: %ld rounds, %d writers each, %ld killed with SIGKILL, %ld saves checked, "
      "%d failures, %.1f s\n",
      done, kWriters, kills, claims, failures, clock.elapsed());
  return failures == 0 ? 0 : 1;
}
