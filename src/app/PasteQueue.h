#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>

namespace murvelo {

// Finished texts waiting for the cursor. Texts leave in run order: a run that finished early
// waits while an earlier run is still in flight, so overlapping dictations never swap places.
class PasteQueue {
 public:
  struct Entry {
    std::int64_t run = 0;
    std::string payload;
    bool autoPaste = true;
  };

  void push(Entry entry) { waiting_[entry.run] = std::move(entry); }

  // The next text to deliver, given the runs still in flight; none while an earlier in-flight run
  // has yet to hand in its text.
  std::optional<Entry> popReady(const std::set<std::int64_t>& inflight) {
    if (waiting_.empty()) return std::nullopt;
    auto first = waiting_.begin();
    if (!inflight.empty() && *inflight.begin() < first->first) return std::nullopt;
    Entry entry = std::move(first->second);
    waiting_.erase(first);
    return entry;
  }

  bool empty() const { return waiting_.empty(); }
  std::size_t size() const { return waiting_.size(); }

 private:
  std::map<std::int64_t, Entry> waiting_;
};

}  // namespace murvelo
