#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace murvelo {

// One technical event for the support report: a stage, an error code, a device fact.
// Never a dictated word, audio or clipboard content; callers pass identifiers and numbers only.
struct DiagnosticEvent {
  std::chrono::system_clock::time_point time;
  std::string category;
  std::string name;
  std::string detail;
};

// A bounded in-memory ring of recent events; the oldest fall off. Thread-safe.
class Diagnostics {
 public:
  static constexpr std::size_t kDefaultCapacity = 500;

  explicit Diagnostics(std::size_t capacity = kDefaultCapacity);

  // The process-wide ring the programs record into.
  static Diagnostics& shared();

  void record(std::string category, std::string name, std::string detail = {});
  std::vector<DiagnosticEvent> snapshot() const;
  std::size_t capacity() const { return capacity_; }
  void clear();

 private:
  std::size_t capacity_;
  mutable std::mutex mutex_;
  std::deque<DiagnosticEvent> events_;
};

}  // namespace murvelo
