#include <cstdio>
#include <iomanip>
#include <sstream>

#include "cli/Commands.h"
#include "speech/ModelCatalog.h"
#include "speech/whisper/ModelDownloader.h"
#include "speech/WhisperModelChoice.h"

namespace murvelo::cli {
namespace {

constexpr const char* kUsage =
    "usage: murvelo-cli models                 list installed and available whisper models\n"
    "       murvelo-cli models list            the same\n"
    "       murvelo-cli models download NAME   download and install one (e.g. base.en)\n"
    "Models live in $XDG_DATA_HOME/murvelo/models. Downloads resume after an interruption and are\n"
    "checked against the published checksum before they are installed.\n"
    "$MURVELO_MODEL_BASE_URL replaces the download address (the file name is appended).\n";

std::string mebibytes(double bytes) {
  std::ostringstream out;
  out << std::fixed << std::setprecision(1) << bytes / (1024.0 * 1024.0) << " MiB";
  return out.str();
}

void drawBar(std::ostream& err, const ModelDownloader::Progress& progress) {
  constexpr int kWidth = 30;
  double fraction =
      progress.total ? static_cast<double>(progress.received) / static_cast<double>(progress.total) : 0;
  int filled = static_cast<int>(fraction * kWidth);
  err << "\r[" << std::string(filled, '#') << std::string(kWidth - filled, '.') << "] " << std::setw(3)
      << static_cast<int>(fraction * 100) << " %  " << mebibytes(static_cast<double>(progress.received))
      << " / " << (progress.total ? mebibytes(static_cast<double>(progress.total)) : std::string("?")) << "  "
      << mebibytes(progress.bytesPerSecond) << "/s   " << std::flush;
}

int list(CommandContext& context) {
  auto directory = WhisperModelChoice::modelsDirectory();
  auto installed = WhisperModelChoice::installed(directory);
  auto chosen = WhisperModelChoice::choose(installed);
  nlohmann::ordered_json json;
  json["directory"] = directory.string();
  json["installed"] = nlohmann::ordered_json::array();
  for (const auto& file : installed) {
    std::error_code error;
    json["installed"].push_back({{"name", *WhisperModelChoice::modelName(file)},
                                 {"bytes", std::filesystem::file_size(file, error)},
                                 {"used", chosen && *chosen == file}});
  }
  json["available"] = nlohmann::ordered_json::array();
  for (const auto& entry : ModelCatalog::entries()) {
    json["available"].push_back({{"name", entry.name},
                                 {"approximateBytes", entry.approximateBytes},
                                 {"englishOnly", WhisperModelChoice::isEnglishOnly(entry.name)}});
  }
  context.printJson(json);
  return kSuccess;
}

int download(CommandContext& context, const std::string& name) {
  auto entry = ModelCatalog::find(name);
  if (!entry)
    return context.usageError("unknown model \"" + name + "\" (murvelo-cli models lists them)", kUsage);
  auto destination = WhisperModelChoice::modelsDirectory() / ModelCatalog::fileName(name);
  std::error_code error;
  if (std::filesystem::exists(destination, error)) {
    context.err() << name << " is already installed: " << destination.string() << "\n";
    return kSuccess;
  }
  std::string url = ModelCatalog::baseUrl() + ModelCatalog::fileName(name);
  context.err() << "downloading " << url << "\n";
  bool drew = false;
  Status status =
      ModelDownloader::download(url, destination, entry->sha1, [&](const ModelDownloader::Progress& p) {
        drawBar(context.err(), p);
        drew = true;
      });
  if (drew) context.err() << "\n";
  if (!status) return context.failure(status.message());
  context.err() << "installed " << destination.string() << "\n";
  return kSuccess;
}

}  // namespace

int runModels(CommandContext& context) {
  int exitCode = kSuccess;
  auto args = context.parse({}, kUsage, exitCode);
  if (!args) return exitCode;
  const auto& words = args->positionals();
  if (words.empty() || (words.size() == 1 && words[0] == "list")) return list(context);
  if (words.size() == 2 && words[0] == "download") return download(context, words[1]);
  return context.usageError(words[0] == "download" ? "models download needs one NAME" : "unknown arguments",
                            kUsage);
}

}  // namespace murvelo::cli
