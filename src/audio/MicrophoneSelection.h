#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace murvelo {

class DefaultsStore;

// Which microphone the user wants: a particular device, the built-in microphone (the default), or
// whatever the system's default input is.
class MicrophoneSelection {
 public:
  enum class Kind { device, builtIn, systemDefault };

  static MicrophoneSelection device(std::string deviceID) {
    return MicrophoneSelection(Kind::device, std::move(deviceID));
  }
  static MicrophoneSelection builtIn() { return MicrophoneSelection(Kind::builtIn, {}); }
  static MicrophoneSelection systemDefault() { return MicrophoneSelection(Kind::systemDefault, {}); }

  // "built-in", "system", or "device:" + a non-empty identifier; anything else gives no value.
  static std::optional<MicrophoneSelection> fromStoredString(std::string_view stored);
  std::string storedString() const;

  Kind kind() const { return kind_; }
  // The device identifier of a `device` selection; empty otherwise.
  const std::string& deviceID() const { return deviceID_; }

  bool operator==(const MicrophoneSelection&) const = default;

 private:
  MicrophoneSelection(Kind kind, std::string deviceID) : kind_(kind), deviceID_(std::move(deviceID)) {}

  Kind kind_;
  std::string deviceID_;
};

inline constexpr std::string_view kMicrophoneSelectionKey = "dictationMicrophoneSelection";
inline constexpr std::string_view kPreferBuiltInMicKey = "preferBuiltInMicForDictation";

// The selection at start: the stored one when valid, else derived from the older boolean key
// (present and false: the system default), else the built-in microphone.
MicrophoneSelection loadSelection(const DefaultsStore& defaults);

}  // namespace murvelo
