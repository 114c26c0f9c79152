#include "hotkey/TalkKey.h"

#include <array>
#include <utility>

namespace murvelo {
namespace {

constexpr std::array<std::pair<HotkeyChoice, std::string_view>, 4> kHotkeys{{
    {HotkeyChoice::rightOption, "rightOption"},
    {HotkeyChoice::rightCommand, "rightCommand"},
    {HotkeyChoice::rightControl, "rightControl"},
    {HotkeyChoice::fn, "fn"},
}};

constexpr std::array<std::pair<RecordingMode, std::string_view>, 2> kRecordingModes{{
    {RecordingMode::hold, "hold"},
    {RecordingMode::toggle, "toggle"},
}};

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

}  // namespace

std::string_view rawValue(HotkeyChoice key) { return nameOf(kHotkeys, key); }
std::string_view rawValue(RecordingMode mode) { return nameOf(kRecordingModes, mode); }
std::optional<HotkeyChoice> parseHotkeyChoice(std::string_view raw) { return parse(kHotkeys, raw); }
std::optional<RecordingMode> parseRecordingMode(std::string_view raw) { return parse(kRecordingModes, raw); }

int keyCodeOf(HotkeyChoice key) {
  switch (key) {
    case HotkeyChoice::rightOption: return 100;   // KEY_RIGHTALT
    case HotkeyChoice::rightCommand: return 126;  // KEY_RIGHTMETA
    case HotkeyChoice::rightControl: return 97;   // KEY_RIGHTCTRL
    case HotkeyChoice::fn: return 464;            // KEY_FN
  }
  return 100;
}

}  // namespace murvelo
