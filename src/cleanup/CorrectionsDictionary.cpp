#include "cleanup/CorrectionsDictionary.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/DefaultsStore.h"
#include "base/Log.h"
#include "base/Uuid.h"
#include "cleanup/DictationTextSafety.h"
#include "cleanup/Regex.h"

namespace murvelo {
namespace cleanup {
extern const std::string_view kSharedVocabPack;
extern const std::string_view kDeveloperVocabPack;
}  // namespace cleanup

namespace {

const Logger kLog("corrections");

using cleanup::fromUtf8;
using cleanup::toUtf8;

icu::UnicodeString folded(std::string_view text) {
  icu::UnicodeString out = fromUtf8(text);
  out.foldCase();
  return out;
}

bool sameIgnoringCase(std::string_view a, std::string_view b) { return folded(a) == folded(b); }

// The spellings of an entry that are matched: as written and, for a phrase, run together
// ("face time" also catches "facetime").
std::vector<std::string> variants(const CorrectionsDictionary::Entry& entry) {
  std::vector<std::string> out{entry.wrong};
  icu::UnicodeString joined = fromUtf8(entry.wrong);
  bool hadSpace = false;
  for (std::int32_t i = joined.length(); i-- > 0;) {
    if (u_isUWhiteSpace(joined.charAt(i))) {
      joined.remove(i, 1);
      hadSpace = true;
    }
  }
  const std::string compact = toUtf8(joined);
  if (hadSpace && !compact.empty() && !sameIgnoringCase(compact, entry.wrong)) out.push_back(compact);
  return out;
}

bool sharesVariant(const CorrectionsDictionary::Entry& a, const CorrectionsDictionary::Entry& b) {
  for (const auto& x : variants(a)) {
    for (const auto& y : variants(b)) {
      if (sameIgnoringCase(x, y)) return true;
    }
  }
  return false;
}

// Overrides win: base entries that share a spelling with any of them go.
std::vector<CorrectionsDictionary::Entry> merge(std::vector<CorrectionsDictionary::Entry> base,
                                                const std::vector<CorrectionsDictionary::Entry>& overrides) {
  std::erase_if(base, [&](const auto& entry) {
    return std::any_of(overrides.begin(), overrides.end(),
                       [&](const auto& override) { return sharesVariant(entry, override); });
  });
  base.insert(base.end(), overrides.begin(), overrides.end());
  return base;
}

std::string literalPattern(std::string_view text) {
  std::string out;
  for (const char c : text) {
    const auto u = static_cast<unsigned char>(c);
    if (u < 0x80 && !std::isalnum(u)) out += '\\';
    out += c;
  }
  return out;
}

std::int32_t longestVariant(const CorrectionsDictionary::Entry& entry) {
  std::int32_t longest = 0;
  for (const auto& variant : variants(entry)) longest = std::max(longest, fromUtf8(variant).countChar32());
  return longest;
}

std::vector<CorrectionsDictionary::Entry> packEntries(std::string_view json) {
  std::vector<CorrectionsDictionary::Entry> entries;
  for (auto& pair : CorrectionsDictionary::decodePack(json)) {
    entries.push_back({makeUuid(), std::move(pair.wrong), std::move(pair.right)});
  }
  return entries;
}

}  // namespace

CorrectionsDictionary::CorrectionsDictionary(DefaultsStore& defaults) : defaults_(defaults) {}

void CorrectionsDictionary::load() {
  std::vector<Entry> loaded;
  if (auto data = defaults_.data(kDefaultsKey)) {
    if (auto decoded = decode(std::string_view(reinterpret_cast<const char*>(data->data()), data->size()))) {
      loaded = std::move(*decoded);
    }
  }
  std::lock_guard lock(mutex_);
  entries_ = std::move(loaded);
}

std::vector<CorrectionsDictionary::Entry> CorrectionsDictionary::entries() const {
  std::lock_guard lock(mutex_);
  return entries_;
}

Status CorrectionsDictionary::add(std::string_view wrong, std::string_view right) {
  if (wrong.empty() || right.empty()) return Status::ok();
  // Another process may have changed the list since it was loaded: start from what is stored.
  return defaults_.update([&] {
    load();
    {
      std::lock_guard lock(mutex_);
      std::erase_if(entries_, [&](const Entry& entry) { return sameIgnoringCase(entry.wrong, wrong); });
      entries_.push_back({makeUuid(), std::string(wrong), std::string(right)});
    }
    return save();
  });
}

bool CorrectionsDictionary::remove(std::string_view wrong, Status& saved) {
  std::size_t removed = 0;
  Status locked = defaults_.update([&] {
    load();
    {
      std::lock_guard lock(mutex_);
      removed =
          std::erase_if(entries_, [&](const Entry& entry) { return sameIgnoringCase(entry.wrong, wrong); });
    }
    return removed > 0 ? save() : Status::ok();
  });
  saved = locked;
  return removed > 0;
}

Status CorrectionsDictionary::edit(std::string_view id, std::string_view wrong, std::string_view right) {
  if (wrong.empty() || right.empty()) return Status::error("a correction needs both spellings");
  return defaults_.update([&] {
    load();
    {
      std::lock_guard lock(mutex_);
      auto found =
          std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) { return entry.id == id; });
      if (found == entries_.end()) return Status::error("no correction with that id");
      found->wrong = std::string(wrong);
      found->right = std::string(right);
      std::erase_if(entries_, [&](const Entry& entry) {
        return entry.id != id && sameIgnoringCase(entry.wrong, wrong);
      });
    }
    return save();
  });
}

void CorrectionsDictionary::refresh() {
  defaults_.reloadIfChanged();
  load();
}

Status CorrectionsDictionary::save() {
  const std::string json = encode(entries());
  return defaults_.setData(kDefaultsKey, Bytes(json.begin(), json.end()));
}

std::vector<CorrectionsDictionary::CompiledCorrection> CorrectionsDictionary::compiled(
    bool includingSharedPack, bool includingDeveloperPack) {
  Key key{entries(), includingSharedPack, includingDeveloperPack};
  {
    std::lock_guard lock(mutex_);
    if (compiledCache_ && compiledCache_->first == key) return compiledCache_->second;
    preparingKey_ = key;
  }
  std::vector<Entry> merged = includingSharedPack ? sharedPack() : std::vector<Entry>{};
  if (includingDeveloperPack) merged = merge(std::move(merged), developerPack());
  merged = merge(std::move(merged), key.personal);
  // Longer spellings first, so that a phrase is replaced before a word inside it.
  std::stable_sort(merged.begin(), merged.end(),
                   [](const Entry& a, const Entry& b) { return longestVariant(a) > longestVariant(b); });
  std::vector<CompiledCorrection> list;
  for (const auto& entry : merged) {
    for (const auto& variant : variants(entry)) {
      CompiledCorrection correction{"(?i)(?<!\\w)" + literalPattern(variant) + "(?!\\w)", entry.right,
                                    variant};
      if (cleanup::compiledPattern(correction.pattern) == nullptr) continue;
      list.push_back(std::move(correction));
    }
  }
  std::lock_guard lock(mutex_);
  compiledCache_.emplace(std::move(key), list);
  preparingKey_.reset();
  return list;
}

std::string CorrectionsDictionary::apply(std::string_view input,
                                         const std::vector<CompiledCorrection>& corrections,
                                         std::vector<FormatEdit>* edits) {
  icu::UnicodeString text = fromUtf8(input);
  icu::UnicodeString foldedText = text;
  foldedText.foldCase();
  bool changed = false;
  for (const auto& correction : corrections) {
    // Most entries are absent from a given text; a plain search over the case-folded text says so
    // without running the matcher.
    if (foldedText.indexOf(folded(correction.variant)) < 0) continue;
    const int replaced = cleanup::applyRule(
        text, "correction", correction.pattern,
        [right = fromUtf8(correction.right)](const icu::UnicodeString&, const cleanup::Match&) {
          return std::optional<icu::UnicodeString>(right);
        },
        cleanup::protectedRanges(text), edits);
    if (replaced > 0) {
      changed = true;
      foldedText = text;
      foldedText.foldCase();
    }
  }
  return changed ? toUtf8(text) : std::string(input);
}

std::string CorrectionsDictionary::encode(const std::vector<Entry>& entries) {
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const auto& entry : entries)
    json.push_back({{"id", entry.id}, {"wrong", entry.wrong}, {"right", entry.right}});
  return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

std::optional<std::vector<CorrectionsDictionary::Entry>> CorrectionsDictionary::decode(
    std::string_view text) {
  const auto json = nlohmann::json::parse(text, nullptr, false);
  if (!json.is_array()) return std::nullopt;
  std::vector<Entry> entries;
  std::size_t position = 0;
  for (const auto& item : json) {
    ++position;
    auto text = [&](const char* key) -> std::optional<std::string> {
      if (!item.is_object()) return std::nullopt;
      auto found = item.find(key);
      if (found == item.end() || !found->is_string()) return std::nullopt;
      return found->get<std::string>();
    };
    auto wrong = text("wrong");
    auto right = text("right");
    // One bad entry costs only itself; the rest are kept and written back at the next save.
    if (!wrong || !right || wrong->empty() || right->empty()) {
      kLog.warning("stored correction " + std::to_string(position) + " is malformed; dropped");
      continue;
    }
    auto id = text("id");
    if (!id || id->empty()) id = makeUuid();
    entries.push_back({std::move(*id), std::move(*wrong), std::move(*right)});
  }
  return entries;
}

std::vector<CorrectionsDictionary::Pair> CorrectionsDictionary::decodePack(std::string_view text) {
  const auto json = nlohmann::json::parse(text, nullptr, false);
  if (!json.is_array()) return {};
  std::vector<Pair> pairs;
  for (const auto& item : json) {
    if (!item.is_object() || !item.contains("wrong") || !item.contains("right") ||
        !item["wrong"].is_string() || !item["right"].is_string()) {
      return {};
    }
    pairs.push_back({item["wrong"].get<std::string>(), item["right"].get<std::string>()});
  }
  return pairs;
}

const std::vector<CorrectionsDictionary::Entry>& CorrectionsDictionary::sharedPack() {
  static const std::vector<Entry> pack = packEntries(cleanup::kSharedVocabPack);
  return pack;
}

const std::vector<CorrectionsDictionary::Entry>& CorrectionsDictionary::developerPack() {
  static const std::vector<Entry> pack = packEntries(cleanup::kDeveloperVocabPack);
  return pack;
}

}  // namespace murvelo
