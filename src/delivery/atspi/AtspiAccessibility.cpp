#include "delivery/atspi/AtspiAccessibility.h"

#include <atspi/atspi.h>

#include <algorithm>
#include <string>
#include <vector>

namespace murvelo {
namespace {

// Each cross-process call: an application that does not answer in this time is skipped.
constexpr int kCallTimeoutMs = 100;
// A field inside a huge tree is not worth the walk; the context is then simply unavailable.
constexpr int kMaxVisited = 4000;

struct Unref {
  void operator()(gpointer object) const {
    if (object) g_object_unref(object);
  }
};
template <typename T>
using Ref = std::unique_ptr<T, Unref>;

bool failed(GError*& error) {
  if (!error) return false;
  g_clear_error(&error);
  return true;
}

bool hasState(AtspiAccessible* node, AtspiStateType state) {
  Ref<AtspiStateSet> states(atspi_accessible_get_state_set(node));
  return states && atspi_state_set_contains(states.get(), state);
}

std::optional<std::string> takeString(gchar* text, GError*& error) {
  if (failed(error) || !text) {
    g_free(text);
    return std::nullopt;
  }
  std::string out(text);
  g_free(text);
  return out;
}

class AtspiFocusedText : public FocusedText {
 public:
  explicit AtspiFocusedText(Ref<AtspiText> text) : text_(std::move(text)) {}

  std::optional<TextRange> selectedRange() override {
    GError* error = nullptr;
    gint count = atspi_text_get_n_selections(text_.get(), &error);
    if (failed(error)) return std::nullopt;
    if (count > 0) {
      AtspiRange* range = atspi_text_get_selection(text_.get(), 0, &error);
      if (failed(error) || !range) {
        g_free(range);
        return std::nullopt;
      }
      std::int64_t start = std::min(range->start_offset, range->end_offset);
      std::int64_t end = std::max(range->start_offset, range->end_offset);
      g_free(range);
      return TextRange{start, end - start};
    }
    gint caret = atspi_text_get_caret_offset(text_.get(), &error);
    if (failed(error) || caret < 0) return std::nullopt;
    return TextRange{caret, 0};
  }

  std::optional<std::string> stringForRange(TextRange range) override {
    GError* error = nullptr;
    gchar* text = atspi_text_get_text(text_.get(), static_cast<gint>(range.location),
                                      static_cast<gint>(range.location + range.length), &error);
    return takeString(text, error);
  }

 private:
  Ref<AtspiText> text_;
};

class FocusSearch {
 public:
  explicit FocusSearch(std::chrono::steady_clock::time_point deadline) : deadline_(deadline) {}

  // The focused element under `root`: the application's own search first (one round trip), a
  // walk of the tree when the application does not offer one.
  Ref<AtspiAccessible> under(AtspiAccessible* root) {
    if (auto found = collectionMatch(root)) return found;
    return walk(root);
  }

  bool expired() const { return visited_ > kMaxVisited || std::chrono::steady_clock::now() > deadline_; }

 private:
  Ref<AtspiAccessible> collectionMatch(AtspiAccessible* root) {
    Ref<AtspiCollection> collection(atspi_accessible_get_collection_iface(root));
    if (!collection) return nullptr;
    Ref<AtspiStateSet> states(atspi_state_set_new(nullptr));
    atspi_state_set_add(states.get(), ATSPI_STATE_FOCUSED);
    Ref<AtspiMatchRule> rule(atspi_match_rule_new(
        states.get(), ATSPI_Collection_MATCH_ALL, nullptr, ATSPI_Collection_MATCH_ALL, nullptr,
        ATSPI_Collection_MATCH_ALL, nullptr, ATSPI_Collection_MATCH_ALL, FALSE));
    GError* error = nullptr;
    GArray* matches = atspi_collection_get_matches(collection.get(), rule.get(),
                                                   ATSPI_Collection_SORT_ORDER_CANONICAL, 1, TRUE, &error);
    if (failed(error) || !matches) return nullptr;
    Ref<AtspiAccessible> found;
    if (matches->len > 0) found.reset(g_object_ref(g_array_index(matches, AtspiAccessible*, 0)));
    for (guint i = 0; i < matches->len; ++i) g_object_unref(g_array_index(matches, AtspiAccessible*, i));
    g_array_free(matches, TRUE);
    return found;
  }

  Ref<AtspiAccessible> walk(AtspiAccessible* node) {
    if (expired()) return nullptr;
    ++visited_;
    Ref<AtspiStateSet> states(atspi_accessible_get_state_set(node));
    if (!states) return nullptr;
    if (atspi_state_set_contains(states.get(), ATSPI_STATE_FOCUSED))
      return Ref<AtspiAccessible>(g_object_ref(node));
    // Hidden parts cannot hold the focus, and lists that manage their descendants can be huge.
    if (!atspi_state_set_contains(states.get(), ATSPI_STATE_SHOWING) ||
        atspi_state_set_contains(states.get(), ATSPI_STATE_MANAGES_DESCENDANTS))
      return nullptr;
    GError* error = nullptr;
    gint count = atspi_accessible_get_child_count(node, &error);
    if (failed(error)) return nullptr;
    for (gint i = 0; i < count && !expired(); ++i) {
      Ref<AtspiAccessible> child(atspi_accessible_get_child_at_index(node, i, &error));
      if (failed(error) || !child) continue;
      if (auto found = walk(child.get())) return found;
    }
    return nullptr;
  }

  std::chrono::steady_clock::time_point deadline_;
  int visited_ = 0;
};

std::vector<Ref<AtspiAccessible>> children(AtspiAccessible* node) {
  std::vector<Ref<AtspiAccessible>> out;
  GError* error = nullptr;
  gint count = atspi_accessible_get_child_count(node, &error);
  if (failed(error)) return out;
  for (gint i = 0; i < count; ++i) {
    Ref<AtspiAccessible> child(atspi_accessible_get_child_at_index(node, i, &error));
    if (failed(error) || !child) continue;
    out.push_back(std::move(child));
  }
  return out;
}

}  // namespace

namespace {
bool atspiConnected = false;
}  // namespace

bool AtspiAccessibility::connected() { return atspiConnected; }

bool AtspiAccessibility::connect() {
  static std::chrono::steady_clock::time_point nextTry;
  if (atspiConnected) return true;
  const auto now = std::chrono::steady_clock::now();
  if (now < nextTry) return false;
  nextTry = now + kRetryInterval;
  // Found first without initialising libatspi: once initialised without a bus it never looks
  // again, and its calls would abort the process.
  if (!atspi_get_a11y_bus()) return false;
  if (atspi_init() > 1) return false;
  // Messages of the accessibility bus go to a context of our own, never the default one a GUI
  // toolkit may be running on another thread.
  atspi_set_main_context(g_main_context_new());
  atspi_set_timeout(kCallTimeoutMs, kCallTimeoutMs);
  atspiConnected = true;
  return true;
}

std::unique_ptr<FocusedText> AtspiAccessibility::focusedText() {
  if (!connect()) return nullptr;
  Ref<AtspiAccessible> desktop(atspi_get_desktop(0));
  if (!desktop) return nullptr;
  FocusSearch search(deadline_);
  // The focused element lives in the active window; some toolkits keep a focused state in
  // inactive windows too, so those are only searched when no window is active.
  std::vector<Ref<AtspiAccessible>> inactive;
  Ref<AtspiAccessible> focused;
  for (auto& app : children(desktop.get())) {
    for (auto& window : children(app.get())) {
      if (search.expired()) return nullptr;
      if (!hasState(window.get(), ATSPI_STATE_ACTIVE)) {
        inactive.push_back(std::move(window));
        continue;
      }
      if ((focused = search.under(window.get()))) break;
    }
    if (focused) break;
  }
  for (std::size_t i = 0; !focused && i < inactive.size() && !search.expired(); ++i)
    focused = search.under(inactive[i].get());
  if (!focused) return nullptr;
  Ref<AtspiText> text(atspi_accessible_get_text_iface(focused.get()));
  if (!text) return nullptr;
  return std::make_unique<AtspiFocusedText>(std::move(text));
}

}  // namespace murvelo
