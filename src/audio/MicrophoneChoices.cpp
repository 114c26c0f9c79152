#include "audio/MicrophoneChoices.h"

#include "audio/DeviceResolution.h"

namespace murvelo {

std::string startupHint(const MicrophoneStartupHistory& history, const std::string& deviceID) {
  auto median = history.median(deviceID);
  if (!median) return MicrophoneChoices::kNoTimes;
  return "Starts in about " + std::to_string(*median) +
         " ms: the median of up to five recent starts on this computer (1,000 ms = 1 second).";
}

MicrophoneChoices listMicrophoneChoices(const DeviceList& found, const MicrophoneSelection& selected,
                                        const MicrophoneStartupHistory& history) {
  MicrophoneChoices choices;
  // The general choices show the hint of the device they lead to now.
  auto hintFor = [&](const MicrophoneSelection& selection) {
    auto resolved = resolveDevice(found, selection);
    return resolved ? startupHint(history, resolved->device.id) : std::string(MicrophoneChoices::kNoInputs);
  };
  std::string systemLabel = MicrophoneChoices::kSystemLabel;
  if (const CaptureDevice* device = found.defaultDevice()) systemLabel += " (" + device->name + ")";
  choices.entries.push_back({MicrophoneSelection::builtIn(), MicrophoneChoices::kBuiltInLabel,
                             hintFor(MicrophoneSelection::builtIn())});
  choices.entries.push_back(
      {MicrophoneSelection::systemDefault(), systemLabel, hintFor(MicrophoneSelection::systemDefault())});
  for (const auto& device : found.devices)
    choices.entries.push_back(
        {MicrophoneSelection::device(device.id), device.name, startupHint(history, device.id)});

  bool matched = false;
  for (std::size_t i = 0; i < choices.entries.size(); ++i)
    if (choices.entries[i].selection == selected) {
      choices.selected = i;
      matched = true;
    }
  if (!matched) {
    choices.entries.push_back(
        {selected, MicrophoneChoices::kDisconnectedLabel, MicrophoneChoices::kDisconnectedAdvice, false});
    choices.selected = choices.entries.size() - 1;
  }

  bool builtIn = false;
  for (const auto& device : found.devices) builtIn = builtIn || device.isBuiltIn;
  if (found.devices.empty())
    choices.note = MicrophoneChoices::kNoInputs;
  else if (!builtIn && selected.kind() == MicrophoneSelection::Kind::builtIn)
    choices.note = MicrophoneChoices::kNoBuiltIn;
  return choices;
}

}  // namespace murvelo
