#pragma once

#include <string>

namespace murvelo {

// How a finalisation race ended: the work's text, or the time limit first.
struct RaceOutcome {
  enum class Kind { completed, timedOut };
  Kind kind = Kind::timedOut;
  std::string text;  // the finalised text when completed

  static RaceOutcome completed(std::string text) { return {Kind::completed, std::move(text)}; }
  static RaceOutcome timedOut() { return {Kind::timedOut, {}}; }
  bool operator==(const RaceOutcome&) const = default;
};

}  // namespace murvelo
