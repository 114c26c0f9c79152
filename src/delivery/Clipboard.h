#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace murvelo {

// One clipboard item: its (type, bytes) pairs in the order the item offers its types.
struct ClipboardItem {
  std::vector<std::pair<std::string, std::string>> entries;

  bool operator==(const ClipboardItem&) const = default;
};

// The system clipboard as delivery needs it. A back-end per display system implements it.
class Clipboard {
 public:
  virtual ~Clipboard() = default;

  // A number that moves whenever the clipboard's contents change hands, our own writes included.
  // Main thread; must not block for long.
  virtual std::uint64_t changeCount() = 0;
  // Every item with every type that yielded data. Runs on the capture worker and may block on a
  // slow owner; the caller bounds how long it waits for the answer.
  virtual std::vector<ClipboardItem> readItems() = 0;
  // Replaces the contents with one plain-text item. Main thread.
  virtual void writeText(std::string_view text) = 0;
  // Replaces the contents with `items`, all at once. Main thread.
  virtual void writeItems(const std::vector<ClipboardItem>& items) = 0;
};

}  // namespace murvelo
