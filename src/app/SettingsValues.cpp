#include "app/SettingsValues.h"

#include <array>
#include <utility>

namespace murvelo {
namespace {

template <typename Enum, std::size_t N>
std::string_view nameOf(const std::array<std::pair<Enum, std::string_view>, N>& table, Enum value) {
  for (const auto& [entry, name] : table) {
    if (entry == value) return name;
  }
  return {};
}

template <typename Enum, std::size_t N>
std::optional<Enum> parse(const std::array<std::pair<Enum, std::string_view>, N>& table,
                          std::string_view raw) {
  for (const auto& [entry, name] : table) {
    if (name == raw) return entry;
  }
  return std::nullopt;
}

constexpr std::array<std::pair<CleanupLevel, std::string_view>, 4> kCleanupLevels{{
    {CleanupLevel::none, "none"},
    {CleanupLevel::light, "light"},
    {CleanupLevel::format, "format"},
    {CleanupLevel::medium, "medium"},
}};

constexpr std::array<std::pair<SpeechEngineChoice, std::string_view>, 3> kSpeechEngines{{
    {SpeechEngineChoice::automatic, "auto"},
    {SpeechEngineChoice::whisper, "whisper"},
    {SpeechEngineChoice::pocketsphinx, "pocketsphinx"},
}};

}  // namespace

std::string_view rawValue(CleanupLevel level) { return nameOf(kCleanupLevels, level); }
std::optional<CleanupLevel> parseCleanupLevel(std::string_view raw) { return parse(kCleanupLevels, raw); }
std::string_view rawValue(SpeechEngineChoice engine) { return nameOf(kSpeechEngines, engine); }
std::optional<SpeechEngineChoice> parseSpeechEngineChoice(std::string_view raw) {
  return parse(kSpeechEngines, raw);
}

}  // namespace murvelo
