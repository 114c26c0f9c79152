#include "history/HistoryStore.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>

#include "base/Log.h"
#include "base/TextTrim.h"
#include "base/Uuid.h"

namespace murvelo {
namespace {

const Logger kLog("history");

using Milliseconds = std::chrono::milliseconds;

// Dates are ISO 8601 UTC with milliseconds: "2026-11-21T13:35:24.123Z".
std::string formatDate(HistoryStore::TimePoint date) {
  auto ms = std::chrono::floor<Milliseconds>(date.time_since_epoch()).count();
  std::time_t seconds = static_cast<std::time_t>(ms >= 0 ? ms / 1000 : (ms - 999) / 1000);
  int millis = static_cast<int>(ms - static_cast<long long>(seconds) * 1000);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char buffer[96];
  std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", parts.tm_year + 1900,
                parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec, millis);
  return buffer;
}

std::optional<HistoryStore::TimePoint> parseDate(const std::string& text) {
  int year, month, day, hour, minute, second, millis;
  char zone = 0;
  int consumed = 0;
  if (std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d.%3d%c%n", &year, &month, &day, &hour, &minute,
                  &second, &millis, &zone, &consumed) != 8 ||
      zone != 'Z' || static_cast<std::size_t>(consumed) != text.size()) {
    return std::nullopt;
  }
  if (month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 || second > 60) {
    return std::nullopt;
  }
  std::tm parts{};
  parts.tm_year = year - 1900;
  parts.tm_mon = month - 1;
  parts.tm_mday = day;
  parts.tm_hour = hour;
  parts.tm_min = minute;
  parts.tm_sec = second;
  std::time_t seconds = timegm(&parts);
  return HistoryStore::TimePoint(std::chrono::duration_cast<HistoryStore::TimePoint::duration>(
      std::chrono::seconds(seconds) + Milliseconds(millis)));
}

template <typename T>
bool readOptional(const nlohmann::json& object, const char* key, std::optional<T>& out) {
  auto found = object.find(key);
  if (found == object.end() || found->is_null()) return true;
  if constexpr (std::is_same_v<T, std::string>) {
    if (!found->is_string()) return false;
  } else if constexpr (std::is_same_v<T, double>) {
    if (!found->is_number()) return false;
  } else {
    if (!found->is_number_integer()) return false;
  }
  out = found->get<T>();
  return true;
}

std::optional<HistoryStore::Item> decodeItem(const nlohmann::json& object) {
  if (!object.is_object()) return std::nullopt;
  auto id = object.find("id");
  auto text = object.find("text");
  auto date = object.find("date");
  if (id == object.end() || !id->is_string() || text == object.end() || !text->is_string() ||
      date == object.end() || !date->is_string()) {
    return std::nullopt;
  }
  HistoryStore::Item item;
  item.id = id->get<std::string>();
  item.text = text->get<std::string>();
  auto parsed = parseDate(date->get<std::string>());
  if (!parsed) return std::nullopt;
  item.date = *parsed;
  if (!readOptional(object, "speechSeconds", item.speechSeconds) ||
      !readOptional(object, "processingSeconds", item.processingSeconds) ||
      !readOptional(object, "cleanup", item.cleanup) ||
      !readOptional(object, "spokenWordCount", item.spokenWordCount)) {
    return std::nullopt;
  }
  // A flag of another type is not worth losing the dictation over.
  if (auto flag = object.find("flaggedWrong"); flag != object.end() && flag->is_boolean())
    item.flaggedWrong = flag->get<bool>();
  return item;
}

}  // namespace

HistoryStore::HistoryStore(DefaultsStore& defaults, Clock clock)
    : defaults_(defaults), clock_(std::move(clock)) {}

Bytes HistoryStore::encode(const std::vector<Item>& items) {
  nlohmann::json array = nlohmann::json::array();
  for (const Item& item : items) {
    nlohmann::json object = {{"id", item.id}, {"text", item.text}, {"date", formatDate(item.date)}};
    if (item.speechSeconds) object["speechSeconds"] = *item.speechSeconds;
    if (item.processingSeconds) object["processingSeconds"] = *item.processingSeconds;
    if (item.cleanup) object["cleanup"] = *item.cleanup;
    if (item.spokenWordCount) object["spokenWordCount"] = *item.spokenWordCount;
    if (item.flaggedWrong) object["flaggedWrong"] = true;
    array.push_back(std::move(object));
  }
  // Replace, not throw, on invalid UTF-8: a history entry must never stop a save.
  std::string text = array.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  return Bytes(text.begin(), text.end());
}

std::optional<std::vector<HistoryStore::Item>> HistoryStore::decode(const Bytes& data) {
  auto array = nlohmann::json::parse(data.begin(), data.end(), nullptr, /*allow_exceptions=*/false);
  if (!array.is_array()) return std::nullopt;
  std::vector<Item> items;
  std::size_t position = 0;
  for (const auto& object : array) {
    ++position;
    // One bad entry costs only itself; the rest are kept and written back at the next save.
    auto item = decodeItem(object);
    if (!item) {
      kLog.warning("stored history entry " + std::to_string(position) + " is malformed; dropped");
      continue;
    }
    items.push_back(std::move(*item));
  }
  return items;
}

void HistoryStore::readStored() {
  items_.clear();
  if (auto data = defaults_.data(kKey)) {
    if (auto decoded = decode(*data)) {
      items_ = std::move(*decoded);
    } else {
      kLog.warning("stored history does not decode; starting empty");
    }
  }
}

void HistoryStore::load() {
  readStored();
  if (dropExpired()) defaults_.update([&] { return save(); });
  changed();
}

void HistoryStore::add(std::string_view text, std::optional<double> speechSeconds,
                       std::optional<double> processingSeconds, std::optional<CleanupLevel> cleanup,
                       std::optional<std::int64_t> spokenWordCount) {
  std::string trimmed = trimWhitespaceAndNewlines(text);
  if (trimmed.empty()) return;
  Item item;
  item.id = makeUuid();
  item.text = std::move(trimmed);
  item.date = std::chrono::floor<Milliseconds>(clock_());
  item.speechSeconds = speechSeconds;
  item.processingSeconds = processingSeconds;
  if (cleanup) item.cleanup = std::string(rawValue(*cleanup));
  item.spokenWordCount = spokenWordCount;
  // Another process may have added since the list was read: start from what is stored.
  defaults_.update([&] {
    readStored();
    items_.insert(items_.begin(), std::move(item));
    dropExpired();
    if (items_.size() > kMaxItems) items_.resize(kMaxItems);
    return save();
  });
  changed();
}

Status HistoryStore::clear() {
  Status status = defaults_.update([&] {
    items_.clear();
    return save();
  });
  changed();
  return status;
}

Status HistoryStore::setFlagged(std::string_view id, bool flagged) {
  bool found = false;
  Status status = defaults_.update([&] {
    readStored();
    dropExpired();
    auto item = std::find_if(items_.begin(), items_.end(), [&](const Item& each) { return each.id == id; });
    if (item == items_.end()) return Status::error("no dictation with that id");
    found = true;
    if (item->flaggedWrong == flagged) return Status::ok();
    item->flaggedWrong = flagged;
    return save();
  });
  if (found) changed();
  return status;
}

bool HistoryStore::dropExpired() {
  TimePoint oldest = clock_() - kMaxAge;
  auto before = items_.size();
  std::erase_if(items_, [&](const Item& item) { return item.date < oldest; });
  return items_.size() != before;
}

Status HistoryStore::save() {
  Status status = defaults_.setData(kKey, encode(items_));
  if (!status) kLog.error("history not saved: " + status.message());
  return status;
}

void HistoryStore::changed() {
  std::vector<Observer> toCall;
  for (const auto& [id, observer] : observers_) toCall.push_back(observer);
  for (const auto& observer : toCall) observer();
}

std::uint64_t HistoryStore::addObserver(Observer observer) {
  auto id = ++lastObserverId_;
  observers_.emplace(id, std::move(observer));
  return id;
}

void HistoryStore::removeObserver(std::uint64_t id) { observers_.erase(id); }

}  // namespace murvelo
