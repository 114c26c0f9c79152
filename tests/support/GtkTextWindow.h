#pragma once

#include <optional>
#include <string>

#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace murvelo::test {

// A real GTK3 text field (tests/support/gtk_text_window.py) that holds the keyboard focus.
class GtkTextWindow {
 public:
  struct Options {
    std::string text;
    std::optional<int> cursor;    // characters; the end when absent
    std::optional<int> selectTo;  // selects from the cursor to here
    bool textView = false;        // a multi-line GtkTextView instead of a GtkEntry
  };

  // python3-gi with GTK 3 is installed.
  static bool available();

  // Opens the window on `display` and waits until the field has the focus.
  bool open(const std::string& display, const Options& options);
  // The field's text as the window last wrote it.
  std::string contents() const;
  std::string log() const;

 private:
  TempDir dir_;
  ChildProcess process_;
};

}  // namespace murvelo::test
