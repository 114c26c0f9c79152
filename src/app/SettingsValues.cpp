#include "app/SettingsValues.h"

#include "base/NameTable.h"

namespace murvelo {
namespace {

constexpr NameTable<RecordingMode, 2> kRecordingModes{{
    {RecordingMode::hold, "hold"},
    {RecordingMode::toggle, "toggle"},
}};

constexpr NameTable<HotkeyChoice, 4> kHotkeys{{
    {HotkeyChoice::rightOption, "rightOption"},
    {HotkeyChoice::rightCommand, "rightCommand"},
    {HotkeyChoice::rightControl, "rightControl"},
    {HotkeyChoice::fn, "fn"},
}};

}  // namespace

std::string_view rawValue(RecordingMode mode) { return nameOf(kRecordingModes, mode); }
std::string_view rawValue(HotkeyChoice key) { return nameOf(kHotkeys, key); }
std::optional<RecordingMode> parseRecordingMode(std::string_view raw) {
  return parseName(kRecordingModes, raw);
}
std::optional<HotkeyChoice> parseHotkeyChoice(std::string_view raw) { return parseName(kHotkeys, raw); }

}  // namespace murvelo
