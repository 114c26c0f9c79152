#include "support/GtkTextWindow.h"

#include "support/Pump.h"
#include "support/RunProcess.h"

namespace murvelo::test {
namespace {

const char* const kPython = "/usr/bin/python3";
const std::string kScript = std::string(MURVELO_SOURCE_DIR) + "/tests/support/gtk_text_window.py";

}  // namespace

bool GtkTextWindow::available() {
  return runProcess(kPython,
                    {"-c", "import gi; gi.require_version('Gtk', '3.0'); from gi.repository import Gtk"})
             .exitCode == 0;
}

bool GtkTextWindow::open(const std::string& display, const Options& options) {
  std::vector<std::string> argv = {kPython,    kScript,
                                   "--kind",   options.textView ? "textview" : "entry",
                                   "--text",   options.text,
                                   "--ready",  (dir_ / "ready").string(),
                                   "--output", (dir_ / "out").string()};
  if (options.cursor) argv.insert(argv.end(), {"--cursor", std::to_string(*options.cursor)});
  if (options.selectTo) argv.insert(argv.end(), {"--select-to", std::to_string(*options.selectTo)});
  std::error_code ignored;
  std::filesystem::remove(dir_ / "ready", ignored);
  if (!process_.start(argv,
                      {{"DISPLAY", display}, {"NO_AT_BRIDGE", std::nullopt}, {"GTK_MODULES", std::nullopt}},
                      dir_ / "window.log"))
    return false;
  if (waitUntil([&] { return std::filesystem::exists(dir_ / "ready") || !process_.running(); },
                std::chrono::seconds(20)) &&
      std::filesystem::exists(dir_ / "ready"))
    return true;
  process_.stop();
  return false;
}

std::string GtkTextWindow::contents() const { return readFile(dir_ / "out"); }
std::string GtkTextWindow::log() const { return readFile(dir_ / "window.log"); }

}  // namespace murvelo::test
