#include "app/AppSettings.h"
#include "audio/pulse/PulseCaptureSession.h"
#include "cli/Commands.h"

namespace murvelo::cli {
namespace {

constexpr const char* kUsage =
    "usage: murvelo-cli devices\n"
    "Prints the audio inputs as one JSON array of\n"
    "{\"id\",\"name\",\"isBuiltIn\",\"isBluetooth\",\"isDefault\",\"startupMedianMs\"}; startupMedianMs is "
    "the\n"
    "median of up to five recent starts on this computer (null before the first).\n";

}  // namespace

int runDevices(CommandContext& context) {
  int exitCode = kSuccess;
  auto args = context.parse({{}, {}}, kUsage, exitCode);
  if (!args) return exitCode;
  if (!args->positionals().empty())
    return context.usageError("unexpected argument " + args->positionals()[0], kUsage);

  PulseCaptureSession session;
  if (!session.serverReachable()) return context.failure("the audio server is not reachable");
  DeviceList found = session.discover();
  AppSettings settings(context.defaults());

  nlohmann::ordered_json inputs = nlohmann::ordered_json::array();
  for (const auto& device : found.devices) {
    nlohmann::ordered_json input;
    input["id"] = device.id;
    input["name"] = device.name;
    input["isBuiltIn"] = device.isBuiltIn;
    input["isBluetooth"] = device.isBluetooth;
    input["isDefault"] = found.defaultID == device.id;
    auto median = settings.microphoneStartupHistory().median(device.id);
    input["startupMedianMs"] = median ? nlohmann::ordered_json(*median) : nlohmann::ordered_json(nullptr);
    inputs.push_back(std::move(input));
  }
  context.printJson(inputs);
  return kSuccess;
}

}  // namespace murvelo::cli
