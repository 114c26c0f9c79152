// Prints how long reading the cursor context of a real GTK field through AT-SPI takes: the first
// read (which connects to the accessibility bus) and p50/p99 of the reads after it.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include "delivery/atspi/AtspiCursorContextReader.h"
#include "support/AtspiSession.h"
#include "support/GtkTextWindow.h"
#include "support/XvfbServer.h"

using namespace murvelo;
using Clock = std::chrono::steady_clock;

namespace {

double millis(Clock::duration d) { return std::chrono::duration<double, std::milli>(d).count(); }

double percentile(std::vector<double> values, double p) {
  std::sort(values.begin(), values.end());
  auto index = static_cast<std::size_t>(p * static_cast<double>(values.size() - 1) + 0.5);
  return values[index];
}

}  // namespace

int main() {
  constexpr int kReads = 300;
  test::XvfbServer xvfb;
  test::AtspiSession session;
  if (!xvfb.start() || !session.start()) {
    std::fprintf(stderr, "the private X server or accessibility bus did not start\n");
    return 1;
  }
  AtspiCursorContextReader reader(nullptr);
  struct Field {
    const char* name;
    bool textView;
  };
  for (Field field : {Field{"GtkEntry", false}, Field{"GtkTextView", true}}) {
    test::GtkTextWindow window;
    test::GtkTextWindow::Options options;
    options.text = "Dear Ann,\nthanks for the notes from Tuesday. I will send the figures";
    options.textView = field.textView;
    if (!window.open(xvfb.display(), options)) {
      std::fprintf(stderr, "the GTK window did not open\n%s", window.log().c_str());
      return 1;
    }
    auto start = Clock::now();
    bool available = reader.readNow().available;
    double first = millis(Clock::now() - start);
    std::vector<double> times;
    int unavailable = available ? 0 : 1;
    for (int i = 0; i < kReads; ++i) {
      start = Clock::now();
      if (!reader.readNow().available) ++unavailable;
      times.push_back(millis(Clock::now() - start));
    }
    std::printf(
        "cursor context, %-11s first %6.2f ms   p50 %6.2f ms   p99 %6.2f ms   (%d reads, %d unavailable)\n",
        field.name, first, percentile(times, 0.5), percentile(times, 0.99), kReads, unavailable);
  }
  return 0;
}
