#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/DefaultsStore.h"
#include "cleanup/CleanupLevel.h"

namespace murvelo {

// The user's recent dictations: at most 50, none older than seven days, newest first, kept as
// one JSON value under "recentHistory". Main thread only.
class HistoryStore {
 public:
  using TimePoint = std::chrono::system_clock::time_point;
  using Clock = std::function<TimePoint()>;

  struct Item {
    std::string id;    // UUID
    std::string text;  // trimmed
    TimePoint date;    // whole milliseconds, so it reads back exactly as written
    std::optional<double> speechSeconds;
    std::optional<double> processingSeconds;
    std::optional<std::string> cleanup;  // a cleanup level's stored value
    std::optional<std::int64_t> spokenWordCount;
    // The user said this one came out wrong; stored as "flaggedWrong" only when set, so lists
    // written before the flag existed read back unchanged.
    bool flaggedWrong = false;

    bool operator==(const Item&) const = default;
  };

  static constexpr std::string_view kKey = "recentHistory";
  static constexpr std::size_t kMaxItems = 50;
  static constexpr std::chrono::seconds kMaxAge{604800};

  explicit HistoryStore(
      DefaultsStore& defaults, Clock clock = [] { return std::chrono::system_clock::now(); });

  void load();
  // Adds a delivered dictation in front; text that is only white space adds nothing.
  void add(std::string_view text, std::optional<double> speechSeconds,
           std::optional<double> processingSeconds, std::optional<CleanupLevel> cleanup,
           std::optional<std::int64_t> spokenWordCount);
  // Whether the emptied list reached the disk.
  Status clear();
  // Marks or unmarks one item as wrong; an error when no item has this id.
  Status setFlagged(std::string_view id, bool flagged);
  const std::vector<Item>& items() const { return items_; }

  using Observer = std::function<void()>;
  std::uint64_t addObserver(Observer observer);
  void removeObserver(std::uint64_t id);

  static Bytes encode(const std::vector<Item>& items);
  static std::optional<std::vector<Item>> decode(const Bytes& data);

 private:
  void readStored();
  bool dropExpired();  // true when any item was dropped
  Status save();
  void changed();

  DefaultsStore& defaults_;
  Clock clock_;
  std::vector<Item> items_;
  std::map<std::uint64_t, Observer> observers_;
  std::uint64_t lastObserverId_ = 0;
};

}  // namespace murvelo
