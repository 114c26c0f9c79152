#pragma once

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace murvelo {

// What a recogniser learned about each microphone's sound, kept across launches in a small text
// file: one line per device, the most recently used first, its ID, a tab and the numbers. A file
// that is missing, unreadable or garbled means nothing is known; no path remembers nothing.
class MicrophoneMemory {
 public:
  static constexpr std::size_t kDevices = 16;

  explicit MicrophoneMemory(std::filesystem::path file = {}) : file_(std::move(file)) {}

  std::optional<std::vector<float>> recall(std::string_view deviceID) const;
  // Best effort: a failure is logged and forgotten.
  void remember(const std::string& deviceID, const std::vector<float>& numbers);

 private:
  using Entries = std::vector<std::pair<std::string, std::vector<float>>>;
  Entries read() const;

  std::filesystem::path file_;
  mutable std::mutex mutex_;  // one read-modify-write at a time in this process
};

}  // namespace murvelo
