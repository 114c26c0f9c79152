#include "sim/Scenario.h"

#include <charconv>
#include <optional>

namespace murvelo::sim {
namespace {

struct Token {
  std::string text;
  bool quoted = false;
};

// Splits a line into words and double-quoted strings (with \" \\ \n \t escapes); "#" outside
// quotes ends the line.
std::optional<std::vector<Token>> tokenize(std::string_view line, std::string& error) {
  std::vector<Token> tokens;
  std::size_t i = 0;
  while (i < line.size()) {
    char c = line[i];
    if (c == ' ' || c == '\t' || c == '\r') {
      ++i;
    } else if (c == '#') {
      break;
    } else if (c == '"') {
      Token token{{}, true};
      ++i;
      bool closed = false;
      while (i < line.size()) {
        char d = line[i++];
        if (d == '"') {
          closed = true;
          break;
        }
        if (d == '\\' && i < line.size()) {
          char e = line[i++];
          token.text += e == 'n' ? '\n' : e == 't' ? '\t' : e;
        } else {
          token.text += d;
        }
      }
      if (!closed) {
        error = "unterminated quoted text";
        return std::nullopt;
      }
      tokens.push_back(std::move(token));
    } else {
      Token token;
      while (i < line.size() && line[i] != ' ' && line[i] != '\t' && line[i] != '\r' && line[i] != '"')
        token.text += line[i++];
      tokens.push_back(std::move(token));
    }
  }
  return tokens;
}

std::optional<std::int64_t> milliseconds(const Token& token) {
  if (token.quoted) return std::nullopt;
  std::int64_t value = 0;
  auto [end, ec] = std::from_chars(token.text.data(), token.text.data() + token.text.size(), value);
  if (ec != std::errc() || end != token.text.data() + token.text.size() || value < 0) return std::nullopt;
  return value;
}

bool is(const std::vector<Token>& tokens, std::size_t index, std::string_view word) {
  return index < tokens.size() && !tokens[index].quoted && tokens[index].text == word;
}

}  // namespace

Result<std::vector<ScenarioStep>, ScenarioError> parseScenario(std::string_view text) {
  using Kind = ScenarioStep::Kind;
  std::vector<ScenarioStep> steps;
  std::int64_t lastTime = 0;
  int lineNumber = 0;
  std::size_t start = 0;
  while (start <= text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = text.substr(start, end - start);
    start = end + 1;
    ++lineNumber;

    std::string error;
    auto parsed = tokenize(line, error);
    if (!parsed) return ScenarioError{lineNumber, error};
    const std::vector<Token>& t = *parsed;
    if (t.empty()) continue;

    ScenarioStep step;
    step.kind = Kind::keyDown;
    step.line = lineNumber;
    auto fail = [&](std::string message) { return ScenarioError{lineNumber, std::move(message)}; };
    auto word = [&](std::size_t i) -> std::string { return i < t.size() && !t[i].quoted ? t[i].text : ""; };
    std::string head = word(0);

    if (head == "at") {
      auto ms = t.size() > 1 ? milliseconds(t[1]) : std::nullopt;
      if (!ms) return fail("expected a time in milliseconds after \"at\"");
      if (*ms < lastTime) return fail("time " + std::to_string(*ms) + " is before the previous one");
      lastTime = *ms;
      step.atMs = *ms;
      std::string what = word(2);
      if (what == "keydown" && t.size() == 3)
        step.kind = Kind::keyDown;
      else if (what == "keyup" && t.size() == 3)
        step.kind = Kind::keyUp;
      else if (what == "repeat" && t.size() == 3)
        step.kind = Kind::keyRepeat;
      else if (what == "resync" && t.size() == 4 && (is(t, 3, "up") || is(t, 3, "down"))) {
        step.kind = Kind::resync;
        step.flag = is(t, 3, "down");
      } else {
        return fail("expected keydown, keyup, repeat or resync up|down after the time");
      }
    } else if (head == "stream" || head == "file") {
      step.kind = head == "stream" ? Kind::stream : Kind::file;
      if (is(t, 1, "hang") && t.size() == 2) {
        step.hang = true;
      } else if (t.size() == 4 && t[1].quoted && is(t, 2, "after") && milliseconds(t[3])) {
        step.text = t[1].text;
        step.afterMs = *milliseconds(t[3]);
      } else if (head == "stream" && t.size() == 3 && is(t, 1, "limit") &&
                 (is(t, 2, "on") || is(t, 2, "off"))) {
        step.kind = Kind::finalizeLimit;
        step.flag = is(t, 2, "on");
      } else {
        return fail("expected " + head + " \"TEXT\" after MS, or " + head + " hang");
      }
    } else if (head == "mic") {
      if (is(t, 1, "fail") && t.size() == 2)
        step.kind = Kind::micFail;
      else if (is(t, 1, "silent") && t.size() == 2)
        step.kind = Kind::micSilent;
      else if ((is(t, 1, "bluetooth") || is(t, 1, "substituted")) && t.size() == 3 && t[2].quoted) {
        step.kind = is(t, 1, "bluetooth") ? Kind::micBluetooth : Kind::micSubstituted;
        step.text = t[2].text;
      } else {
        return fail("expected mic fail, mic silent, mic bluetooth \"NAME\" or mic substituted \"NAME\"");
      }
    } else if (head == "level") {
      step.kind = Kind::level;
      step.text = word(1);
      if (t.size() != 2 || (step.text != "none" && step.text != "light" && step.text != "format"))
        return fail("expected level none, light or format");
    } else if (head == "cursor") {
      if (t.size() != 2 || !t[1].quoted) return fail("expected cursor \"TEXT BEFORE THE CURSOR\"");
      step.kind = Kind::cursor;
      step.text = t[1].text;
    } else if (head == "autopaste") {
      if (t.size() != 2 || !(is(t, 1, "on") || is(t, 1, "off"))) return fail("expected autopaste on or off");
      step.kind = Kind::autoPaste;
      step.flag = is(t, 1, "on");
    } else if (head == "paste") {
      if (t.size() != 2 || !(is(t, 1, "denied") || is(t, 1, "allowed")))
        return fail("expected paste denied or paste allowed");
      step.kind = Kind::pasteDenied;
      step.flag = is(t, 1, "denied");
    } else if (head == "mode") {
      if (t.size() != 2 || !(is(t, 1, "hold") || is(t, 1, "toggle")))
        return fail("expected mode hold or toggle");
      step.kind = Kind::mode;
      step.text = word(1);
    } else if (head == "run") {
      auto ms = t.size() == 3 && is(t, 1, "until") ? milliseconds(t[2]) : std::nullopt;
      if (!ms) return fail("expected run until MS");
      if (*ms < lastTime) return fail("time " + std::to_string(*ms) + " is before the previous one");
      lastTime = *ms;
      step.kind = Kind::runUntil;
      step.atMs = *ms;
    } else {
      return fail("unknown line \"" + (t[0].quoted ? "\"" + t[0].text + "\"" : t[0].text) + "\"");
    }
    steps.push_back(std::move(step));
  }
  return steps;
}

}  // namespace murvelo::sim
