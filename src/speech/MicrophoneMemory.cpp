#include "speech/MicrophoneMemory.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>

#include "base/AtomicFile.h"
#include "base/Log.h"

namespace murvelo {
namespace {

const Logger kLog("speech");

// Far more than kDevices lines can take: anything bigger is not ours.
constexpr std::size_t kMaxBytes = 64 * 1024;

bool usableID(std::string_view id) {
  return !id.empty() && id.find_first_of("\t\n\r") == std::string_view::npos;
}

// Nothing when the line is not an ID, a tab and at least one finite number.
std::optional<std::pair<std::string, std::vector<float>>> parseLine(std::string_view line) {
  auto tab = line.find('\t');
  if (tab == std::string_view::npos || !usableID(line.substr(0, tab))) return std::nullopt;
  std::vector<float> numbers;
  const char* at = line.data() + tab + 1;
  const char* end = line.data() + line.size();
  while (at < end) {
    if (*at == ' ') {
      ++at;
      continue;
    }
    float value = 0;
    auto [next, error] = std::from_chars(at, end, value);
    if (error != std::errc() || !std::isfinite(value)) return std::nullopt;
    numbers.push_back(value);
    at = next;
    if (at < end && *at != ' ') return std::nullopt;
  }
  if (numbers.empty()) return std::nullopt;
  return std::pair{std::string(line.substr(0, tab)), std::move(numbers)};
}

}  // namespace

MicrophoneMemory::Entries MicrophoneMemory::read() const {
  if (file_.empty()) return {};
  std::ifstream in(file_, std::ios::binary);
  if (!in) return {};
  std::string text;
  text.resize(kMaxBytes + 1);
  in.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(in.gcount()));
  Entries entries;
  bool garbled = text.size() > kMaxBytes || in.bad();
  std::string_view rest = text;
  while (!garbled && !rest.empty()) {
    auto newline = rest.find('\n');
    auto entry = parseLine(rest.substr(0, newline));
    rest = newline == std::string_view::npos ? std::string_view() : rest.substr(newline + 1);
    if (entry)
      entries.push_back(std::move(*entry));
    else
      garbled = true;
  }
  if (!garbled) return entries;
  kLog.warning("what was learned about the microphones is unreadable; starting afresh");
  return {};
}

std::optional<std::vector<float>> MicrophoneMemory::recall(std::string_view deviceID) const {
  if (!usableID(deviceID)) return std::nullopt;
  std::lock_guard lock(mutex_);
  for (auto& [id, numbers] : read())
    if (id == deviceID) return std::move(numbers);
  return std::nullopt;
}

void MicrophoneMemory::remember(const std::string& deviceID, const std::vector<float>& numbers) {
  if (file_.empty() || !usableID(deviceID) || numbers.empty()) return;
  if (!std::all_of(numbers.begin(), numbers.end(), [](float v) { return std::isfinite(v); })) return;
  std::lock_guard lock(mutex_);
  Entries entries = read();
  std::erase_if(entries, [&](const auto& entry) { return entry.first == deviceID; });
  entries.insert(entries.begin(), {deviceID, numbers});
  if (entries.size() > kDevices) entries.resize(kDevices);
  std::string text;
  for (const auto& [id, values] : entries) {
    text += id;
    char sep = '\t';
    for (float value : values) {
      char buffer[32];
      auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value);
      if (error != std::errc()) return;
      text += sep;
      text.append(buffer, end);
      sep = ' ';
    }
    text += '\n';
  }
  if (Status status = replaceFileContents(file_, text); !status) kLog.warning(status.message());
}

}  // namespace murvelo
