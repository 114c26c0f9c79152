#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Status.h"
#include "cleanup/FormatEdit.h"

namespace murvelo {

class DefaultsStore;

// The user's word-for-word fixes ("My Words") for what the recogniser keeps getting wrong, merged
// over the two vocabulary packs that ship with the program, compiled into an ordered list of
// case-insensitive whole-word replacements.
class CorrectionsDictionary {
 public:
  struct Entry {
    std::string id;
    std::string wrong;
    std::string right;
    bool operator==(const Entry&) const = default;
  };
  // The record of the pack files.
  struct Pair {
    std::string wrong;
    std::string right;
  };
  struct CompiledCorrection {
    std::string pattern;  // "(?i)(?<!\w)" + the variant as a literal + "(?!\w)"
    std::string right;    // inserted exactly as written
    std::string variant;  // the spelling matched, for a quick search before the pattern runs
  };

  static constexpr std::string_view kDefaultsKey = "correctionsDictionary";

  explicit CorrectionsDictionary(DefaultsStore& defaults);

  // Reads the stored list; a missing or unreadable value is an empty list.
  void load();
  std::vector<Entry> entries() const;

  // Does nothing when either text is empty; otherwise replaces any entry with the same wrong text
  // (compared case-insensitively) and saves.
  Status add(std::string_view wrong, std::string_view right);
  // Removes the entries with this wrong text (case-insensitively) and saves. False when none had it.
  bool remove(std::string_view wrong, Status& saved);
  // Changes the entry with this id in place; another entry with the same wrong text goes, as in
  // add(). An error, and no change, when a text is empty or no entry has the id.
  Status edit(std::string_view id, std::string_view wrong, std::string_view right);
  // Picks up a list another process stored since this one last read it; cheap when none did.
  void refresh();

  // The merged list, longest variant first; served from the cache while the key is unchanged.
  std::vector<CompiledCorrection> compiled(bool includingSharedPack, bool includingDeveloperPack);

  // Applies the corrections in order, each to every match in the current text. Protected literals
  // (quotes, code, links, addresses) are left as they are. One edit per replacement.
  static std::string apply(std::string_view text, const std::vector<CompiledCorrection>& corrections,
                           std::vector<FormatEdit>* edits);

  static std::string encode(const std::vector<Entry>& entries);
  static std::optional<std::vector<Entry>> decode(std::string_view json);
  static std::vector<Pair> decodePack(std::string_view json);
  static const std::vector<Entry>& sharedPack();
  static const std::vector<Entry>& developerPack();

 private:
  struct Key {
    std::vector<Entry> personal;
    bool shared = false;
    bool developer = false;
    bool operator==(const Key&) const = default;
  };

  Status save();

  DefaultsStore& defaults_;
  mutable std::mutex mutex_;
  std::vector<Entry> entries_;
  std::optional<std::pair<Key, std::vector<CompiledCorrection>>> compiledCache_;
  std::optional<Key> preparingKey_;
};

}  // namespace murvelo
