#pragma once

#include <string>
#include <utility>

namespace murvelo {

// Failures are values: an operation that can fail returns a Status instead of throwing.
class Status {
 public:
  static Status ok() { return Status(); }
  static Status error(std::string message) { return Status(std::move(message)); }

  bool isOk() const { return !failed_; }
  explicit operator bool() const { return isOk(); }
  const std::string& message() const { return message_; }

 private:
  Status() = default;
  explicit Status(std::string message) : failed_(true), message_(std::move(message)) {}

  bool failed_ = false;
  std::string message_;
};

}  // namespace murvelo
