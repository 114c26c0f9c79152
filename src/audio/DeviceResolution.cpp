#include "audio/DeviceResolution.h"

#include "base/Log.h"

namespace murvelo {
namespace {

const Logger kLog("audio");

}  // namespace

std::optional<ResolvedDevice> resolveDevice(const DeviceList& found, const MicrophoneSelection& selection) {
  const CaptureDevice* fallback = found.defaultDevice();
  // A server whose default is not an input (a monitor, say) still has inputs worth using.
  if (!fallback && !found.devices.empty()) fallback = &found.devices.front();
  if (!fallback) return std::nullopt;

  ResolvedDevice resolved;
  switch (selection.kind()) {
    case MicrophoneSelection::Kind::device: {
      const CaptureDevice* chosen = found.find(selection.deviceID());
      resolved.device = chosen ? *chosen : *fallback;
      break;
    }
    case MicrophoneSelection::Kind::builtIn: {
      const CaptureDevice* builtIn = nullptr;
      for (const auto& device : found.devices)
        if (device.isBuiltIn) {
          builtIn = &device;
          break;
        }
      if (!builtIn) {
        resolved.device = *fallback;
        break;
      }
      resolved.device = *builtIn;
      const CaptureDevice* systemDefault = found.defaultDevice();
      if (systemDefault && systemDefault->isBluetooth) {
        kLog.info("mic substituted built-in for bluetooth default");
        resolved.didSubstituteBuiltInMic = true;
        resolved.bypassedDeviceName = systemDefault->name;
      }
      break;
    }
    case MicrophoneSelection::Kind::systemDefault: resolved.device = *fallback; break;
  }
  return resolved;
}

}  // namespace murvelo
