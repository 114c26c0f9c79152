#include "app/LoginItem.h"

#include <fstream>
#include <sstream>
#include <system_error>

#include "base/AtomicFile.h"

namespace murvelo {

std::string LoginItem::execArgument(std::string_view executable) {
  // Desktop entries quote an argument in double quotes with ", `, $ and \ escaped; the whole
  // value is then a string, whose own escape doubles every backslash. % is a field code.
  bool needsQuotes = false;
  std::string quoted;
  for (char c : executable) {
    if (c == '"' || c == '`' || c == '$' || c == '\\') {
      quoted += "\\\\";
      if (c == '\\')
        quoted += "\\\\";
      else
        quoted += c;
      needsQuotes = true;
      continue;
    }
    if (c == ' ' || c == '\t' || c == '\'' || c == '>' || c == '<' || c == '~' || c == '|' || c == '&' ||
        c == ';' || c == '*' || c == '?' || c == '#' || c == '(' || c == ')')
      needsQuotes = true;
    if (c == '%') quoted += '%';
    if (c == '\n') {
      quoted += "\\n";
      needsQuotes = true;
      continue;
    }
    quoted += c;
  }
  return needsQuotes ? "\"" + quoted + "\"" : quoted;
}

std::string LoginItem::entry(std::string_view executable) {
  return "[Desktop Entry]\n"
         "Type=Application\n"
         "Name=Murvelo\n"
         "Comment=Push-to-talk dictation\n"
         "Exec=" +
         execArgument(executable) +
         "\n"
         "Icon=audio-input-microphone\n"
         "Terminal=false\n"
         "X-GNOME-Autostart-enabled=true\n";
}

bool LoginItem::installed() const {
  std::error_code error;
  return std::filesystem::exists(file(), error);
}

Status LoginItem::apply(bool enabled) const {
  std::error_code error;
  if (!enabled) {
    std::filesystem::remove(file(), error);
    if (error) return Status::error("cannot remove " + file().string() + ": " + error.message());
    return Status::ok();
  }
  const std::string text = entry(executable_);
  {
    std::ifstream current(file(), std::ios::binary);
    std::stringstream existing;
    existing << current.rdbuf();
    if (current && existing.str() == text) return Status::ok();
  }
  // A session manager reading the folder sees the old entry or the new one, never half of one.
  return replaceFileContents(file(), text);
}

}  // namespace murvelo
