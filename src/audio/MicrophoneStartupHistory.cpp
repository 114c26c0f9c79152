#include "audio/MicrophoneStartupHistory.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace murvelo {

bool MicrophoneStartupHistory::record(std::string_view deviceID, std::int64_t ms) {
  if (deviceID.empty() || ms > kMaxSampleMs) return false;
  auto& list = samples[std::string(deviceID)];
  list.push_back(ms);
  if (list.size() > kKeptSamples) list.erase(list.begin(), list.end() - kKeptSamples);
  return true;
}

std::optional<std::int64_t> MicrophoneStartupHistory::median(std::string_view deviceID) const {
  auto found = samples.find(std::string(deviceID));
  if (found == samples.end() || found->second.empty()) return std::nullopt;
  std::vector<std::int64_t> sorted = found->second;
  std::sort(sorted.begin(), sorted.end());
  return sorted[sorted.size() / 2];
}

Bytes MicrophoneStartupHistory::encode() const {
  nlohmann::json json = {{"samples", samples}};
  std::string text = json.dump();
  return Bytes(text.begin(), text.end());
}

std::optional<MicrophoneStartupHistory> MicrophoneStartupHistory::decode(const Bytes& data) {
  auto json = nlohmann::json::parse(data.begin(), data.end(), nullptr, /*allow_exceptions=*/false);
  if (!json.is_object()) return std::nullopt;
  auto found = json.find("samples");
  if (found == json.end() || !found->is_object()) return std::nullopt;
  MicrophoneStartupHistory history;
  for (const auto& [device, list] : found->items()) {
    if (!list.is_array()) return std::nullopt;
    auto& out = history.samples[device];
    for (const auto& sample : list) {
      if (!sample.is_number_integer()) return std::nullopt;
      out.push_back(sample.get<std::int64_t>());
    }
  }
  return history;
}

}  // namespace murvelo
