#pragma once

#include <string>
#include <string_view>

namespace murvelo {

// What the dictation is doing, as the HUD and the menu show it. Only `message` carries a text.
struct DictationStatus {
  enum class Kind { message, idle, recording, transcribing, cleaning };

  Kind kind = Kind::idle;
  std::string text;

  static DictationStatus message(std::string text) { return {Kind::message, std::move(text)}; }
  static DictationStatus idle() { return {Kind::idle, {}}; }
  static DictationStatus recording() { return {Kind::recording, {}}; }
  static DictationStatus transcribing() { return {Kind::transcribing, {}}; }
  static DictationStatus cleaning() { return {Kind::cleaning, {}}; }

  bool is(Kind other) const { return kind == other; }
  bool operator==(const DictationStatus&) const = default;
};

std::string_view statusName(DictationStatus::Kind kind);

}  // namespace murvelo
