#include "base/Diagnostics.h"

#include <utility>

namespace murvelo {

Diagnostics::Diagnostics(std::size_t capacity) : capacity_(capacity == 0 ? 1 : capacity) {}

Diagnostics& Diagnostics::shared() {
  static Diagnostics instance;
  return instance;
}

void Diagnostics::record(std::string category, std::string name, std::string detail) {
  DiagnosticEvent event{std::chrono::system_clock::now(), std::move(category), std::move(name),
                        std::move(detail)};
  std::lock_guard lock(mutex_);
  if (events_.size() == capacity_) events_.pop_front();
  events_.push_back(std::move(event));
}

std::vector<DiagnosticEvent> Diagnostics::snapshot() const {
  std::lock_guard lock(mutex_);
  return {events_.begin(), events_.end()};
}

void Diagnostics::clear() {
  std::lock_guard lock(mutex_);
  events_.clear();
}

}  // namespace murvelo
