#include "audio/MicrophoneSelection.h"

#include "base/DefaultsStore.h"

namespace murvelo {
namespace {
constexpr std::string_view kDevicePrefix = "device:";
}

std::optional<MicrophoneSelection> MicrophoneSelection::fromStoredString(std::string_view stored) {
  if (stored == "built-in") return builtIn();
  if (stored == "system") return systemDefault();
  if (stored.size() > kDevicePrefix.size() && stored.substr(0, kDevicePrefix.size()) == kDevicePrefix) {
    return device(std::string(stored.substr(kDevicePrefix.size())));
  }
  return std::nullopt;
}

std::string MicrophoneSelection::storedString() const {
  switch (kind_) {
    case Kind::builtIn: return "built-in";
    case Kind::systemDefault: return "system";
    case Kind::device: return std::string(kDevicePrefix) + deviceID_;
  }
  return "built-in";
}

MicrophoneSelection loadSelection(const DefaultsStore& defaults) {
  if (auto stored = defaults.string(kMicrophoneSelectionKey)) {
    if (auto selection = MicrophoneSelection::fromStoredString(*stored)) return *selection;
  }
  if (auto preferBuiltIn = defaults.boolean(kPreferBuiltInMicKey); preferBuiltIn && !*preferBuiltIn) {
    return MicrophoneSelection::systemDefault();
  }
  return MicrophoneSelection::builtIn();
}

}  // namespace murvelo
