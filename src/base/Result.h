#pragma once

#include <utility>
#include <variant>

namespace murvelo {

// A value or an error: how operations that can fail report it (no exception crosses a stage).
template <typename T, typename E>
class Result {
 public:
  Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}  // NOLINT: implicit by design
  Result(E error) : state_(std::in_place_index<1>, std::move(error)) {}  // NOLINT: implicit by design

  bool ok() const { return state_.index() == 0; }
  explicit operator bool() const { return ok(); }
  T& value() & { return std::get<0>(state_); }
  const T& value() const& { return std::get<0>(state_); }
  T&& value() && { return std::get<0>(std::move(state_)); }
  const E& error() const { return std::get<1>(state_); }

 private:
  std::variant<T, E> state_;
};

}  // namespace murvelo
