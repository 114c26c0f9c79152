#pragma once

#include <optional>
#include <string_view>

namespace murvelo {

// The talk key.
enum class HotkeyChoice { rightOption, rightCommand, rightControl, fn };

// How the talk key drives a recording.
enum class RecordingMode { hold, toggle };

// Raw (stored) values, and parsing of exactly those texts.
std::string_view rawValue(HotkeyChoice key);
std::string_view rawValue(RecordingMode mode);
std::optional<HotkeyChoice> parseHotkeyChoice(std::string_view raw);
std::optional<RecordingMode> parseRecordingMode(std::string_view raw);

// The evdev key code of a talk key (Right Alt, Right Super, Right Ctrl, Fn). Each back-end
// reports one code per physical key, so the left-hand key of the same modifier never matches.
int keyCodeOf(HotkeyChoice key);

}  // namespace murvelo
