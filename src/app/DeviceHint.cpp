#include "app/DeviceHint.h"

#include <algorithm>

#include "app/Notices.h"
#include "base/DefaultsStore.h"

namespace murvelo {

std::optional<DeviceHint> DeviceHint::prepare(const RecorderFacts& facts) {
  if (facts.didSubstituteBuiltInMic && !facts.bypassedDeviceName.empty()) {
    const std::string& name = facts.bypassedDeviceName;
    return DeviceHint{
        std::string(notices::kSubstitutedPrefix) + name + std::string(notices::kSubstitutedSuffix),
        name + "|substituted"};
  }
  if (facts.didRecordViaBluetooth) {
    std::string name =
        facts.deviceName.empty() || facts.deviceName == "unknown" ? "Bluetooth headphones" : facts.deviceName;
    return DeviceHint{name + std::string(notices::kBluetoothSuffix), name + "|bluetooth"};
  }
  return std::nullopt;
}

bool DeviceHint::claim(DefaultsStore& defaults) const {
  StringList shown = defaults.stringList(kShownKey).value_or(StringList{});
  if (std::find(shown.begin(), shown.end(), shownKey) != shown.end()) return false;
  shown.push_back(shownKey);
  defaults.setStringList(kShownKey, std::move(shown));
  return true;
}

}  // namespace murvelo
